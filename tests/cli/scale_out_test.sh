#!/usr/bin/env bash
# Usage: scale_out_test.sh PROGRAM DATA EXAMPLES PARALLEL|-
# Tests that several processes with a share of the lines each give the output of one process: with
# GNU parallel, and with examples/classify_share.sh, which is a job of an array. DATA.train.tsv and
# DATA.test.tsv are data files. "-" leaves the tests with GNU parallel out.
train=$(realpath "$2.train.tsv")
test=$(realpath "$2.test.tsv")
share=$(realpath "$3")/classify_share.sh
parallel=$4
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

# $program is set by the line above.
export ZANDREL=$program

expect 0 train shop.kc "$train"
# Also an empty line, bytes that are not UTF-8, and a last line without an end.
{
    cut -f 2- "$test"
    printf '\ncaf\xe9 parcel\nlast line'
} >texts.txt
expect 0 classify shop.kc texts.txt -k 2
cp out one.txt
[[ $(wc -l <one.txt) == $(($(wc -l <texts.txt) + 1)) ]] || fail "not one answer for each line"

# GNU parallel
if [[ $parallel != - ]]; then
    for block in 5k 100k; do
        "$parallel" --will-cite --pipe -k -j 2 --block "$block" "$program" classify shop.kc -k 2 \
            <texts.txt >parallel.txt
        cmp one.txt parallel.txt || fail "parallel with blocks of $block gives another output"
    done
    # ":" is this machine, without ssh.
    "$parallel" --will-cite --pipe -k --block 10k --sshlogin 2/: "$program" classify \
        "$PWD/shop.kc" -k 2 <texts.txt >parallel.txt
    cmp one.txt parallel.txt || fail "parallel with --sshlogin gives another output"
    "$parallel" --will-cite --pipe-part -a texts.txt -k -j 2 --block 10k "$program" classify \
        shop.kc -k 2 >parallel.txt
    cmp one.txt parallel.txt || fail "parallel with --pipe-part gives another output"
    if "$parallel" --will-cite --pipe -k -j 2 --block 100k "$program" classify none.kc <texts.txt \
        >parallel.txt 2>err; then
        fail "parallel with a missing container has no failure"
    fi
    prints err 'none.kc'
fi

# The labels of test data beside the answers
grep -v '^$' "$test" >test.tsv
"$share" shop.kc test.tsv . 1 1 --format tsv || fail "the share with labels"
cut -f 1 test.tsv | paste - share-1.txt >beside.txt
expect 0 classify shop.kc --format tsv test.tsv
[[ $(cut -f 2- beside.txt) == "$(cat out)" ]] || fail "other answers beside the labels"
[[ $(wc -l <beside.txt) == "$(wc -l <test.tsv)" ]] || fail "not one label for each answer"

# Array jobs: all shares, also more of them than lines, in any order
for count in 1 3 10; do
    rm -rf shares
    mkdir shares
    for ((index = count; index >= 1; --index)); do
        "$share" shop.kc texts.txt shares "$index" "$count" -k 2 || fail "share $index of $count"
    done
    cat shares/share-*.txt >joined.txt
    cmp one.txt joined.txt || fail "$count shares give another output"
    [[ $(find shares -type f | wc -l) == "$count" ]] || fail "not one file for each of $count shares"
done
printf 'one\ntwo' >short.txt
expect 0 classify shop.kc short.txt
cp out one.txt
rm -rf shares
mkdir shares
for index in 1 2 3 4 5 6 7 8 9; do
    "$share" shop.kc short.txt shares "$index" 9 || fail "share $index of 9"
done
cat shares/share-*.txt | cmp one.txt || fail "more shares than lines give another output"

# A job that fails leaves no file, also not that of an earlier run
rm -rf shares
mkdir shares
echo old >shares/share-1.txt
if "$share" none.kc texts.txt shares 1 2 2>err; then
    fail "a share with a missing container has no failure"
fi
if "$share" shop.kc none.txt shares 1 2 2>err; then
    fail "a share of a missing file has no failure"
fi
for index in 0 3 x 99999999999999999999 -1; do
    if "$share" shop.kc texts.txt shares "$index" 2 2>err; then
        fail "share $index of 2 has no failure"
    fi
    prints err "no share $index of 2"
done
if "$share" shop.kc texts.txt shares 2>err; then
    fail "missing arguments are no failure"
fi
prints err 'usage: classify_share.sh'
[[ -z $(ls shares) ]] || fail "a failed share leaves a file"
((failures == 0))
