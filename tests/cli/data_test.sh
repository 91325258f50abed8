#!/usr/bin/env bash
# Usage: data_test.sh PROGRAM DATA
# Tests the warnings about data that probably contain a mistake, and reading from standard input.
# DATA.train.tsv and DATA.test.tsv give no warning.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

shop=$2

# repeated COUNT LINES: prints the lines COUNT times.
repeated() {
    local i
    for ((i = 0; i < $1; ++i)); do
        printf '%b' "$2"
    done
}
# warns_of N TEXT: checks that line N of err is this warning.
warns_of() {
    [[ $(sed -n "$1p" err) == "zandrel: $2" ]] || fail "$command: line $1 of err is not '$2'"
}
# says_lines N: checks that err has N lines.
says_lines() { [[ $(wc -l <err) == "$1" ]] || fail "$command: not $1 lines in err"; }
# on_a_terminal INPUT COMMAND: runs the command with a terminal as standard input, and types INPUT.
on_a_terminal() {
    command=$2
    printf '%b' "$1" | script -qec "$program $2 >out 2>err" typed.log >/dev/null
}

repeated 10 'sport\tgoal match\nfood\tbread cheese\n' >good.tsv
fifth='); does each line have the form label<TAB>text?'

# Good data
expect 0 train good.kc good.tsv --analysis words
is_silent err
expect 0 train shop.kc "$shop.train.tsv"
is_silent err
expect 0 evaluate shop.kc "$shop.test.tsv"
is_silent err
expect 0 evaluate --train "$shop.train.tsv" --test "$shop.test.tsv"
is_silent err

# Warnings of train and evaluate; they do not change the exit status
{
    printf 'Category\tText\n'
    repeated 10 'sport\tgoal\nSport\tmatch\nfood\tbread\n'
    printf 'food\tcaf\xe9\nrare\x1b\tword\n'
} >bad.tsv
expect 0 train bad.kc bad.tsv
warns_of 1 'bad.tsv:1: this looks like a header line, and counts as a text with the label "Category"; remove it if it is one, or read it with --header'
warns_of 2 'bad.tsv: 1 byte in 1 line is not UTF-8, the first in line 32; is the file in another encoding?'
warns_of 3 'bad.tsv: 2 labels have a single text: "Category", "rare\x1B"'
warns_of 4 'bad.tsv: labels that differ only in case or blanks are different labels: "Sport", "sport"'
says_lines 4
prints out 'bad.kc: 33 texts, 5 labels'
expect 0 train bad.kc good.tsv bad.tsv --replace --json
warns_of 1 'bad.tsv:1: this looks like a header line, and counts as a text with the label "Category"; remove it if it is one, or read it with --header'
warns_of 3 '2 data files: 2 labels have a single text: "Category", "rare\x1B"'
says_lines 4
expect 0 evaluate --train bad.tsv --test good.tsv
says_lines 4
warns_of 4 'bad.tsv and good.tsv: labels that differ only in case or blanks are different labels: "Sport", "sport"'
awk -F '\t' -v OFS='\t' '{ print $2, $1 }' good.tsv >swapped.tsv
awk -F '\t' -v OFS='\t' '{ print $2 " " NR, $1 }' "$shop.train.tsv" >texts.tsv
expect 0 evaluate good.kc swapped.tsv
warns_of 1 'swapped.tsv: the model knows none of the labels: "bread cheese", "goal match"'
says_lines 1
expect 0 train bad.kc texts.tsv --replace
prints err 'texts.tsv: there are more labels ('
prints err ") than a fifth of the texts (968$fifth"
[[ $(wc -L <err) -lt 400 ]] || fail "$command: labels are not shortened"
printf 'FOOD\tbread\n' >capital.tsv
expect 0 evaluate good.kc capital.tsv --json
warns_of 1 "capital.tsv: there are more labels (1) than a fifth of the texts (1$fifth"
warns_of 2 'capital.tsv: 1 label has a single text: "FOOD"'
warns_of 3 'capital.tsv: the model knows none of the labels: "FOOD"'
warns_of 4 'capital.tsv: labels that differ only in case or blanks are different labels: "FOOD", "food"'
says_lines 4

