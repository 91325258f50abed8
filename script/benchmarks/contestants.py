"""The program and its peers, each doing the same job: learn one file, classify another."""
import pathlib
import re
import shutil
import subprocess

from .corpora import labels_of, read_texts, share_of_right
from .failure import Failure
from .processes import run_all
from .program import PROGRAM

SYSTEM_PYTHON = "/usr/bin/python3"
# The characters that fastText's guide separates from words.
PUNCTUATION = re.compile(r"([.!?,'/()])")
SKLEARN_JOB = pathlib.Path(__file__).with_name("sklearn_job.py")


FIGURES = ("train_seconds", "classify_seconds", "whole_seconds", "train_bytes", "classify_bytes",
           "peak_bytes", "accuracy")


class Outcome:
    """One run of a job, with the figures of FIGURES. Bytes are the peak memory of a process."""

    def __init__(self, training, classifying, whole, accuracy):
        for phase, cost in (("train", training), ("classify", classifying), ("whole", whole)):
            setattr(self, f"{phase}_seconds", cost.cpu_seconds)
            setattr(self, f"{phase}_bytes", cost.peak_bytes)
        self.peak_bytes = whole.peak_bytes
        self.accuracy = accuracy


class Contestant:
    """A program that writes a model in one or several processes, and reads it in another. A subclass
    has `name`, `prepare` and `_labels`. `prepare` writes the input files and sets the lists of
    commands `_train` and `_classify`; `_labels` reads the results."""

    _good_statuses = (0,)  # of classifying

    def prepare(self, corpus, folder):
        self._corpus = corpus
        self._folder = folder / self.name.replace(" ", "_")
        self._folder.mkdir()
        self._results = self._folder / "results"

    def run(self):
        training = run_all(self._train, self._folder / "log")
        classifying = run_all(self._classify, self._results, self._good_statuses)
        whole = training + classifying
        return Outcome(training, classifying, whole,
                       share_of_right(self._corpus.test, self._labels()))

    def _result_lines(self):
        with open(self._results, encoding="utf-8", newline="\n") as file:
            for line in file:
                yield line.rstrip("\n")


class Zandrel(Contestant):
    def __init__(self, analysis):
        self.analysis = analysis
        self.name = f"zandrel {analysis}"

    def prepare(self, corpus, folder):
        super().prepare(corpus, folder)
        self.model = self._folder / "model.kc"
        texts = self._folder / "texts"
        write_lines(texts, (text.replace("\r", " ") for _, text in read_texts(corpus.test)))
        self._train = [[str(PROGRAM), "train", str(self.model), str(corpus.train), "--replace",
                        "--analysis", self.analysis]]
        self._classify = [[str(PROGRAM), "classify", str(self.model), str(texts)]]

    def _labels(self):
        for line in self._result_lines():
            yield line.partition("\t")[0]


class Peer(Contestant):
    """A subclass also has `package` (Debian's) and `is_installed`."""

    def can_take(self, corpus):
        return True


class FastText(Peer):
    name = "fastText"
    package = "fasttext"
    _MARK = "__label__"

    def is_installed(self):
        return shutil.which("fasttext") is not None

    def prepare(self, corpus, folder):
        super().prepare(corpus, folder)
        # Numbers, since labels may contain blanks, but labels of fastText may not.
        self._names = labels_of(corpus.train)
        number_of = {label: number for number, label in enumerate(self._names)}
        train, test, model = (self._folder / name for name in ("train", "test", "model"))
        write_lines(train, (" ".join([f"{self._MARK}{number_of[label]}" for label in labels]) +
                            " " + self._plain(text) for labels, text in read_texts(corpus.train)))
        write_lines(test, (self._plain(text) for _, text in read_texts(corpus.test)))
        loss = ["-loss", "ova"] if has_several_labels(corpus) else []
        self._train = [["fasttext", "supervised", "-input", str(train), "-output", str(model),
                        "-lr", "1.0", "-epoch", "25", "-wordNgrams", "2", "-dim", "50",
                        "-bucket", "200000", "-thread", "1", "-verbose", "0"] + loss]
        self._classify = [["fasttext", "predict-prob", f"{model}.bin", str(test)]]

    def _plain(self, text):
        """Lower case, and blanks around punctuation, as fastText's guide prepares texts."""
        return PUNCTUATION.sub(r" \1 ", text.replace(self._MARK, "label ").lower())

    def _labels(self):
        for line in self._result_lines():
            mark = line.partition(" ")[0].removeprefix(self._MARK)
            yield self._names[int(mark)] if mark else ""


