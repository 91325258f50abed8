"""Runs the commands of docs/operations.md, and compares their output with the page.

Usage: operations_document_test.py PROJECT_FOLDER ZANDREL

The blocks marked "console" are one session in one folder. A line after a command is a line of its
output, from standard output and standard error together. "..." in a line stands for any text, and a
line that is only "..." for any lines. "[N]" is the exit status, if it is not 0.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv[1])
ZANDREL = pathlib.Path(sys.argv[2])
PAGE = PROJECT / "docs" / "operations.md"

_BLOCK = re.compile(r"^```console\n(.*?)^```$", re.MULTILINE | re.DOTALL)
_CODE_BLOCK = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
# Commands whose next word is a command too.
_WITH_PARTS = ("archive", "corpus", "options", "rules", "tree")
_COMMAND = re.compile(r"`zandrel ([a-z-]+)((?: [^`]*)?)`")
_STATUS = re.compile(r"^\[(\d+)\]$")


def steps_of(text):
    """The commands of the blocks, each with its lines of output and its exit status."""
    steps = []
    for block in _BLOCK.findall(text):
        for line in block.splitlines():
            status = _STATUS.match(line)
            if line.startswith("$ "):
                steps.append((line[2:], [], [0]))
            elif status:
                steps[-1][2][0] = int(status[1])
            else:
                steps[-1][1].append(line)
    return [(command, lines, status[0]) for command, lines, status in steps]


def pattern_of(lines):
    parts = []
    for line in lines:
        if line == "...":
            parts.append(r"(?:.*\n)*?")
        else:
            parts.append(".*".join(re.escape(part) for part in line.split("...")) + r"\n")
    return re.compile("".join(parts))


class OperationsDocumentTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.text = PAGE.read_text("utf-8")

    def test_commands_have_the_shown_results(self):
        steps = steps_of(self.text)
        self.assertGreater(len(steps), 15)
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "bin").mkdir()
            (folder / "bin" / "zandrel").symlink_to(ZANDREL.resolve())
            for data in ("shop.train.tsv", "shop.test.tsv"):
                shutil.copy(PROJECT / "data" / "shop" / data, folder)
            environment = {**os.environ, "PATH": f"{folder / 'bin'}:{os.environ['PATH']}"}
            for command, lines, status in steps:
                with self.subTest(command):
                    run = subprocess.run(
                        ["sh", "-c", command],
                        cwd=folder,
                        env=environment,
                        stdin=subprocess.DEVNULL,
                        stdout=subprocess.PIPE,
                        stderr=subprocess.STDOUT,
                        text=True,
                        timeout=60,
                    )
                    self.assertEqual(run.returncode, status, run.stdout)
                    self.assertIsNotNone(pattern_of(lines).fullmatch(run.stdout), run.stdout)

    def test_commands_in_sentences_exist(self):
        commands = _COMMAND.findall(_CODE_BLOCK.sub("", self.text))
        self.assertGreater(len(commands), 5)
        for command, words in commands:
            with self.subTest(command=command, words=words):
                name = [command] + re.findall(r"^ ([a-z]+)\b", words)[: command in _WITH_PARTS]
                run = subprocess.run(
                    [ZANDREL, *name, "--help"], capture_output=True, text=True, timeout=60
                )
                self.assertEqual(run.returncode, 0)
                for option in re.findall(r"--[a-z-]+", words):
                    self.assertIn(option, run.stdout)

    def test_shown_messages_are_messages_of_the_program(self):
        sources = "".join(
            path.read_text("utf-8")
            for folder in ("cli", "text")
            for path in sorted((PROJECT / folder).rglob("*.cpp"))
        )
        table = re.findall(r'^\| "([^"]+)"', self.text, re.MULTILINE)
        self.assertGreater(len(table), 2)
        for message in table:
            with self.subTest(message):
                self.assertIn(message, sources)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
