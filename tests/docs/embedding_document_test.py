"""Holds docs/embedding.md against the program that it shows.

Usage: embedding_document_test.py PROJECT_FOLDER PROGRAM
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(sys.argv[1])
PROGRAM = sys.argv[2]


class EmbeddingDocumentTest(unittest.TestCase):
    maxDiff = None

    def block(self, language):
        """The text of the document's only block of a language."""
        document = (PROJECT / "docs" / "embedding.md").read_text("utf-8")
        blocks = re.findall(rf"^```{language}\n(.*?)^```$", document, re.MULTILINE | re.DOTALL)
        self.assertEqual(len(blocks), 1)
        return blocks[0]

    def test_shows_the_program_as_it_is_compiled(self):
        source = (PROJECT / "examples" / "embedding.cpp").read_text("utf-8")
        self.assertMultiLineEqual(self.block("cpp"), source)

    def test_shows_what_the_program_prints(self):
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run(
                [PROGRAM],
                cwd=folder,
                stdin=subprocess.DEVNULL,
                capture_output=True,
                text=True,
                timeout=60,
            )
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertMultiLineEqual(self.block("text"), run.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