class Sklearn(Peer):
    package = "python3-sklearn"

    def __init__(self, name, method):
        self.name = name
        self._method = method

    def is_installed(self):
        try:
            return subprocess.run([SYSTEM_PYTHON, "-c", "import sklearn"],
                                  stderr=subprocess.DEVNULL).returncode == 0
        except OSError:
            return False

    def prepare(self, corpus, folder):
        super().prepare(corpus, folder)
        model = str(self._folder / "model")
        job = [SYSTEM_PYTHON, "-B", str(SKLEARN_JOB)]
        form = "one-against-rest" if has_several_labels(corpus) else "one-label"
        self._train = [job + ["train", self._method, form, str(corpus.train), model]]
        self._classify = [job + ["classify", str(corpus.test), model]]

    def _labels(self):
        return self._result_lines()


class Bogofilter(Peer):
    name = "bogofilter"
    package = "bogofilter"
    _good_statuses = (0, 1, 2)  # the class of the last text; 3 is an error

    def is_installed(self):
        return shutil.which("bogofilter") is not None

    def can_take(self, corpus):
        return (len(labels_of(corpus.train)) == 2 and
                not has_several_labels(corpus))

    def prepare(self, corpus, folder):
        super().prepare(corpus, folder)
        self._names = labels_of(corpus.train)
        for label in self._names:
            self._write_mailbox(self._mailbox(label), corpus.train, label)
        test = self._folder / "test.mbox"
        self._write_mailbox(test, corpus.test, None)
        database = self._folder / "database"
        database.mkdir()
        program = ["bogofilter", "-C", "-d", str(database), "-M", "-I"]
        # Otherwise the database would continue to learn after the run before.
        self._train = [["rm", "-f", str(database / "wordlist.db")]] + [
            program + [str(self._mailbox(label)), flag]
            for label, flag in zip(self._names, ("-n", "-s"))]
        self._classify = [program + [str(test), "-T"]]

    def _mailbox(self, label):
        return self._folder / f"{self._names.index(label)}.mbox"

    def _write_mailbox(self, path, source, wanted):
        with open(path, "w", encoding="utf-8", newline="\n") as file:
            for labels, text in read_texts(source):
                if wanted is None or wanted in labels:
                    mark = ">" if text.startswith("From ") else ""
                    file.write(f"From x Mon Jan  1 00:00:00 2024\n\n{mark}{text}\n\n")

    def _labels(self):
        for line in self._result_lines():
            yield self._names[float(line.split()[1]) >= 0.5]


def has_several_labels(corpus):
    return any(len(labels) > 1 for labels, _ in read_texts(corpus.train))


def write_lines(path, lines):
    with open(path, "w", encoding="utf-8", newline="\n") as file:
        for line in lines:
            file.write(line + "\n")


def ours():
    return [Zandrel("words"), Zandrel("phrases")]


def peers():
    return [FastText(), Sklearn("SVM words", "svm-words"), Sklearn("SVM 1-2-grams", "svm-2-grams"),
            Sklearn("naive Bayes", "naive-bayes"), Bogofilter()]


def check_installed(contestants):
    missing = sorted({peer.package for peer in contestants if not peer.is_installed()})
    if missing:
        raise Failure(f"missing Debian packages: {', '.join(missing)}; "
                      "`script/bootstrap peers` installs them")
