"""How the cost of the program grows with its input: tables, and a plot of each curve.

Each curve changes one property of made-up texts and keeps the others. For example, the curve of
categories always has 6,000 texts, with 10 to 3,000 labels. If a curve is a straight line of slope 1
in the plot, whose axes are logarithmic, the cost grows as fast as the input.
"""
import dataclasses
import math
import multiprocessing
import pathlib
import statistics
import tempfile

from .learning import check_installed, draw, quoted
from .processes import run
from .program import PROGRAM, build_program
from .synthetic import Recipe, data_lines, label_of

EXPLANATION = """\
Made-up texts, analysis `words`. CPU seconds of whole processes, user and system, medians.

train      a new container of all texts
learn      500 further texts, with load and save
load       the container, to classify no text
classify   1,000 texts, without the load
growth     the factor of the cost between the last two points, and between their x
"""
PHASES = ("train", "learn", "load", "classify")
LEARNED, CLASSIFIED = 500, 1000
HEAD = "{:<12} {:>9}" + " {:>10}" * len(PHASES) + " {:>9} {:>9}"
TITLES = {
    "messages": "messages (20 words, 50 categories)",
    "words": "words of a message (2,000 messages, 50 categories)",
    "vocabulary": "different words (10,000 messages, 50 categories)",
    "categories": "categories (6,000 messages)",
    "depth": "levels of the tree (4,000 messages, 64 categories)",
}
POINTS = {
    "messages": (1000, 2000, 4000, 8000, 16000, 32000),
    "words": (5, 10, 20, 40, 80, 160, 320),
    "vocabulary": (1000, 4000, 16000, 64000, 256000),
    "categories": (10, 30, 100, 300, 1000, 3000),
    "depth": (1, 2, 4, 8, 16, 32),
}
DEPTH_LABELS = 64
# Below this, the start of the process is most of the cost.
LEAST_SECONDS = 0.001


@dataclasses.dataclass
class Point:
    x: int
    seconds: dict  # of each phase
    file_bytes: int
    peak_bytes: int


def measure_curves(options):
    """Returns the exit status."""
    check_installed()
    build_program()
    folder = pathlib.Path(options.plots)
    folder.mkdir(parents=True, exist_ok=True)
    print(EXPLANATION)
    for name in options.curve or TITLES:
        points = measure_curve(name, options.runs)
        print_growth(name, points)
        draw(plot_script(name, points, folder / f"{name}.svg"))
        print(f"plot: {folder / f'{name}.svg'}\n", flush=True)
    return 0


def measure_curve(name, runs):
    print(HEAD.format(name, "", *PHASES, "file MB", "peak MB"))
    points = []
    for x in POINTS[name]:
        with tempfile.TemporaryDirectory(prefix="zandrel-curves-") as folder:
            point = measure_point(name, x, runs, pathlib.Path(folder))
        points.append(point)
        print(HEAD.format("", f"{x:,}", *(f"{point.seconds[phase]:.3f}" for phase in PHASES),
                          f"{point.file_bytes / 1e6:.2f}", f"{point.peak_bytes / 1e6:.1f}"),
              flush=True)
    return points


def recipe_of(name, x):
    """All texts of a point: those to train, to learn and to classify."""
    labels, texts, mean_length, words = 50, 2000, 20, 20000
    if name == "messages":
        texts = x
    elif name == "words":
        mean_length = x
    elif name == "vocabulary":
        texts, words = 10000, x
    elif name == "categories":
        labels, texts = x, 6000
    else:
        labels, texts = DEPTH_LABELS, 4000
    return Recipe(labels=labels, texts=texts + LEARNED + CLASSIFIED, words=words,
                  mean_length=mean_length, seed=31)


def measure_point(name, x, runs, folder):
    # In another process, since the memory of this process would count as memory of the program.
    writer = multiprocessing.get_context("fork").Process(target=write_parts,
                                                         args=(recipe_of(name, x), folder))
    writer.start()
    writer.join()
    tree = Chain(folder, x) if name == "depth" else None
    costs = {phase: [] for phase in PHASES}
    for _ in range(runs):
        for phase, cost in one_run(folder, tree).items():
            costs[phase].append(cost)
    seconds = {phase: statistics.median(cost.cpu_seconds for cost in of_phase)
               for phase, of_phase in costs.items()}
    seconds["classify"] = max(seconds["classify"] - seconds["load"], LEAST_SECONDS)
    return Point(x, seconds, (folder / "trained.kc").stat().st_size,
                 max(cost.peak_bytes for of_phase in costs.values() for cost in of_phase))


