"""Classifies the partitions of a Dask collection on the workers of a cluster.

    texts.map_partitions(zandrel.dask.classify, "news.kc")              # a Bag
    frame.map_partitions(zandrel.dask.classify, "news.kc", text="body")  # a DataFrame

Each process opens the container once and keeps it for all partitions. The file must have the same
path on all workers.
"""

from __future__ import annotations

import os
import sys
import threading
from collections import OrderedDict
from collections.abc import Iterable
from typing import Any, Union

from ._classifier import Classifier
from ._types import Label, Path, TextLike

_KEPT = 4
_lock = threading.Lock()
_classifiers: OrderedDict[bytes, tuple[tuple[int, int, int, int], Classifier]] = OrderedDict()


def classifier(path: Path) -> Classifier:
    """The classifier of a container, which this process opens once.

    A file that has been replaced or changed is opened again. A process keeps the last four
    containers. Do not close the classifier: others use it.
    """
    name = os.path.abspath(os.fsencode(path))
    with _lock:
        try:
            state = _state_of(name)
        except OSError:
            # The library reports the failure.
            return Classifier.open(name)
        if name not in _classifiers or _classifiers[name][0] != state:
            _classifiers[name] = (state, Classifier.open(name))
        _classifiers.move_to_end(name)
        while len(_classifiers) > _KEPT:
            _classifiers.popitem(last=False)
        return _classifiers[name][1]


def classify(
    partition: Union[Iterable[TextLike], Any],
    path: Path,
    *,
    text: str = "text",
    count: int = 1,
    threshold: float = 0.0,
    jobs: int = 1,
) -> Any:
    """Classifies a partition of a Bag or of a DataFrame.

    partition: an iterable of texts gives a list of lists of `zandrel.Label`. A pandas DataFrame
        gives a copy of it with the columns "label" and "score" of the best label; a text without a
        result has the label "" and the score 0.0. Columns of these names are replaced. A pandas
        Series gives a Series of lists of `zandrel.Label`.
    path: the container.
    text: the column of a DataFrame with the texts.
    count, threshold, jobs: as in `Classifier.classify`; a DataFrame has only the best label.
    """
    pandas = sys.modules.get("pandas")
    if pandas is not None and isinstance(partition, pandas.DataFrame):
        if count != 1:
            raise ValueError("a DataFrame gets the best label only: count must be 1")
        best = _best_labels(partition[text], classifier(path), threshold, jobs)
        return partition.assign(
            label=pandas.Series([label for label, _ in best], partition.index, dtype=object),
            score=pandas.Series([score for _, score in best], partition.index, dtype=float),
        )
    answers = classifier(path).classify(partition, count=count, threshold=threshold, jobs=jobs)
    if pandas is not None and isinstance(partition, pandas.Series):
        return pandas.Series(answers, partition.index, dtype=object)
    return answers


def _state_of(name: bytes) -> tuple[int, int, int, int]:
    status = os.stat(name)
    return status.st_dev, status.st_ino, status.st_mtime_ns, status.st_size


def _best_labels(
    texts: Iterable[TextLike], opened: Classifier, threshold: float, jobs: int
) -> list[tuple[str, float]]:
    answers: list[list[Label]] = opened.classify(texts, threshold=threshold, jobs=jobs)
    return [(labels[0].name, labels[0].score) if labels else ("", 0.0) for labels in answers]
