"""What the library prints is kept apart from what the tool answers."""

import unittest

import tool

FLOOD = [f"line {i} of a flood that fills every pipe" for i in range(2000)]
SPOKEN = ["a line", "30%", "green", "from a program", *FLOOD]


class Messages(unittest.TestCase):
    def test_they_are_silent_when_all_went_well(self):
        answer = tool.trial("speak")
        self.assertEqual(
            (answer.returncode, answer.stdout, answer.stderr), (0, "moved  1\n", "")
        )

    def test_verbose_shows_them_on_standard_error(self):
        answer = tool.trial("speak", "--verbose")
        self.assertEqual(answer.stdout, "moved  1\n")
        self.assertEqual(answer.stderr.splitlines(), [f"board_hal: {line}" for line in SPOKEN])

    def test_json_carries_them(self):
        answer = tool.trial("speak", "--json")
        self.assertEqual(
            tool.documents(answer.stdout),
            [{"command": "trial speak", "result": {"moved": 1}, "messages": SPOKEN}],
        )
        self.assertEqual(answer.stderr, "")

    def test_the_board_s_own(self):
        answer = tool.boardctl("--personality", "unknown-bom", "info", "--json")
        self.assertEqual(
            tool.documents(answer.stdout)[0]["messages"],
            ["get_current_board_type:bom id not support!"],
        )


if __name__ == "__main__":
    tool.main()
