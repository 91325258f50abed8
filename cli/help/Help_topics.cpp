// The texts of the topics. They say what several commands have in common; docs/ has the details.
#include "cli/help/Help_topics.h"

#include <algorithm>

namespace zandrel::cli {

namespace {

constexpr std::string_view kContainers =
    R"(A knowledge container (KC) is the file of a trained model. train makes it, and learn adds further
texts to it as one bulk. Both replace the whole file, or leave it as it was. train does not overwrite
a file that is not a container, and replaces a container only with --replace.

A container in cached form (train --cached N, convert --cached) can be larger than the memory: its
file is open while it is used, with at most N statistical classifiers in memory (--cached N, default
20). It is changed in place. A refused change leaves it as it was. After Ctrl-C it may contain a part
of the change, and a message says so. After a kill, zandrel rebuild-index recovers what is whole. Others
cannot read it while it is changed. While it is read, a change is refused, or waits with --wait.

While one process changes a container, a second one is refused, or waits with --wait. The new file has
the owner, group, permissions, access lists and extended attributes of the old one, as far as the
system allows; hard links are separated. While a container is changed there are two hidden files beside
it: the lock .NAME.lock, and the unfinished .NAME.tmp-XXXXXX. The program removes both. If a process
is killed, the next change removes them.

A container records how its texts were analysed, so --analysis and --stem are needed only for a
container of another program. A compact container is smaller, and can classify but not learn.

A container has a seal: checksums that each command verifies. In cached form only convert and check
verify it, and a change removes it. A damaged container is refused, with a sentence about the damage.
A container without a seal is read too; info reports if there is one.)";

constexpr std::string_view kData =
    R"(A data file has a line `label[,label]<TAB>text` for each text, in UTF-8. Lines end with LF or CR LF.
Empty lines are skipped. With --bootstrap the training file has the columns
`label[,label]<TAB>text<TAB>title<TAB>keywords`; only title and keywords are learned. The file `-` is
standard input. A line longer than --max-line bytes is a bad line, and is never in memory whole.

The end of a file's name, or --format, chooses another form:
  .csv            csv       columns between commas; quotes as in RFC 4180
  .jsonl .ndjson  jsonl     {"text": "a goal", "labels": ["sport"], "pairs": {"size": 7}}; .json too
  .ft .fasttext   fasttext  words; those that begin with __label__ are labels
Behind it may be .gz or .zst; compressed standard input is found by its first bytes. --text and --label
choose the columns of csv and tsv by name or number, and the keys of jsonl. Names are found in the first
row; --header is needed only if all are numbers. Without these options csv has the columns label and
text. Several --text are joined. Labels are separated only by --label-separator.

  zandrel train shop.kc export.csv --text subject --text body --label category
  zandrel classify shop.kc new.jsonl.gz --jsonl

Rules read the pairs of a message: the object "pairs" of jsonl, and columns named by --pair
NAME[=COLUMN]. Integers, numbers, truth values, strings, moments such as "2026-01-31T10:00:00Z" (read as
microseconds since 1970) and lists of one type keep their type.

A bad record is reported as FILE:LINE: record N: reason. With --skip-bad it is left out. A quote that is
not closed costs only its own line: the next line is read as a new row. If a later quote closes it at
the end of a column, all lines between them are one text. Damaged compressed data ends the command.
With --skip-bad a file is refused if more rows differ from the first row in the number of columns than
are good.

A corpus file (corpus import) keeps texts that are analysed already, and can be larger than memory. Each
command that reads data files reads corpus files too. It has its own form and analysis. A container and
a message archive are no data files, and are refused. See zandrel help archives.

split divides a data file into two, with each label in both: one to train, one to test.

train and evaluate warn about header lines, bytes that are not UTF-8, too many labels, labels with a
single text, labels that differ only in case or blanks, and a test without a known label.

A file of groups (--groups) has a line `group<TAB>label` for each label of a group. One classifier
chooses the group, and each group has a classifier for its labels. The score of a label is the product
of both scores. Labels without a group are on the level of the groups. A node with few children weighs
words better than a node with many.)";

constexpr std::string_view kAnalysis =
    R"(--analysis chooses how texts become concepts:
  phrases     as words, but each digit becomes 0; each punctuation mark, each symbol and each pair of
              neighbours is a concept too; stop words are kept, since leaving them out costs up to
              16 points of accuracy on short texts
  words       case and width are folded; a word is a run of letters, marks and numbers, or one
              Han, Hiragana or Katakana character; other characters and invalid UTF-8 separate words
  whitespace  a concept is a run of bytes between ASCII white space, unchanged

