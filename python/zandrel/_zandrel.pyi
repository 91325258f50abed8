"""The functions of the extension module, for type checkers."""

from collections.abc import Iterable
from typing import Any, Optional

from ._types import Example, ExampleLike, Label, Progress, Reasons, TextLike

version: str

def check_interpreter() -> None: ...
def error_codes() -> dict[str, int]: ...
def open_records(
    path: bytes,
    format: str,
    text_columns: list[str],
    label_columns: list[str],
    field_columns: list[str],
    has_header: bool,
    label_separator: Optional[str],
    /,
) -> FileRecords: ...

class FileRecords:
    def next(self) -> Optional[Example]: ...

class Classifier:
    @staticmethod
    def open(
        path: bytes,
        analysis: Optional[tuple[str, str]],
        prepare_to_explain: bool,
        progress: Optional[Progress],
        /,
    ) -> Classifier: ...
    @staticmethod
    def train(
        examples: FileRecords | Iterable[ExampleLike],
        analysis: Optional[tuple[str, str]],
        settings: dict[str, str],
        tree: str,
        compact: bool,
        calibrate: bool,
        prepare_to_explain: bool,
        progress: Optional[Progress],
        /,
    ) -> Classifier: ...
    def learn(
        self,
        examples: FileRecords | Iterable[ExampleLike],
        add_labels: bool,
        progress: Optional[Progress],
        /,
    ) -> None: ...
    def classify(
        self, text: TextLike, count: int, threshold: float, reject: float, /
    ) -> list[Label]: ...
    def classify_all(
        self,
        texts: Iterable[TextLike],
        count: int,
        threshold: float,
        reject: float,
        jobs: int,
        first: int,
        /,
    ) -> list[list[Label]]: ...
    def explain(self, text: TextLike, node: str, /) -> Reasons: ...
    def explain_all(
        self, texts: Iterable[TextLike], node: str, jobs: int, /
    ) -> list[Reasons]: ...
    def save(self, path: bytes, /) -> None: ...
    def close(self) -> None: ...
    def check_open(self) -> None: ...
    def labels(self) -> list[str]: ...
    def is_calibrated(self) -> bool: ...
    def analysis(self) -> tuple[str, str]: ...