def write_parts(recipe, folder):
    """Writes the data file of each phase."""
    lines = list(data_lines(recipe))
    parts = {"train": lines[:-LEARNED - CLASSIFIED], "learn": lines[-LEARNED - CLASSIFIED:-CLASSIFIED],
             "classify": lines[-CLASSIFIED:], "load": []}
    for part, texts in parts.items():
        (folder / part).write_bytes(b"".join(texts))


def one_run(folder, tree):
    """The costs of the phases, by name. The trained file stays as "trained.kc"."""
    model, data = folder / "model.kc", {phase: folder / phase for phase in PHASES}
    model.unlink(missing_ok=True)

    def zandrel(command, *arguments):
        return run([str(PROGRAM), command, str(model), *map(str, arguments)], folder / "log")

    costs = {}
    if tree is None:
        costs["train"] = zandrel("train", data["train"], "--analysis", "words")
    else:
        model.write_bytes(tree.container)
        costs["train"] = zandrel("learn", data["train"])
    (folder / "trained.kc").write_bytes(model.read_bytes())
    costs["load"] = zandrel("classify", data["load"])
    costs["classify"] = zandrel("classify", data["classify"], "--column", "2")
    costs["learn"] = zandrel("learn", data["learn"])
    return costs


class Chain:
    """A container whose tree has `levels` levels of statistical nodes, each below the one before.
    The labels are spread over the levels, so that most messages pass through several classifiers.
    Such a tree learns its texts, since `train` makes no tree of more than two levels.

    Example: with 2 levels and the labels 0 to 3, the labels 0 and 2 are children of the root, and
    1 and 3 are children of root/down."""

    def __init__(self, folder, levels):
        container = folder / "chain.kc"
        first = folder / "first"
        first.write_text(f"{label_of(0)}\tword\n", "utf-8")
        run([str(PROGRAM), "train", str(container), str(first), "--analysis", "words"], folder / "log")
        for path, kind in nodes_of_chain(levels):
            run([str(PROGRAM), "tree", "add", str(container), path, "--type", kind], folder / "log")
        self.container = container.read_bytes()


def nodes_of_chain(levels):
    """(path, type) of each node but root and its first label, which `train` makes."""
    places = ["root" + "/down" * level for level in range(levels)]
    nodes = [(place, "stat") for place in places[1:]]
    return nodes + [(f"{places[number % levels]}/{label_of(number)}", "leaf")
                    for number in range(1, DEPTH_LABELS)]


def print_growth(name, points):
    factors = [f"x {points[-1].seconds[phase] / points[-2].seconds[phase]:.2f}" for phase in PHASES]
    print(HEAD.format("growth", f"x {points[-1].x / points[-2].x:.2f}", *factors, "", ""))


def plot_script(name, points, picture):
    """A plot with logarithmic axes; the grey line has slope 1."""
    lines = ["set terminal svg size 700,450 noenhanced background rgb 'white'",
             f"set output {quoted(picture)}", "set logscale xy", "set grid", "set key left top",
             f"set xlabel {quoted(TITLES[name])}", "set ylabel 'CPU seconds'",
             # A little wider than the points, otherwise gnuplot leaves the first label out.
             f"set xrange [{0.9 * points[0].x}:{1.1 * points[-1].x}]",
             f"set xtics ({', '.join(tic_of(point.x) for point in points)})",
             "set format y '%g'", "$points << EOD"]
    lines += [" ".join([str(point.x), *(f"{point.seconds[phase]:.6f}" for phase in PHASES),
                        f"{slope(points, point.x):.6f}"]) for point in points]
    curves = [f"$points using 1:{column} with linespoints title {quoted(phase)}"
              for column, phase in enumerate(PHASES, 2)]
    curves.append(f"$points using 1:{len(PHASES) + 2} with lines dashtype 2 linecolor rgb 'gray' "
                  "title 'as fast as the input'")
    return "\n".join(lines + ["EOD", "plot " + ", \\\n    ".join(curves), ""])


def tic_of(x):
    return f"'{x:,}' {x}"


def slope(points, x):
    """A line of slope 1 through the middle of the plot."""
    middle = math.exp(statistics.fmean(math.log(point.x) for point in points))
    height = math.exp(statistics.fmean(math.log(point.seconds["train"]) for point in points))
    return height * x / middle
