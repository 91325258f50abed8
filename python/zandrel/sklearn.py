"""An estimator for scikit-learn whose samples are texts.

    from sklearn.model_selection import cross_val_score
    from zandrel.sklearn import ZandrelClassifier

    cross_val_score(ZandrelClassifier(), texts, labels, cv=5)
"""

from __future__ import annotations

import math
import sys
from collections.abc import Iterable, Mapping
from typing import Any, Optional

import numpy as np
from sklearn.base import BaseEstimator, ClassifierMixin
from sklearn.utils import check_consistent_length, column_or_1d
from sklearn.utils.multiclass import check_classification_targets
from sklearn.utils.validation import check_is_fitted

from . import _options
from ._classifier import Analysis, Classifier

__all__ = ["ZandrelClassifier"]


class ZandrelClassifier(ClassifierMixin, BaseEstimator):  # type: ignore[misc]
    """Classifies texts by one label each.

    X is a sequence of texts (`str`, `bytes`, or mappings with "text" and "fields"), not a matrix.
    y is a sequence of labels of any type that numpy can sort.

    Parameters
    ----------
    analysis : "phrases" (words and pairs of neighbours), "words" or "whitespace".
    stem : the language of a stemmer, such as "english"; empty: words stay as they are.
    settings : settings of the engine by name, for example {"ClipValue": 2}.
    tree : the tree in its text form; empty: a flat tree of the labels.
    compact : leave out what only `partial_fit` needs.
    calibrate : make a confidence map, see `predict_confidence`. `fit` then takes three to
        four times as long.
    n_jobs : so many threads predict; None: 1; -1: one for each processor; -2: one less; and so on.

    Attributes
    ----------
    classes_ : array of the labels, sorted. The labels of the tree are classes too, also without
        texts; then the labels of y must be str.
    class_count_ : array of the texts of each label that have been learned.
    classifier_ : the `zandrel.Classifier`, for example for `explain` and `save`. Its labels are
        str(label) for each of `classes_`; if two of these are equal or one is empty, they are the
        numbers of the classes from "0".
    """

    classes_: Any
    class_count_: Any
    classifier_: Classifier

    def __init__(
        self,
        *,
        analysis: str = "phrases",
        stem: str = "",
        settings: Optional[Mapping[str, object]] = None,
        tree: str = "",
        compact: bool = False,
        calibrate: bool = False,
        n_jobs: Optional[int] = None,
    ) -> None:
        self.analysis = analysis
        self.stem = stem
        self.settings = settings
        self.tree = tree
        self.compact = compact
        self.calibrate = calibrate
        self.n_jobs = n_jobs

    def fit(self, X: Iterable[Any], y: Any) -> ZandrelClassifier:
        """Trains a new classifier."""
        texts, labels = _checked(X, y)
        classes, places = np.unique(labels, return_inverse=True)
        self._train(texts, places, classes)
        return self

    def partial_fit(self, X: Iterable[Any], y: Any, classes: Any = None) -> ZandrelClassifier:
        """Learns further texts.

        The first call trains. It needs `classes`, all labels of all calls. One call with many texts
        is better than many calls with few: words are chosen by the texts of the first call.
        """
        is_first = not hasattr(self, "classes_")
        if is_first and classes is None:
            raise ValueError("classes must be passed on the first call to partial_fit.")
        texts, labels = _checked(X, y)
        known = self._agreed_classes(classes)
        places = _places(labels, known)
        if is_first:
            self._train(texts, places, known)
        else:
            examples = zip([self._names[place] for place in places], texts)
            self.classifier_.learn(examples, add_labels=True)
            self.class_count_ = np.add(self.class_count_, _counts(places, known))
        return self

    def predict(self, X: Iterable[Any]) -> Any:
        """The label with the highest score of each text.

        A text without any score above 0 gets the label with the most texts.
        """
        check_is_fitted(self)
        answers = self.classifier_.classify(_texts(X), jobs=self._jobs())
        usual = int(np.argmax(self.class_count_))
        columns = self._columns()
        best = [columns[labels[0].name] if labels else usual for labels in answers]
        return self.classes_[np.array(best, dtype=int)]

    def predict_proba(self, X: Iterable[Any]) -> Any:
        """Probabilities of all labels, in the order of `classes_`; each row adds up to 1.

        The engine scores each label by itself, between 0 and 1, so the scores of a text need not
        add up to 1. With K labels, the odds of a score s are (s / (1 - s)) ** ((K - 1) / K), and a
        label gets its share of all odds. With two labels of scores s and 1 - s these are the
        scores. A text without any score above 0 gets the share of each label in the learned texts.
        `classifier_.classify(texts, count=-1)` has the scores as they are.

        `calibrate` does not change these probabilities, so that they remain in agreement with
        `predict` and add up to 1. The chance that the prediction is right is `predict_confidence`.
        """
        check_is_fitted(self)
        answers = self.classifier_.classify(_texts(X), count=-1, jobs=self._jobs())
        columns = self._columns()
        scores = np.zeros((len(answers), len(self.classes_)))
        for row, labels in enumerate(answers):
            for label in labels:
                # A label may be at several nodes.
                column = columns[label.name]
                scores[row, column] = max(scores[row, column], label.score)
        return _probabilities(scores, self.class_count_ / self.class_count_.sum())

    def predict_confidence(self, X: Iterable[Any]) -> Any:
        """The chance that the label of `predict` is right, for each text.

        It needs the parameter `calibrate`. A text without any score above 0 has the confidence 0.
        """
        check_is_fitted(self)
        if not self.classifier_.is_calibrated:
            raise ValueError("there is no confidence map: fit with calibrate=True makes one")
        answers = self.classifier_.classify(_texts(X), jobs=self._jobs())
        return np.array([labels[0].confidence if labels else 0.0 for labels in answers], dtype=float)

    def _train(self, texts: list[Any], places: Any, classes: Any) -> None:
        names = [str(label) for label in classes]
        if len(set(names)) < len(names) or "" in names:
            names = [str(place) for place in range(len(classes))]
        self.classifier_ = Classifier.train(
            zip([names[place] for place in places], texts),
            analysis=Analysis(self.analysis, self.stem),
            settings=self.settings,
            tree=self.tree,
            compact=self.compact,
            calibrate=self.calibrate,
        )
        counts = dict(zip(names, _counts(places, classes)))
        self._tree_labels = self._labels_without_texts(names, classes)
        if self._tree_labels:
            classes = np.union1d(classes, self._tree_labels)
            names = [str(label) for label in classes]
        self._names = names
        self.classes_ = classes
        self.class_count_ = np.array([counts.get(name, 0) for name in names])

    def _labels_without_texts(self, names: list[str], classes: Any) -> list[str]:
        """The other labels of the tree. Rules can give them, so they are classes too."""
        if not self.tree:
            return []
        others = [label for label in self.classifier_.labels if label not in set(names)]
        if others and not all(isinstance(label, str) for label in classes):
            raise ValueError(
                f"the tree has the label {others[0]!r}, which is not in y; its type is unknown, "
                "since the labels of y are not str"
            )
        return others

    def _agreed_classes(self, classes: Any) -> Any:
        if not hasattr(self, "classes_"):
            return np.unique(column_or_1d(_without_missing(classes)))
        if classes is None:
            return self.classes_
        given = np.unique(_without_missing(classes))
        if self._tree_labels:
            given = np.union1d(given, self._tree_labels)
        if not np.array_equal(self.classes_, given):
            raise ValueError("classes is not the same as on the last call to partial_fit.")
        return self.classes_

    def _columns(self) -> dict[str, int]:
        return {name: column for column, name in enumerate(self._names)}

    def _jobs(self) -> int:
        if self.n_jobs is None:
            return 1
        if self.n_jobs == 0:
            raise ValueError("n_jobs must not be 0")
        if self.n_jobs < 0:
            return max(1, _options.threads(0) + 1 + self.n_jobs)
        return self.n_jobs

    def _more_tags(self) -> dict[str, Any]:
        return {"X_types": ["string"], "no_validation": True, "requires_y": True}


