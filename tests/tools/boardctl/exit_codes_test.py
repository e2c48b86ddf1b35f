"""Exit codes, and what is said with them."""

import subprocess
import unittest

import tool


class ExitCodes(unittest.TestCase):
    def test_done(self):
        answer = tool.boardctl("power", "status")
        self.assertEqual((answer.returncode, answer.stderr), (0, ""))

    def test_failed_operation_tells_result_and_meaning(self):
        for code, meaning in (
            (7, "the seventh seal is broken"),
            (-2, "unsupported selector or value"),
            (-10005, "the FPGA driver's error number 10005"),
            (99, "a result that is not documented"),
        ):
            with self.subTest(code):
                answer = tool.trial("fail", str(code))
                self.assertEqual(answer.returncode, 1)
                self.assertEqual(answer.stdout, "")
                self.assertEqual(
                    answer.stderr,
                    "board_hal: about to fail\n"
                    f"boardctl trial fail: trial_operation answered {code}: {meaning}\n",
                )

    def test_failed_operation_in_json(self):
        answer = tool.trial("fail", "7", "--json")
        self.assertEqual(answer.returncode, 1)
        self.assertEqual(
            tool.documents(answer.stdout),
            [
                {
                    "command": "trial fail",
                    "error": {
                        "exit": 1,
                        "meaning": "the seventh seal is broken",
                        "operation": "trial_operation",
                        "code": 7,
                    },
                    "messages": ["about to fail"],
                }
            ],
        )
        self.assertIn("answered 7", answer.stderr)

    def test_byte_counts_are_no_failures(self):
        self.assertEqual(tool.trial("count", "7").stdout, "moved  7\n")
        self.assertEqual(tool.trial("count", "-7").returncode, 1)

    def test_trouble_without_an_operation(self):
        answer = tool.trial("trouble", "--json")
        self.assertEqual(answer.returncode, 1)
        self.assertEqual(answer.stderr, "boardctl trial trouble: the file is too short\n")
        self.assertEqual(
            tool.documents(answer.stdout)[0]["error"],
            {"exit": 1, "meaning": "the file is too short"},
        )

    def test_wrong_command_lines(self):
        for words, complaint, usage in (
            ([], "a family and a command are needed", "boardctl [OPTION]... FAMILY COMMAND"),
            (["powr"], 'there is no family "powr"', "boardctl [OPTION]..."),
            (["power"], "a command is needed", "boardctl power COMMAND"),
            (["power", "onn"], 'there is no command "power onn"', "boardctl power COMMAND"),
            (["power", "onn", "--help"], 'there is no command "power onn"', "boardctl power"),
            (["power", "on", "--timeout", "0"], "0 is not 1 to 600 s", "boardctl power on [--ti"),
            (["cpld", "write", "LED_5", "2"], "takes 0 to 1", "boardctl cpld write PLACE VALUE"),
        ):
            with self.subTest(words):
                answer = tool.boardctl(*words)
                self.assertEqual((answer.returncode, answer.stdout), (2, ""))
                self.assertIn(complaint, answer.stderr)
                self.assertIn(f"usage: {usage}", answer.stderr)

    def test_no_board(self):
        answer = tool.boardctl("power", "status", "--json", virtual=False)
        self.assertEqual(answer.returncode, 3)
        self.assertIn("ipmc_driver_init answered -1: the board is not reachable", answer.stderr)
        self.assertEqual(tool.documents(answer.stdout)[0]["error"]["exit"], 3)

    def test_lost_output(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            for words in (["info"], ["info", "--json"], ["--help"]):
                with self.subTest(words):
                    answer = tool.boardctl(*words, stdout=full)
                    self.assertEqual((answer.returncode, answer.stderr), (5, ""))

    def test_gone_reader_ends_a_stream_and_kills_nothing(self):
        with subprocess.Popen(
            [tool.TRIAL, "trial", "stream"],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=tool.environment(),
            text=True,
        ) as process:
            self.assertEqual(process.stdout.readline(), "moved  0\n")
            process.stdout.close()
            self.assertEqual(process.stderr.read(), "the reader is gone\n")
            self.assertEqual(process.wait(tool.PATIENCE), 5)

    def test_help_and_version_need_no_board(self):
        self.assertRegex(
            tool.boardctl("--version", virtual=False).stdout, r"^boardctl \d+\.\d+\.\d+\n$"
        )
        self.assertIn("Exit codes:", tool.boardctl("--help", virtual=False).stdout)


if __name__ == "__main__":
    tool.main()
