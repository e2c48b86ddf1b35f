"""SIGINT and SIGTERM: the tool tells what state the board is in, and ends."""

import signal
import subprocess
import unittest

import tool

STATE = "partition 3 is erased in part"


class Interruption(tool.TerminalTest):
    def interrupted(self, number, *options):
        with subprocess.Popen(
            [tool.TRIAL, "trial", "hold", *options],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=tool.environment(),
            text=True,
        ) as process:
            while process.stderr.readline() != "holding\n":
                self.assertIsNone(process.poll())
            process.send_signal(number)
            out, err = process.communicate(timeout=tool.PATIENCE)
            return process.returncode, out, err

    def test_state_and_exit_code(self):
        for number, code in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            with self.subTest(number):
                self.assertEqual(
                    self.interrupted(number),
                    (code, "", f"tidied up\n\nboardctl trial hold: interrupted: {STATE}\n"),
                )

    def test_json(self):
        code, out, _ = self.interrupted(signal.SIGINT, "--json")
        self.assertEqual(code, 130)
        self.assertEqual(
            tool.documents(out),
            [
                {
                    "command": "trial hold",
                    "progress": {"stage": "erase", "current": 0, "total": 100},
                },
                {
                    "command": "trial hold",
                    "interrupted": {"signal": "SIGINT", "state": STATE},
                },
            ],
        )

    def test_a_terminal_that_goes_away_ends_watching_alone(self):
        for words, code in ((["hold"], None), (["stream"], -signal.SIGHUP)):
            with self.subTest(words), subprocess.Popen(
                [tool.TRIAL, "trial", *words],
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                env=tool.environment(),
                text=True,
            ) as process:
                (process.stderr if code is None else process.stdout).readline()
                process.send_signal(signal.SIGHUP)
                if code is None:
                    process.send_signal(signal.SIGINT)
                    code = 130
                process.communicate(timeout=tool.PATIENCE)
                self.assertEqual(process.returncode, code)

    def test_at_the_question_nothing_was_begun(self):
        terminal = self.terminal(tool.BOARDCTL, "--virtual", "cmos", "clear")
        terminal.wait_for(r"\[y/N\] ")
        terminal.process.send_signal(signal.SIGINT)
        self.assertEqual(terminal.finish(), 130)
        self.assertIn("interrupted: nothing was begun", terminal.seen)


if __name__ == "__main__":
    tool.main()
