"""Classifier: takes texts and gives labels."""

from __future__ import annotations

import itertools
import os
import tempfile
from collections.abc import Iterable, Iterator, Mapping
from pathlib import Path as FilePath
from types import TracebackType
from typing import Any, NamedTuple, Optional, TypeVar, Union, overload

from . import _options, _zandrel
from ._errors import Error, make_error
from ._records import Records
from ._types import ExampleLike, Label, Path, Progress, Reasons, TextLike

Self = TypeVar("Self", bound="Classifier")

Examples = Union[Records, Path, Iterable[ExampleLike]]
"""A data file by its path, `Records`, or an iterable of examples."""


class Analysis(NamedTuple):
    """How texts become concepts.

    kind: "phrases" (words and pairs of neighbours), "words" or "whitespace".
    stem: the language of a stemmer, such as "english"; empty: words stay as they are.
    """

    kind: str = "phrases"
    stem: str = ""


def _pair(analysis: Optional[Union[Analysis, str]]) -> Optional[tuple[str, str]]:
    if analysis is None:
        return None
    if isinstance(analysis, str):
        return analysis, ""
    if not isinstance(analysis, Analysis):
        raise TypeError(f"analysis must be an Analysis or a str, not {type(analysis).__name__}")
    return _options.text("kind", analysis.kind), _options.text("stem", analysis.stem)


def _source(examples: Examples) -> Any:
    """The library reads data files by itself, since Python's values would take time and memory."""
    if isinstance(examples, (str, bytes, os.PathLike)):
        examples = Records(examples)
    return examples._file if isinstance(examples, Records) else examples


