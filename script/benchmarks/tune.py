"""Searches of settings: `zandrel tune` and fastText's autotune, with the same time."""
import math
import pathlib
import tempfile

from .contestants import FastText, Zandrel, check_installed
from .corpora import check_texts, find_corpora, read_texts
from .failure import Failure, report
from .program import PROGRAM, build_program

EXPLANATION = """\
Each program searches settings with the training file only, for {time} seconds of wall time on one
thread, and trains; the test file shows how good the choice is. CPU seconds are those of search and
training. Ranges are 95 % (Wilson's interval). Gain: over the same program's defaults, in points, with
the standard error of the paired difference.
fastText: `supervised -autotune-validation` on every fifth text of the training file, -bucket and
-thread as in `script/bench peers`; its defaults are the options of `script/bench peers`.
"""
ROW = "{:<10} {:<18} {:>9} {:>15} {:>7} {:>15} {:>8}"
# Each VALIDATION_STEP-th text of the training file is fastText's validation file.
VALIDATION_STEP = 5


class _Answers:
    """Keeps which texts of the test file are right."""

    def _labels(self):
        self.rights = []
        texts = read_texts(self._corpus.test)
        for label, (labels, _) in zip(super()._labels(), texts):
            self.rights.append(label in labels)
            yield label


class DefaultZandrel(_Answers, Zandrel):
    def __init__(self):
        super().__init__("phrases")
        self.name = "zandrel"


class TunedZandrel(_Answers, Zandrel):
    def __init__(self, seconds):
        super().__init__("phrases")
        self.name = "zandrel tune"
        self._seconds = seconds

    def prepare(self, corpus, folder):
        super().prepare(corpus, folder)
        options = str(self._folder / "found.options")
        self._train = [[str(PROGRAM), "tune", str(corpus.train), "-o", options, "--time",
                        str(self._seconds)],
                       [str(PROGRAM), "train", str(self.model), str(corpus.train), "--replace",
                        "--options", options]]


class DefaultFastText(_Answers, FastText):
    name = "fastText"


class TunedFastText(_Answers, FastText):
    name = "fastText autotune"

    def __init__(self, seconds):
        self._seconds = seconds

    def prepare(self, corpus, folder):
        super().prepare(corpus, folder)
        learned, held_out = divided(self._folder / "train")
        model = self._folder / "model"
        self._train = [["fasttext", "supervised", "-input", str(learned), "-output", str(model),
                        "-autotune-validation", str(held_out), "-autotune-duration",
                        str(self._seconds), "-bucket", "200000", "-thread", "1", "-verbose", "0"]]


def divided(path):
    """Writes every fifth line of a file, and all others, to two files. Returns the larger one first."""
    learned, held_out = path.with_name("learned"), path.with_name("held_out")
    with open(path, encoding="utf-8", newline="\n") as lines, \
            open(learned, "w", encoding="utf-8", newline="\n") as most, \
            open(held_out, "w", encoding="utf-8", newline="\n") as rest:
        for number, line in enumerate(lines):
            (rest if number % VALIDATION_STEP == 0 else most).write(line)
    return learned, held_out


def wilson_range(right, count):
    """The 95 % interval of a share of texts."""
    z = 1.959964
    share = right / count
    middle = (share + z * z / (2 * count)) / (1 + z * z / count)
    half = z / (1 + z * z / count) * math.sqrt(share * (1 - share) / count +
                                               z * z / (4 * count * count))
    return middle - half, middle + half


def paired_gain(before, after):
    """The mean difference of two lists of right texts, and its standard error."""
    differences = [int(new) - int(old) for old, new in zip(before, after)]
    count = len(differences)
    mean = sum(differences) / count
    squares = sum((difference - mean) ** 2 for difference in differences)
    return mean, math.sqrt(squares / (count * (count - 1))) if count > 1 else 0.0


def measure_tuning(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus)
    check_installed([DefaultFastText()])
    build_program()
    print(EXPLANATION.format(time=options.time))
    print(ROW.format("corpus", "", "accuracy", "range", "texts", "gain (error)", "CPU s"))
    failed = False
    with tempfile.TemporaryDirectory(prefix="zandrel-bench-") as folder:
        for corpus in corpora:
            try:
                measure(corpus, options.time, pathlib.Path(folder))
            except Failure as failure:
                report(failure)
                failed = True
    return 1 if failed else 0


def measure(corpus, seconds, folder):
    """Prints a row for each program with its defaults and after its search."""
    check_texts(corpus)
    work = folder / corpus.name
    work.mkdir()
    for default, tuned in ((DefaultZandrel(), TunedZandrel(seconds)),
                           (DefaultFastText(), TunedFastText(seconds))):
        for contestant in (default, tuned):
            contestant.prepare(corpus, work)
            outcome = contestant.run()
            print(row_of(corpus.name, contestant, outcome,
                         default.rights if contestant is tuned else None), flush=True)


def row_of(corpus, contestant, outcome, before):
    low, high = wilson_range(sum(contestant.rights), len(contestant.rights))
    gain = ""
    if before is not None:
        mean, error = paired_gain(before, contestant.rights)
        gain = f"{100 * mean:+.2f} ({100 * error:.2f})"
    return ROW.format(corpus, contestant.name, f"{100 * outcome.accuracy:.2f}",
                      f"{100 * low:.1f} to {100 * high:.1f}", len(contestant.rights), gain,
                      f"{outcome.train_seconds:.1f}")
