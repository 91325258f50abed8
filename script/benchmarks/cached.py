"""A container in cached form compared with the same container in plain form.

Two containers are made. The large one has a tree of two levels: 200 statistical classifiers of five
labels below the root, of 5 MB each. The other has 10,000 nodes, and is changed by one process after
the other.
"""
import pathlib
import random
import statistics
import tempfile
import time

from .processes import run, seconds_to_first_line
from .program import PROGRAM, build_program
from .synthetic import label_of, word_of

EXPLANATION = """\
Made-up texts, analysis `words`; the files are cached in memory. Times are medians.

first ms    from the start of `zandrel classify` to its first line of output, for one text
peak MB     of a process that classifies one text, and of one that classifies 1,000
texts/s     texts in a second of CPU time, for 1,000 texts, loading included
call ms     of one process that changes the container once: CPU, and from start to end
"""
LARGE_ROW = "{:<14} {:>9} {:>9} {:>12} {:>14} {:>9}"
CALL_ROW = "{:<10} {:<14} {:>9} {:>9} {:>9} {:>9}"
BOUND = 20
LABELS_OF_A_GROUP = 5
WORDS = 100000
TEXTS_OF_A_LABEL = 40
WORDS_OF_A_TEXT = 500
MB_OF_A_GROUP = 5
CLASSIFIED = 1000
CALL_GROUPS, CALL_LABELS_OF_A_GROUP = 100, 99


class Data:
    """Training data of a tree with two levels, and the file that groups the labels."""

    def __init__(self, folder, groups, labels_of_a_group):
        self.train = folder / "train.tsv"
        self.groups = folder / "groups.tsv"
        self.labels = groups * labels_of_a_group
        self.groups.write_text("".join(
            f"{group_of(label, labels_of_a_group)}\t{label_of(label)}\n"
            for label in range(self.labels)))

    def write_texts(self, texts_of_a_label, words, length, source):
        with self.train.open("w") as train:
            for _ in range(texts_of_a_label):
                for label in range(self.labels):
                    train.write(f"{label_of(label)}\t{text_of(words, length, source)}\n")


def group_of(label, labels_of_a_group):
    return f"group{label // labels_of_a_group:04}"


def text_of(words, length, source):
    # Only random() is used: its results are the same in all versions of Python.
    return " ".join(words[int(source.random() * len(words))] for _ in range(length))


def measure_cached(options):
    """Returns the exit status."""
    build_program()
    print(EXPLANATION)
    with tempfile.TemporaryDirectory(prefix="zandrel-bench-") as name:
        measure_large(pathlib.Path(name), max(1, options.megabytes // MB_OF_A_GROUP), options.runs)
    with tempfile.TemporaryDirectory(prefix="zandrel-bench-") as name:
        measure_calls(pathlib.Path(name), options.calls)
    return 0


def make_containers(folder, data):
    """Trains in cached form, and converts to the plain form. Returns the forms and their files."""
    cached, plain = folder / "cached.kc", folder / "plain.kc"
    run([str(PROGRAM), "train", str(cached), str(data.train), "--groups", str(data.groups),
         "--analysis", "words", "--cached", str(BOUND)], folder / "log")
    run([str(PROGRAM), "convert", str(cached), str(plain), "--plain"], folder / "log")
    return {"plain": (plain, []), f"cached, {BOUND}": (cached, ["--cached", str(BOUND)])}


def measure_large(folder, groups, runs):
    source = random.Random(1)
    words = [word_of(rank) for rank in range(WORDS)]
    data = Data(folder, groups, LABELS_OF_A_GROUP)
    data.write_texts(TEXTS_OF_A_LABEL, words, WORDS_OF_A_TEXT, source)
    forms = make_containers(folder, data)
    one, many = folder / "one", folder / "many"
    one.write_text(text_of(words, 50, source) + "\n")
    many.write_text("".join(text_of(words, 50, source) + "\n" for _ in range(CLASSIFIED)))
    print(LARGE_ROW.format("form", "file MB", "first ms", "peak MB, one", "peak MB, 1,000",
                           "texts/s"))
    first = {form: [] for form in forms}
    for _ in range(runs):
        for form, (file, flags) in forms.items():
            first[form].append(seconds_to_first_line(
                [str(PROGRAM), "classify", str(file)] + flags, one.read_text()))
    for form, (file, flags) in forms.items():
        command = [str(PROGRAM), "classify", str(file)]
        of_one = run(command + [str(one)] + flags, folder / "log")
        of_many = run(command + [str(many)] + flags, folder / "log")
        print(LARGE_ROW.format(form, f"{file.stat().st_size / 1e6:.0f}",
                               f"{1000 * statistics.median(first[form]):.0f}",
                               f"{of_one.peak_bytes / 1e6:.0f}", f"{of_many.peak_bytes / 1e6:.0f}",
                               f"{CLASSIFIED / of_many.cpu_seconds:.0f}"), flush=True)
    print()


def measure_calls(folder, calls):
    source = random.Random(2)
    words = [word_of(rank) for rank in range(20000)]
    data = Data(folder, CALL_GROUPS, CALL_LABELS_OF_A_GROUP)
    data.write_texts(3, words, 20, source)
    forms = make_containers(folder, data)
    nodes = 1 + CALL_GROUPS + data.labels
    print(CALL_ROW.format("call", f"{nodes:,} nodes", "file MB", "CPU ms", "call ms", "calls"))
    one = folder / "one.tsv"
    for call in ("tree add", "learn"):
        costs = {form: [] for form in forms}
        for number in range(calls):
            label = int(source.random() * data.labels)
            one.write_text(f"{label_of(label)}\t{text_of(words, 20, source)}\n")
            path = f"root/{group_of(label, CALL_LABELS_OF_A_GROUP)}/added{number}"
            for form, (file, flags) in forms.items():
                command = {"tree add": ["tree", "add", str(file), path],
                           "learn": ["learn", str(file), str(one)]}[call]
                start = time.perf_counter()
                cost = run([str(PROGRAM)] + command + flags, folder / "log")
                costs[form].append((cost.cpu_seconds, time.perf_counter() - start))
        for form, (file, _) in forms.items():
            cpu, whole = (1000 * statistics.median(column) for column in zip(*costs[form]))
            print(CALL_ROW.format(call, form, f"{file.stat().st_size / 1e6:.0f}", f"{cpu:.1f}",
                                  f"{whole:.1f}", len(costs[form])), flush=True)
