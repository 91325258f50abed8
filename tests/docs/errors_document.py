"""Reads docs/errors.md: a heading for each class, and under it a table with a row for each error."""

import re
from typing import NamedTuple

from cpp_tokens import unescape
from raises import HOLE

HEADER = ["Number", "Text", "Arguments", "Cause", "State afterwards"]
UNTESTED_HEADER = ["Class", "Text", "Reason"]

_CLASS_HEADING = re.compile(r"## `([^`]+)`$")
_TEXT_PIECE = re.compile(r'\s*(?:"((?:[^"\\]|\\.)*)"|([a-z][a-z ]*))\s*(?:\+|$)')


class Row(NamedTuple):
    raised: str
    number: str
    pieces: tuple
    arguments: list  # what the document says of each; empty for "none"
    line: int

    def key(self):
        return self.raised, self.number, self.pieces


class Untested(NamedTuple):
    raised: str
    pieces: tuple
    reason: str
    line: int


class BadDocument(Exception):
    pass


class ErrorsDocument:
    def __init__(self, text):
        self.rows = []
        self.untested = []
        self._class = None  # the class of the section that is read
        self._header = None  # of the table that is read
        for number, line in enumerate(text.splitlines(), 1):
            self._take(line, number)

    def _take(self, line, number):
        if line.startswith("## "):
            heading = _CLASS_HEADING.match(line)
            self._class = heading.group(1) if heading else None
            self._header = None
        elif not line.startswith("|"):
            self._header = None
        elif self._header is None:
            self._header = cells_of(line)
            if self._header not in (HEADER, UNTESTED_HEADER):
                raise BadDocument(f"line {number}: no table of errors begins so: {line}")
        elif not line.startswith("|---"):
            self._take_row(cells_of(line), number)

    def _take_row(self, cells, number):
        if len(cells) != len(self._header) or "" in cells:
            raise BadDocument(f"line {number}: a row needs {len(self._header)} filled cells")
        if self._header == UNTESTED_HEADER:
            raised = cells[0].strip("`")
            self.untested.append(Untested(raised, pieces_of(cells[1], number), cells[2], number))
            return
        if self._class is None:
            raise BadDocument(f"line {number}: an error under no class")
        given = [] if cells[2] == "none" else cells[2].split(", ")
        self.rows.append(Row(self._class, cells[0], pieces_of(cells[1], number), given, number))


def cells_of(line):
    cells = re.split(r"(?<!\\)\|", line.strip())[1:-1]
    return [cell.strip().replace("\\|", "|") for cell in cells]


def pieces_of(cell, number):
    """The pieces of a message that is written as `"text" + word + "text"`."""
    if len(cell) < 3 or cell[0] != "`" or cell[-1] != "`":
        raise BadDocument(f"line {number}: the text is to stand between backquotes")
    pieces = []
    position = 1
    while position < len(cell) - 1:
        match = _TEXT_PIECE.match(cell, position, len(cell) - 1)
        if match is None:
            raise BadDocument(f"line {number}: no text: {cell[position:-1]}")
        literal = match.group(1)
        pieces.append(HOLE if literal is None else unescape(literal))
        position = match.end()
    return tuple(pieces)


def shown(pieces):
    return " + ".join("..." if piece is HOLE else f'"{piece}"' for piece in pieces)
