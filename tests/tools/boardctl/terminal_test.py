"""On a terminal: colours, the live view, the progress bar."""

import re
import signal
import subprocess
import termios
import unittest

import tool

ESCAPE = "\x1b"


class Colours(tool.TerminalTest):
    def led_list(self, **extra):
        terminal = self.terminal(
            tool.BOARDCTL, "--virtual", "led", "list", env=tool.environment(**extra)
        )
        self.assertEqual(terminal.finish(), 0)
        return terminal.seen

    def test_on_a_terminal(self):
        self.assertIn(f"{ESCAPE}[32myes{ESCAPE}[0m", self.led_list())

    def test_not_if_unwanted(self):
        for variables in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
            with self.subTest(variables):
                text = self.led_list(**variables)
                self.assertNotIn(ESCAPE, text)
                self.assertIn("yes", text)
        self.assertIn(ESCAPE, self.led_list(NO_COLOR=""))

    def test_not_elsewhere(self):
        self.assertNotIn(ESCAPE, tool.boardctl("led", "list").stdout)


class Watch(tool.TerminalTest):
    def watch(self, *options):
        return self.terminal(tool.BOARDCTL, "--virtual", "watch", "--interval", "50", *options)

    def assert_clean(self, terminal):
        self.assertEqual(termios.tcgetattr(terminal.slave), terminal.settings)
        self.assertEqual(terminal.seen.count(f"{ESCAPE}[?1049h"), 1)
        self.assertEqual(terminal.seen.count(f"{ESCAPE}[?25h{ESCAPE}[?1049l"), 1)

    def test_redraws_in_place_until_q(self):
        terminal = self.watch()
        terminal.wait_for(rf"(?s)({ESCAPE}\[H.*){{3}}upgrade state")
        terminal.type("xq")
        self.assertEqual(terminal.finish(), 0)
        self.assert_clean(terminal)

    def test_count(self):
        terminal = self.watch("--count", "3")
        self.assertEqual(terminal.finish(), 0)
        self.assertEqual(terminal.seen.count(f"{ESCAPE}[H"), 3)
        self.assert_clean(terminal)

    def test_fits_a_small_terminal(self):
        terminal = self.watch("--count", "1")
        terminal.finish()
        view = re.search(rf"{ESCAPE}\[H(.*?){ESCAPE}\[J", terminal.seen, re.DOTALL).group(1)
        lines = re.sub(rf"{ESCAPE}\[[0-9;]*[a-zA-Z]", "", view).split("\r\n")
        self.assertLessEqual(len(lines), tool.ROWS)
        self.assertLess(max(map(len, lines)), tool.COLUMNS)
        for title in ("Power", "CPUs", "LEDs", "Disks", "Serial routing", "upgrade state"):
            self.assertIn(title, view)

    def test_interruption(self):
        terminal = self.watch()
        terminal.wait_for("upgrade state")
        terminal.process.send_signal(signal.SIGINT)
        self.assertEqual(terminal.finish(), 130)
        self.assert_clean(terminal)

    def test_elsewhere_what_did_not_change_is_not_repeated(self):
        answer = tool.boardctl("watch", "--interval", "50", "--count", "14")
        # First, when the hot indications, and when the disks are believed.
        self.assertEqual(answer.stdout.count("Power\n"), 2)
        self.assertNotIn(ESCAPE, answer.stdout)


class Progress(tool.TerminalTest):
    def test_bar_on_a_terminal(self):
        terminal = self.terminal(tool.TRIAL, "trial", "work")
        self.assertEqual(terminal.finish(), 0)
        shown = [int(percent) for percent in re.findall(r"\rwrite \[#*\.*\] (\d+)%", terminal.seen)]
        self.assertEqual(shown, [0, 60, 100])
        self.assertRegex(terminal.seen, rf"\rerase \[{'#' * 40}\] 100%\r\n\rwrite")
        self.assertRegex(terminal.seen, r"100%\r\nmoved  100\r\n$")

    def test_lines_elsewhere(self):
        answer = tool.trial("work")
        self.assertEqual(answer.stdout, "moved  100\n")
        self.assertEqual(answer.stderr, "erase ...\nerase: done\nwrite ...\nwrite: done\n")

    def test_a_failed_stage_is_not_done(self):
        answer = tool.trial("work", "--fail")
        self.assertEqual((answer.returncode, answer.stdout), (1, ""))
        self.assertIn("write ...\nboardctl trial work: trial_operation answered 7", answer.stderr)

    def test_documents_never_go_backwards(self):
        answer = tool.trial("work", "--json")
        self.assertEqual(answer.stderr, "")
        documents = tool.documents(answer.stdout)
        self.assertEqual(documents[-1]["result"], {"moved": 100})
        stages = {}
        for document in documents[:-1]:
            progress = document["progress"]
            stages.setdefault(progress["stage"], []).append(
                progress["current"] * 100 // progress["total"]
            )
        self.assertEqual(list(stages), ["erase", "write"])
        self.assertEqual(stages["write"], [0, 60, 100])
        self.assertEqual(stages["erase"][0], 0)
        self.assertEqual(stages["erase"][-1], 100)
        self.assertGreater(len(stages["erase"]), 3)
        self.assertEqual(stages["erase"], sorted(stages["erase"]))


if __name__ == "__main__":
    tool.main()
