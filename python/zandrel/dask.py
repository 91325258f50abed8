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
    reject: float = 0.0,
    jobs: int = 1,
) -> Any:
    """Classifies a partition of a Bag or of a DataFrame.

    partition: an iterable of texts gives a list of lists of `zandrel.Label`. A pandas DataFrame
        gives a copy of it with the columns "label" and "score" of the best label; a text without a
        result has the label "" and the score 0.0. If the container has a confidence map, there is
        also the column "confidence", which is 0.0 for a text without a result, also if `reject`
        is the reason. Columns of these names are replaced. A pandas Series gives a Series of lists of `zandrel.Label`.
    path: the container.
    text: the column of a DataFrame with the texts.
    count, threshold, reject, jobs: as in `Classifier.classify`; a DataFrame has only the best label.
    """
    pandas = sys.modules.get("pandas")
    if pandas is not None and isinstance(partition, pandas.DataFrame):
        if count != 1:
            raise ValueError("a DataFrame gets the best label only: count must be 1")
        opened = classifier(path)
        best = [
            labels[0] if labels else Label("", "", 0.0, 0.0)
            for labels in opened.classify(
                partition[text], threshold=threshold, reject=reject, jobs=jobs
            )
        ]
        columns = {
            "label": pandas.Series([label.name for label in best], partition.index, dtype=object),
            "score": pandas.Series([label.score for label in best], partition.index, dtype=float),
        }
        if opened.is_calibrated:
            columns["confidence"] = pandas.Series(
                [label.confidence for label in best], partition.index, dtype=float
            )
        return partition.assign(**columns)
    answers = classifier(path).classify(
        partition, count=count, threshold=threshold, reject=reject, jobs=jobs
    )
    if pandas is not None and isinstance(partition, pandas.Series):
        return pandas.Series(answers, partition.index, dtype=object)
    return answers


def _state_of(name: bytes) -> tuple[int, int, int, int]:
    status = os.stat(name)
    return status.st_dev, status.st_ino, status.st_mtime_ns, status.st_size
