"""Runs boardctl for the tests."""

import contextlib
import fcntl
import json
import os
import pty
import re
import select
import subprocess
import sys
import termios
import time
import unittest

# The last argument of each test is the folder of the programs.
BIN = os.path.abspath(sys.argv.pop())
BOARDCTL = os.path.join(BIN, "boardctl")
TRIAL = os.path.join(BIN, "boardctl_trial")
PATIENCE = 60
# Whoever loads an FPGA holds it: the staged file is one for the whole machine.
STAGED_LOCK = "/tmp/bmc_card.bit.lock"
ROWS, COLUMNS = 24, 80


def environment(**extra):
    """The tester's own colours and boards stay out."""
    kept = {
        name: value
        for name, value in os.environ.items()
        if name not in ("NO_COLOR", "LD_PRELOAD") and not name.startswith("VIRTUAL_BOARD")
    }
    kept.update(TERM="xterm", PATH=BIN + os.pathsep + kept.get("PATH", ""))
    kept.update(extra)
    return kept


def boardctl(*words, virtual=True, **options):
    """Runs the tool without a terminal; the answer has returncode, stdout, stderr."""
    return run(BOARDCTL, *(["--virtual"] if virtual else []), *words, **options)


def trial(*words, **options):
    return run(TRIAL, "trial", *words, **options)


def run(*words, **options):
    options.setdefault("stdin", subprocess.DEVNULL)
    options.setdefault("env", environment())
    options.setdefault("stdout", subprocess.PIPE)
    return subprocess.run(
        words,
        stderr=subprocess.PIPE,
        text=True,
        timeout=PATIENCE,
        check=False,
        **options,
    )


@contextlib.contextmanager
def staged_file():
    with open(STAGED_LOCK, "a", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def shell(line, **options):
    """Runs a line as typed; PATIENCE begins once no other test loads an FPGA."""
    options.setdefault("stderr", subprocess.PIPE)
    with staged_file() if "fpga load" in line else contextlib.nullcontext():
        return subprocess.run(
            ["sh", "-c", line],
            env=environment(),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            text=True,
            timeout=PATIENCE,
            check=False,
            **options,
        )


def documents(text):
    return [json.loads(line) for line in text.splitlines()]


class Terminal:
    """A program on a terminal of its own: all three standard descriptors."""

    def __init__(self, *words, env=None):
        self.master, slave = pty.openpty()
        termios.tcsetwinsize(slave, (ROWS, COLUMNS))
        self.settings = termios.tcgetattr(slave)
        self.process = subprocess.Popen(
            words,
            stdin=slave,
            stdout=slave,
            stderr=slave,
            env=env or environment(),
            start_new_session=True,
        )
        self.slave = slave  # kept: its settings outlive the tool
        self.seen = ""

    def wait_for(self, pattern):
        """Reads until the pattern is there; answers all that was read."""
        end = time.monotonic() + PATIENCE
        while not re.search(pattern, self.seen):
            if time.monotonic() > end or not self.read():
                raise AssertionError(f"{pattern!r} did not come, but {self.seen[-2000:]!r}")
        return self.seen

    def read(self, timeout=PATIENCE):
        ready, _, _ = select.select([self.master], [], [], timeout)
        if not ready:
            return False
        self.seen += os.read(self.master, 65536).decode(errors="replace")
        return True

    def type(self, text):
        os.write(self.master, text.encode())

    def finish(self):
        """Its exit code; what it wrote last is in seen."""
        code = self.process.wait(PATIENCE)
        while self.read(0):
            pass
        return code

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        os.close(self.master)
        os.close(self.slave)


class TerminalTest(unittest.TestCase):
    def terminal(self, *words, **options):
        terminal = Terminal(*words, **options)
        self.addCleanup(terminal.close)
        return terminal


def families():
    """Names of all families, as the help lists them."""
    return listed(boardctl("--help", virtual=False).stdout, "Families")


def commands(family):
    """Full names of a family's commands, as the help lists them."""
    text = boardctl(family, "--help", virtual=False).stdout
    names = listed(text, "Commands")
    return [f"{family} {name}" for name in names] if names else [family]


def listed(text, section):
    found = re.search(rf"^{section}:\n((?:  .*\n)+)", text, re.MULTILINE)
    return re.findall(r"^  ([a-z][\w-]*)", found.group(1), re.MULTILINE) if found else []


def main():
    unittest.main(verbosity=1)
