#!/usr/bin/env bash
# Usage: hostile_test.sh PROGRAM
# Tests texts, labels and file names of an attacker: they must not take much time or memory, and
# must not control a terminal.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

printf 'sport\tgoal match\nfood\tbread cheese\n' >train.tsv
expect 0 train shop.kc train.tsv

# has_no_control FILE: checks that the file has no control characters except line ends, no C1 and no
# bidirectional controls.
has_no_control() {
    ! LC_ALL=C grep -qP '[\x00-\x09\x0b-\x1f\x7f]|\xc2[\x80-\x9f]|\xd8\x9c|\xe2\x80[\x8e\x8f\xa8-\xae]|\xe2\x81[\xa6-\xa9]' "$1" ||
        fail "$command: control characters in $1"
}

# --- combining marks ---

# The text has 2 MB of marks of two classes. Sorting them in one row would take minutes.
{
    printf 'goal '
    yes $'\u0301\u0316' | head -n 500000 | tr -d '\n'
    echo
} >marks.txt
(
    ulimit -t 60
    "$program" classify shop.kc marks.txt >out 2>err
) || fail 'marks take too long'
[[ $(cut -f 1 out) == sport ]] || fail 'marks: wrong label'

# --- lines that are too long ---

long=$(printf 'x%.0s' {1..101})
printf 'goal\n%s\nbread\n' "$long" >lines.txt
expect 0 classify shop.kc lines.txt
is_silent err
expect 65 classify shop.kc lines.txt --max-line 100
is err 'lines.txt:2: the line is longer than 100 bytes; --max-line raises the limit'
[[ $(cut -f 1 out | tr '\n' '|') == 'sport||food|' ]] || fail "$command: wrong labels"
expect_of lines.txt 65 classify shop.kc --max-line 100 --jsonl
is err '<stdin>:2: the line is longer than 100 bytes; --max-line raises the limit'
[[ $(sed -n 2p out) == '{"error":"<stdin>:2: the line is longer than 100 bytes; --max-line raises the limit"}' ]] ||
    fail "$command: wrong object"
[[ $(wc -l <out) == 3 ]] || fail "$command: not three lines"
expect 0 classify shop.kc lines.txt --max-line 101
expect 65 explain shop.kc lines.txt --max-line 100
prints out '  (line is too long)'

# A line of 65 MiB, with the real limit.
{
    head -c 68157440 /dev/zero | tr '\0' 'x'
    printf '\ngoal\n'
} >huge.txt
expect 65 classify shop.kc huge.txt
is err 'huge.txt:1: the line is longer than 67,108,864 bytes; --max-line raises the limit'
[[ $(cut -f 1 out | tr '\n' '|') == '|sport|' ]] || fail "$command: wrong labels"
rm huge.txt

printf 'sport\tgoal\nfood\t%s\nfood\tbread\n' "$long" >long.tsv
for arguments in 'train new.kc long.tsv' 'learn shop.kc long.tsv' 'evaluate shop.kc long.tsv' \
    'evaluate --train long.tsv --test train.tsv' 'evaluate --train train.tsv --test long.tsv' \
    'evaluate shop.kc train.tsv --learn long.tsv'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 65 $arguments --max-line 100
    is err 'long.tsv:2: the line is longer than 100 bytes; --max-line raises the limit'
    is_silent out
    # shellcheck disable=SC2086
    expect 0 $arguments --max-line 100 --skip-bad
    prints err 'skipped 1 bad line, the first: long.tsv:2: the line is longer'
done
for size in 0 -1 1.5 x 2147483648 ''; do
    expect 64 classify shop.kc lines.txt --max-line "$size"
done

# --- characters that control a terminal ---

