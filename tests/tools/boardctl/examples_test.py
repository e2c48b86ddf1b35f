"""Every example of every --help works as pasted, and what it answers with --json
is as its schema says."""

import concurrent.futures
import json
import os
import re
import sys
import tempfile
import unittest

import tool

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

SCHEMAS = sys.argv.pop()


def examples(command):
    """Pairs of the title and the line below it. No command: of the tool itself."""
    text = tool.boardctl(*command.split(), "--help", virtual=False).stdout
    section = re.search(r"^Examples:\n((?:  .*\n)+)", text, re.MULTILINE)
    return re.findall(r"  # (.+)\n  (.+)\n", section.group(1)) if section else []


def run(line):
    with tempfile.TemporaryDirectory() as folder:
        return tool.shell(line, cwd=folder)


def schema_of(family):
    with open(os.path.join(SCHEMAS, f"boardctl-{family}.json"), encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    return jsonschema.Draft202012Validator(schema)


class Examples(unittest.TestCase):
    def for_all(self, check):
        lines = [
            (command, line)
            for family in tool.families()
            for command in tool.commands(family)
            for _, line in examples(command)
        ]
        lines.append(("info", *(line for _, line in examples(""))))
        self.assertGreater(len(lines), 40)
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for complaint in pool.map(lambda one: check(*one), lines):
                with self.subTest(complaint):
                    self.assertIsNone(complaint)

    def test_every_command_has_one(self):
        for family in tool.families():
            for command in tool.commands(family):
                with self.subTest(command):
                    self.assertTrue(examples(command))
                    for _, line in examples(command):
                        self.assertRegex(line, rf"boardctl --virtual .*\b{command}\b")

    def test_each_works_as_pasted(self):
        def check(_, line):
            answer = run(line)
            return None if answer.returncode == 0 else f"{line}: {answer.stderr}"

        self.for_all(check)

    def test_each_answers_json_as_its_schema_says(self):
        schemas = {family: schema_of(family) for family in tool.families()}

        def check(command, line):
            answer = run(line if "--json" in line else line + " --json")
            if answer.returncode != 0:
                return f"{line}: {answer.stderr}"
            # A stream without changes answers nothing.
            for document in tool.documents(answer.stdout):
                error = jsonschema.exceptions.best_match(
                    schemas[command.split()[0]].iter_errors(document)
                )
                if error is not None or document["command"] != command:
                    return f"{line}: {document}: {error}"
            return None

        self.for_all(check)

    def test_failures_and_progress_are_as_the_schema_says(self):
        schema = schema_of("power")
        failed = tool.documents(
            tool.boardctl("power", "status", "--json", virtual=False).stdout
        )[0]
        schema.validate(failed)
        del failed["error"]["exit"]
        self.assertFalse(schema.is_valid(failed))


if __name__ == "__main__":
    tool.main()
