"""A text classifier made with scikit-learn, as whole processes.

Usage: sklearn_job.py train svm-words|svm-2-grams|naive-bayes TRAIN MODEL
       sklearn_job.py classify TEST MODEL

Prints one label a line. A text of several labels is learned once for each.
"""
import pickle
import sys

from sklearn.feature_extraction.text import CountVectorizer, TfidfVectorizer
from sklearn.naive_bayes import MultinomialNB
from sklearn.pipeline import make_pipeline
from sklearn.svm import LinearSVC

# Words of one character too, which scikit-learn leaves out by default.
WORD = r"(?u)\b\w+\b"


def make_classifier(method):
    if method == "naive-bayes":
        return make_pipeline(CountVectorizer(token_pattern=WORD), MultinomialNB(alpha=0.1))
    longest = {"svm-words": 1, "svm-2-grams": 2}[method]
    return make_pipeline(TfidfVectorizer(token_pattern=WORD, ngram_range=(1, longest)), LinearSVC())


def read(path):
    with open(path, encoding="utf-8-sig", errors="replace", newline="\n") as file:
        for line in file:
            line = line.rstrip("\n").removesuffix("\r")
            if line:
                labels, _, text = line.partition("\t")
                yield labels.split(","), text


def train(method, source, model):
    texts, labels = [], []
    for labels_of_text, text in read(source):
        for label in labels_of_text:
            texts.append(text)
            labels.append(label)
    classifier = make_classifier(method)
    classifier.fit(texts, labels)
    with open(model, "wb") as file:
        pickle.dump(classifier, file, protocol=pickle.HIGHEST_PROTOCOL)


def classify(source, model):
    with open(model, "rb") as file:
        classifier = pickle.load(file)
    sys.stdout.reconfigure(encoding="utf-8")
    for label in classifier.predict([text for _, text in read(source)]):
        print(label)


if __name__ == "__main__":
    {"train": train, "classify": classify}[sys.argv[1]](*sys.argv[2:])
