#!/usr/bin/env bash
# Usage: tune_test.sh PROGRAM DATA
# Tests the command tune of the program zandrel, and the entries Analysis, Stem and Tree of options files.
# DATA: the start of the names of the data files.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
data=$(realpath "$(dirname "$2")")/$(basename "$2")
source "$(dirname "$0")/program_test_help.sh"

lacks() { ! grep -qF -- "$2" "$1" || fail "$command: '$2' is in $1"; }
without_seconds() { sed 's/ *[0-9.]* s$//' "$1"; }
accuracy() { sed -n 's/^accuracy *\([0-9.]*\) %.*/\1/p' out; }

# A part of the labelled messages, so that a search takes a second.
awk 'NR % 8 == 1' "$data.train.tsv" >train.tsv

# The file has the entries, and the table has the defaults and a line on the use of the file.
expect 0 tune train.tsv -o a.options
is_silent err
prints out 'defaults '
prints out 'Stem=english '
grep -qE '^a\.options: .* for 121 texts' out || fail "$command: no result"
prints out "To train with it: zandrel train KC DATA --options 'a.options'"
lacks out 'depends on the machine'
for line in 'UseExtParms = 1' 'Analysis = ' 'Stem = ' 'Tree = flat' '# Settings for train --options, '; do
    prints a.options "$line"
done
without_seconds out >table.txt

# A second search and one with two processes give the same. An options file is replaced.
expect 0 tune train.tsv -o a.options
without_seconds out | cmp -s - table.txt || fail "$command: another table"
cp a.options first.options
expect 0 tune train.tsv -o a.options --jobs 2
without_seconds out | cmp -s - table.txt || fail "$command: another table with two processes"
cmp -s a.options first.options || fail "$command: another file"

# The file on standard output, and the report as JSON.
expect_of train.tsv 0 tune -
cmp -s out first.options || fail "$command: another file on standard output"
prints err 'options: '
expect 0 tune train.tsv -o a.options --json --metric brier --time 1000 --stem none
for text in '"metric": "Brier score"' '"depends_on_machine": true' '"complete": true' '"texts": 121' '"skipped_lines": 0' \
    '"setting": "defaults"'; do
    prints out "$text"
done
lacks out 'Stem='
prints a.options '# The result depends on the machine: --time 1000 was enough for the whole search.'
expect 0 tune train.tsv -o a.options --time 0.000001
prints a.options '# The defaults: the time was over before another setting was compared with them.'
prints out '--time 0.000001 ended the search; some trials were not made'

# Copies of texts take no part.
cat train.tsv train.tsv >twice.tsv
expect 0 tune twice.tsv -o twice.options --time 0.000001
prints twice.options ' in 121 texts with '
prints twice.options '# 121 texts are copies of earlier ones and take no part.'

# train and evaluate use the entries, and info shows them.
printf 'UseExtParms = 1\nAnalysis = words\nStem = english\nTree = 2\nProfileSize = 70\n' >b.options
expect 0 train b.kc train.tsv --options b.options
expect 0 info b.kc
prints out 'words'
prints out 'english'
expect 0 tree dump b.kc
grep -qF '[Stat]' out && (($(grep -cF '[Stat]' out) == 3)) || fail "$command: other groups than two"
expect 0 evaluate --train train.tsv --test "$data.test.tsv" --options b.options
with_file=$(accuracy)
expect 0 evaluate b.kc "$data.test.tsv"
[[ $(accuracy) == "$with_file" ]] || fail "$command: another accuracy than with the file"

# The command line replaces entries: --analysis or --stem both Analysis and Stem, --tree and --groups Tree.
expect 0 train c.kc train.tsv --options b.options --analysis phrases
expect 0 info c.kc
prints out 'phrases'
lacks out 'english'
expect 0 train c.kc train.tsv --options b.options --stem german --replace
expect 0 info c.kc
prints out 'german'
prints out 'phrases'
expect 0 train c.kc train.tsv --options b.options --groups "$data.groups.tsv" --replace
expect 0 tree dump c.kc
(($(grep -cF '[Stat]' out) != 3)) || fail "$command: the groups of the file"
expect 0 tree dump b.kc -o two.tree
sed 's/Tree = 2/Tree = flat/' b.options >flat.options
expect 0 train c.kc train.tsv --options flat.options --tree two.tree --replace
expect 0 tree dump c.kc
cmp -s <(LC_ALL=C sort out) <(LC_ALL=C sort two.tree) || fail "$command: not the tree of --tree"
expect 0 train c.kc train.tsv --options flat.options --replace
expect 0 tree dump c.kc
(($(grep -cF '[Stat]' out) == 1)) || fail "$command: not flat"
sed 's/Tree = 2/Tree = auto/' b.options >auto.options
expect 0 train c.kc train.tsv --options auto.options --replace
prints err '--tree auto: '

