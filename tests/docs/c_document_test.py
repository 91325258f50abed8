"""Compares docs/c.md with the programs that it shows and with the header of the C interface.

Usage: c_document_test.py PROJECT_FOLDER PROGRAM...

The programs are compiled from EXAMPLES, in this order.
"""

import pathlib
import re
import sys
import unittest

from shown_program import output_of

PROJECT = pathlib.Path(sys.argv[1])
PROGRAMS = [pathlib.Path(program) for program in sys.argv[2:]]
EXAMPLES = ["text_library.c", "text_library_more.c"]
HEADER = (PROJECT / "text" / "include" / "zandrel" / "text" / "c.h").read_text("utf-8")
PAGE = (PROJECT / "docs" / "c.md").read_text("utf-8")
SOURCES = sorted((PROJECT / "text" / "c").glob("*.cpp"))


class CDocumentTest(unittest.TestCase):
    maxDiff = None

    def blocks(self, language):
        blocks = re.findall(rf"^```{language}\n(.*?)^```$", PAGE, re.MULTILINE | re.DOTALL)
        self.assertEqual(len(blocks), len(EXAMPLES))
        return blocks

    def test_shown_programs_equal_the_compiled_sources(self):
        for example, block in zip(EXAMPLES, self.blocks("c")):
            source = (PROJECT / "examples" / example).read_text("utf-8")
            self.assertMultiLineEqual(block, source)

    def test_shown_outputs_equal_those_of_the_programs(self):
        self.assertEqual(len(PROGRAMS), len(EXAMPLES))
        for program, block in zip(PROGRAMS, self.blocks("text")):
            self.assertMultiLineEqual(block, output_of(program))

    def test_five_lines_are_those_of_the_header(self):
        lines = re.findall(r"^//     (.*)$", HEADER.split("#ifndef")[0], re.MULTILINE)
        self.assertEqual(len(lines), 5)
        shown = "\n".join("    " + line for line in lines)
        self.assertIn(shown, PAGE)

    def test_each_function_is_in_the_table(self):
        declared = re.findall(r"^ZANDREL_TEXT_EXPORT [^;(]*?(zandrel_\w+)\(", HEADER, re.MULTILINE)
        table = PAGE.split("## Functions")[1].split("## ")[0]
        rows = [line.split("|")[1] for line in table.splitlines() if line.startswith("| `")]
        shown = re.findall(r"`(zandrel_\w+)`", " ".join(rows))
        self.assertCountEqual(shown, declared)
        decision = (PROJECT / "docs" / "decisions" / "c_interface.md").read_text("utf-8")
        self.assertIn(f"There are {len(declared)} functions.", decision)

    def test_each_refusal_is_in_the_table(self):
        source = "".join(path.read_text("utf-8") for path in SOURCES)
        source += "".join(path.with_suffix(".h").read_text("utf-8") for path in SOURCES
                          if path.with_suffix(".h").exists())
        reasons = re.findall(r'refuse\([^;]*?"([^"]+)"\);', source)
        self.assertGreaterEqual(len(reasons), 7)
        for reason in reasons:
            with self.subTest(reason):
                self.assertRegex(PAGE, rf"\| `argument \w+ {re.escape(reason)}` \|")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
