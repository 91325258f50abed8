"""A corpus as a stream: it arrives in parts, goes through an archive, and a container learns it.

After each part three containers are compared:

learned    has learned the part from the archive (`archive learn`), at once or in bulks
retrained  was trained again from the messages that the archive has kept (`archive train` of copies)
all        was trained on all texts so far, which needs them all
"""
import dataclasses
import hashlib
import json
import pathlib
import shutil
import subprocess
import tempfile

from .corpora import check_texts, find_corpora, read_texts
from .failure import Failure, report
from .learning import check_installed, draw, quoted
from .processes import run
from .program import PROGRAM, build_program

EXPLANATION = """\
The texts of the training file arrive in equal parts, in an order that does not depend on their order in
the file. Accuracy is in % of the test file.

texts      so far
archive    messages that the archive keeps, and its file
learned    by `archive add` and `archive learn`, {bulk}
retrained  by `archive train` from the messages that the archive keeps
all        by `train` on all texts so far
CPU s      of this part
"""
DEFAULT_CORPUS = "20ng"
MODELS = ("learned", "retrained", "all")
GROUPS = "{:<9} {:>14}" + " {:>27}" * 3
HEAD = "{:>9} {:>8} {:>5}" + "  {:>7} {:>9} {:>7}" * 3
TITLES = {"learned": "learned from the archive", "retrained": "retrained from the archive",
          "all": "trained on all texts so far"}


@dataclasses.dataclass
class Model:
    accuracy: float
    file_bytes: int
    cpu_seconds: float  # to bring it from the last part to this one


@dataclasses.dataclass
class Point:
    """The state after a part. `models` has a Model for each of MODELS."""
    texts: int
    kept: int
    archive_bytes: int
    models: dict


def measure_streams(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus or [DEFAULT_CORPUS])
    check_installed()
    build_program()
    plots = pathlib.Path(options.plots)
    plots.mkdir(parents=True, exist_ok=True)
    print(EXPLANATION.format(bulk=name_of_bulks(options.bulk)))
    status = 0
    for corpus in corpora:
        try:
            check_texts(corpus)
            picture = plots / f"stream-{corpus.name}.svg"
            draw(plot_script(corpus.name, measure_stream(corpus, options), picture))
            print(f"plot: {picture}\n", flush=True)
        except Failure as failure:
            report(failure)
            status = 1
    return status


def measure_stream(corpus, options):
    """The point of each part, printed as soon as it is known."""
    texts = in_order_of_arrival(read_texts(corpus.train))
    if len(texts) < options.parts:
        raise Failure(f"{corpus.train}: fewer texts than parts")
    print_head(corpus.name)
    points = []
    with tempfile.TemporaryDirectory(prefix="zandrel-stream-") as folder:
        stream = Stream(pathlib.Path(folder), corpus.test, options)
        for part in parts_of(texts, options.parts):
            points.append(stream.take(part))
            print_point(points[-1])
    return points


def in_order_of_arrival(texts):
    """The data lines, sorted by a checksum, so that labels are mixed in every file."""
    lines = [f"{','.join(labels)}\t{text}\n".encode("utf-8") for labels, text in texts]
    return sorted(lines, key=lambda line: hashlib.sha256(line).digest())


