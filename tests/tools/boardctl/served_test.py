"""Several boardctl on one served board see what each other does."""

import os
import re
import subprocess
import tempfile
import unittest

import tool


class Served(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.board = os.path.join(folder.name, "board.socket")
        ready, told = os.pipe()
        server = subprocess.Popen(
            [os.path.join(tool.BIN, "virtual-board"), "serve", "--board", self.board,
             "--ready-fd", str(told)],
            stdout=subprocess.DEVNULL,
            pass_fds=[told],
        )
        os.close(told)
        self.addCleanup(server.wait, tool.PATIENCE)
        self.addCleanup(server.terminate)
        with os.fdopen(ready) as line:
            self.assertNotEqual(line.readline(), "")

    def boardctl(self, *words):
        return tool.boardctl("--board", self.board, *words, virtual=False)

    def start(self, *words):
        process = subprocess.Popen(
            [tool.BOARDCTL, "--board", self.board, *words],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env=tool.environment(),
            text=True,
        )
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait, tool.PATIENCE)
        self.addCleanup(process.terminate)
        return process

    def test_what_one_does_the_next_finds(self):
        self.assertEqual(self.boardctl("power", "on").stdout, "power    on\nchanged  yes\n")
        self.assertRegex(self.boardctl("power", "status").stdout, r"^power +on\n")
        self.assertEqual(
            self.boardctl("power", "off", "--force", "--yes").stdout, "power    off\nchanged  yes\n"
        )

    def test_one_watches_what_another_does(self):
        view = self.start("watch", "--json", "--interval", "50")
        self.assertFalse(tool.documents(view.stdout.readline())[0]["result"]["power"]["host"])
        self.assertEqual(self.boardctl("power", "on").returncode, 0)
        while not tool.documents(view.stdout.readline())[0]["result"]["power"]["host"]:
            pass

    def test_a_killed_one_leaves_the_board_to_others(self):
        self.assertEqual(self.boardctl("power", "on").returncode, 0)
        holder = self.start("button", "press", "--hold", "30000", "--yes")
        while not re.search("pressed +yes", self.boardctl("button", "status").stdout):
            self.assertIsNone(holder.poll())
        holder.kill()
        holder.wait(tool.PATIENCE)
        # It could not release the button: the board is as it was left.
        self.assertRegex(self.boardctl("button", "status").stdout, "pressed +yes")
        self.assertEqual(self.boardctl("led", "list").returncode, 0)

    def test_an_interrupted_one_releases_the_button(self):
        holder = self.start("button", "press", "--hold", "30000", "--yes")
        while not re.search("pressed +yes", self.boardctl("button", "status").stdout):
            self.assertIsNone(holder.poll())
        holder.terminate()
        self.assertEqual(holder.wait(tool.PATIENCE), 143)
        self.assertIn("the power button was pressed and is released", holder.stderr.read())
        self.assertRegex(self.boardctl("button", "status").stdout, "pressed +no")


if __name__ == "__main__":
    tool.main()
