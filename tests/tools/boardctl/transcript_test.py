"""Runs the commands of a transcript, each on a fresh virtual board, and compares
what they write. With --update the transcript is written anew.
usage: transcript_test.py [--update] TRANSCRIPT PROGRAMS"""

import difflib
import subprocess
import sys

import tool


def run(line):
    answer = tool.shell(line, stderr=subprocess.STDOUT)
    code = f"[{answer.returncode}]\n" if answer.returncode else ""
    return answer.stdout + code


def main():
    path = sys.argv[-1]
    with open(path, encoding="utf-8") as file:
        expected = file.read()
    actual = ""
    for line in expected.splitlines():
        if line.startswith("$ "):
            actual += f"{line}\n{run(line[2:])}\n"
        elif line.startswith("# "):
            actual += f"{line}\n"
    if "--update" in sys.argv:
        with open(path, "w", encoding="utf-8") as file:
            file.write(actual)
    elif actual != expected:
        sys.stdout.writelines(
            difflib.unified_diff(
                expected.splitlines(True), actual.splitlines(True), "expected", "actual"
            )
        )
        sys.exit(1)


main()
