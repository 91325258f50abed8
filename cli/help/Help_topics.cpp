#include "cli/help/Help_topics.h"

#include <algorithm>

namespace cli {

namespace {

constexpr std::string_view kContainers =
    R"(A knowledge container (KC) is the file of a trained model. train makes one, and learn takes further
texts in as one bulk. Both replace the file as a whole, or leave it as it was. train does not
overwrite a file that is not a container, and replaces a container only with --replace.

While one process changes a container, another is refused, or waits for it with --wait. The new file
has the owner, group, permissions, access lists and extended attributes of the old one, as far as the
system allows; hard links are separated. There are hidden files beside a container: the lock
.NAME.lock, which the program removes at the end, and the unfinished .NAME.tmp-XXXXXX. If a process is
killed, the next change removes both.

A container keeps how its texts were analysed, so --analysis and --stem are needed only for a container
of another program. A compact container is smaller, and can classify but not learn.

A container has a seal, checksums that each command verifies. A damaged container is refused, with a
sentence about the damage. A container without a seal is read as well; info says whether there is one.)";

constexpr std::string_view kData =
    R"(A data file has a line `label[,label]<TAB>text` for each text, in UTF-8. Line ends may be LF or CR LF;
empty lines are skipped. With --bootstrap the training file has the columns
`label[,label]<TAB>text<TAB>title<TAB>keywords`, of which only the last two are learned. The file `-` is
standard input. A line longer than --max-line bytes is a bad line, and is never in memory whole.

train and evaluate warn about header lines, bytes that are not UTF-8, too many labels, labels with a
single text, labels that differ only in case or blanks, and a test without a known label.

A file of groups (--groups) has a line `group<TAB>label` for each label that is in a group. Each group
gets a classifier of its own below that of the groups, and a label's score is the product of both.
Labels that are in no group are beside the groups. A node with few children weighs words better than
one with many.)";

constexpr std::string_view kAnalysis =
    R"(--analysis says how texts become concepts:
  phrases     as words, but each digit becomes 0, each punctuation mark or symbol is a concept too,
              and so is each pair of neighbours; no stop words are left out, since short texts lose
              up to 16 points of accuracy without them
  words       case and width are folded; runs of letters, marks and numbers are words, and so is
              each Han, Hiragana or Katakana character; what is no UTF-8 separates
  whitespace  what is between ASCII white space, bytes unchanged

--stem LANGUAGE takes the endings from the words of phrases or words first.)";

constexpr std::string_view kSettings =
    R"(The engine has settings, such as ProfileSize=3000. train and evaluate take them by --set KEY=VALUE and
from a file of lines KEY=VALUE by --options FILE; --set wins. options get prints the settings of a
container as such a file, and options set changes them. Unknown keys and values without a meaning are
refused. Most settings are integers:
  0 or 1          SuppressM, FullPropogation, each setting that begins with Use, and (only in a file)
                  PositiveMethod and GeomAverage
  0 to 255        PLifeExpectancy
  1 to 1000       LikelihoodHistogramResolution
  1 or more       ProfileSize, NumberOfSlices, AverageRlimit, MaxRlimit, KeywordsFrequency
  0 or more       all others
  a real number of 0 or more
                  DeletePFactor, KeywordsSmlWeight, TitleSmlWeight, CannedSmlWeight,
                  WeakenSmallCatsFactor, AgeAdjustment
  sqrt or linear  LearnSpeedScale
An empty value and leave keep the setting as it is.

Where --set and --options give no value, train chooses some settings of a new container: info lists
them. With UseExtParms=0 none of the settings given is used, and a warning names them; the program's
choices are used as if nothing had been given.

learn scales a label of average size down when it has more than 3,000 texts (AverageRlimit), so that
a container keeps its size and follows changes. It warns if the limits of a container make learning
forget, as those of older versions do.)";

constexpr std::string_view kEditing =
    R"(tree edits the tree of a container, and options set its settings. A PATH has the names from the root
down, the root's own first, with / between them and \ in front of a / or \ in a name.

Each edit is checked first. One that is refused leaves the file as it was, with exit status 64 for a
path that leads nowhere or a bad value, and 65 for what the tree does not allow. A compact container
takes only those edits for which its statistical classifiers need no statistics.

A new node has learned nothing, and deleting one, with all below it, cannot be taken back. Nor can
moving one below another statistical classifier: the old classifier forgets what it learned of the node,
and the new one has to learn it. So tree move refuses such a move (64) and says what would be forgotten;
with --forget it moves the node.

tree apply carries out the edits of a file, one on each line, and writes the container once. A line that
is refused is named with its number (65), and the file stays as it was.

The threshold of a node is a score from 0 to 1. A rule node compares it with the values of rules, and
below a rule node scores contain such values: there it may be any finite number.)";

constexpr std::string_view kFigures =
    R"(Figures of evaluate:
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
`without_tables`, `learning` and more; of `training` and `loading` one is null. An explanation says
what each concept adds to the score of the best label.)";

constexpr std::string_view kExitStatus =
    R"(The exit status is 0 for success, or:
    1  check: the file is repairable
    3  something failed after the container had been changed: do not repeat the command
   64  wrong usage
   65  bad data
   66  a file that cannot be read
   70  a failure of the program
   74  output that cannot be written, or a container that another process is changing (still is, after
       --wait)
  129  ended by SIGHUP
  130  ended by Ctrl-C
  143  ended by SIGTERM

Long work shows its progress and the remaining time on a terminal. Ctrl-C, SIGTERM and SIGHUP end it. A
second signal ends it at once, as does the first one while it reads data.)";

constexpr Help_topic kTopics[] = {
    {"containers", "The files of models: how they are replaced, locked and sealed", kContainers},
    {"data", "Data files and files of groups", kData},
    {"analysis", "How texts become concepts", kAnalysis},
    {"settings", "The settings of the engine, and what train chooses", kSettings},
    {"editing", "Paths of nodes, and what edits of a tree do", kEditing},
    {"figures", "What the figures of evaluate are", kFigures},
    {"exit-status", "Exit statuses and signals", kExitStatus},
};

}  // namespace

std::span<const Help_topic> help_topics() {
    return kTopics;
}

const Help_topic* find_help_topic(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(kTopics), std::end(kTopics),
                     [name](const Help_topic& topic) { return topic.name == name; });
    return found == std::end(kTopics) ? nullptr : found;
}

}  // namespace cli
