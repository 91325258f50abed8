"""Whole jobs of the program beside those of its peers."""
import pathlib
import statistics
import tempfile

from .contestants import Outcome, check_installed, ours, peers
from .corpora import check_texts, find_corpora
from .failure import Failure, report
from .program import build_program

# A job that takes longer runs once.
SLOW_SECONDS = 60

EXPLANATION = """\
Each job reads the texts, trains, classifies the test file and writes results; one thread.
Seconds are CPU time, user and system, of whole processes, in which a peer stores its model after
training and loads it before classifying. zandrel does both phases in one process, without a stored
model: of it "train" is the process less the CPU time of classifying, and "classify" the process
less that of training, so that each has the whole rest: start, reading both files, figures, a second
scoring without likelihood tables, exit. "whole" is all processes of the job. zandrel ranks all
labels and writes figures; the peers write the best label of each text. Memory is the greatest
resident set of a process. Runs are interleaved; figures are medians.
"""
ROW = "{:<14} {:<16} {:>9} {:>9} {:>9} {:>9} {:>9} {:>5}"
RATIO_ROW = "{:<14} {:<16} {:<14} {:>7} {:>9} {:>7} {:>7} {:>9}"


def compare_with_peers(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus)
    check_installed(peers())
    build_program()
    print(EXPLANATION)
    print(ROW.format("corpus", "", "accuracy", "train s", "classify s", "whole s", "peak MB",
                     "runs"))
    medians_of_corpora = {}
    for corpus in corpora:
        try:
            medians_of_corpora[corpus.name] = measure(corpus, options.runs)
        except Failure as failure:
            report(failure)
    print_ratios(medians_of_corpora)
    return 0 if len(medians_of_corpora) == len(corpora) else 1


def measure(corpus, runs):
    """Prints and returns the median outcome of each contestant, by name."""
    check_texts(corpus)
    with tempfile.TemporaryDirectory(prefix="zandrel-bench-") as folder:
        contestants = ours() + [peer for peer in peers() if peer.can_take(corpus)]
        for contestant in contestants:
            contestant.prepare(corpus, pathlib.Path(folder))
        outcomes = interleaved_runs(contestants, runs)
    medians = {name: median_outcome(of_one) for name, of_one in outcomes.items()}
    for name, median in medians.items():
        print(ROW.format(corpus.name, name, f"{100 * median.accuracy:.2f}",
                         f"{median.train_seconds:.2f}", f"{median.classify_seconds:.2f}",
                         f"{median.whole_seconds:.2f}", f"{median.peak_bytes / 1e6:.0f}",
                         len(outcomes[name])), flush=True)
    return medians


def interleaved_runs(contestants, runs):
    """One of each in turn, so that what slows the machine down for a while slows all."""
    outcomes = {contestant.name: [] for contestant in contestants}
    for _ in range(runs):
        for contestant in contestants:
            done = outcomes[contestant.name]
            if not done or done[0].whole_seconds <= SLOW_SECONDS:
                done.append(contestant.run())
    return outcomes


def median_outcome(outcomes):
    """The median of each figure."""
    return Outcome(*(statistics.median(getattr(outcome, figure) for outcome in outcomes)
                     for figure in ("train_seconds", "classify_seconds", "whole_seconds",
                                    "peak_bytes", "accuracy")))


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
