"""Records: the labelled texts of a data file."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from typing import Optional, Union

from . import _options, _zandrel
from ._types import Example, Path

Columns = Union[str, Sequence[str]]


def _columns(columns: Columns) -> list[str]:
    return [columns] if isinstance(columns, str) else list(columns)


class Records(Iterator[Example]):
    """Reads labelled texts from a file, one after the other.

    The file has lines "label<TAB>text", CSV, JSON lines or lines with `__label__`, each also
    compressed with gzip or zstd, or it is a corpus file. Only one text is in memory at a time.

    After a bad record, which raises WrongDataError with file and line, the next one can be read.
    """

    def __init__(
        self,
        path: Path,
        *,
        format: str = "",
        text: Columns = (),
        label: Columns = (),
        fields: Columns = (),
        header: bool = False,
        label_separator: Optional[str] = None,
    ) -> None:
        """Opens a file.

        format: "tsv", "csv", "jsonl" or "fasttext"; empty: by the file's name.
        text, label: names of columns or keys, or numbers of columns from "1"; empty: the default.
        fields: columns that become fields, as NAME or NAME=COLUMN.
        header: the first row has the names of the columns.
        label_separator: separates several labels of a column.
        """
        self._file = _zandrel.open_records(
            _options.path_bytes(path),
            _options.text("format", format),
            _columns(text),
            _columns(label),
            _columns(fields),
            _options.truth_value("header", header),
            label_separator,
        )

    def __next__(self) -> Example:
        example = self._file.next()
        if example is None:
            raise StopIteration
        return example
