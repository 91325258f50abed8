"""The exceptions of the package: one class for each code of the library."""

from __future__ import annotations

import enum
from typing import Any, Optional


class ErrorCode(enum.IntEnum):
    """The kinds of failure. Their numbers are the same in C and C++ and in every later version."""

    invalid_argument = 1
    not_found = 2
    cannot_read = 3
    cannot_write = 4
    not_a_container = 5
    damaged = 6
    other_analysis = 7
    unknown_label = 8
    wrong_data = 9
    busy = 10
    interrupted = 11
    unsupported = 12
    out_of_memory = 13
    closed = 14
    failed = 15


class Error(Exception):
    """The base of all exceptions of the library.

    `code` is the kind of failure. `file` and `line` are the place that the message is about, or
    None.
    """

    code: ErrorCode = ErrorCode.failed
    file: Optional[str] = None
    line: Optional[int] = None

    def __reduce__(self) -> Any:
        # The attributes must survive the way from one process to another.
        return make_error, (int(self.code), str(self), self.file, self.line)


class InvalidArgumentError(Error, ValueError):
    """An option or a value that no container could accept."""

    code = ErrorCode.invalid_argument


class NotFoundError(Error, FileNotFoundError, LookupError):
    """There is no such file, or no such node."""

    code = ErrorCode.not_found


class CannotReadError(Error, OSError):
    """A file exists but cannot be read."""

    code = ErrorCode.cannot_read


class CannotWriteError(Error, OSError):
    """A file cannot be written; the old one is as it was."""

    code = ErrorCode.cannot_write


class NotAContainerError(Error, ValueError):
    """The file is something else."""

    code = ErrorCode.not_a_container


class DamagedError(Error, ValueError):
    """A container whose bytes have changed or are missing."""

    code = ErrorCode.damaged


class OtherAnalysisError(Error, ValueError):
    """The container was made with another text analysis than the given one."""

    code = ErrorCode.other_analysis


class UnknownLabelError(Error, ValueError):
    """Learning a label that the container does not have."""

    code = ErrorCode.unknown_label


class WrongDataError(Error, ValueError):
    """A record, a tree or an options file is wrong; see `file` and `line`."""

    code = ErrorCode.wrong_data


class BusyError(Error, OSError):
    """Another process is changing the container."""

    code = ErrorCode.busy


class WorkInterruptedError(Error):
    """The progress callback has returned False."""

    code = ErrorCode.interrupted


class UnsupportedError(Error):
    """For example learning with a compact container."""

    code = ErrorCode.unsupported


class OutOfMemoryError(Error, MemoryError):
    """There is not enough memory."""

    code = ErrorCode.out_of_memory


class ClosedError(Error, ValueError):
    """The classifier has been closed."""

    code = ErrorCode.closed


class FailedError(Error, RuntimeError):
    """Any other failure of the library."""

    code = ErrorCode.failed


_CLASSES: dict[int, type[Error]] = {
    int(kind.code): kind
    for kind in (
        InvalidArgumentError,
        NotFoundError,
        CannotReadError,
        CannotWriteError,
        NotAContainerError,
        DamagedError,
        OtherAnalysisError,
        UnknownLabelError,
        WrongDataError,
        BusyError,
        WorkInterruptedError,
        UnsupportedError,
        OutOfMemoryError,
        ClosedError,
        FailedError,
    )
}


def make_error(code: int, message: str, file: Optional[str], line: Optional[int]) -> Error:
    """The exception for a code. The extension module calls this function."""
    error = _CLASSES.get(code, FailedError)(message)
    error.file = file
    error.line = line
    return error
