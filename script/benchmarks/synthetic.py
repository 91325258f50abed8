"""Made-up labelled texts, the same bytes for the same recipe on every machine.

Usage: synthetic.py FOLDER     writes FOLDER/thousand.train.tsv and FOLDER/thousand.test.tsv

Words follow Zipf's law: the word of rank r is drawn with a probability proportional to 1/r. Each label
has topic words, which are drawn from the same words, so two labels may share some and any text may
contain them. A token of a text is a topic word of its label with the probability `topic_share`,
otherwise any word. So labels are neither obvious nor impossible to find.

Example: with topic_share 0.25 a text of 20 words has about five topic words of its label. The most
frequent topic word of a label is drawn for every fourth or fifth of them.
"""
import bisect
import itertools
import pathlib
import random
import sys

SYLLABLES = [first + second for first in "bdfgklmnprstvz" for second in "aeiou"]
# Forms that the text analysis treats differently: capitals, digits, punctuation, symbols, letters
# beyond ASCII, Han characters, combining marks and a byte that is not UTF-8.
SHAPES = [b"%s", b"%s,", b"%s!", b"(%s)", b"\xc3\xa9%s", b"%s-7", b"%s 2026", b"\xe4\xb8\xad\xe6\x96\x87%s",
          b"%s \xf0\x9f\x98\x80", b"e\xcc\x81%s", b"\xff%s"]


class Recipe:
    """The properties of the texts. `labels_of_text` is the greatest number of labels of a text."""

    def __init__(self, labels, texts, words=20000, topic_words=30, topic_share=0.25,
                 mean_length=20, labels_of_text=1, shaped=False, seed=1):
        self.labels = labels
        self.texts = texts
        self.words = words
        self.topic_words = topic_words
        self.topic_share = topic_share
        self.mean_length = mean_length
        self.labels_of_text = labels_of_text
        self.shaped = shaped
        self.seed = seed


THOUSAND = Recipe(labels=1000, texts=55000)
THOUSAND_TEST_TEXTS = 5000


class Zipf:
    """Draws ranks from 0 on by Zipf's law."""

    def __init__(self, count):
        self._sums = list(itertools.accumulate(1 / rank for rank in range(1, count + 1)))

    def draw(self, source):
        # The product may round up to the last sum.
        return min(bisect.bisect(self._sums, source.random() * self._sums[-1]),
                   len(self._sums) - 1)


def word_of(rank):
    """A different word for each rank; frequent words are shorter."""
    number, word = rank, ""
    while True:
        number, syllable = divmod(number, len(SYLLABLES))
        word += SYLLABLES[syllable]
        if number == 0:
            return word


def label_of(number):
    return f"label{number:04}"


def data_lines(recipe):
    """Yields lines `label[,label]<TAB>text` of bytes. Each label has a text if
    there are enough texts."""
    # Only random() is used: its results are the same in all versions of Python.
    source = random.Random(recipe.seed)
    any_word, topic_word = Zipf(recipe.words), Zipf(recipe.topic_words)
    topics = [[any_rank(source, recipe.words) for _ in range(recipe.topic_words)]
              for _ in range(recipe.labels)]
    for number in range(recipe.texts):
        labels = labels_of_text(source, recipe, number)
        length = 1 + int(2 * recipe.mean_length * source.random())
        words = []
        for position in range(length):
            if source.random() < recipe.topic_share:
                topic = topics[labels[position % len(labels)]]
                words.append(word_of(topic[topic_word.draw(source)]))
            else:
                words.append(word_of(any_word.draw(source)))
        names = ",".join(label_of(label) for label in labels)
        yield names.encode() + b"\t" + joined(source, words, recipe.shaped) + b"\n"


def any_rank(source, count):
    return int(source.random() * count)


def labels_of_text(source, recipe, number):
    count = 1 + int(source.random() * recipe.labels_of_text)
    first = number if number < recipe.labels else any_rank(source, recipe.labels)
    others = (any_rank(source, recipe.labels) for _ in range(count - 1))
    return list(dict.fromkeys([first, *others]))


def joined(source, words, shaped):
    if not shaped:
        return " ".join(words).encode()
    parts = []
    for word in words:
        shape = SHAPES[any_rank(source, len(SHAPES)) if source.random() < 0.25 else 0]
        word = word.capitalize() if source.random() < 0.1 else word
        parts.append(shape % word.encode())
    return b" ".join(parts)


def write_corpus(folder, name, recipe, test_texts):
    """Writes FOLDER/NAME.train.tsv, and FOLDER/NAME.test.tsv of the last `test_texts`."""
    lines = list(data_lines(recipe))
    train, test = (pathlib.Path(folder) / f"{name}.{part}.tsv" for part in ("train", "test"))
    train.write_bytes(b"".join(lines[:-test_texts]))
    test.write_bytes(b"".join(lines[-test_texts:]))
    return train, test


def write_thousand(folder):
    """50,000 texts of 1,000 labels to learn from, and 5,000 to classify."""
    return write_corpus(folder, "thousand", THOUSAND, THOUSAND_TEST_TEXTS)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    write_thousand(sys.argv[1])