class Classifier:
    """A knowledge container with its text analysis.

    `Classifier.open` reads a container, and `Classifier.train` makes one. The end of a `with` block
    closes it.

    Several threads may classify and explain with one object at the same time. `learn` waits for
    calls that are running, and calls that begin meanwhile wait for it. Ctrl-C ends long work with
    KeyboardInterrupt. Failures of the library raise `zandrel.Error` or one of its subclasses.
    """

    def __init__(self) -> None:
        raise TypeError("use Classifier.open or Classifier.train")

    _inner: _zandrel.Classifier

    @classmethod
    def _of(cls: type[Self], inner: _zandrel.Classifier) -> Self:
        self = cls.__new__(cls)
        self._inner = inner
        return self

    @classmethod
    def open(
        cls: type[Self],
        path: Path,
        *,
        analysis: Optional[Union[Analysis, str]] = None,
        prepare_to_explain: bool = False,
        progress: Optional[Progress] = None,
    ) -> Self:
        """Reads a container. It knows how its texts were analysed.

        If `analysis` is given and the container has another one, OtherAnalysisError is raised. With
        `prepare_to_explain` the learned words are read now, not at the first explanation, which
        would wait for other classifiers that are being opened or trained.
        """
        prepares = _options.truth_value("prepare_to_explain", prepare_to_explain)
        name = _options.path_bytes(path)
        return cls._of(_zandrel.Classifier.open(name, _pair(analysis), prepares, progress))

    @classmethod
    def train(
        cls: type[Self],
        examples: Examples,
        *,
        analysis: Optional[Union[Analysis, str]] = None,
        settings: Optional[Mapping[str, object]] = None,
        tree: str = "",
        compact: bool = False,
        calibrate: bool = False,
        prepare_to_explain: bool = False,
        progress: Optional[Progress] = None,
    ) -> Self:
        """Makes a container from examples. It is in memory until `save`.

        examples: the path of a data file, `Records`, or an iterable of (labels, text) pairs. An
            iterable is read to its end first, since training needs all texts.
        analysis: how texts become concepts. A str is the kind. None: the analysis of a corpus
            file, otherwise Analysis().
        settings: settings of the engine by name, for example {"ClipValue": 2}.
        tree: the tree in its text form; empty: a flat tree of the labels.
        compact: leave out what only learning needs.
        calibrate: make a confidence map, so that the best label of each answer has a confidence.
            Training then takes three to four times as long.
        prepare_to_explain: as for `open`.
        progress: is called with the part of the work that is done, 0 to 1. If it returns False,
            WorkInterruptedError is raised. It cannot use a classifier.
        """
        inner = _zandrel.Classifier.train(
            _source(examples),
            _pair(analysis),
            _options.setting_texts(settings),
            _options.text("tree", tree),
            _options.truth_value("compact", compact),
            _options.truth_value("calibrate", calibrate),
            _options.truth_value("prepare_to_explain", prepare_to_explain),
            progress,
        )
        return cls._of(inner)

    def learn(
        self,
        examples: Examples,
        *,
        add_labels: bool = False,
        progress: Optional[Progress] = None,
    ) -> None:
        """Learns further examples as one bulk. The file does not change before `save`.

        With `add_labels`, labels that the container does not have become new ones. Without it they
        raise UnknownLabelError, and nothing changes. If the container has a confidence map, it first
        answers the new texts, and the map learns from these answers.
        """
        adds = _options.truth_value("add_labels", add_labels)
        self._inner.learn(_source(examples), adds, progress)

    # A str is also an iterable of str, so the first signature of each pair must come first.
    @overload
    def classify(  # type: ignore[misc]
        self,
        texts: TextLike,
        *,
        count: int = ...,
        threshold: float = ...,
        reject: float = ...,
        jobs: int = ...,
    ) -> list[Label]: ...

    @overload
    def classify(
        self,
        texts: Iterable[TextLike],
        *,
        count: int = ...,
        threshold: float = ...,
        reject: float = ...,
        jobs: int = ...,
    ) -> list[list[Label]]: ...

    def classify(
        self,
        texts: Union[TextLike, Iterable[TextLike]],
        *,
        count: int = 1,
        threshold: float = 0.0,
        reject: float = 0.0,
        jobs: int = 1,
    ) -> Union[list[Label], list[list[Label]]]:
        """The labels with the highest scores, the best first.

        texts: a text, or an iterable of texts, which gives one list for each text. An iterable is
            read in blocks; see `stream` for more answers than fit into memory.
        count: at most so many labels; below 0: all.
        threshold: the least score of a label, 0 to 1.
        reject: the least confidence of an answer, 0 to 1: below it, a text gets no label. Above 0
            the container needs a confidence map.
        jobs: so many threads share the texts; 0: one for each processor. The answers are the same.
        """
        most = _options.whole_number("count", count)
        least = _options.number("threshold", threshold)
        trusted = _options.number("reject", reject)
        threads = _options.threads(jobs)
        if isinstance(texts, (str, bytes, Mapping)):
            return self._inner.classify(texts, most, least, trusted)
        _options.refuse_table(texts)
        return self._inner.classify_all(texts, most, least, trusted, threads, 1)

    def stream(
        self,
        texts: Iterable[TextLike],
        *,
        count: int = 1,
        threshold: float = 0.0,
        reject: float = 0.0,
        jobs: int = 1,
        block: int = 1024,
    ) -> Iterator[list[Label]]:
        """Classifies texts as they come, with at most `block` texts in memory.

        The answers come in the order of the texts, after each block.
        """
        _options.refuse_one_text(texts)
        _options.refuse_table(texts)
        size = _options.whole_number("block", block)
        if size < 1:
            raise ValueError("block must be at least 1")
        most = _options.whole_number("count", count)
        least = _options.number("threshold", threshold)
        trusted = _options.number("reject", reject)
        threads = _options.threads(jobs)
        self._inner.classify_all([], most, least, trusted, threads, 1)  # refuses wrong options
        source = iter(texts)

        def answers() -> Iterator[list[Label]]:
            first = 1
            while part := list(itertools.islice(source, size)):
                yield from self._inner.classify_all(part, most, least, trusted, threads, first)
                first += len(part)

        return answers()

    @overload
    def explain(  # type: ignore[misc]
        self, texts: TextLike, *, node: str = ..., jobs: int = ...
    ) -> Reasons: ...

    @overload
    def explain(
        self, texts: Iterable[TextLike], *, node: str = ..., jobs: int = ...
    ) -> list[Reasons]: ...

    def explain(
        self,
        texts: Union[TextLike, Iterable[TextLike]],
        *,
        node: str = "",
        jobs: int = 1,
    ) -> Union[Reasons, list[Reasons]]:
        """Explains the score of the best label, or of the node with the path `node`.

        An unknown path raises NotFoundError.
        """
        path = _options.text("node", node)
        threads = _options.threads(jobs)
        if isinstance(texts, (str, bytes, Mapping)):
            return self._inner.explain(texts, path)
        _options.refuse_table(texts)
        return self._inner.explain_all(texts, path, threads)

    def save(self, path: Path) -> None:
        """Writes the container, whole or not at all."""
        self._inner.save(_options.path_bytes(path))

    def close(self) -> None:
        """Waits for calls that are running, and frees the container.

        Later calls raise ClosedError.
        """
        self._inner.close()

    def __enter__(self: Self) -> Self:
        self._inner.check_open()
        return self

    def __exit__(
        self,
        kind: Optional[type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        self.close()

    @property
    def is_calibrated(self) -> bool:
        """True if the container has a confidence map."""
        return self._inner.is_calibrated()

    @property
    def labels(self) -> list[str]:
        """All labels, each once, in the order in which they were added."""
        return self._inner.labels()

    @property
    def analysis(self) -> Analysis:
        """How the texts of the container were analysed."""
        self._inner.check_open()
        return Analysis(*self._inner.analysis())

    def to_bytes(self) -> bytes:
        """The bytes of the file that `save` writes."""
        with tempfile.TemporaryDirectory() as folder:
            file = FilePath(folder, "container.kc")
            self.save(file)
            return file.read_bytes()

    @classmethod
    def from_bytes(cls: type[Self], data: bytes) -> Self:
        """The classifier whose `to_bytes` returned these bytes."""
        with tempfile.TemporaryDirectory() as folder:
            file = FilePath(folder, "container.kc")
            file.write_bytes(data)
            try:
                return cls.open(file)
            except Error as error:
                # The file is gone when the caller reads the message.
                message = str(error).replace(str(file), "the bytes")
                raise make_error(error.code, message, None, None) from None

    def __reduce__(self) -> Any:
        # pickle and copy.deepcopy: the bytes of the container.
        return type(self).from_bytes, (self.to_bytes(),)
