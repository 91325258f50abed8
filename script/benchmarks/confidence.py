"""How well scores and confidences say how probably an answer is right, and how many texts of no category
they reject."""
import pathlib
import tempfile

from .corpora import Corpus, TEST_SUFFIX, TRAIN_SUFFIX, check_texts, find_corpora, labels_of
from .failure import Failure, report
from .program import build_program, evaluate, evaluate_container, train_container

WANTED_PRECISION = 0.95
THRESHOLDS = [0.3, 0.5, 0.7, 0.8, 0.9, 0.95]
EXPLANATION = f"""\
Each model is trained on the training file with --calibrate. Intervals are of 95 %.

accuracy    of the best labels, in %
score       expected calibration error of the best labels by their scores, as without --calibrate
confidence  the same by their confidences
wanted      a precision of {100 * WANTED_PRECISION:.0f} %: the threshold from out-of-fold answers of the training texts,
            and the precision and share of answered texts of the test file
"""
CALIBRATION_ROW = "{:<22} {:>6} {:>21} {:>24} {:>24} {:>9} {:>21} {:>8}"
OUTSIDE_ROW = "{:>10} {:>30} {:>16} {:>22} {:>16} {:>21}"


def measure_confidence(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus)
    build_program()
    print(EXPLANATION)
    print(CALIBRATION_ROW.format("corpus", "texts", "accuracy", "score", "confidence", "threshold",
                                 "precision", "answered"))
    status = 0
    for corpus in corpora:
        try:
            check_texts(corpus)
            print_corpus(corpus, options)
        except Failure as failure:
            report(failure)
            status = 1
    return status


def print_corpus(corpus, options):
    print(calibration_row(corpus.name, evaluated(corpus, options.analysis)), flush=True)
    if options.outside not in labels_of(corpus.train):
        return
    with tempfile.TemporaryDirectory() as folder:
        inside, outside_test = divided(corpus, options.outside, pathlib.Path(folder))
        print(calibration_row(inside.name, evaluated(inside, options.analysis)), flush=True)
        print_outside(inside, outside_test, options)


def evaluated(corpus, analysis):
    return evaluate(corpus, analysis, "--calibrate", "--want-precision", str(WANTED_PRECISION))


def divided(corpus, label, folder):
    """The corpus without the texts that have the label, and the file of its test texts that have it."""
    inside = Corpus(folder / f"{corpus.name} without {label}{TRAIN_SUFFIX}",
                    folder / f"{corpus.name} without {label}{TEST_SUFFIX}")
    outside_test = folder / f"{label}.tsv"
    copy_lines(corpus.train, inside.train, lambda labels: label not in labels)
    copy_lines(corpus.test, inside.test, lambda labels: label not in labels)
    copy_lines(corpus.test, outside_test, lambda labels: label in labels)
    return inside, outside_test


def copy_lines(source, target, is_wanted):
    with open(source, "rb") as read, open(target, "wb") as write:
        for line in read:
            labels = line.partition(b"\t")[0].decode("utf-8", "replace").split(",")
            if is_wanted(labels):
                write.write(line)


def interval_text(interval, decimals=1, factor=100):
    return f"[{factor * interval[0]:.{decimals}f}-{factor * interval[1]:.{decimals}f}]"


def share_text(share, interval):
    return f"{100 * share:.2f} {interval_text(interval)}"


def error_text(error, interval):
    return f"{error:.4f} {interval_text(interval, 4, 1)}"


def calibration_row(name, result):
    intervals = result["intervals"]
    wanted = result["wanted_precision"]
    threshold = wanted["threshold"]
    return CALIBRATION_ROW.format(
        name, intervals["texts"], share_text(result["accuracy"], intervals["accuracy"]),
        error_text(result["ece_top"], intervals["ece_top"]),
        error_text(result["confidence"]["ece_top"], intervals["confidence"]["ece_top"]),
        "none" if threshold is None else f"{threshold:.4f}",
        "-" if None in (threshold, wanted["precision"]) else share_text(wanted["precision"],
                                                                       wanted["precision_interval"]),
        f"{100 * wanted['share']:.1f}")


def print_outside(inside, outside_test, options):
    """Texts of no category: the model has not learned them. For each threshold, the share of them that
    get no answer, and the answers to other texts that are lost."""
    container = inside.train.with_suffix(".kc")
    train_container(container, inside.train, options.analysis, "--calibrate")
    print(f"\n{inside.name}: texts of '{options.outside}' have no category in this model\n")
    print(OUTSIDE_ROW.format("confidence", "outside, no answer", "inside answered",
                             "right answers lost", "wrong avoided", "accuracy of answered"))
    everything = evaluate_container(container, inside.test)
    for threshold in THRESHOLDS:
        rejecting = ["--reject", str(threshold)]
        print(outside_row(threshold, evaluate_container(container, outside_test, *rejecting),
                          evaluate_container(container, inside.test, *rejecting), everything),
              flush=True)
    print()


def outside_row(threshold, outside, inside, everything):
    """`everything`: the texts of categories with an answer for each."""
    texts = outside["rejection"]["texts"]
    answered = outside["rejection"]["answered"]
    low, high = outside["intervals"]["answered_share"]
    lost = everything["correct"] - inside["correct"]
    wrong = everything["test"]["texts"] - everything["correct"]
    wrong_answered = inside["rejection"]["answered"] - inside["correct"]
    return OUTSIDE_ROW.format(
        f"{threshold:.2f}",
        f"{texts - answered} of {texts}: " + share_text(1 - answered / texts, (1 - high, 1 - low)),
        f"{inside['rejection']['answered']} of {inside['rejection']['texts']}",
        f"{lost} of {everything['correct']}", f"{wrong - wrong_answered} of {wrong}",
        share_text(inside["accuracy"], inside["intervals"]["accuracy"]))
