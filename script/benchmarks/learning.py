"""How learning changes the program's model: tables and a plot of each corpus."""
import json
import pathlib
import shutil
import subprocess

from .corpora import check_texts, find_corpora
from .failure import Failure, report
from .program import ROOT, build_targets

PROGRAM = ROOT / "build" / "release" / "bench" / "zandrel_learning_curves"
EXPLANATION = """\
Accuracy in % of the test texts. Texts are in a fixed order that does not depend on the order in the
file. "settings" are given by --settings; "program" is the program's own choice.

one known text  the model is trained on all texts and learns one of them once more
rest            trained on a fifth of the texts; the others are learned in bulks. The first size is for
                1,000 texts, the second for the rest. The columns called "trained" are for a model that is
                trained on as many texts, after each tenth
swap            trained on the first half; then the two most frequent labels change places, and the
                other half is learned in bulks of 250. Accuracy is measured with the swapped labels
new words       made-up texts, each with a new word: the size of the file
"""
COMMON_ROW = "{:<12} {:<40} "
ONE_TEXT_ROW = COMMON_ROW + "{:>7} {:>7} {:>7}"
REST_ROW = COMMON_ROW + "{:>9} {:>7} {:>8} {:>8} {:>7} {:>9} {:>8} {:>8}"
TENTH_ROW = COMMON_ROW + "{:>9} {:>7} {:>8} {:>8} {:>9} {:>9} {:>8} {:>8} {:>8} {:>8}"
SWAP_ROW = COMMON_ROW + "{:>8} {:>8} {:>9} {:>8}"
STREAM_ROW = "{:<40} {:>8} {:>10} {:>9} {:>8}"
# Texts after the swap at which models are compared.
SWAP_TEXTS = 1250
SWAP_BULK = 250
# A larger corpus (in bytes) is learned only in the largest bulks, since each bulk costs a
# selection.
LARGE_CORPUS = 10_000_000
ALL_BULKS = ["1:100", "10:1000", "100:100", "1000:1000"]
LARGEST_BULKS = ["1000:1000"]


def measure_learning(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus)
    check_installed()
    build_targets("zandrel_learning_curves")
    plots = pathlib.Path(options.plots)
    plots.mkdir(parents=True, exist_ok=True)
    print(EXPLANATION)
    status = 0
    for corpus in corpora:
        try:
            check_texts(corpus)
            result = run(command_of(corpus, options))
            print_tables(corpus.name, result)
            plot(corpus.name, result, plots)
        except Failure as failure:
            report(failure)
            status = 1
    print_stream(run([str(PROGRAM), "stream"] + common_arguments(options)))
    return status


def check_installed():
    if shutil.which("gnuplot") is None:
        raise Failure("missing package: gnuplot-nox; `script/bootstrap learning` installs it")


def command_of(corpus, options):
    bulks = options.bulks
    if not bulks:
        bulks = LARGEST_BULKS if corpus.train.stat().st_size > LARGE_CORPUS else ALL_BULKS
    command = [str(PROGRAM), "corpus", "--train", str(corpus.train), "--test", str(corpus.test),
               "--swap-bulk", str(SWAP_BULK)]
    for word in bulks:
        command += ["--bulks", word]
    return command + common_arguments(options)


def common_arguments(options):
    arguments = ["--analysis", options.analysis]
    for settings in options.settings or [""]:
        arguments += ["--settings", settings]
    return arguments


