"""The aims of speed, as ratios to the peers that do the same job.

An aim compares one phase of ours with the same phase of an anchor in the same interleaved run. Only
the peers that are anchors of a corpus run on it.
"""
import json
import pathlib
import re
import statistics

from .failure import Failure
from .processes import run
from .program import PROGRAM, ROOT, build_targets, evaluate

WORDS, PHRASES = "zandrel words", "zandrel phrases"
SVM_WORDS, SVM_2_GRAMS, FASTTEXT = "SVM words", "SVM 1-2-grams", "fastText"
# The made-up corpus of 1,000 labels.
THOUSAND = "thousand"


class Bar:
    """Ours may take at most `aim` times what the anchor takes for a phase on a corpus."""

    def __init__(self, phase, corpus, ours, anchor, aim):
        self.phase = phase
        self.corpus = corpus
        self.ours = ours
        self.anchor = anchor
        self.aim = aim

    def ratio(self, medians):
        figure = f"{self.phase}_seconds"
        return getattr(medians[self.ours], figure) / getattr(medians[self.anchor], figure)


BARS = [
    Bar("train", "20ng", WORDS, SVM_WORDS, 0.25),
    Bar("train", "clinc150", WORDS, SVM_WORDS, 0.10),
    Bar("train", THOUSAND, WORDS, SVM_WORDS, 0.05),
    Bar("train", "20ng", PHRASES, SVM_2_GRAMS, 0.30),
    Bar("train", "clinc150", PHRASES, SVM_2_GRAMS, 0.20),
    Bar("train", "reuters90", PHRASES, SVM_2_GRAMS, 0.20),
    Bar("classify", "20ng", WORDS, FASTTEXT, 0.40),
    Bar("classify", "clinc150", WORDS, FASTTEXT, 0.40),
    Bar("classify", "20ng", PHRASES, SVM_2_GRAMS, 0.30),
]
# Figures of 20ng without a peer: seconds, MB, and milliseconds for a MB of text.
LOADS = {"load to classify, s": 0.3, "load to learn, s": 1.2}
PEAKS = {"train": 220, "classify": 120}
ANALYSIS = 12
# For rules with so many operators.
RULES = {1: 1.5, 10: 1.0, 100: 1.0}
RECORD_FILE = 1.28
BENCHMARKS = ROOT / "build" / "release" / "bench"
ROW = "{:<44} {:<16} {:>8} {:>8}  {}"


def names_of_corpora():
    return list(dict.fromkeys(bar.corpus for bar in BARS))


def anchors_of(corpus):
    return {bar.anchor for bar in BARS if bar.corpus == corpus}


def print_head():
    print("\nRatios of CPU time to the anchor; without an anchor the figure itself\n")
    print(ROW.format("job", "anchor", "ratio", "aim", ""))


def print_bars(medians_of_corpora, own_figures, of_parts):
    """`own_figures` are (job, figure, aim); the figures of parts are (job, anchor, figure, aim)."""
    print_head()
    for bar in BARS:
        if bar.corpus in medians_of_corpora:
            analysis = bar.ours.partition(" ")[2]
            print_row(f"{bar.phase} {bar.corpus}, {analysis}", bar.anchor,
                      bar.ratio(medians_of_corpora[bar.corpus]), bar.aim)
    for job, figure, aim in own_figures:
        print_row(job, "-", figure, aim)
    for row in of_parts:
        print_row(*row)


def print_row(job, anchor, figure, aim):
    verdict = "reached" if figure <= aim else "missed"
    print(ROW.format(job, anchor, f"{figure:.3f}" if figure < 10 else f"{figure:.1f}", f"{aim:g}",
                     verdict), flush=True)


def own_figures(corpus, medians, model, folder, runs):
    """The measurements on 20ng without a peer. `model` is the full file of its phrases."""
    figures = [(f"peak memory {phase} {corpus.name}, phrases, MB",
                getattr(medians[PHRASES], f"{phase}_bytes") / 1e6, aim)
               for phase, aim in PEAKS.items()]
    for (job, aim), seconds in zip(LOADS.items(), seconds_of_loads(model, folder, runs)):
        figures.append((f"{corpus.name}, phrases: {job}", seconds, aim))
    figures.append((f"text analysis {corpus.name}, words, ms/MB", analysis_of(corpus), ANALYSIS))
    return figures


def seconds_of_loads(model, folder, runs):
    """CPU time of whole processes that only load a file: one classifies no text. The
    other is asked to learn an unknown label, and refuses after it has read the model."""
    nothing, unknown = (pathlib.Path(folder) / name for name in ("nothing", "unknown"))
    nothing.write_bytes(b"")
    unknown.write_bytes(b"a label of no corpus\ttext\n")
    classify, learn = [], []
    for _ in range(runs):
        classify.append(run([str(PROGRAM), "classify", str(model), str(nothing)],
                            folder / "log").cpu_seconds)
        # 65: the data do not fit the container.
        learn.append(run([str(PROGRAM), "learn", str(model), str(unknown)], folder / "log",
                         (65,)).cpu_seconds)
    return statistics.median(classify), statistics.median(learn)


def analysis_of(corpus):
    """Milliseconds of analysis for a MB of test texts."""
    test = evaluate(corpus, "words")["test"]
    return 1e3 * test["analysis_seconds"] / (test["bytes"] / 1e6)


def figures_of_parts(folder):
    """The parts of the library whose benchmarks have their own anchor."""
    rules, records = "zandrel_rules_bench", "zandrel_record_file_bench"
    build_targets(rules, records)
    output = folder / "benchmarks"
    run([str(BENCHMARKS / rules), "--benchmark_filter=<Operands::kKeys>|MuParser_Variable",
         "--benchmark_format=json"], output)
    figures = rule_ratios(json.loads(output.read_text("utf-8")))
    run([str(BENCHMARKS / records), "--runs", "1"], output)
    return figures + [("record file, all but reopening", "mapped floor",
                       record_file_ratio(output.read_text("utf-8")), RECORD_FILE)]


def rule_ratios(result):
    """Ratios from the output of Google Benchmark. The variables of the anchor are numbers. RAISES:
    Failure if a benchmark has another name."""
    times = {one["name"]: one["cpu_time"] for one in result["benchmarks"]}
    try:
        return [(f"rule of {operators} operators with $key(n)", "muParser",
                 times[f"BM_EvaluateRule_Arithmetic<Operands::kKeys>/{operators}"] /
                 times[f"BM_EvaluateMuParser_Variable/{operators}"], aim)
                for operators, aim in RULES.items()]
    except KeyError as missing:
        raise Failure(f"zandrel_rules_bench has no benchmark {missing}") from missing


def record_file_ratio(text):
    """RAISES: Failure if the benchmark has not printed it."""
    found = re.search(r"^all but reopening, to the mapped floor +([0-9.]+),", text, re.MULTILINE)
    if found is None:
        raise Failure("zandrel_record_file_bench has printed no ratio to the mapped floor")
    return float(found.group(1))
