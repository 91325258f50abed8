"""The table of accuracy of all corpora of a folder."""
from .corpora import check_texts, find_corpora
from .failure import Failure, report
from .program import build_program, evaluate

COLUMNS = "{:<12} {:<10} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9} {:>9}"
KINDS = ["words", "phrases"]


def print_accuracy(options):
    """Returns the exit status: 1 if a corpus could not be measured."""
    corpora = find_corpora(options.data, options.corpus)
    build_program()
    print(COLUMNS.format("corpus", "analysis", "accuracy", "micro F1", "ECE best", "ECE all",
                         "raw all", "train s", "test s"))
    status = 0
    for corpus in corpora:
        try:
            check_texts(corpus)
            for kind in options.analysis or KINDS:
                print(row(corpus.name, kind, evaluate(corpus, kind)), flush=True)
        except Failure as failure:
            report(failure)
            status = 1
    return status


def row(name, kind, result):
    raw = result.get("without_tables", result)
    return COLUMNS.format(name, kind, f"{100 * result['accuracy']:.2f}",
                          f"{100 * result['micro_f1']:.2f}", f"{result['ece_top']:.4f}",
                          f"{result['ece_pairs']:.4f}", f"{raw['ece_pairs']:.4f}",
                          f"{result['training']['cpu_seconds']:.2f}",
                          f"{result['test']['cpu_seconds']:.2f}")