def run(command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise Failure(done.stderr.strip() or f"{command[0]} ended with status {done.returncode}")
    return json.loads(done.stdout)


def name_of(trial):
    return trial["settings"] or "program"


def percent(share):
    return f"{100 * share:.1f}"


def points_of(difference):
    return f"{100 * difference:+.1f}"


def print_tables(corpus_name, result):
    print(f"\n{corpus_name}, analysis {result['analysis']}\n")
    print(ONE_TEXT_ROW.format("", "one known text", "before", "after", "change"))
    for trial in result["trials"]:
        print(one_text_row(corpus_name, trial))
    print()
    print(REST_ROW.format("", "rest", "bulks", "end", "at worst", "mean", "at end", "concepts",
                          "file MB", "CPU s"))
    for trial in result["trials"]:
        for curve in trial["rest"]:
            print(rest_row(corpus_name, trial, curve))
    print()
    print(TENTH_ROW.format("", "rest, after each tenth", "bulks", "texts", "learned", "trained",
                           "concepts", "trained", "file MB", "trained", "CPU s", "trained"))
    for trial in result["trials"]:
        for curve in trial["rest"]:
            for point in curve["points"]:
                print(tenth_row(corpus_name, trial, curve, point))
    print()
    print(SWAP_ROW.format("", "swap", "at swap", f"{SWAP_TEXTS:,}", "from best", "end"))
    best = max(accuracy_after_swap(trial) for trial in result["trials"])
    for trial in result["trials"]:
        print(swap_row(corpus_name, trial, best), flush=True)


def one_text_row(corpus_name, trial):
    before = trial["one_text"]["before"]["accuracy"]
    after = trial["one_text"]["after"]["accuracy"]
    return ONE_TEXT_ROW.format(corpus_name, name_of(trial), percent(before), percent(after),
                               points_of(after - before))


def rest_row(corpus_name, trial, curve):
    """The differences are to models trained on as many texts. The first point is the model before it
    learns."""
    end = curve["points"][-1]
    changes = [point["accuracy"] - point["trained"]["accuracy"] for point in curve["points"][1:]]
    return REST_ROW.format(corpus_name, name_of(trial), curve["bulks"], percent(end["accuracy"]),
                           points_of(min(changes)), points_of(sum(changes) / len(changes)),
                           points_of(changes[-1]), end["concepts"],
                           f"{end['file_bytes'] / 1e6:.2f}", f"{end['cpu_seconds']:.1f}")


def tenth_row(corpus_name, trial, curve, point):
    """One point of a curve, compared with the model trained on as many texts."""
    both = (point, point["trained"])
    return TENTH_ROW.format(corpus_name, name_of(trial), curve["bulks"], point["texts"],
                            *(percent(model["accuracy"]) for model in both),
                            *(model["concepts"] for model in both),
                            *(f"{model['file_bytes'] / 1e6:.2f}" for model in both),
                            *(f"{model['cpu_seconds']:.1f}" for model in both))


def accuracy_after_swap(trial):
    """After SWAP_TEXTS texts, or at the end of a shorter half."""
    points = trial["swap"]["points"]
    wanted = points[0]["texts"] + SWAP_TEXTS
    return next((point for point in points if point["texts"] >= wanted), points[-1])["accuracy"]


def swap_row(corpus_name, trial, best):
    points = trial["swap"]["points"]
    accuracy = accuracy_after_swap(trial)
    return SWAP_ROW.format(corpus_name, name_of(trial), percent(points[0]["accuracy"]),
                           percent(accuracy), points_of(accuracy - best),
                           percent(points[-1]["accuracy"]))


def print_stream(result):
    print(f"\nnew words, analysis {result['analysis']}\n")
    print(STREAM_ROW.format("settings", "texts", "concepts", "file MB", "growth"))
    for trial in result["trials"]:
        for row in stream_rows(trial):
            print(row)


def stream_rows(trial):
    """The growth is from half as many texts, if there is such a point."""
    bytes_at = {point["texts"]: point["file_bytes"] for point in trial["points"]}
    rows = []
    for point in trial["points"]:
        half = bytes_at.get(point["texts"] / 2)
        growth = "" if half is None else f"{100 * (point['file_bytes'] / half - 1):+.1f} %"
        rows.append(STREAM_ROW.format(name_of(trial), f"{point['texts']:,}", point["concepts"],
                                      f"{point['file_bytes'] / 1e6:.2f}", growth))
    return rows


def plot(corpus_name, result, folder):
    """Writes FOLDER/NAME.svg: learning the rest above, the swap below."""
    data = folder / f"{corpus_name}.dat"
    picture = folder / f"{corpus_name}.svg"
    curves = curves_of(result)
    data.write_text("".join(block_of(curve) for curves_of_side in curves.values()
                            for curve in curves_of_side), "utf-8")
    draw(plot_script(corpus_name, curves, data, picture))
    print(f"plot: {picture}", flush=True)


def draw(script):
    """Lets gnuplot run a script. RAISES: Failure with its complaint."""
    done = subprocess.run(["gnuplot"], input=script, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise Failure(f"gnuplot: {done.stderr.strip()}")


def curves_of(result):
    """For each side a list of (title, list of (texts, accuracy in %)). Settings that differ only in
    limits share the curve of the trained models."""
    trained = []
    rest = []
    for trial in result["trials"]:
        pairs = set()
        for curve in trial["rest"]:
            rest.append((f"{name_of(trial)}, bulks {curve['bulks']}", pairs_of(curve["points"])))
            pairs.update(pairs_of([point["trained"] for point in curve["points"]]))
        if sorted(pairs) not in [others for _, others in trained]:
            trained.append((f"{name_of(trial)}, trained on everything so far", sorted(pairs)))
    swap = [(name_of(trial), pairs_of(trial["swap"]["points"])) for trial in result["trials"]]
    return {"rest": trained + rest, "swap": swap}


def pairs_of(points):
    return [(point["texts"], 100 * point["accuracy"]) for point in points]


def block_of(curve):
    """One block of a data file of gnuplot; two empty lines end it."""
    return "".join(f"{texts} {accuracy}\n" for texts, accuracy in curve[1]) + "\n\n"


def quoted(text):
    """The text as a literal string of gnuplot."""
    return "'" + str(text).replace("'", "''") + "'"


def plot_script(corpus_name, curves, data, picture):
    lines = ["set terminal svg size 900,1000 noenhanced background rgb 'white'",
             f"set output {quoted(picture)}", "set multiplot layout 2,1",
             "set key outside below", "set grid", "set xlabel 'texts'",
             "set ylabel 'accuracy, %'"]
    titles = {"rest": f"{corpus_name}: a fifth trained, the rest learned",
              "swap": f"{corpus_name}: two labels change places half-way"}
    block = 0
    for side, of_side in curves.items():
        parts = []
        for title, _ in of_side:
            parts.append(f"{quoted(data)} index {block} using 1:2 with linespoints "
                         f"title {quoted(title)}")
            block += 1
        lines += [f"set title {quoted(titles[side])}", "plot " + ", \\\n    ".join(parts)]
    return "\n".join(lines + ["unset multiplot", ""])
