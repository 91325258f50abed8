#!/usr/bin/env bash
# Usage: divide_test.sh PROGRAM DATA
# Tests evaluate --cv, evaluate --holdout and split of the program zandrel. DATA.train.tsv is a data
# file.
shop=$(realpath "$2.train.tsv")
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

figure() { python3 -c "import json; print(json.load(open('out'))$1)"; }

# Twelve texts with different words, and with one word for each label.
for i in 1 2 3 4 5 6; do
    printf 'sport\tgoal w%d\nfood\tbread x%d\n' $i $i
done >data.tsv

# Cross-validation, as text and as JSON
expect 0 evaluate --cv 3 data.tsv
is_silent err
prints out '3 folds                 mean      spread   all texts'
prints out 'accuracy            100.00 %      0.00 %    100.00 %'
expect 0 evaluate data.tsv --cv 3 --json --per-category
is_silent err
[[ $(figure "['mean']['accuracy']") == 1.0 ]] || fail "$command: other accuracy"
[[ $(figure "['folds'][2]['test_texts']") == 4 ]] || fail "$command: other size of a fold"
expect 0 evaluate "$shop" --cv 3 --json
cp out first.json
expect 0 evaluate "$shop" --cv 3 --json --seed 1
figures() { grep -v 'cpu_seconds\|analysis_seconds\|peak_memory' "$1"; }
cmp -s <(figures out) <(figures first.json) || fail "$command: other figures with the default seed"
expect 0 evaluate "$shop" --cv 3 --json --jobs 2
cmp -s <(figures out) <(figures first.json) || fail "$command: other figures with --jobs"
expect 0 evaluate "$shop" --cv 3 --json --seed 18446744073709551615
! cmp -s <(figures out) <(figures first.json) || fail "$command: same figures with another seed"
expect 0 evaluate --cv 12 data.tsv
prints err 'data.tsv: 2 labels have fewer texts than the 12 folds'
expect 0 evaluate --cv 24 data.tsv data.tsv
prints err '2 data files: 24 of 24 texts are identical to texts of another fold'
expect_of data.tsv 0 evaluate --cv 2 -
prints out 'data                      12'

# The options of training
printf 'games\tsport\nhome\tfood\n' >groups.tsv
expect 0 evaluate --cv 2 data.tsv --analysis words --groups groups.tsv --set ProfileSize=5
expect 0 evaluate --cv 2 data.tsv --groups groups.tsv --threshold 0.25 --confusions 0
prints out 'score >= 0.25'
printf 'sport\tx\tgoal\tgoal\nfood\ty\tbread\tbread\n%.0s' 1 2 3 >titles.tsv
expect 0 evaluate --cv 2 titles.tsv --bootstrap
expect 65 evaluate --cv 2 data.tsv --bootstrap
prints err 'data.tsv:1: no tab between text and title'

# Holdout
expect 0 evaluate --holdout 0.25 data.tsv
is_silent err
prints out 'training data            9'
prints out 'test data                3'
expect 0 evaluate --holdout 0.5 data.tsv --explain 'a goal' --learn data.tsv --bulk 4
prints out 'learning'
expect 0 evaluate --holdout 0.5 data.tsv data.tsv
prints err 'held-out texts are identical to texts that are not held out; the model has learned them'
expect 65 evaluate --holdout 0.01 data.tsv
is err 'data.tsv: too few texts (12) for the share: no text is held out'

# Split gives the texts of a holdout.
expect 0 split data.tsv a.tsv b.tsv --share 0.25
is out $'a.tsv: 9 texts\nb.tsv: 3 texts'
is_silent err
cmp -s <(sort a.tsv b.tsv) <(sort data.tsv) || fail "$command: other lines"
expect 64 split data.tsv a.tsv c.tsv
is err 'zandrel: a.tsv exists already; --replace replaces it'
[[ ! -e c.tsv ]] || fail "$command: made a file"
quality() { sed '/^\(training\|classifying\|peak memory\)/d' "$1"; }
expect 0 split "$shop" a.tsv b.tsv --share 0.3 --seed 9 --replace
expect 0 evaluate --train a.tsv --test b.tsv
cp out files.txt
expect 0 evaluate --holdout 0.3 --seed 9 "$shop"
cmp -s <(quality out) <(quality files.txt) || fail "$command: other figures than of files of split"
expect 64 split data.tsv a.tsv ./a.tsv --replace
is err 'zandrel: a.tsv and ./a.tsv are the same file'
# The same new file in other words: neither name exists.
mkdir folder
ln -s new.tsv link.tsv
ln -s "$PWD" folder/here
for names in 'new.tsv ./new.tsv' "new.tsv $PWD/new.tsv" "$PWD/new.tsv new.tsv" 'new.tsv folder/../new.tsv' \
    'link.tsv new.tsv' 'new.tsv ./link.tsv' 'folder/here/new.tsv new.tsv' 'new.tsv new.tsv'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 split data.tsv $names
    is err "zandrel: ${names% *} and ${names#* } are the same file"
    [[ ! -e new.tsv ]] || fail "$command: made a file"
