#!/usr/bin/env bash
# Usage: tree_suggest_test.sh PROGRAM
# Tests the commands of the program zandrel that find groups of labels: tree suggest, and --tree auto of
# train and evaluate.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

lacks() { ! grep -qF -- "$2" "$1" || fail "$command: '$2' is in $1"; }

# 60 labels in 6 topics. A text has two words of its topic, a word that one label of each topic has, and
# words of any label. The numbers look random, and are the same in each run.
texts() {
    awk -v seed="$1" -v count="$2" '
        function below(end) { seed = (seed * 16807) % 2147483647; return int(seed / 65536) % end }
        BEGIN {
            for (i = 0; i < count; ++i) {
                label = i % 60
                topic = int(label / 10)
                printf "label%d\ttopic%dx%d topic%dx%d own%d", label, topic, below(8), topic, below(8), label % 10
                for (j = 0; j < 3; ++j) printf " common%d", below(40)
                print ""
            }
        }'
}
texts 1 1800 >train.tsv
texts 2 600 >test.tsv
accuracy() { sed -n 's/^accuracy *\([0-9.]*\) %.*/\1/p' out; }

# The suggested tree is a tree file. Trained with it, the model is more accurate than without.
expect 0 tree suggest train.tsv -o groups.tree --analysis words
is_silent err
prints out 'texts                1,800'
prints out 'labels                  60'
prints out 'no groups'
prints out '(standard error '
grep -qE '^groups\.tree: [0-9]+ groups with [0-9]+ labels, and [0-9]+ labels? below the root$' out ||
    fail "$command: other result"
head -n 1 groups.tree >first
is first $'+\t[Stat]\t[NoScore]\t[]\t[root]\t[]'
expect 0 tree check groups.tree
prints out ' 60 leaves'
expect 0 train grouped.kc train.tsv --tree groups.tree --analysis words
is_silent err
expect 0 evaluate grouped.kc test.tsv
grouped=$(accuracy)
expect 0 train flat.kc train.tsv --analysis words
is err 'zandrel: 60 labels are in one classifier; groups of labels may be more accurate: try --tree auto'
expect 0 evaluate flat.kc test.tsv
is_silent err
flat=$(accuracy)
awk -v a="$grouped" -v b="$flat" 'BEGIN { exit !(a > b + 1) }' ||
    fail "accuracy $grouped with groups, $flat without"

# The same tree on standard output, and with --tree auto.
cp groups.tree before.tree
expect 0 tree suggest train.tsv --analysis words
cmp -s out before.tree || fail "$command: another tree on standard output"
prints err 'tree: '
expect_of train.tsv 0 tree suggest - -o - --analysis words
cmp -s out before.tree || fail "$command: another tree from standard input"
expect 0 train auto.kc train.tsv --tree auto --analysis words
grep -qE '^zandrel: --tree auto: [0-9]+ groups of labels, accuracy [0-9.]+ % instead of [0-9.]+ % in cross-validation$' err ||
    fail "$command: no note"
expect 0 tree dump auto.kc -o auto.tree
LC_ALL=C sort groups.tree >sorted
LC_ALL=C sort auto.tree | cmp -s - sorted || fail "$command: other groups than tree suggest"
expect 0 evaluate --train train.tsv --test test.tsv --tree auto --analysis words
[[ $(accuracy) == "$grouped" ]] || fail "$command: another accuracy than the container"
prints err '--tree auto: '
lacks err 'try --tree auto'

# Each fold searches groups of its own and prints its note. The hint is the same for all folds.
expect 0 evaluate --cv 3 train.tsv --tree auto --analysis words
for fold in 1 2 3; do
    [[ $(grep -c "^zandrel: fold $fold: --tree auto: " err) == 1 ]] || fail "$command: no note of fold $fold"
done
(($(wc -l <err) == 3)) || fail "$command: other lines than the notes"
expect 0 evaluate --cv 3 train.tsv --analysis words
is err 'zandrel: 60 labels are in one classifier; groups of labels may be more accurate: try --tree auto'

# A second search writes the same bytes. JSON has the figures of the report.
expect 0 tree suggest train.tsv -o groups.tree --analysis words --json
cmp -s groups.tree before.tree || fail "$command: another tree the second time"
for text in '"file": "groups.tree"' '"texts": 1800' '"labels": 60' '"tried": [' '"gain": 0.' '"skipped_lines": 0'; do
    prints out "$text"
done
lacks out '"reason"'
expect 64 tree suggest train.tsv --json
expect 64 tree suggest train.tsv --json -o -
is err 'zandrel: --json: both the tree and the report would be on standard output'