--stem LANGUAGE removes the endings of words first; it is for phrases and words.)";

constexpr std::string_view kSettings =
    R"(The engine has settings, such as ProfileSize=3000. train and evaluate read them from --set KEY=VALUE and
from a file with lines KEY=VALUE, --options FILE; --set overrides the file. options get and
options dump write the settings of a container as such a file; options set and options load change them.
Unknown keys and values without a meaning are refused. Most settings are integers:
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
An empty value or the word leave keeps the setting as it is.

A file of --options can also say how a new container is made. No trained container takes these entries:
  Analysis  phrases, words or whitespace
  Stem      a language as for --stem, or none
  Tree      flat, auto (as --tree auto) or a number of groups of labels, such as 40
--analysis or --stem on the command line replace both Analysis and Stem; --tree or --groups replace
Tree. tune finds good settings and writes such a file.

If --set and --options do not give a value, train chooses it for some settings of a new container;
info lists them. UseExtParms=0 switches all given settings off: the program uses its own choices, and a
warning names the settings that are off.

learn scales old texts of a label of average size down when it has more than 3,000 texts
(AverageRlimit), so that a container keeps its size and follows changes. It warns if the limits of a
container make it forget. Containers of older versions have such limits.)";

constexpr std::string_view kTrees =
    R"(The nodes of a tree decide which classifier a text meets. Without an option, train makes one
statistical node with all labels below it. --groups FILE makes two levels. --tree FILE takes any tree,
with rules and statistical nodes, also with rules at the root. The file has a line for each node: level,
type, score, name, category and rule, with a tab between two of them (shown as blanks here):
  +    [Rule]  [NoScore]  []  [desk]      []
  ++   [Leaf]  [Score]    []  [manager]   [$amount(n) >= 500]
  ++   [Stat]  [NoScore]  []  [english]   [$language(s) == 'en' & $amount(n) < 500]
  +++  [Leaf]  [Score]    []  [delivery]  []
  +++  [Leaf]  [Score]    []  [returns]   []
  ++   [Leaf]  [Score]    []  [person]    [default]

Labels of the data name categories of leaves. A label without a leaf is an error with file and line.
Several leaves can have one label. Each child of a rule node has a rule; the rule "default" is for texts
for which no other rule fires. Rules read words and the name/value pairs of a text.

--tree auto finds groups of labels with common words, and trains a tree of two levels if that is
clearly more accurate in cross-validation. tree suggest writes this tree as text. train prints
a hint at --tree auto if the data have more than 50 labels and none of --groups, --tree and --keep-tree
is given. evaluate does so too where it trains a model.

Rules act in training too: a statistical node learns the texts that the rules above let through. A
text that the rules keep from all leaves of its labels is not learned, and a warning says so. Only
statistical nodes learn; a leaf directly below a rule node needs no texts.

train KC DATA --keep-tree trains the classifiers of a container anew, for example after edits by tree
add, rename, move or set. Tree, rules, ids, settings and text analysis remain, and --replace is not
needed. A compact container becomes a full one, unless --compact is given too.

The words of a rule are brought into the form of the text analysis: "Refund" finds "refund", and with
--stem english "running" finds "runs". With the analysis phrases two words find two neighbours. A rule
with more words in quotes never finds them; combine its parts: "pay it" & "it now". With phrases each
digit is 0, so "E404" also finds "E500".

rules list prints the rules of a container, rules keys the name/value pairs that they read, and rules
concepts their words.)";

constexpr std::string_view kEditing =
    R"(tree edits the tree of a container; options set and options load change its settings. A PATH contains
the names from the root down, the root's own first, with / between them and
\ in front of a / or \ in a name.

Each edit is checked first. A refused edit leaves the file as it was. The exit status is then 64 for a
path that does not exist or a bad value, and 65 for an edit that the tree does not allow. A compact
container allows only edits for which its statistical classifiers need no statistics.

A new node has learned nothing. Deleting a node, with all nodes below it, cannot be undone. Neither can
a move below another statistical classifier: the old classifier forgets what it has learned of the node,
and the new one has to learn it. So tree move refuses such a move (64) and says what would be forgotten;
with --forget it moves the node.

tree apply makes the edits of a file, one on each line, and writes the container once. If an edit is
refused (65), the message names its line, and the file stays as it was.

