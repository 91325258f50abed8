"""Finds the errors that the tests expect.

An expectation is a call of one of the macros of tests/support. If the call has the text itself, that
text counts as tested. If the text comes from a table, every text of the file counts as tested.
"""

import pathlib
import re

from cpp_tokens import arguments, spelled, tokenize
from raises import ASSERTION

# The positions of class, number and text in the arguments of each macro, counted from the end.
_EXPECTATIONS = {
    "EXPECT_QTX": (-3, -2, -1),
    "EXPECT_QTX_ARGS": (-4, -3, -2),
    "EXPECT_QTXBASE": (None, None, -1),
    "EXPECT_SEGBUF_ERROR": (None, None, -1),
    "EXPECT_ASSERTS": (None, None, -1),
    "EXPECT_THROW": (-1, None, None),
}
_CLASSES = {
    "EXPECT_QTXBASE": "qtXbase",
    "EXPECT_SEGBUF_ERROR": "qtxSegBuf",
    "EXPECT_ASSERTS": ASSERTION,
}


class TestedErrors:
    """`texts`: the test sources by name."""

    def __init__(self, texts):
        self._expected = []  # class, number or None, texts
        for text in texts.values():
            self._take(tokenize(text))

    @staticmethod
    def of_folder(folder):
        paths = sorted(pathlib.Path(folder).rglob("*.cpp"))
        return TestedErrors({str(path): path.read_text("utf-8") for path in paths})

    def _take(self, tokens):
        literals = [token.text for token in tokens if token.kind == "string"]
        for index, token in enumerate(tokens[:-1]):
            if token.text in _EXPECTATIONS and tokens[index + 1].text == "(":
                self._take_macro(token.text, arguments(tokens, index + 1), literals)

    def _take_macro(self, macro, given, literals):
        at_class, at_number, at_text = _EXPECTATIONS[macro]
        raised = _CLASSES.get(macro) or spelled(given[at_class])
        if macro.startswith("EXPECT_QTX") and at_class is not None:
            raised = f"qtX<{raised}>"
        number = None
        if at_number is not None and given[at_number][0].kind == "number":
            number = given[at_number][0].text
        texts = literals
        if at_text is not None:
            named = [token.text for token in given[at_text] if token.kind == "string"]
            texts = named or literals
        self._expected.append((without_parameters(raised), number, texts))

    def has(self, row):
        return any(
            raised == without_parameters(row.raised)
            and number in (None, row.number)
            and any(_tells(text, row.pieces) for text in texts)
            for raised, number, texts in self._expected
        )


def without_parameters(raised):
    """`qtX<Store>` for `qtX<Store<F>>`: tests name a certain instance of a template."""
    return re.sub(r"(qtX<\w+)<.*>>$", r"\1>", raised)


def _tells(text, pieces):
    """True if a literal of a test is the message or its beginning."""
    return text == pieces[0] if len(pieces) == 1 else text.startswith(pieces[0] or "")
