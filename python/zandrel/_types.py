"""The values that a classifier takes and gives."""

from __future__ import annotations

import datetime
import os
from collections.abc import Iterable, Mapping, Sequence
from typing import Any, Callable, NamedTuple, Optional, Union

FieldScalar = Union[str, bool, int, float, datetime.date, datetime.datetime]

FieldValue = Union[FieldScalar, Sequence[FieldScalar]]
"""A value that rules read by its name. The elements of a list must have one type."""

TextLike = Union[str, bytes, Mapping[str, Any]]
"""A text: `str`, UTF-8 in `bytes`, or a mapping with "text" and perhaps "fields"."""

Progress = Callable[[float], Optional[bool]]
"""Is called with the part of the work that is done, 0 to 1. If it returns False, the work ends."""

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]


class _LabelFields(NamedTuple):
    name: str
    path: str
    score: float


class Label(_LabelFields):
    """A category with its score.

    `path` has the names of the tree's nodes from the root down, joined by "/". `confidence` is the
    chance that the best label of a text is right, 0 to 1. Only the best label has one, and only if
    the container was trained with `calibrate`; else it is None. It is an attribute and no element
    of the tuple: `name, path, score = label`, and `==` does not compare it.
    """

    # Labels without a confidence share this value: an attribute of its own would need 200 bytes.
    confidence: Optional[float] = None

    def __new__(
        cls, name: str, path: str, score: float, confidence: Optional[float] = None
    ) -> Label:
        self = super().__new__(cls, name, path, score)
        if confidence is not None:
            self.confidence = confidence
        return self

    def _replace(self, **changes: Any) -> Label:
        confidence = changes.pop("confidence", self.confidence)
        return Label(*super()._replace(**changes), confidence)

    def __repr__(self) -> str:
        fields = super().__repr__()
        return fields if self.confidence is None else f"{fields[:-1]}, confidence={self.confidence})"


class _EffectFields(NamedTuple):
    concept: str
    adds: float
    is_known: bool


class Effect(_EffectFields):
    """The effect of a word, or of a pair of words, on a score.

    `adds` is the score minus the score of the text if the word had no weight. Below 0 the word
    lowers the score. `is_known` is False for a word that the container has not learned.
    `log_odds_adds` is the effect on the log odds of the raw score, from -27.7 to 27.7. Where the
    answer is certain, `adds` is nearly 0 for all words, and `log_odds_adds` still differs. It is an
    attribute and no element of the tuple: `concept, adds, is_known = effect`, and `==` does not
    compare it.
    """

    log_odds_adds: float = 0.0

    def __new__(
        cls, concept: str, adds: float, is_known: bool, log_odds_adds: float = 0.0
    ) -> Effect:
        self = super().__new__(cls, concept, adds, is_known)
        if log_odds_adds != 0.0:
            self.log_odds_adds = log_odds_adds
        return self

    def _replace(self, **changes: Any) -> Effect:
        log_odds_adds = changes.pop("log_odds_adds", self.log_odds_adds)
        return Effect(*super()._replace(**changes), log_odds_adds)

    def __repr__(self) -> str:
        return f"{super().__repr__()[:-1]}, log_odds_adds={self.log_odds_adds})"


class Reasons(NamedTuple):
    """Why a text has a score. `label` is empty if no label has a score above 0."""

    label: str
    path: str
    score: float
    effects: list[Effect]


class Example(NamedTuple):
    """A text with the labels that a person has given to it."""

    labels: Union[str, Iterable[str]]
    text: Union[str, bytes]
    fields: Mapping[str, FieldValue] = {}


ExampleLike = Union[
    Example,
    tuple[Union[str, Iterable[str]], Union[str, bytes]],
    tuple[Union[str, Iterable[str]], Union[str, bytes], Mapping[str, FieldValue]],
    Mapping[str, Any],
]
"""`Example`, (labels, text), or a mapping with "labels", "text" and perhaps "fields"."""