import adds the nodes of another container, with all that its classifiers have learned.

tree dump writes the tree as text, one line for each node, for a diff or for an editor. tree check reads
such a text and names the first wrong line (65).

The threshold of a node is a score from 0 to 1. A rule node compares its threshold with the values of
rules, and scores below a rule node are products with such values. So the threshold of a rule node, and
of a node below it, may be any finite number.)";

constexpr std::string_view kArchives =
    R"(An archive is one file with the labelled messages of a stream. It keeps what training needs: learn
and train delete old messages, so the archive does not grow without end. This is its life:

  zandrel archive create shop.arc --minimal-size 500
                                                   an empty archive; --analysis and --stem as in train
  zandrel archive add shop.arc shop.train.tsv      messages of data files and corpus files
  zandrel train shop.kc shop.train.tsv             makes the container; archive train only changes one
  zandrel archive train shop.arc shop.kc           trains it anew, and binds the two
  zandrel classify shop.kc new.txt                 answers each message of the stream
  zandrel archive add shop.arc --id case-7 --category refund "I want my money back"
                                                   the label of a message is known
  zandrel archive add shop.arc --id case-7 --category delivery --replaces case-7 "I want my money back"
                                                   a person corrects it
  zandrel archive learn shop.arc shop.kc --if-due  learns the new messages, if there are enough
  zandrel archive train shop.arc shop.kc           each night: train anew
  zandrel archive info shop.arc                    shows the figures below

A message has a number and may have an external id, by which the other commands name it; delete and
show take numbers with --number. It has at least one category, which train and learn use as its label.

Reserved: each category reserves its newest messages, at most --reserved-size (20). learn and train
never delete a reserved message, so a rare category remains. Of the other messages they keep those
that are among the newest: --minimal-size (80) times the number of categories. They delete the rest,
which cannot be undone, so choose the size with archive create or archive set before the first of
them. Example: with 10 categories and the size 80 the 800 newest messages and all reserved ones
remain.
Mature: a category is mature when its reservation is full. Mature categories is the share of them.
Fullness: the messages of the archive, as a share of minimal size times categories. It can be more
than 100 %, until the next learn or train.
Share: the part of the stream that a category has, also if its messages have been deleted since.

New messages are those that no container has learned. learn learns them once; train uses all messages,
the newest of a category with more weight (--age-ratio). With --if-due they do nothing unless there
are as many new messages as the setting ActivateFeedback of the container says (100).

Archive and container are bound: both record the same training, and learn and train refuse another
container. After a crash, or when one of them was restored, archive train FILE KC --unmatched binds
them again. A change of an archive is made in its file. If the process is killed meanwhile, all
commands refuse the archive until zandrel rebuild-index has repaired it. One process at a time changes
it.

archive list --json writes the messages as JSON lines, which each command that reads data accepts:
  zandrel archive list shop.arc --json | zandrel corpus import shop.corpus - --format jsonl)";

constexpr std::string_view kFigures =
    R"(Figures of evaluate:
  accuracy    share of texts whose best label is one of their labels
  macro F1    F1 of the best labels, as the mean over the labels of the test texts
  score >= T  precision, recall and F1 of all labels with a score of at least T (--threshold): over all
              decisions (micro), and as means over the labels of the test texts (macro)
  ECE         expected calibration error, over 15 bins: the distance of scores from the shares of right
              labels, for the best labels and for all pairs of text and label
  Brier score squared error of the scores, summed over the labels, mean over the texts
  without tables  the same for raw scores, without the correction by likelihood tables
  confidence  the same for the confidences of the best labels, if the container has any (train
              --calibrate) or with --calibrate: the calibration before and after
  answered    accuracy of the most certain 100 %, 95 %, ... of the texts, and the least confidence of
              these texts; their least score if there are no confidences
  reject C    share of texts that get an answer with --reject C; all other figures except those of the
              block "answered" are then of these texts
  wanted precision  the least confidence or score for which the share P (--want-precision) of the
              answers is right. Thresholds are tested from a high one down, until one is not proved
              with 95 %. The precision and the share answered are of texts that were not used to
              choose the threshold. By chance, their precision may be a little lower than P
  loading     CPU time of reading the model, if it was not trained
  learning    the model before the first bulk of --learn and after each bulk: accuracy, number of
              concepts, mean and greatest number in a profile; all other figures are of the model before
              --learn