done
expect 0 split data.tsv new.tsv folder/new.tsv
rm new.tsv folder/new.tsv
expect 64 split data.tsv data.tsv b.tsv --replace
is err 'zandrel: data.tsv is the data file, which split does not change'
expect 66 split absent.tsv a.tsv b.tsv --replace
expect 74 split data.tsv absent/a.tsv b.tsv --replace
expect 74 split data.tsv /dev/null b.tsv --replace
expect_of data.tsv 0 split - a.tsv b.tsv --replace --share 0.5
is out $'a.tsv: 6 texts\nb.tsv: 6 texts'
printf 'bad\n' >>data.tsv
expect 65 split data.tsv c.tsv d.tsv
is err 'data.tsv:13: no tab between label and text'
expect 0 split data.tsv c.tsv d.tsv --skip-bad
prints err 'skipped 1 bad line, the first: data.tsv:13:'

# A file that cannot be written, since the limit of file sizes is a block, leaves neither file.
command='split, disk full'
for i in {1..2000}; do printf 'a\ttext %d\n' "$i"; done >large.tsv
(ulimit -f 4; "$program" split large.tsv e.tsv f.tsv >out 2>err)
(($? == 74)) || fail "$command: other exit status"
[[ ! -e e.tsv && ! -e f.tsv ]] || fail "$command: left a file"
[[ -z $(find . -name '.*tmp*') ]] || fail "$command: left an unfinished file"

# Bad data
: >empty.tsv
for arguments in 'evaluate --cv 2' 'evaluate --holdout 0.5'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 65 $arguments empty.tsv
    is err 'empty.tsv: no data line'
    # shellcheck disable=SC2086
    expect 65 $arguments data.tsv
    # shellcheck disable=SC2086
    expect 0 $arguments data.tsv --skip-bad
    prints err 'skipped 1 bad line'
    # shellcheck disable=SC2086
    expect 66 $arguments absent.tsv
done
"$program" train a.kc a.tsv >out 2>err || fail 'train'
expect 65 evaluate --cv 2 a.kc data.tsv
is err 'a.kc: this is a knowledge container, and no data file'
expect 64 evaluate --cv 13 a.tsv
[[ $(tail -n 1 err) == 'zandrel: there are fewer texts (6) than folds (13)' ]] || fail "$command: wrong message"

# Wrong usage
for arguments in 'evaluate --cv' 'evaluate --cv 3' 'evaluate --cv 1 a.tsv' 'evaluate --cv 0 a.tsv' \
    'evaluate --cv -2 a.tsv' 'evaluate --cv 2.5 a.tsv' 'evaluate --cv x a.tsv' \
    'evaluate --cv 99999999999999999999 a.tsv' \
    'evaluate --holdout 0 a.tsv' 'evaluate --holdout 1 a.tsv' 'evaluate --holdout nan a.tsv' \
    'evaluate --holdout 0.00001 a.tsv' 'evaluate --holdout 0.99999 a.tsv' 'evaluate --holdout x a.tsv' \
    'evaluate --holdout 0.5' 'evaluate --holdout 0.5 --cv 2 a.tsv' 'evaluate --seed 2 a.kc a.tsv' \
    'evaluate --seed 2 --train a.tsv --test b.tsv' 'evaluate --cv 2 --seed -1 a.tsv' \
    'evaluate --cv 2 --seed 1.5 a.tsv' 'evaluate --cv 2 --seed 18446744073709551616 a.tsv' \
    'evaluate --cv 2 --train a.tsv b.tsv' 'evaluate --cv 2 --test a.tsv b.tsv' \
    'evaluate --cv 2 --learn a.tsv b.tsv' 'evaluate --cv 2 --explain goal a.tsv' \
    'evaluate --holdout 0.5 --train a.tsv b.tsv' 'evaluate --holdout 0.5 --test a.tsv b.tsv' \
    'evaluate --cv 2 - -' 'evaluate --holdout 0.5 - a.tsv -' \
    'split' 'split a.tsv' 'split a.tsv x.tsv' 'split a.tsv x.tsv y.tsv z.tsv' 'split a.tsv - y.tsv' \
    'split a.tsv x.tsv -' 'split a.tsv x.tsv y.tsv --share 0' 'split a.tsv x.tsv y.tsv --share 1' \
    'split a.tsv x.tsv y.tsv --seed x' 'split a.tsv x.tsv y.tsv --max-line 0'; do
    # shellcheck disable=SC2086
    expect 64 $arguments
    is_silent out
    [[ -s err ]] || fail "$command: says nothing"
done
expect 64 evaluate --cv 2 ''
expect 64 split a.tsv '' y.tsv
[[ ! -e x.tsv && ! -e y.tsv ]] || fail 'a refused command made a file'

# Ctrl-C during the folds
awk 'function letter() { return sprintf("%c", 97 + int(rand() * 26)) }
    BEGIN { srand(1); for (i = 0; i < 20000; ++i) { line = "l" (i % 40) "\t";
    for (j = 0; j < 30; ++j) line = line " " letter() letter() letter(); print line } }' >long.tsv
command='evaluate --cv, interrupted'
for seconds in 1 3; do
    timeout --preserve-status -s INT $seconds "$program" evaluate --cv 50 long.tsv >out 2>err
    status=$?
    ((status != 130)) || ! grep -q interrupted err || break
done
((status == 130)) || fail "$command: exit status $status, not 130"
is_silent out
[[ $(tail -n 1 err) == 'zandrel: Process interrupted' ]] || fail "$command: wrong message"

((failures == 0))