# Groups that do not help are not suggested, and few labels are not searched.
printf 'a\tred\nb\tgreen\nc\tblue\nd\tgrey\n' >four.tsv
for _ in 1 2 3 4 5 6; do cat four.tsv; done >many.tsv
expect 0 tree suggest many.tsv -o flat.tree
prints out 'flat.tree: all labels below the root, since groups do not make it clearly more accurate'
expect 0 tree check flat.tree
is out '5 nodes: 0 rule nodes, 1 statistical node, 4 leaves'
expect 0 tree suggest many.tsv -o flat.tree --json
prints out '"reason": "no number of groups gains accuracy in cross-validation"'
expect 0 tree suggest four.tsv -o flat.tree --json
prints out '"reason": '
expect 0 train few.kc many.tsv --tree auto
is err 'zandrel: --tree auto: no groups, since no number of groups gains accuracy in cross-validation'
for count in 1 2; do
    head -n $count four.tsv >few.tsv
    expect 0 tree suggest few.tsv -o few.tree
    prints out 'few.tree: all labels below the root'
    expect 0 tree check few.tree
    expect 0 train few.kc few.tsv --tree auto --replace
    prints err 'zandrel: --tree auto: no groups, since there are too few labels or texts'
done

# Names with brackets are kept. A text without words, and a label without a word, are below the root.
printf '[x]\tred\n[y]\tred\nz]\tblue\nempty\t\n' >odd.tsv
for _ in 1 2 3 4 5 6; do cat odd.tsv; done >odds.tsv
expect 0 tree suggest odds.tsv -o odd.tree
expect 0 train odd.kc odds.tsv --tree odd.tree
# A text without words teaches nothing.
is err 'zandrel: a leaf of the tree has learned no text: "root/empty"'
expect 0 tree dump odd.kc
prints out $'++\t[Leaf]\t[Score]\t[]\t[[x]]\t[]'

# The hint is for one classifier of many labels only, and only if no tree was chosen.
cut -f 1 train.tsv | LC_ALL=C sort -u | awk '{ print (NR % 2 ? "odd" : "even") "\t" $0 }' >groups.tsv
expect 0 train grouped.kc train.tsv --groups groups.tsv --replace
is_silent err
awk -F '\t' '{ sub(/label/, "", $1); if ($1 + 0 < 50) print "label" $1 "\t" $2 }' train.tsv >fifty.tsv
expect 0 train fifty.kc fifty.tsv
is_silent err
expect 0 learn fifty.kc train.tsv --add-categories
prints out '60 labels (10 new)'
is_silent err
expect 0 train fifty.kc train.tsv --keep-tree
is_silent err
cut -f 1 train.tsv | LC_ALL=C sort -u | sed 's/^/all\t/' >all.tsv
expect 0 train all.kc train.tsv --groups all.tsv
is_silent err
expect 0 tree dump flat.kc -o flat60.tree
expect 0 train all.kc train.tsv --tree flat60.tree --replace
is_silent err

# Refusals.
expect 64 tree suggest
expect 64 tree suggest - -
expect 66 tree suggest absent.tsv -o a.tree
expect 65 tree suggest fifty.kc -o a.tree
is err 'fifty.kc: this is a knowledge container, and no data file'
cp train.tsv copy.tsv
expect 64 tree suggest train.tsv copy.tsv -o copy.tsv
is err 'zandrel: -o: copy.tsv is a data file'
cmp -s train.tsv copy.tsv || fail "$command: changed the data"
echo 'ProfileSize=3000' >o.opt
cp o.opt before.opt
ln -s o.opt link.opt
for file in o.opt ./o.opt link.opt; do
    expect 64 tree suggest many.tsv --options o.opt -o $file
    is err 'zandrel: -o: o.opt is the file of --options'
    cmp -s o.opt before.opt || fail "$command: changed the settings"
done
# The place of the tree is tried out before the data are read.
expect 74 tree suggest absent.tsv -o no/folder/a.tree
prints err 'no/folder/a.tree'
expect 66 tree suggest absent.tsv -o a.tree
[[ ! -e a.tree && -z $(find . -name '.*tmp*') ]] || fail "$command: left a file"
expect 64 tree suggest many.tsv -o fifty.kc
is err 'zandrel: fifty.kc is a knowledge container; a text does not replace it'
printf 'a\tred\nb\vb\tblue\n' >white.tsv
expect 65 tree suggest white.tsv -o a.tree
is err 'white.tsv:2: label "b\x0Bb" has white space that a tree file cannot contain'
printf 'a\tred\nno tab\n' >bad.tsv
expect 65 tree suggest bad.tsv -o a.tree
expect 0 tree suggest bad.tsv -o a.tree --skip-bad
prints err 'skipped 1 bad line'
expect 64 train a.kc train.tsv --tree auto --groups groups.tsv
expect 66 train a.kc train.tsv --tree ./auto
[[ ! -e a.kc ]] || fail 'a refused command has written a container'

((failures == 0))
