"""Checks the values of options before the extension module gets them.

The messages of the module about wrong types contain all arguments, so all texts.
"""

from __future__ import annotations

import operator
import os
from collections.abc import Mapping
from typing import Any, Optional

from ._types import Path

_LARGEST = 2**31 - 1


def _refuse(name: str, kind: str, value: object) -> TypeError:
    return TypeError(f"{name} must be {kind}, not {type(value).__name__}")


def whole_number(name: str, value: Any) -> int:
    """Numbers that are too large or too small for the module mean the same as its limits."""
    try:
        number = operator.index(value)
    except TypeError:
        raise _refuse(name, "a whole number", value) from None
    return max(-_LARGEST, min(number, _LARGEST))


def number(name: str, value: Any) -> float:
    # float() would accept a str.
    if not hasattr(value, "__float__"):
        raise _refuse(name, "a number", value)
    return float(value)


def text(name: str, value: Any) -> str:
    if not isinstance(value, str):
        raise _refuse(name, "a str", value)
    return value


def truth_value(name: str, value: Any) -> bool:
    # Also the truth values of numpy.
    if not hasattr(value, "__bool__"):
        raise _refuse(name, "a bool", value)
    return bool(value)


def path_bytes(path: Path) -> bytes:
    """The system would use the part of the path before a zero."""
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("embedded null byte")
    return name


def setting_texts(settings: Optional[Mapping[str, object]]) -> dict[str, str]:
    """The texts of the values. Settings write truth values as 1 and 0."""
    if settings is None:
        return {}
    if not isinstance(settings, Mapping):
        raise _refuse("settings", "a mapping of names to values", settings)
    return {
        name: str(int(value)) if isinstance(value, bool) else str(value)
        for name, value in settings.items()
    }


def threads(jobs: Any) -> int:
    count = whole_number("jobs", jobs)
    if count < 0:
        raise ValueError("jobs must be 0 or more")
    return count or len(os.sched_getaffinity(0))


def refuse_one_text(texts: object) -> None:
    """The elements of one text would be texts themselves."""
    if isinstance(texts, (str, bytes, Mapping)):
        raise TypeError(f"texts must be an iterable of texts, not one {type(texts).__name__}")


def refuse_table(texts: object) -> None:
    """The elements of a table are its rows, or the names of its columns."""
    shape = getattr(texts, "shape", None)
    if shape is not None and len(shape) != 1:
        raise TypeError(
            f"texts must be a text or an iterable of texts, not a {type(texts).__name__} "
            f"with {len(shape)} dimensions"
        )
