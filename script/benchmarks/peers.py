"""Whole jobs of the program and of its peers."""
import pathlib
import statistics
import tempfile
import types

from . import bars
from .contestants import FIGURES, check_installed, ours, peers
from .corpora import Corpus, check_texts, find_corpora
from .failure import Failure, report
from .program import build_program
from .synthetic import write_thousand

# A job that takes longer runs once.
SLOW_SECONDS = 60
# Seconds without a ratio; they are measured on one corpus.
OWN_FIGURES_CORPUS = "20ng"

EXPLANATION = """\
Each job reads the texts, trains and stores a model; other processes load it, classify the test file
and write the best label of each text. One thread each. Seconds are CPU time, user and system, of
whole processes; memory is the greatest resident set of a process. Runs are interleaved; figures are
medians.
zandrel: `train` to a full file, and `classify` from it.
fastText: -dim 50 -bucket 200000 -wordNgrams 2 -lr 1.0 -epoch 25, predict-prob. Its texts are in lower
case with blanks around punctuation, as its guide advises; they are prepared before the clock starts.
SVM: linear, tf-idf; for 1-2-grams with sublinear_tf. All peers learn texts of several labels
as one-against-rest.
thousand: 50,000 made-up texts of 1,000 labels.
"""
ROW = "{:<14} {:<16} {:>9} {:>9} {:>11} {:>9} {:>9} {:>12} {:>5}"
RATIO_ROW = "{:<14} {:<16} {:<14} {:>7} {:>9} {:>7} {:>7} {:>9}"


def compare_with_peers(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    options.runs = options.runs or (1 if options.bars else 5)
    with tempfile.TemporaryDirectory(prefix="zandrel-bench-") as folder:
        corpora = corpora_of(options, pathlib.Path(folder))
        check_installed(peers())
        build_program()
        print(EXPLANATION)
        print(ROW.format("corpus", "", "accuracy", "train s", "classify s", "whole s", "train MB",
                         "classify MB", "runs"))
        medians_of_corpora, own = measure_all(corpora, options, pathlib.Path(folder))
        # These need no corpus, so they are left out if --corpus is given.
        of_parts = []
        if options.bars and not options.corpus:
            of_parts = measure_parts(pathlib.Path(folder))
    print_ratios(medians_of_corpora)
    if options.bars:
        bars.print_bars(medians_of_corpora, own, of_parts or [])
    return 0 if len(medians_of_corpora) == len(corpora) and of_parts is not None else 1


def measure_parts(folder):
    """None if a measurement fails; the tables of the corpora are printed nevertheless."""
    try:
        return bars.figures_of_parts(folder)
    except Failure as failure:
        report(failure)
        return None


def corpora_of(options, folder):
    """The corpora of the folder and the made-up one. With --bars only corpora that have bars."""
    wanted = options.corpus or (bars.names_of_corpora() if options.bars else None)
    named = [name for name in wanted if name != bars.THOUSAND] if wanted else None
    corpora = [] if named == [] else find_corpora(options.data, named)
    if not wanted or bars.THOUSAND in wanted:
        corpora.append(Corpus(*write_thousand(folder)))
    return corpora


def measure_all(corpora, options, folder):
    """The medians of each contestant, by corpus, and the figures for --bars that need no peer."""
    medians_of_corpora, own = {}, []
    for corpus in corpora:
        work = folder / corpus.name
        work.mkdir()
        try:
            wanted = bars.anchors_of(corpus.name) if options.bars else None
            medians = measure(corpus, options.runs, work, wanted)
            medians_of_corpora[corpus.name] = medians
            if options.bars and corpus.name == OWN_FIGURES_CORPUS:
                own = bars.own_figures(corpus, medians, work / "zandrel_phrases" / "model.kc", work,
                                       options.runs)
        except Failure as failure:
            report(failure)
    return medians_of_corpora, own


def measure(corpus, runs, folder, wanted=None):
    """Prints and returns the median outcome of each contestant, by name. Only the wanted peers run, or
    all."""
    check_texts(corpus)
    contestants = ours() + [peer for peer in peers()
                            if peer.can_take(corpus) and (wanted is None or peer.name in wanted)]
    for contestant in contestants:
        contestant.prepare(corpus, folder)
    outcomes = interleaved_runs(contestants, runs)
    medians = {name: median_outcome(of_one) for name, of_one in outcomes.items()}
    for name, median in medians.items():
        print(ROW.format(corpus.name, name, f"{100 * median.accuracy:.2f}",
                         f"{median.train_seconds:.2f}", f"{median.classify_seconds:.2f}",
                         f"{median.whole_seconds:.2f}", f"{median.train_bytes / 1e6:.0f}",
                         f"{median.classify_bytes / 1e6:.0f}", len(outcomes[name])), flush=True)
    return medians


def interleaved_runs(contestants, runs):
    """One run of each in turn, so that a temporary disturbance of the machine affects all of them."""
    outcomes = {contestant.name: [] for contestant in contestants}
    for _ in range(runs):
        for contestant in contestants:
            done = outcomes[contestant.name]
            if not done or done[0].whole_seconds <= SLOW_SECONDS:
                done.append(contestant.run())
    return outcomes


def median_outcome(outcomes):
    """The median of each figure."""
    return types.SimpleNamespace(
        **{figure: statistics.median(getattr(outcome, figure) for outcome in outcomes)
           for figure in FIGURES})


def print_ratios(medians_of_corpora):
    if not medians_of_corpora:
        return
    print("\nOurs / peer: below 1 is better. Accuracy: ours - peer, in points of 100.\n")
    print(RATIO_ROW.format("corpus", "ours", "peer", "train", "classify", "whole", "memory",
                           "accuracy"))
    our_names = [contestant.name for contestant in ours()]
    for corpus, medians in medians_of_corpora.items():
        for our_name in our_names:
            for peer, theirs in medians.items():
                if peer not in our_names:
                    print(ratio_row(corpus, our_name, peer, medians[our_name], theirs))


def ratio_row(corpus, our_name, peer, ours_, theirs):
    ratios = [getattr(ours_, figure) / getattr(theirs, figure)
              for figure in ("train_seconds", "classify_seconds", "whole_seconds", "peak_bytes")]
    return RATIO_ROW.format(corpus, our_name, peer, *(f"{ratio:.3f}" for ratio in ratios),
                            f"{100 * (ours_.accuracy - theirs.accuracy):+.2f}")
