"""Tests script/test same with programs that only pretend to classify.

Usage: same_test.py PROJECT_FOLDER
"""
import contextlib
import io
import pathlib
import re
import stat
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

PROJECT = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(PROJECT / "script"))

from benchmarks import same, same_cases, synthetic
from benchmarks.failure import Failure
from benchmarks.same_cases import Case

# Writes its arguments as a container, an answer and a message.
PROGRAM = """#!/bin/sh
echo "answer $*"
echo "message $*" >&2
echo "container $*" >> m.kc
{}
"""


class SameTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def program(self, name, last_line=""):
        path = self.folder / name
        path.write_text(PROGRAM.format(last_line))
        path.chmod(path.stat().st_mode | stat.S_IXUSR)
        return path

    def compare(self, last_line, commands=(["train", "m.kc"], ["classify", "m.kc"]), base_line=""):
        """The exit status and the output of a comparison of programs that also run the given lines."""
        table = io.StringIO()
        with mock.patch.multiple(same, all_cases=lambda _: [Case("one", list(commands))],
                                 library_of_the_clock=lambda: "",
                                 DIFFERENT=self.folder / "different"), \
                contextlib.redirect_stdout(table):
            status = same.compare_builds(self.program("base", base_line),
                                         self.program("new", last_line), [])
        return status, table.getvalue()

    def test_equal_programs_are_the_same(self):
        status, table = self.compare("")

        self.assertEqual(status, 0)
        self.assertIn("all 1 cases are the same", table)
        self.assertFalse((self.folder / "different").exists())

    def test_each_kind_of_difference_is_found(self):
        for last_line, message in (
                ("[ $1 = train ] || echo x", "`output` differs at byte 21 after command 2, `classify m.kc`"),
                ("echo x >&2", "`messages` differs at byte 19 after command 1"),
                ("printf x | dd of=m.kc bs=1 seek=4 conv=notrunc 2>/dev/null", "`m.kc` differs at byte 4 after"),
                ("[ $1 = train ] || truncate -s -1 m.kc", "`m.kc` differs at byte 44 after command 2"),
                ("touch other", "files .*'m.kc', 'messages', 'output'. and .*'other', 'output'"),
                ("exit 3", "exit status 0 and 3 after command 1"),
                ("kill -9 $$", "`train m.kc` ended by signal 9")):
            with self.subTest(last_line=last_line):
                status, table = self.compare(last_line)
                self.assertEqual(status, 1)
                self.assertRegex(table, message)
                self.assertTrue((self.folder / "different" / "one" / "new" / "m.kc").is_file())

    def test_clock_does_not_change(self):
        side = same.Side("/bin/date", self.folder / "side", {},
                         {"LD_PRELOAD": str(same.library_of_the_clock()), **same.CLOCK})
        side.do(["+%F %T.%N"])

        self.assertEqual((side.folder / "output").read_text(), "2026-01-01 00:00:00.000000000\n")

    def test_costs_of_evaluate_are_not_compared(self):
        for key, expected in (("cpu_seconds", 0), ("peak_memory_bytes", 0), ("accuracy", 1)):
            with self.subTest(key=key):
                status, _ = self.compare(f"echo '\"{key}\": 1.5'", [["evaluate", "m.kc"]],
                                         f"echo '\"{key}\": 2e-05'")
                self.assertEqual(status, expected)

    def test_unknown_commits_and_cases_are_refused(self):
        with self.assertRaisesRegex(Failure, "no commit 'no-such-commit'"):
            same.commit_of("no-such-commit")
        with mock.patch.object(same, "library_of_the_clock", lambda: ""), \
                self.assertRaisesRegex(Failure, "no case with 'nothing' in its name"):
            same.compare_builds("base", "new", [], "nothing")

    def test_script_passes_its_arguments_on(self):
        done = subprocess.run([str(PROJECT / "script" / "test"), "same", "--help"],
                              stdout=subprocess.PIPE, text=True)

        self.assertEqual(done.returncode, 0)
        self.assertIn("--data DIR", done.stdout)


