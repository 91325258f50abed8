"""Compares docs/embedding.md and docs/messages.md with the programs that they show.

Usage: embedding_document_test.py PROJECT_FOLDER PROGRAM...

The programs are given in the order of the two documents. Each is compiled from the source of its name
in examples/.
"""

import pathlib
import re
import sys
import unittest

from shown_program import output_of

PROJECT = pathlib.Path(sys.argv[1])
PAGES = ["embedding.md", "messages.md"]
PROGRAMS = [pathlib.Path(argument) for argument in sys.argv[2:]]


class EmbeddingDocumentTest(unittest.TestCase):
    maxDiff = None

    def blocks(self, language):
        """The texts of the documents' blocks of a language, one for each program."""
        texts = "".join((PROJECT / "docs" / page).read_text("utf-8") for page in PAGES)
        blocks = re.findall(rf"^```{language}\n(.*?)^```$", texts, re.MULTILINE | re.DOTALL)
        self.assertEqual(len(blocks), len(PROGRAMS))
        return blocks

    def test_every_example_is_shown(self):
        sources = {path.stem for path in (PROJECT / "examples").glob("*.cpp")}
        self.assertEqual({program.stem for program in PROGRAMS}, sources)

    def test_shown_programs_equal_the_compiled_sources(self):
        for program, block in zip(PROGRAMS, self.blocks("cpp")):
            with self.subTest(program.stem):
                source = (PROJECT / "examples" / f"{program.stem}.cpp").read_text("utf-8")
                self.assertMultiLineEqual(block, source)

    def test_shown_output_equals_the_output_of_the_programs(self):
        for program, block in zip(PROGRAMS, self.blocks("text")):
            with self.subTest(program.stem):
                self.assertMultiLineEqual(block, output_of(program))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
