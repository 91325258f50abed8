"""Converts the values of fields between Python and the text form of the engine."""

from __future__ import annotations

import datetime
from typing import Union

_FORM = "%Y-%m-%dT%H:%M:%S.%fZ"


def date_text(value: datetime.date) -> str:
    """The moment in UTC. A value without a zone is in UTC: results are the same everywhere."""
    if not isinstance(value, datetime.datetime):
        value = datetime.datetime(value.year, value.month, value.day)
    if value.tzinfo is not None:
        value = value.astimezone(datetime.timezone.utc).replace(tzinfo=None)
    return value.isoformat(timespec="microseconds") + "Z"


def date_of(text: str) -> Union[datetime.datetime, str]:
    """The other way; a moment that Python cannot express remains a text."""
    try:
        if text.endswith("Z"):
            form = _FORM if "." in text else "%Y-%m-%dT%H:%M:%SZ"
            moment = datetime.datetime.strptime(text, form)
            return moment.replace(tzinfo=datetime.timezone.utc)
        return datetime.datetime.fromtimestamp(int(text), datetime.timezone.utc)
    except (OverflowError, OSError, ValueError):
        return text


def number_of(text: str) -> Union[int, float, str]:
    """The number of a text; a text that is no number remains a text."""
    try:
        return int(text)
    except ValueError:
        pass
    try:
        return float(text)
    except ValueError:
        return text