# UseExtParms = 0 switches the entries off too.
sed 's/UseExtParms = 1/UseExtParms = 0/' b.options >off.options
expect 0 train c.kc train.tsv --options off.options --replace
prints err 'ProfileSize, Analysis, Stem, Tree'
expect 0 info c.kc
prints out 'phrases'

# A hint at --tree auto is not for a tree that was chosen.
awk -F '\t' '{ print "label" NR % 60 "\t" $2 }' train.tsv >many.tsv
expect 0 train c.kc many.tsv --replace
prints err 'try --tree auto'
for file in flat.options b.options; do
    expect 0 train c.kc many.tsv --options $file --replace
    lacks err 'try --tree auto'
done

# A trained container keeps its analysis and its tree.
cp b.kc before.kc
expect 65 options load b.kc b.options
is err 'b.options:2: Analysis cannot be changed in a trained container; remove this line'
cmp -s b.kc before.kc || fail "$command: changed the container"
expect 64 options set b.kc Tree=2
prints err 'Tree is no setting of the engine'
expect 64 train c.kc train.tsv --set Stem=english
prints err 'Stem is no setting of the engine'
printf 'Analysis = words\nTree = 2 levels\n' >bad.options
expect 65 train absent.kc train.tsv --options bad.options
prints err 'bad.options:2: bad value for Tree: "2 levels"'
[[ ! -e absent.kc ]] || fail "$command: wrote a container"

# A corpus file is analysed already, so the search keeps its analysis.
expect 0 corpus import words.corpus train.tsv --analysis words
expect 0 tune words.corpus -o c.options
lacks out 'Stem='
prints c.options 'Analysis = words'
expect 0 train c.kc words.corpus --options c.options --replace

# Refusals. Nothing is written.
cp train.tsv copy.tsv
expect 64 tune copy.tsv -o copy.tsv
is err 'zandrel: -o: copy.tsv is a data file'
cmp -s train.tsv copy.tsv || fail "$command: changed the data"
expect 64 tune train.tsv -o copy.tsv
prints err '-o: copy.tsv is no options file, and is not replaced: '
cmp -s train.tsv copy.tsv || fail "$command: changed the file"
expect 64 tune train.tsv -o b.kc
cmp -s b.kc before.kc || fail "$command: changed the container"
: >empty.options
expect 0 tune train.tsv -o empty.options --time 0.000001
prints empty.options 'UseExtParms = 1'
expect 64 tune
expect 64 tune train.tsv --json
expect 64 tune train.tsv --json -o -
expect 64 tune - -
for option in '--metric f1' '--time 0' '--time -1' '--time nan' '--stem klingon' '--jobs 0'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 tune train.tsv -o d.options $option
done
expect 66 tune absent.tsv -o d.options
expect 74 tune train.tsv -o no/folder/d.options
expect 65 tune b.kc -o d.options
head -n 2 train.tsv >two.tsv
expect 64 tune two.tsv -o d.options
prints err 'there are fewer texts (2) than folds (3)'
printf 'a\tred\nno tab\n' >bad.tsv
expect 65 tune train.tsv bad.tsv -o d.options
[[ ! -e d.options && -z $(find . -name '.*tmp*') ]] || fail 'a refused command has left a file'
expect 0 tune train.tsv bad.tsv -o d.options --skip-bad --time 0.000001
prints err 'skipped 1 bad line'

# An interrupted search writes nothing.
for _ in 1 2 3 4 5 6 7 8; do cat "$data.train.tsv"; done >long.tsv
rm -f d.options
"$program" tune long.tsv -o d.options >out 2>err &
search=$!
sleep 1
kill -TERM $search
wait $search
status=$?
command='zandrel tune, interrupted'
((status == 143)) || fail "$command: exit status $status"
[[ ! -e d.options && -z $(find . -name '.*tmp*') ]] || fail "$command: left a file"

((failures == 0))