def _probabilities(scores: Any, shares: Any) -> Any:
    """See predict_proba. Rules can give a score of 1 and more, whose odds would be infinite."""
    count = scores.shape[1]
    below_one = np.minimum(scores, 1 - np.finfo(float).eps)
    odds = np.where(scores > 0, (below_one / (1 - below_one)) ** ((count - 1) / count), 0.0)
    sums = odds.sum(axis=1, keepdims=True)
    return np.where(sums > 0, odds / np.where(sums > 0, sums, 1.0), shares)


def _texts(X: Iterable[Any]) -> list[Any]:
    if isinstance(X, (str, bytes, Mapping)):
        raise ValueError("X must be a sequence of texts, not one text")
    shape = getattr(X, "shape", None)
    if shape is not None and len(shape) != 1:
        raise ValueError(f"X must be a sequence of texts, not an array of shape {tuple(shape)}")
    return list(X)


def _checked(X: Iterable[Any], y: Any) -> tuple[list[Any], Any]:
    """The texts, and an array of their labels."""
    texts = _texts(X)
    if y is None:
        raise ValueError("requires y to be passed, but the target y is None")
    labels = column_or_1d(_without_missing(y), warn=True)
    check_consistent_length(texts, labels)
    if not texts:
        raise ValueError("Found array with 0 sample(s) while a minimum of 1 is required.")
    check_classification_targets(labels)
    return texts, labels


def _without_missing(y: Any) -> Any:
    """The labels of a nullable column of pandas get numpy's type, which scikit-learn needs."""
    if hasattr(y, "iloc") and y.ndim == 2 and y.shape[1] == 1:
        return np.asarray(_without_missing(y.iloc[:, 0])).reshape(-1, 1)
    if hasattr(y, "isna"):
        lacks_labels = np.any(y.isna())
    elif isinstance(y, (list, tuple)):
        lacks_labels = any(map(_is_missing, y))
    else:
        lacks_labels = getattr(y, "dtype", None) == object and any(map(_is_missing, y.ravel()))
    if lacks_labels:
        raise ValueError("y has missing labels")
    plain = getattr(getattr(y, "dtype", None), "numpy_dtype", None)
    return y if plain is None else y.to_numpy(dtype=plain)


def _is_missing(label: Any) -> bool:
    pandas = sys.modules.get("pandas")
    is_nan = isinstance(label, float) and math.isnan(label)
    return label is None or is_nan or (pandas is not None and label is pandas.NA)


def _places(labels: Any, classes: Any) -> Any:
    unknown = np.setdiff1d(labels, classes)
    if len(unknown) > 0:
        raise ValueError(f"y has labels that are not in classes: {list(unknown)}")
    return np.searchsorted(classes, labels)


def _counts(places: Any, classes: Any) -> Any:
    return np.bincount(places, minlength=len(classes))