# classify and explain warn of data lines. With --column they ignore the labels.
cut -f 2 "$shop.test.tsv" >texts.txt
expect 0 classify shop.kc texts.txt
is_silent err
cp out answers
expect 0 classify shop.kc "$shop.test.tsv" --column 2
is_silent err
cmp -s out answers || fail "$command: other answers than of the texts"
for name in classify explain; do
    expect 0 "$name" good.kc good.tsv
    warns_of 1 'good.tsv:1: this looks like a data line, since the container has the label "sport"; --column 2 leaves the labels of such lines out of the texts'
    says_lines 1
    expect_of good.tsv 0 "$name" good.kc
    warns_of 1 '<stdin>:1: this looks like a data line, since the container has the label "sport"; --column 2 leaves the labels of such lines out of the texts'
    expect_of good.tsv 0 "$name" good.kc - --column 2
    is_silent err
    expect_of good.tsv 0 "$name" good.kc --column 3
    warns_of 1 '<stdin>:1: there is no column 3, so the text is empty; other such lines are not named'
    says_lines 1
    expect 0 "$name" good.kc swapped.tsv
    is_silent err
    for column in 0 -1 two 1000001; do
        expect 64 "$name" good.kc good.tsv --column "$column"
        prints err '--column'
        is_silent out
    done
done

# Data files may be standard input.
expect_of "$shop.train.tsv" 0 train stdin.kc -
is_silent err
expect 0 classify stdin.kc texts.txt
cmp -s out answers || fail "$command: other answers than of a file"
tail -n +501 "$shop.train.tsv" >second.tsv
expect 0 train first.kc good.tsv --analysis words
cp first.kc second.kc
expect 0 learn first.kc second.tsv --add-categories
expect_of second.tsv 0 learn second.kc --add-categories -
expect 0 classify first.kc texts.txt
cp out answers
expect 0 classify second.kc texts.txt
cmp -s out answers || fail "$command: other answers than of a file"
figures() { grep -v 'CPU time\|^training  \|^loading\|^classifying\|^bulk\|^peak' out; }
expect 0 evaluate --train good.tsv --test good.tsv --learn good.tsv --bulk 5
figures >wanted
for arguments in '--train - --test good.tsv --learn good.tsv' '--train good.tsv --test - --learn good.tsv' \
    '--train good.tsv --test good.tsv --learn -'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect_of good.tsv 0 evaluate $arguments --bulk 5
    figures | cmp -s - wanted || fail "$command: other figures than of files"
done
expect_of good.tsv 0 evaluate good.kc -
prints out '20 of 20'
cp first.kc before.kc
for arguments in 'learn first.kc - -' 'train first.kc - good.tsv - --replace' 'evaluate --train - --test -' \
    'evaluate first.kc - --learn -'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect_of good.tsv 64 $arguments
    is err 'zandrel: - is given more than once, and standard input can be read only once'
done
for name in 'learn first.kc' 'train first.kc --replace'; do
    read -ra words <<<"$name"
    expect_of first.kc 65 "${words[@]}" - --skip-bad
    is err '<stdin>: this is a knowledge container, and no data file'
    expect_of <(cat first.kc) 65 "${words[@]}" - --skip-bad
    is err '<stdin>: this is a knowledge container, and no data file'
    printf 'sport\tgoal\nno tab\n' >untidy.tsv
    expect_of untidy.tsv 65 "${words[@]}" -
    is err '<stdin>:2: no tab between label and text'
    expect 65 "${words[@]}" -
    is err '<stdin>: no data line'
    "$program" "${words[@]}" - >out 2>err <&-
    [[ $? == 66 ]] || fail "$name -: reads a closed input"
    is err 'zandrel: cannot read <stdin>: Bad file descriptor'
    expect 66 "${words[@]}" ./-
    is err 'zandrel: cannot read ./-: No such file or directory'
    is_silent out
done
cmp -s first.kc before.kc || fail 'a refused input changed the container'
expect_of untidy.tsv 0 learn first.kc - --skip-bad
is err 'zandrel: skipped 1 bad line, the first: <stdin>:2: no tab between label and text'

# A user who starts a command without a file is told that it waits for input.
ends='Ctrl-D on an empty line ends the input'
for name in classify explain; do
    on_a_terminal 'goal\n\0004' "$name good.kc"
    is err "zandrel: waiting for texts, one on each line; $ends"
    prints out sport
    on_a_terminal '' "$name good.kc texts.txt"
    is_silent err
done
for name in 'train typed.kc -' 'learn good.kc -' 'evaluate good.kc -'; do
    on_a_terminal 'sport\tgoal\n\0004' "$name"
    warns_of 1 "waiting for lines label<TAB>text; $ends"
done
on_a_terminal 'food\tgoal\tbread\tcheese\n\0004' 'evaluate --bootstrap --train - --test good.tsv'
warns_of 1 "waiting for lines label<TAB>text<TAB>title<TAB>keywords; $ends"

((failures == 0))
