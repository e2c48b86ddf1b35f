"""How the tool finds the virtual board."""

import glob
import os
import shutil
import tempfile
import unittest

import tool

LIBRARY = "libvirtual_board_preload.so"


class VirtualBoard(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def copy(self, program):
        return shutil.copy(program, self.folder)

    def test_a_missing_library_is_told(self):
        answer = tool.run(self.copy(tool.BOARDCTL), "--virtual", "info")
        self.assertEqual((answer.returncode, answer.stdout), (3, ""))
        self.assertRegex(answer.stderr, rf"^boardctl: {LIBRARY} is not beside {self.folder}/")

    def test_the_library_beside_the_tool_is_taken(self):
        program = self.copy(tool.BOARDCTL)
        os.symlink(os.path.join(tool.BIN, "..", "lib", LIBRARY), f"{self.folder}/{LIBRARY}")
        self.assertEqual(tool.run(program, "--virtual", "info").returncode, 0)

    def variable(self, name, *options, **extra):
        """What the tool's second start sees; any library will do for that."""
        program = self.copy(tool.TRIAL)
        library = glob.glob(os.path.join(tool.BIN, "..", "lib", "libvos.so*"))[0]
        shutil.copy(library, f"{self.folder}/{LIBRARY}")
        answer = tool.run(
            program, *options, "trial", "environment", name, "--json", env=tool.environment(**extra)
        )
        self.assertEqual(answer.returncode, 0, answer.stderr)
        return tool.documents(answer.stdout)[0]["result"]["value"]

    def test_a_served_board_is_joined_by_its_name(self):
        self.assertEqual(self.variable("VIRTUAL_BOARD", "--board", "desk"), "desk")

    def test_a_board_of_its_own_joins_none(self):
        self.assertIsNone(self.variable("VIRTUAL_BOARD", "--virtual", VIRTUAL_BOARD="desk"))

    def test_personality(self):
        name = "VIRTUAL_BOARD_PERSONALITY"
        self.assertEqual(
            self.variable(name, "--virtual", "--personality", "corvo-8"), "corvo-8"
        )

    def test_other_preloaded_libraries_stay(self):
        library = f"{self.folder}/{LIBRARY}"
        self.assertEqual(self.variable("LD_PRELOAD", "--virtual"), library)
        shutil.copy(library, f"{self.folder}/other.so")
        self.assertEqual(
            self.variable("LD_PRELOAD", "--virtual", LD_PRELOAD=f"{self.folder}/other.so"),
            f"{library}:{self.folder}/other.so",
        )

    def test_without_options_nothing_is_preloaded(self):
        self.assertIsNone(self.variable("LD_PRELOAD"))

    def test_contradictions(self):
        for words, complaint in (
            (["--virtual", "--board", "desk"], "--virtual makes a board, --board joins one"),
            (["--personality", "corvo-8"], "--personality needs --virtual"),
        ):
            with self.subTest(words):
                answer = tool.boardctl(*words, "info", virtual=False)
                self.assertEqual(answer.returncode, 2)
                self.assertIn(complaint, answer.stderr)

    def test_unknown_personality(self):
        answer = tool.boardctl("--personality", "nobody", "info")
        self.assertEqual((answer.returncode, answer.stdout), (2, ""))
        self.assertIn("corvo-8", answer.stderr)


if __name__ == "__main__":
    tool.main()
