// The program zandrel: reads the command line, runs one command, and turns errors into messages and
// exit statuses. This file and those of commands/ are the only ones that include the command line
// parser, which is slow to compile.
#include <array>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <string>
#include <unistd.h>
#include <vector>

#include <CLI/CLI.hpp>

#include "zandrel/version.h"

#include "cli/commands/Command_result.h"
#include "cli/commands/evaluate_command.h"
#include "cli/commands/kc_commands.h"
#include "cli/commands/model_commands.h"
#include "cli/commands/record_commands.h"
#include "cli/commands/rule_commands.h"
#include "cli/commands/tree_commands.h"
#include "cli/errors.h"
#include "cli/model/Interruption.h"
#include "cli/model/ending_signals.h"

namespace {

constexpr const char* kFooter = R"(
A knowledge container (KC) is the file of a trained model. train makes one, learn takes further texts
in as one bulk; both replace the file as a whole or leave it as it was. train does not overwrite a
file that is not a container, and replaces a container only with --replace. While one process changes
a container, another is refused, or waits for it with --wait. The new file has the owner, group,
permissions, access lists and extended attributes of the old one, as far as the system allows; hard
links are separated. Hidden files beside it: the lock .NAME.lock, which the program removes at the
end, and the unfinished .NAME.tmp-XXXXXX. If a process is killed, the next change removes both.
A container keeps how its texts were analysed, so --analysis and --stem are needed only for one of
another program. A compact container is smaller, and can classify but not learn. A container has a
seal, checksums that each command verifies: a damaged container is refused, with a sentence about the
damage. A container without a seal is read as well; info says whether there is one.

Where --set and --options give no value, train chooses some settings of a new container: info lists
them. learn scales a label of average size down when it has more than 3,000 texts (AverageRlimit), so
that a container keeps its size and follows changes. It warns if the limits of a container make
learning forget, as those of older versions do.

classify prints exactly one line for each line of input: `label<TAB>score` for each label, best first,
parted by tabs; an empty line where there is no result. With --jsonl the line is an object of
`categories`, a list of objects of `category`, `path` and `score`. A path has the names from the root
down, with / between them and \ in front of a / or \ in a name. Each answer is handed on before the
next line is waited for. explain says below each line what its concepts add to the score; those that
the model does not know are marked. --top N shows the N with the greatest effect.

tree edits the tree of a container, and options set its settings. A PATH has the names from the root
down, the root's own first, with / between them and \ in front of a / or \ in a name. Each edit is
checked first; one that is refused leaves the file as it was: exit status 64 for a path that leads
nowhere, 65 for what the tree does not allow. A compact container takes only those edits for which
its statistical classifiers need no statistics. A new node has learned nothing, and deleting one,
with all below it, cannot be taken back. Nor can moving one below another statistical classifier:
what the old one learned of it goes, and the new one has to learn it. options get prints an options file.

Data files hold a line `label[,label]<TAB>text` for each text, in UTF-8. Line ends may be LF or
CR LF; empty lines are skipped. With --bootstrap the training data have the columns
`label[,label]<TAB>text<TAB>title<TAB>keywords`, and only the last two are learned: train keeps the
model that evaluate measures.

A file of groups has a line `group<TAB>label` for each label that stands in a group. Each group gets a
classifier of its own below that of the groups, and a label's score is the product of both. Labels
that stand in no group are beside the groups. A node with few children weighs words better than one
with many.

Text analysis:
  phrases     as words, but each digit becomes 0, each punctuation mark or symbol is a concept too,
              and so is each pair of neighbours; no stop words are left out, since short texts lose
              up to 16 points of accuracy without them
  words       case and width are folded; runs of letters, marks and numbers are words, and so is
              each Han, Hiragana or Katakana character; what is no UTF-8 separates
  whitespace  what stands between ASCII white space, bytes unchanged

Figures of evaluate:
  accuracy    texts whose best label is one of theirs
  macro F1    of the best labels: the mean of F1 over the labels that test texts have
  score >= T  precision, recall and F1 of the labels given, which are those with a score of at least
              T (--threshold): over all decisions (micro), and as means over the labels that test
              texts have (macro)
  ECE         expected calibration error, over 15 bins: how far scores are from the shares of right
              labels, of the best labels and of all pairs of text and label
  Brier score squared error of the scores, summed over the labels, mean over the texts
  without tables  the same of raw scores, which the likelihood tables have not corrected
  loading     CPU time of reading the model, where it was not trained
  learning    the model before the first bulk of --learn and after each: concepts in all, mean and
              greatest number of them in a profile; all other figures are of the model before it

JSON of evaluate: shares are 0 to 1. `micro_f1` and `macro_f1` are those at the threshold,
`macro_f1_top` is that of the best labels; further `accuracy`, `ece_top`, `ece_pairs`, `brier`,
`without_tables`, `learning` and more; of `training` and `loading` one is null. An explanation
tells what each concept adds to the score of the best label.

Rules are the small expressions that pick nodes of a knowledge by hand. rules check reads a file with
a rule a line, and skips empty lines and those that begin with #. rules eval tries a rule on a
message of the pairs given with --set and the words of --text; without --text it has no words at
all. A rule that begins with - follows the argument --.

Examples:
  zandrel train shop.kc shop.train.tsv
  zandrel train shop.kc shop.train.tsv --replace
  zandrel classify shop.kc messages.txt
  echo "Where is my parcel?" | zandrel classify shop.kc -k 3
  echo "Where is my parcel?" | zandrel explain shop.kc --category root/delivery
  zandrel learn shop.kc new.tsv --add-categories
  zandrel evaluate shop.kc shop.test.tsv
  zandrel info shop.kc
  zandrel tree show shop.kc --depth 1
  zandrel tree add shop.kc root/parcels --type stat
  zandrel tree move shop.kc root/delivery root/parcels
  zandrel options set shop.kc ClipValue=2
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --per-category --threshold 0.6
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --groups shop.groups.tsv
  zandrel rules eval '"parcel" & $size(n) > 5' --text "Where is my parcel?" --set size=7

Record files keep blobs under keys. dump shows header, index, items and holes; check tells whether
every block is what the index says: exit status 0 clean, 1 repairable (no item is known to be lost),
65 lost, damaged or no such file. Both take containers too: dump shows what is in each item and the
checksums of the seal, and check verifies the seal.

Long work shows its progress and the remaining time on a terminal; Ctrl-C, SIGTERM and SIGHUP end it, and a second signal
ends it at once, as does the first one while it reads data.

Exit status: 0, or 64 wrong usage, 65 bad data, 66 unreadable file, 70 failure, 74 output that cannot
be written or a container that another process is changing (still is, after --wait), 129 SIGHUP,
130 Ctrl-C, 143 SIGTERM; 3 if something failed after the container had been changed: do not repeat
the command then.)";