A 95 % interval is beside each figure: of many such intervals, each from other test texts, about 95 %
contain the figure of infinitely many texts like these.
  shares of texts, precision and recall of a label    the interval of Wilson
  F1 of a label    from the interval of the share of hits among the texts that have the label or got it
  averages         the interval of a share with the same variance
  all others       from 200 random samples of the test texts, which are the same in every run
By chance, few texts make ECE too high. So the low end of its interval is the figure minus the most that
exactly true scores have by chance, and 0 if chance explains all. The variance of averages is that of
the 200 samples too. Figures of no text are dashes, and null in JSON.

evaluate --cv K has three columns: the mean of each figure over the folds, its spread over the
folds, and the figure of all texts together, each text with the result of its fold. The spread is
the sample standard deviation: the sum of squared distances from the mean is divided by K - 1. Macro
F1 of a fold is the mean over the labels of its texts. If labels have fewer texts than K, macro F1
of all texts says more. Categories, confusions and cost are of all folds together. Each label has
its share of each fold, and --seed chooses other folds. --holdout 0.2 is one of the folds of --cv 5.

JSON of evaluate: shares are 0 to 1. `micro_f1` and `macro_f1` are at the threshold, `macro_f1_top`
is for the best labels. There are also `accuracy`, `ece_top`, `ece_pairs`, `brier`,
`without_tables`, `confidence`, `learning` and more. `intervals` has an interval for each of them and
the number of texts, `bins` the calibration for diagrams, `answered` accuracy against the share
answered, `wanted_precision` and `rejection` the results of these options. With --cv these are members
of `mean`, `spread`, `all_texts` and each of `folds`. One of `training` and `loading` is null. An
explanation contains what each concept adds to the score of the best label.)";

constexpr std::string_view kConfidence =
    R"(The confidence of an answer is the chance that its best label is right. The score of the best label is
too low for that: by 0.1 and more if there are many labels.

  zandrel train shop.kc shop.train.tsv --calibrate
  zandrel classify shop.kc messages.txt --confidence --reject 0.8

train --calibrate divides the texts into three folds. Three models, each of two folds, answer the third
one, and from these answers train learns a map from the two highest scores to the chance. The map is
kept in the container. It is non-decreasing: a higher score, or a greater lead over the second label,
never has a lower confidence. Unless the answers clearly contradict the scores, the confidence is the
score: calibrate with at least 300 texts, better 1,000. Identical texts are in the same fold.

learn, archive learn  answer the new texts before they learn them, and update the map. A text with a
                      label that the container does not know has a wrong answer. The map remembers
                      about 5,000 answers, and newer ones count more. After a bulk with more texts
                      than were learned before, the confidence is too low: learn smaller bulks.
tree, import          drop the map with a warning if the tree has other answers afterwards; a new name
                      or note keeps it, and so does learn --add-categories
options               drop it if a setting changes on which scores depend
train --keep-tree     drops it, or makes a new one with --calibrate
archive train         drops it

classify --confidence prints it as the first column, --jsonl as the member `confidence`, --csv
--confidence as the last column. --reject C gives no answer below C. info shows the number of answers
of the map. Texts of a topic that no label has usually have a low confidence, but some have a high one.)";

constexpr std::string_view kExitStatus =
    R"(The exit status is 0 for success, or:
    1  check: the file is repairable
    3  something failed after the container had been changed: do not repeat the command
   64  wrong usage
   65  invalid or damaged data, or an edit that the tree does not allow
   66  a file that cannot be read
   70  a failure of the program
   74  output that cannot be written, or a container that another process is changing, also after
       --wait
  129  ended by SIGHUP
  130  ended by Ctrl-C
  143  ended by SIGTERM

Long work shows its progress and the remaining time on a terminal. Ctrl-C, SIGTERM and SIGHUP end it. A
second signal ends it at once, and so does the first one while the program reads data.)";

constexpr Help_topic kTopics[] = {
    {"containers", "The files of models: how they are replaced, locked and sealed", kContainers},
    {"data", "Data files and files of groups", kData},
    {"analysis", "How texts become concepts", kAnalysis},
    {"settings", "The settings of the engine, and the choices of train", kSettings},
    {"trees", "Trees with rules: train --tree and --keep-tree", kTrees},
    {"editing", "Paths of nodes, and edits of a tree", kEditing},
    {"archives", "The life of a message archive, and its figures", kArchives},
    {"figures", "The figures of evaluate", kFigures},
    {"confidence", "How far an answer can be trusted: train --calibrate", kConfidence},
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

}  // namespace zandrel::cli
