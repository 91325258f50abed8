"""A text classifier made with scikit-learn, as whole processes.

Usage: sklearn_job.py train svm-words|svm-2-grams|naive-bayes one-label|one-against-rest TRAIN MODEL
       sklearn_job.py classify TEST MODEL

Prints the best label on one line for each text. "one-against-rest" trains one classifier for each
label; a text of several labels is an example for each of its labels. A linear SVM always does this for
texts of one label.
"""
import pickle
import sys

from sklearn.feature_extraction.text import CountVectorizer, TfidfVectorizer
from sklearn.multiclass import OneVsRestClassifier
from sklearn.naive_bayes import MultinomialNB
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import MultiLabelBinarizer
from sklearn.svm import LinearSVC

# Words of one character too, which scikit-learn leaves out by default.
WORD = r"(?u)\b\w+\b"


def make_features(method):
    if method == "naive-bayes":
        return CountVectorizer(token_pattern=WORD)
    if method == "svm-words":
        return TfidfVectorizer(token_pattern=WORD)
    return TfidfVectorizer(token_pattern=WORD, ngram_range=(1, 2), sublinear_tf=True)


def make_classifier(method):
    return MultinomialNB(alpha=0.1) if method == "naive-bayes" else LinearSVC()


def read(path):
    with open(path, encoding="utf-8-sig", errors="replace", newline="\n") as file:
        for line in file:
            line = line.rstrip("\n").removesuffix("\r")
            if line:
                labels, _, text = line.partition("\t")
                yield labels.split(","), text


def train(method, form, source, model):
    labels, texts = zip(*read(source))
    classifier = make_classifier(method)
    if form == "one-against-rest":
        binarizer = MultiLabelBinarizer()
        targets = binarizer.fit_transform(labels)
        names = binarizer.classes_
        classifier = OneVsRestClassifier(classifier)
    else:
        targets, names = [first for first, *_ in labels], None
    pipeline = make_pipeline(make_features(method), classifier)
    pipeline.fit(texts, targets)
    with open(model, "wb") as file:
        pickle.dump((pipeline, names), file, protocol=pickle.HIGHEST_PROTOCOL)


def classify(source, model):
    with open(model, "rb") as file:
        pipeline, names = pickle.load(file)
    sys.stdout.reconfigure(encoding="utf-8")
    texts = [text for _, text in read(source)]
    if names is None:
        best = pipeline.predict(texts)
    else:
        best = names[scores_of(pipeline, texts).argmax(axis=1)]
    for label in best:
        print(label)


def scores_of(pipeline, texts):
    """The score of each text and label. Without scores, a text would have no label if no classifier is
    above its threshold."""
    if hasattr(pipeline, "decision_function"):
        return pipeline.decision_function(texts)
    return pipeline.predict_proba(texts)


if __name__ == "__main__":
    {"train": train, "classify": classify}[sys.argv[1]](*sys.argv[2:])