def parts_of(texts, count):
    """Parts whose sizes differ by at most 1."""
    bounds = [len(texts) * part // count for part in range(count + 1)]
    return [texts[begin:end] for begin, end in zip(bounds, bounds[1:])]


class Stream:
    """The files of one stream: the archive, the containers, and all texts so far."""

    def __init__(self, folder, test, options):
        self._folder = folder
        self._test = test
        self._options = options
        self._archive = folder / "stream.arc"
        self._learned = folder / "learned.kc"
        self._texts = 0
        self._zandrel("archive", "create", self._archive, "--analysis", options.analysis)

    def take(self, part):
        """The point after this part."""
        is_first = self._texts == 0
        with open(self._folder / "so_far.tsv", "ab") as so_far:
            so_far.writelines(part)
        self._texts += len(part)
        models = {"all": self._trained_on_all()}
        if is_first:
            # A container has to exist before the archive can train it.
            shutil.copy(self._folder / "all.kc", self._learned)
            seconds = self._add(part) + self._archive_command("train", self._archive, self._learned)
        else:
            seconds = sum(self._learn(bulk) for bulk in bulks_of(part, self._options.bulk))
        models["learned"] = self._model(self._learned, seconds)
        models["retrained"] = self._retrained()
        return Point(self._texts, self._kept(), self._archive.stat().st_size, models)

    def _learn(self, bulk):
        return self._add(bulk) + self._archive_command("learn", self._archive, self._learned)

    def _add(self, texts):
        file = self._folder / "added.tsv"
        file.write_bytes(b"".join(texts))
        return self._zandrel("archive", "add", self._archive, file)

    def _trained_on_all(self):
        container = self._folder / "all.kc"
        seconds = self._zandrel("train", container, self._folder / "so_far.tsv", "--replace",
                                "--analysis", self._options.analysis)
        return self._model(container, seconds)

    def _retrained(self):
        """Copies are trained, so that the stream goes on as if this had not been measured."""
        archive, container = self._folder / "copy.arc", self._folder / "copy.kc"
        shutil.copy(self._archive, archive)
        shutil.copy(self._learned, container)
        return self._model(container, self._archive_command("train", archive, container))

    def _archive_command(self, verb, archive, container):
        return self._zandrel("archive", verb, archive, container, "--add-categories")

    def _model(self, container, seconds):
        return Model(self._evaluated(container), container.stat().st_size, seconds)

    def _evaluated(self, container):
        return self._json("evaluate", container, self._test)["accuracy"]

    def _kept(self):
        return self._json("archive", "info", self._archive)["messages"]

    def _zandrel(self, *words):
        """RAISES: Failure. Returns the CPU seconds."""
        return run([str(PROGRAM), *map(str, words)], self._folder / "log").cpu_seconds

    def _json(self, *words):
        done = subprocess.run([str(PROGRAM), *map(str, words), "--json"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True)
        if done.returncode != 0:
            raise Failure(done.stderr.strip() or f"zandrel ended with status {done.returncode}")
        return json.loads(done.stdout)


def name_of_bulks(size):
    return "a part at a time" if size is None else f"in bulks of {size:,} messages"


def bulks_of(texts, size):
    if size is None:
        return [texts]
    return [texts[begin:begin + size] for begin in range(0, len(texts), size)]


def print_head(corpus_name):
    print(GROUPS.format(corpus_name, "archive", "accuracy in %", "file in MB", "CPU s"))
    print(HEAD.format("texts", "messages", "MB", *MODELS * 3), flush=True)


def print_point(point):
    models = [point.models[name] for name in MODELS]
    print(HEAD.format(f"{point.texts:,}", f"{point.kept:,}", f"{point.archive_bytes / 1e6:.1f}",
                      *(f"{100 * model.accuracy:.1f}" for model in models),
                      *(f"{model.file_bytes / 1e6:.1f}" for model in models),
                      *(f"{model.cpu_seconds:.1f}" for model in models)), flush=True)


def plot_script(corpus_name, points, picture):
    """Accuracy above, sizes of the files below."""
    lines = ["set terminal svg size 700,800 noenhanced background rgb 'white'",
             f"set output {quoted(picture)}", "set multiplot layout 2,1", "set grid",
             "set xlabel 'texts so far'", "$points << EOD"]
    lines += [" ".join([str(point.texts),
                        *(f"{100 * point.models[name].accuracy:.4f}" for name in MODELS),
                        *(f"{point.models[name].file_bytes / 1e6:.6f}" for name in MODELS),
                        f"{point.archive_bytes / 1e6:.6f}"]) for point in points]
    lines += ["EOD", f"set title {quoted(corpus_name + ': accuracy')}", "set ylabel '%'",
              "set key bottom right", "plot " + curves_of(2),
              f"set title {quoted(corpus_name + ': sizes of the files')}", "set ylabel 'MB'",
              "set key top left", "set yrange [0:*]",
              "plot " + curves_of(2 + len(MODELS)) + ", \\\n    "
              f"$points using 1:{2 + 2 * len(MODELS)} with linespoints title 'archive'",
              "unset multiplot", ""]
    return "\n".join(lines)


def curves_of(column):
    """A curve of each model; the first one is in this column."""
    return ", \\\n    ".join(
        f"$points using 1:{place} with linespoints title {quoted(TITLES[name])}"
        for place, name in enumerate(MODELS, column))
