"""Folders of corpora, and the texts of their files."""
import pathlib

from .failure import Failure, report

TRAIN_SUFFIX = ".train.tsv"
TEST_SUFFIX = ".test.tsv"


class Corpus:
    def __init__(self, train, test):
        self.name = train.name[:-len(TRAIN_SUFFIX)]
        self.train = train
        self.test = test


def find_corpora(folder, names=None):
    """The corpora of a folder by name, or only the given names. RAISES: Failure if there are none or
    if a name is missing."""
    folder = pathlib.Path(folder)
    if not folder.is_dir():
        raise Failure(f"{folder}: no such folder")
    found = {corpus.name: corpus for corpus in _pairs_of_files(folder)}
    if not found:
        raise Failure(f"{folder}: no NAME{TRAIN_SUFFIX} with a NAME{TEST_SUFFIX}")
    for name in names or []:
        if name not in found:
            raise Failure(f"{folder}: no corpus '{name}'; there are: {', '.join(found)}")
    return [corpus for name, corpus in found.items() if not names or name in names]


def _pairs_of_files(folder):
    for train in sorted(folder.glob("*" + TRAIN_SUFFIX)):
        test = train.with_name(train.name[:-len(TRAIN_SUFFIX)] + TEST_SUFFIX)
        if test.is_file():
            yield Corpus(train, test)
        else:
            report(f"{train}: left out, there is no {test.name}")


def read_texts(path):
    """Yields (labels, text) of each data line, as the program zandrel reads it. One at a time,
    since the memory of this process would count as memory of the programs that it measures."""
    with open(path, encoding="utf-8-sig", errors="replace", newline="\n") as file:
        for number, line in enumerate(file, 1):
            line = line.rstrip("\n").removesuffix("\r")
            if not line:
                continue
            labels, tab, text = line.partition("\t")
            if not tab or "" in labels.split(","):
                raise Failure(f"{path}:{number}: no data line `label[,label]<TAB>text`")
            yield labels.split(","), text


def check_texts(corpus):
    """RAISES: Failure if one of the files has no word: its figures would have no meaning."""
    for path in (corpus.train, corpus.test):
        if not any(character.isalnum() for _, text in read_texts(path) for character in text):
            raise Failure(f"{path}: no text with a word")


def labels_of(path):
    """All labels of a file, in text order."""
    return sorted({label for labels, _ in read_texts(path) for label in labels})


def share_of_right(path, predicted):
    """The share of texts whose predicted label is one of their labels. RAISES: Failure if there is not
    one prediction for each text, or no text."""
    right = count = 0
    for (labels, _), label in _in_step(path, predicted):
        right += label in labels
        count += 1
    if count == 0:
        raise Failure(f"{path}: no data line")
    return right / count


def _in_step(path, predicted):
    try:
        yield from zip(read_texts(path), predicted, strict=True)
    except ValueError as error:
        raise Failure(f"{path}: not as many predictions as texts") from error