class CasesTest(unittest.TestCase):
    def test_each_setting_has_another_value(self):
        document = (PROJECT / "docs" / "options.md").read_text("utf-8")
        rows = re.findall(r"^\| `([A-Z]\w+)` (?:\|[^|]*){4}\|$", document, re.MULTILINE)
        switches = re.findall(r"^\| `(\w+)` \| the first \w+ of the process", document, re.MULTILINE)

        self.assertGreater(len(rows), 25)
        self.assertEqual(set(same_cases.SETTINGS), set(rows) | set(switches))

    def test_setting_without_values_gets_another_than_its_default(self):
        document = ("| Key | Meaning | Read as | Default | Range |\n|---|---|---|---|---|\n"
                    "| `Fast` | be fast | flag | 1 | |\n"
                    "| `Slow` | be slow | flag | 0 | |\n"
                    "| `Size` | how large | integer; below 0 becomes 0 | 20 | 0 and more |\n"
                    "| `Factor` | how much | real | 1.1 | 0 and more |\n"
                    "| `Scale` | which | word: `sqrt` or `linear` | `sqrt` | |\n")

        self.assertEqual(same_cases.other_values(document),
                         {"Fast": ["0"], "Slow": ["1"], "Size": ["21"], "Factor": ["2.1"]})

    def test_every_command_has_its_input(self):
        with tempfile.TemporaryDirectory() as folder:
            inputs = same_cases.write_inputs(pathlib.Path(folder), PROJECT / "data" / "shop", [])
            words = [word for case in same_cases.all_cases([]) for command in case.commands
                     for word in command if word.startswith("{")]

            self.assertEqual({word[1:-1] for word in words} - set(inputs), set())
            for path in inputs.values():
                self.assertGreater(pathlib.Path(path).stat().st_size, 0)

    def test_names_of_cases_differ(self):
        names = [case.name for case in same_cases.all_cases([])]

        self.assertEqual(len(set(names)), len(names))


class SyntheticTest(unittest.TestCase):
    def test_same_recipe_gives_same_lines_and_another_seed_others(self):
        recipe, other = (synthetic.Recipe(labels=5, texts=20, shaped=True, seed=seed)
                         for seed in (3, 4))

        lines = list(synthetic.data_lines(recipe))
        self.assertEqual(lines, list(synthetic.data_lines(recipe)))
        self.assertNotEqual(lines, list(synthetic.data_lines(other)))
        self.assertEqual(len(lines), 20)

    def test_each_label_has_a_text(self):
        lines = synthetic.data_lines(synthetic.Recipe(labels=30, texts=30))

        self.assertEqual([line.split(b"\t")[0].decode() for line in lines],
                         [synthetic.label_of(number) for number in range(30)])

    def test_words_are_distinct(self):
        self.assertEqual(len({synthetic.word_of(rank) for rank in range(10000)}), 10000)

    def test_frequency_of_a_word_falls_with_its_rank(self):
        """By Zipf's law, of 10,000 draws from 4 words 4,800, 2,400, 1,600 and 1,200 are expected."""
        source, zipf = synthetic.random.Random(1), synthetic.Zipf(4)
        draws = [zipf.draw(source) for _ in range(10000)]

        for rank, expected in enumerate((4800, 2400, 1600, 1200)):
            self.assertAlmostEqual(draws.count(rank), expected, delta=150)

    def test_share_of_topic_words_is_as_requested(self):
        """Of 100 words only 5 are topic words. With a share of 1 no other word is drawn."""
        recipe = synthetic.Recipe(labels=1, texts=50, words=100, topic_words=5, topic_share=1.0)
        words = {word for line in synthetic.data_lines(recipe)
                 for word in line.split(b"\t")[1].split()}

        self.assertLessEqual(len(words), 5)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
