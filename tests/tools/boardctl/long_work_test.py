"""Long work on flash: progress, and what an interruption leaves behind."""

import json
import os
import signal
import subprocess
import tempfile
import unittest

import tool


class LongWork(tool.TerminalTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def image(self, size):
        path = os.path.join(self.folder, "image.bin")
        with open(path, "wb") as file:
            file.write(os.urandom(size))
        return path

    def path(self, name):
        return os.path.join(self.folder, name)

    def test_progress_in_json(self):
        answer = tool.boardctl("flash", "copy", "mtd5", self.image(300000), "--yes", "--json")
        *progress, result = tool.documents(answer.stdout)
        self.assertEqual(result["result"], {"copied": 300000})
        for stage, total in (("erase", 20), ("write", 50), ("verify", 30)):
            seen = [one["progress"] for one in progress if one["progress"]["stage"] == stage]
            currents = [one["current"] for one in seen]
            self.assertEqual(currents, sorted(currents))
            self.assertEqual(seen[0], {"stage": stage, "current": 0, "total": 100})
            self.assertEqual(seen[-1]["current"], seen[-1]["total"])
            self.assertIn(seen[-1]["total"], (total, 100))
        self.assertEqual(answer.stderr, "")

    def test_lines_without_a_terminal(self):
        answer = tool.boardctl("flash", "copy", "mtd5", self.image(300000), "--yes")
        self.assertEqual(answer.stdout, "bytes copied  300000\n")
        self.assertEqual(
            answer.stderr,
            "erase ...\nerase: done\nwrite ...\nwrite: done\nverify ...\nverify: done\n",
        )

    def test_bar_on_a_terminal(self):
        terminal = self.terminal(
            tool.BOARDCTL, "--virtual", "flash", "copy", "mtd5", self.image(300000), "--yes"
        )
        self.assertEqual(terminal.finish(), 0)
        for stage in ("erase", "write", "verify"):
            self.assertIn(f"\r{stage} [{'#' * 40}] 100%", terminal.seen)

    def test_interrupted_save_tells_owner_and_driver(self):
        with subprocess.Popen(
            [tool.BOARDCTL, "--virtual", "bios", "save", self.path("bios.bin"), "--yes", "--json"],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=tool.environment(),
            text=True,
        ) as process:
            current = 0
            while current == 0:
                line = process.stdout.readline()
                self.assertTrue(line, "the tool ended")
                current = json.loads(line)["progress"]["current"]
            self.assertLess(current, 100)
            process.send_signal(signal.SIGINT)
            out, err = process.communicate(timeout=tool.PATIENCE)
            self.assertEqual(process.returncode, 130)
        self.assertEqual(
            tool.documents(out)[-1]["interrupted"],
            {
                "signal": "SIGINT",
                "state": "the contents of the BIOS flash are as they were; the BIOS flash belongs "
                "to the controller, its driver is loaded; boardctl bios owner host gives it back",
            },
        )
        self.assertIn("belongs to the controller", err)

    def test_saved_flash_is_complete(self):
        answer = tool.boardctl("bios", "save", self.path("bios.bin"), "--yes", "--size", "100000")
        self.assertEqual((answer.returncode, answer.stderr), (0, "read ...\nread: done\n"))
        with open(self.path("bios.bin"), "rb") as file:
            self.assertEqual(file.read(), b"\xff" * 100000)


if __name__ == "__main__":
    tool.main()
