#!/usr/bin/env python3
"""Usage: csv_module_test.py PROGRAM

Compares the rows that the CSV reader finds in 10,000 random tables with those that the csv module of
Python finds. PROGRAM is the test program zandrel_csv_dump. The tables are the same in each run.
"""

import csv
import io
import json
import random
import subprocess
import sys
import unittest

PROGRAM = sys.argv.pop(1)
PIECES = [",", '"', '""', "\n", "\r\n", "\r", " ", "\t", ";", "'", "a", "bc", "é", "汉", "\\", "0", ""]


def random_table(random_numbers):
    """A table with columns of random pieces, written in one of the ways of the module."""
    text = io.StringIO(newline="")
    line_end = random_numbers.choice(["\n", "\r\n"])
    # The module writes CR without quotes if it is no part of the line end.
    pieces = PIECES if "\r" in line_end else [piece for piece in PIECES if "\r" not in piece]
    writer = csv.writer(text, lineterminator=line_end,
                        quoting=random_numbers.choice([csv.QUOTE_MINIMAL, csv.QUOTE_ALL,
                                                       csv.QUOTE_NONNUMERIC]))
    table = []
    for _ in range(random_numbers.randrange(6)):
        columns = random_numbers.choice([1, 2, 3, 8])
        table.append(["".join(random_numbers.choices(pieces, k=random_numbers.randrange(5)))
                      for _ in range(columns)])
    writer.writerows(table)
    written = text.getvalue()
    if random_numbers.random() < 0.2:
        written = written.rstrip("\r\n")
    return written


def rows_of_module(text):
    """The rows without those of empty lines, which have no column."""
    return [row for row in csv.reader(io.StringIO(text, newline=""), strict=True) if row]


def rows_of_program(tables):
    blocks = []
    for table in tables:
        block = table.encode()
        blocks.append(b"%d\n" % len(block) + block)
    done = subprocess.run([PROGRAM], input=b"".join(blocks), stdout=subprocess.PIPE, check=True)
    return [json.loads(line) for line in done.stdout.splitlines()]


class CsvModuleTest(unittest.TestCase):
    def test_random_tables_have_the_same_rows(self):
        random_numbers = random.Random(18)
        tables = [random_table(random_numbers) for _ in range(10000)]
        answers = rows_of_program(tables)
        self.assertEqual(len(answers), len(tables))
        for table, answer in zip(tables, answers):
            self.assertEqual(answer, rows_of_module(table), repr(table))
        self.assertGreater(sum('"' in table for table in tables), 5000)
        self.assertGreater(sum(len(answer) > 1 for answer in answers), 5000)

    def test_unclosed_quotes_are_refused_by_both(self):
        """The module refuses the whole file; the program refuses a row and reads the others."""
        tables = ['a,"b\n', 'a,b\n"c\nd,e\n', '"a"b\n']
        for table, answer in zip(tables, rows_of_program(tables)):
            with self.assertRaises(csv.Error):
                rows_of_module(table)
            self.assertEqual(sum(isinstance(row, str) for row in answer), 1, answer)


if __name__ == "__main__":
    unittest.main()