std::string version_text() {
    std::array<char, kZandrelVersionTextSize> text = {};
    GetZandrelVersion(text.data());
    return std::string("zandrel ") + text.data();
}

int run(int argc, char** argv) {
    cli::Command_result result;  // outlives the commands
    CLI::App app("Zandrel, a text classification engine", "zandrel");
    app.set_version_flag("--version", version_text());
    app.footer(kFooter);
    app.require_subcommand(1);
    cli::add_evaluate_command(app);
    cli::add_model_commands(app);
    cli::add_rule_commands(app, result);
    cli::add_record_commands(app, result);
    cli::add_kc_commands(app);
    cli::add_tree_commands(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::RequiredError& error) {
        // A word that is misspelt is the likelier cause, and the parser would not tell of it.
        const std::vector<std::string> unknown = app.remaining(true);
        app.exit(unknown.empty() ? CLI::ParseError(error) : CLI::ExtrasError(unknown));
        return cli::kUsageError;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cli::kSuccess : cli::kUsageError;
    }
    return result.status;
}

int fail(const std::exception& error, int status) {
    std::cerr << error.what() << '\n';
    return status;
}

int run_and_report(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const cli::Data_error& error) {
        // Without the program's name in front, so that editors find file and line.
        return fail(error, cli::kDataError);
    } catch (const cli::Input_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::kInputError);
    } catch (const cli::Output_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::kOutputError);
    } catch (const cli::Usage_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::kUsageError);
    } catch (const std::bad_alloc&) {
        std::cerr << "zandrel: not enough memory\n";
        return cli::kInternalError;
    } catch (const std::exception& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::Interruption::is_requested()
                               ? cli::kSignalStatus + cli::Interruption::signal()
                               : cli::kInternalError);
    }
}

// Also reports output that cannot be written.
int run_to_the_end(int argc, char** argv) {
    const int status = run_and_report(argc, argv);
    if (!std::cout.flush()) {
        std::cerr << "zandrel: cannot write the output\n";
        return status == cli::kSuccess ? cli::kOutputError : status;
    }
    return status;
}

// Opens the standard streams that the caller has closed. Otherwise a container's file could get the
// number of standard error, and messages would be written into it. Using these streams still fails,
// as it does when they are closed.
void occupy_standard_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1) {
            // The lowest free number is this one, since those below are occupied.
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    occupy_standard_streams();
    cli::prepare_for_signals();
    const int status = run_to_the_end(argc, argv);
    if (status != cli::kSuccess && !cli::change_message().empty()) {
        std::cerr << cli::change_message();
        return cli::kChangedThenFailed;
    }
    return status;
}
