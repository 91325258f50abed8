"""Tests the comparison of instruction counts; valgrind is not needed.

Usage: instructions_test.py PROJECT_FOLDER
"""
import contextlib
import io
import pathlib
import sys
import tempfile
import unittest
from unittest import mock

PROJECT = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(PROJECT / "script"))

from benchmarks import instructions
from benchmarks.failure import Failure
from benchmarks.instructions import Count

ANNOTATED = """\
I1 cache:
Profile data file 'callgrind.out' (creator: callgrind-3.19.0)
--------------------------------------------------------------------------------
Ir                  file:function
--------------------------------------------------------------------------------
12,345 (61.7%)  ???:zeSml::feed(std::vector<Concept, std::allocator<Concept> >&) [/lib/libzandrel.so]
 6,000 (30.0%)  ./malloc/./malloc/malloc.c:_int_malloc [/lib/libc.so.6]
   700 ( 3.5%)  ???:void std::sort<zeNode**>(zeNode**, zeNode**) const [clone .isra.0] [/lib/a.so]
   300 ( 1.5%)  ???:void std::sort<int*>(int*, int*) [/lib/a.so]
"""


class InstructionsTest(unittest.TestCase):
    def complaint(self, count, recorded, functions=None, before=None):
        return instructions.complaint("train", Count(count, functions or {}),
                                      Count(recorded, before or {}))

    def test_rise_of_more_than_five_percent_is_refused(self):
        self.assertIsNone(self.complaint(90, 100))
        self.assertIsNone(self.complaint(105, 100))
        self.assertEqual(self.complaint(10600, 10000),
                         "train: 10,600 instructions, recorded 10,000: +6.0 %, 5 % are allowed")

    def test_functions_that_need_more_are_named_the_greatest_rise_first(self):
        text = self.complaint(2000, 1000, {"same": 300, "less": 10, "more": 700, "new": 950},
                              {"same": 300, "less": 20, "more": 600, "gone": 50})

        self.assertEqual(text.splitlines()[1:], ["    950, recorded at most 20: new",
                                                 "    700, recorded 600: more"])

    def test_jobs_and_records_must_match(self):
        table = io.StringIO()
        with contextlib.redirect_stdout(table):
            complaints = instructions.compare({"new": Count(100, {}), "kept": Count(90, {})},
                                              {"old": Count(100, {}), "kept": Count(100, {})})

        self.assertEqual(complaints, ["new: no recorded count",
                                      "old: recorded, but there is no such job"])
        self.assertRegex(table.getvalue(), r"kept +90 +-10\.0 %")

    def test_reads_sums_and_functions_of_callgrind(self):
        self.assertEqual(instructions.total_of("events: Ir\nfn=(1)\nsummary: 1234\n"), 1234)
        with self.assertRaisesRegex(Failure, "no sum"):
            instructions.total_of("events: Ir\n")
        self.assertEqual(instructions.parse_annotated(ANNOTATED),
                         {"zeSml::feed": 12345, "_int_malloc": 6000, "std::sort": 1000})

    def test_recorded_counts_are_read_as_written(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "counts.json"
            self.assertEqual(instructions.read_counts(path), {})
            instructions.write_counts(path, {"train": Count(5, {"f": 3})})
            read = instructions.read_counts(path)

        self.assertEqual((read["train"].instructions, read["train"].functions), (5, {"f": 3}))

    def test_missing_valgrind_fails(self):
        with mock.patch.object(instructions.shutil, "which", lambda *_, **__: None), \
                contextlib.redirect_stderr(io.StringIO()) as messages:
            status = instructions.main(["zandrel", "counts.json"])

        self.assertEqual(status, 1)
        self.assertIn("missing package: valgrind", messages.getvalue())

    def test_rise_gives_status_1_and_update_records(self):
        with tempfile.TemporaryDirectory() as folder:
            counts = str(pathlib.Path(folder) / "counts.json")
            for instructions_of_job, arguments, expected in ((100, ["--update"], 0), (104, [], 0),
                                                             (106, [], 1), (106, ["--update"], 0),
                                                             (106, [], 0)):
                with mock.patch.object(instructions, "count_all",
                                       lambda _: {"train": Count(instructions_of_job, {})}), \
                        contextlib.redirect_stdout(io.StringIO()), \
                        contextlib.redirect_stderr(io.StringIO()):
                    self.assertEqual(instructions.main(["zandrel", counts, *arguments]), expected)

    def test_inputs_are_the_same_bytes_in_each_run(self):
        with tempfile.TemporaryDirectory() as one, tempfile.TemporaryDirectory() as other:
            contents = []
            for folder in (one, other):
                instructions.write_inputs(pathlib.Path(folder))
                contents.append({path.name: path.read_bytes()
                                 for path in pathlib.Path(folder).iterdir()})
            self.assertEqual(*contents)
            words = {word for job in instructions.all_jobs()
                     for command in [*job.preparations, job.counted] for word in command}
            self.assertLessEqual(set(contents[0]), words)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
