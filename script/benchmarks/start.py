"""The time of a process from its start to its first classified text."""
import pathlib
import statistics
import tempfile

from .corpora import check_texts, find_corpora, read_texts
from .failure import Failure, report
from .processes import run, seconds_to_first_line
from .program import PROGRAM, build_program

EXPLANATION = """\
Milliseconds from the start of a process to its first line of output, for one text: `zandrel
classify` with a full and a compact container, and `zandrel evaluate`, which has to train first. The
files are cached in memory. Runs are interleaved; figures are medians.
"""
ROW = "{:<14} {:<10} {:>9} {:>10} {:>12} {:>5}"
FORMS = {"full": [], "compact": ["--compact"]}
TRAINING = "no file"


class Start:
    """One way to the first classified text. `line` is what the process reads, if it reads."""

    def __init__(self, name, command, line=None, file_bytes=0):
        self.name = name
        self.command = command
        self.line = line
        self.file_bytes = file_bytes

    def seconds(self):
        return seconds_to_first_line(self.command, self.line)


def measure_start(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus)
    build_program()
    print(EXPLANATION)
    print(ROW.format("corpus", "", "file MB", "first ms", "to no file", "runs"))
    status = 0
    for corpus in corpora:
        try:
            check_texts(corpus)
            with tempfile.TemporaryDirectory(prefix="zandrel-bench-") as folder:
                starts = ways_to_start(corpus, options.analysis, pathlib.Path(folder))
                print_starts(corpus.name, starts, interleaved_seconds(starts, options.runs))
        except Failure as failure:
            report(failure)
            status = 1
    return status


def ways_to_start(corpus, analysis, folder):
    """Trains and writes the files."""
    labels, text = next((labels, text) for labels, text in read_texts(corpus.test)
                        if any(character.isalnum() for character in text))
    # One line for the filter, without a carriage return before its end.
    line = text.replace("\r", " ") + "\n"
    starts = []
    for name, flags in FORMS.items():
        file = folder / name
        run([str(PROGRAM), "train", str(file), str(corpus.train), "--analysis", analysis] + flags,
            folder / "log")
        starts.append(Start(name, [str(PROGRAM), "classify", str(file)], line,
                            file.stat().st_size))
    one_text = folder / "one_text"
    one_text.write_bytes(f"{','.join(labels)}\t{line}".encode("utf-8"))
    starts.append(Start(TRAINING, [str(PROGRAM), "evaluate", "--train", str(corpus.train),
                                   "--test", str(one_text), "--analysis", analysis]))
    return starts


def interleaved_seconds(starts, runs):
    """All runs of each way, one of each in turn, so that a disturbance of the machine affects all."""
    seconds = {start.name: [] for start in starts}
    for _ in range(runs):
        for start in starts:
            seconds[start.name].append(start.seconds())
    return seconds


def print_starts(corpus_name, starts, seconds):
    of_training = statistics.median(seconds[TRAINING])
    for start in starts:
        median = statistics.median(seconds[start.name])
        size = f"{start.file_bytes / 1e6:.2f}" if start.file_bytes else "-"
        print(ROW.format(corpus_name, start.name, size, f"{1000 * median:.1f}",
                         f"{median / of_training:.4f}", len(seconds[start.name])), flush=True)
