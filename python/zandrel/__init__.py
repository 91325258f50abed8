"""Zandrel, a text classification engine: text in, labels out.

    import zandrel

    classifier = zandrel.Classifier.train([("sport", "a goal"), ("money", "the bank")])
    classifier.classify("a late goal")      # [Label(name='sport', ...)]
    classifier.save("news.kc")

`zandrel.sklearn` has an estimator for scikit-learn, and `zandrel.dask` a function for Dask.
"""

from ._classifier import Analysis, Classifier, Examples
from ._errors import (
    BusyError,
    CannotReadError,
    CannotWriteError,
    ClosedError,
    DamagedError,
    Error,
    ErrorCode,
    FailedError,
    InvalidArgumentError,
    NotAContainerError,
    NotFoundError,
    OtherAnalysisError,
    OutOfMemoryError,
    UnknownLabelError,
    UnsupportedError,
    WorkInterruptedError,
    WrongDataError,
)
from ._records import Records
from ._types import (
    Effect,
    Example,
    ExampleLike,
    FieldValue,
    Label,
    Progress,
    Reasons,
    TextLike,
)
from ._zandrel import check_interpreter as _check_interpreter
from ._zandrel import version as __version__

# A second interpreter gets a copy of the module, without its initialisation.
_check_interpreter()

__all__ = [
    "Analysis",
    "BusyError",
    "CannotReadError",
    "CannotWriteError",
    "Classifier",
    "ClosedError",
    "DamagedError",
    "Effect",
    "Error",
    "ErrorCode",
    "Example",
    "ExampleLike",
    "Examples",
    "FailedError",
    "FieldValue",
    "InvalidArgumentError",
    "Label",
    "NotAContainerError",
    "NotFoundError",
    "OtherAnalysisError",
    "OutOfMemoryError",
    "Progress",
    "Reasons",
    "Records",
    "TextLike",
    "UnknownLabelError",
    "UnsupportedError",
    "WorkInterruptedError",
    "WrongDataError",
    "__version__",
]