hostile=$'a\e[31m\u009b\u202e\u2066\u061c\x7f'
printf 'sport%s\tgoal\nfood\tbread\n' "$hostile" >hostile.tsv
cp hostile.tsv "$hostile.tsv"
expect 0 train "$hostile.kc" "$hostile.tsv"
has_no_control out
for arguments in 'info KC' 'tree show KC' 'explain KC DATA' 'explain KC DATA --path' 'evaluate KC DATA --per-category' \
    'evaluate --train DATA --test train.tsv --per-category --explain goal'; do
    words=()
    for word in $arguments; do
        word=${word/#KC/$hostile.kc}
        words+=("${word/#DATA/$hostile.tsv}")
    done
    expect 0 "${words[@]}"
    has_no_control out
    has_no_control err
done
prints out 'sporta\x1B[31m\xC2\x9B\xE2\x80\xAE\xE2\x81\xA6\xD8\x9C\x7F'
# JSON has the labels and texts unchanged.
printf 'goal\n' >goal.txt
expect 0 classify "$hostile.kc" goal.txt --jsonl
prints out $'\u202e'

printf 'no tab\n' >"no$hostile.tsv"
while read -r status arguments; do
    words=()
    for word in $arguments; do
        words+=("${word/HOSTILE/$hostile}")
    done
    expect "$status" "${words[@]}"
    has_no_control err
    [[ -s err ]] || fail "$command: says nothing"
done <<'END'
66 classify HOSTILE goal.txt
66 classify shop.kc HOSTILE
65 train new.kc noHOSTILE.tsv --replace
65 train hostile.tsv hostile.tsv --replace
64 train shop.kc HOSTILE.tsv
64 train HOSTILE.kc hostile.tsv
65 learn shop.kc HOSTILE.tsv
64 learn shop.kc shop.kc HOSTILE
64 explain shop.kc --category HOSTILE
64 tree show shop.kc HOSTILE
64 tree show HOSTILE.kc HOSTILE
64 options get shop.kc HOSTILE
64 options set shop.kc HOSTILE
64 options set shop.kc HOSTILE=1
66 options load shop.kc HOSTILE
65 options load shop.kc noHOSTILE.tsv
66 tree check HOSTILE
65 tree check noHOSTILE.tsv
64 HOSTILE
64 classify --HOSTILE
64 classify shop.kc --max-line HOSTILE
64 train x.kc train.tsv --set HOSTILE
64 train x.kc train.tsv --set ClipValue=HOSTILE
66 train x.kc train.tsv --options HOSTILE
64 rules eval 1 --set HOSTILE
65 rules eval HOSTILE
65 rules explain HOSTILE
66 rules check HOSTILE
66 rules list HOSTILE
65 rules keys noHOSTILE.tsv
66 check HOSTILE
65 check noHOSTILE.tsv
65 dump noHOSTILE.tsv
65 info noHOSTILE.tsv
END
expect 0 rules explain "\"goal$hostile\""
has_no_control out

# --- long values ---

# Values of a thousand characters are cut to a few.
value=$(printf 'v%.0s' {1..1000})
printf '%s\tgoal\n' "$value" >value.tsv
while read -r status arguments; do
    # shellcheck disable=SC2086
    expect "$status" ${arguments/VALUE/$value}
    (($(wc -c <err) < 800)) || fail "$command: the message is long"
    prints err 'vvvvvvvv'
    prints err '…'
done <<'END'
64 explain shop.kc --category VALUE
64 tree show shop.kc VALUE
64 options get shop.kc VALUE
64 VALUE
64 classify shop.kc --max-line VALUE
64 train x.kc train.tsv --set VALUE
65 learn shop.kc value.tsv
65 rules eval "VALUE
65 rules explain "VALUE
65 tree add shop.kc root/new --rule "VALUE
END
# Values are also cut in warnings, and in lists of categories whose training a move would lose.
printf '%s\tgoal\nfood\tbread\n' "$value" >long.tsv
expect 0 train long.kc long.tsv
expect 0 tree add long.kc root/group --type stat
for arguments in 'train other.kc long.tsv' 'classify long.kc long.tsv' \
    "tree move long.kc root/$value root/group"; do
    # shellcheck disable=SC2086
    expect "$([[ $arguments == tree* ]] && echo 64 || echo 0)" $arguments
    (($(wc -c <err) < 800)) || fail "$command: the message is long"
    prints err 'vvvvvvvv'
done
printf '"%s\n' "$value" >value.rules
expect 65 rules check value.rules
(($(wc -c <err) < 800)) || fail "$command: the message is long"

((failures == 0))
