#!/usr/bin/env bash
# Usage: program_test.sh PROGRAM
# Runs the program zandrel with tiny files and checks its output and exit statuses.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

printf 'sport\tgoal match\nfood\tbread cheese\n' >train.tsv
# The third text has a word of the label food. Its label travel is not in the training data.
printf 'sport\tgoal\r\nfood\tCheese!\r\n\r\nsport,travel\tbread' >test.tsv
printf 'sport\tgoal\nno tab\n' >bad.tsv
printf '\n\n' >empty.tsv
printf 'no tab\n\tno label\n' >worse.tsv

# Prints the line if two of the three texts are right.
right_texts='^accuracy  *66[.]67 % .* 2 of 3$'
expect 0 evaluate --train train.tsv --test test.tsv --analysis words
grep -q "$right_texts" out || fail "$command: wrong accuracy"
prints out 'sport,travel -> food'
warns_of_few_texts_only err
expect 0 evaluate --train train.tsv --test test.tsv --confusions 0
! grep -q confusions out || fail "$command: lists confusions"
expect 0 evaluate --train train.tsv --test test.tsv --analysis whitespace
# With this analysis `Cheese!` is an unknown word.
! grep -q "$right_texts" out || fail "$command: analysed words"

expect 0 evaluate --train train.tsv --test test.tsv --per-category --threshold 0.25
prints out 'score >= 0.25'
prints out 'category             texts       given   precision'
prints out 'travel                   1           0      0.00 %'
expect 0 evaluate --train train.tsv --test test.tsv --analysis words --explain 'A goal'
[[ $(tail -n 4 out | sed 's/[0-9][0-9]*\.[0-9]*/N/g; s/   */  /g' | tr '\n' '|') == \
    'A goal|  N  sport|  +N  goal  +N|  +N  a  (unknown)  +N|' ]] ||
    fail "$command: wrong explanation"

expect 0 evaluate --train train.tsv --test test.tsv --json --confusions 1 --explain goal
warns_of_few_texts_only err
for line in '  "macro_f1_top": 0.' '  "ece_pairs": 0.' '  "skipped_lines": 0,' \
    '      "expected": "sport,travel",' '    "category": "sport",'; do
    prints out "$line"
done
[[ $(head -n 1 out) == '{' && $(tail -n 1 out) == '}' ]] || fail "$command: no JSON object"

printf 'sport\tmatch\nfood\tbread\nfood\tcheese\n' >learn.tsv
expect 0 evaluate --train train.tsv --test test.tsv --learn learn.tsv --bulk 2
prints out 'without tables'
[[ $(grep -c '^bulk ' out) == 2 ]] || fail "$command: not two bulks"
grep -q '^bulk 2  *1  ' out || fail "$command: wrong size of bulk"
expect 64 evaluate --train train.tsv --test test.tsv --bulk 2
prints err '--learn'
expect 64 evaluate --train train.tsv --test test.tsv --learn learn.tsv --bulk 0
expect 65 evaluate --train train.tsv --test test.tsv --learn bad.tsv
[[ $(<err) == 'bad.tsv:2: no tab between label and text' ]] || fail "$command: wrong message"
printf 'sport\tbread\tgoal\tmatch\nfood\tgoal\tbread\tcheese\n' >titles.tsv
expect 0 evaluate --bootstrap --train titles.tsv --test test.tsv --analysis words
grep -q "$right_texts" out || fail "$command: wrong accuracy"
expect 65 evaluate --bootstrap --train train.tsv --test test.tsv
[[ $(<err) == 'train.tsv:1: no tab between text and title' ]] || fail "$command: wrong message"

printf 'fun\tsport\nfun\tfood\n' >groups.tsv
printf 'fun\tsport\nfood\tsport\n' >clash.tsv
expect 0 evaluate --train train.tsv --test test.tsv --groups groups.tsv --analysis words
grep -q "$right_texts" out || fail "$command: wrong accuracy"
expect 65 evaluate --train train.tsv --test test.tsv --groups clash.tsv
prints err 'clash.tsv:2: "food" is a label that stands in no group'
expect 65 evaluate --train train.tsv --test test.tsv --groups empty.tsv
prints err 'empty.tsv: no line'

# The data are large enough that the signal comes during the training. Nothing is printed then.
awk 'function letter() { return sprintf("%c", 97 + int(rand() * 26)) }
    BEGIN { srand(1); for (i = 0; i < 30000; ++i) { line = "l" (i % 40) "\t";
    for (j = 0; j < 30; ++j) line = line " " letter() letter() letter(); print line } }' >long.tsv
command='evaluate, interrupted'
for seconds in 1 3; do  # on a machine under load, training may not have begun after one second
    timeout --preserve-status -s INT $seconds \
        "$program" evaluate --train long.tsv --test test.tsv >out 2>err
    status=$?
    ((status != 130)) || ! grep -q interrupted err || break
done
((status == 130)) || fail "$command: exit status $status, not 130"
is_silent out
[[ $(tail -n 1 err) == 'zandrel: Process interrupted' ]] || fail "$command: wrong message"

# An empty record file of 32-bit offsets: header, index of 8 + 128 bytes in a block of 256.
{ printf 'J[l\x80'; head -c 8 /dev/zero; printf '\0\0\0\x10J[l\x82'; head -c 252 /dev/zero; } >empty.dat
expect 0 check empty.dat
[[ $(<out) == 'empty.dat: clean' ]] || fail "$command: wrong output"
expect 0 dump empty.dat
prints out '  index at      16'
expect 0 dump --json empty.dat
prints out '"offset_bits": 32,'
{ cat empty.dat; printf 'more'; } >longer.dat
expect 1 check longer.dat
prints out 'longer.dat: offset 272: 4 bytes at the end belong to nothing'
expect 1 check --json longer.dat
prints out '"condition": "repairable",'
head -c 100 empty.dat >cut.dat
expect 65 check cut.dat
prints out 'cut.dat: lost: the file ends before something that it names, so items may be gone'
expect 65 check train.tsv
[[ $(<err) == 'train.tsv: no record file or container: wrong magic number' ]] || fail "$command: wrong message"
expect 65 dump empty.tsv
expect 66 check absent.dat
expect 64 check

printf '# rules\n\n"goal" & $size(n) > 5\n1 v 2\n' >good.rules
printf '1\n(1\r\n\n"a" "b"\n' >bad.rules
expect 0 rules check good.rules
[[ $(<out) == '2 rules, 0 bad' ]] || fail "$command: wrong summary"
is_silent err
expect 65 rules check bad.rules
[[ $(<out) == '3 rules, 2 bad' ]] || fail "$command: wrong summary"
[[ $(<err) == $'bad.rules:2: Invalid tokens: ( , $end\nbad.rules:4: Invalid tokens: a , b' ]] ||
    fail "$command: wrong messages"
expect 65 rules check bad.rules --json
[[ $(tr -d ' \n' <out) == \
    '{"file":"bad.rules","rules":3,"bad":[{"line":2,"message":"Invalidtokens:(,$end"},{"line":4,"message":"Invalidtokens:a,b"}]}' ]] ||
    fail "$command: wrong JSON"
is_silent err
expect 66 rules check absent.rules
prints err 'zandrel: cannot read absent.rules: No such file or directory'
is_silent out
for file in '' -; do
    # shellcheck disable=SC2086  # No file is no argument.
    "$program" rules check $file <bad.rules >out 2>err
    [[ $? == 65 ]] || fail "rules check $file: wrong exit status"
    command="rules check $file"
    prints err '<stdin>:2: Invalid tokens: ( , $end'
done

for verb in list keys concepts; do
    expect 66 rules $verb absent.kc
    prints err 'zandrel: cannot read absent.kc: No such file or directory'
    expect 65 rules $verb good.rules
    prints err 'good.rules: '
    is_silent out
done
expect 0 rules explain '1 + 2'
prints out '1:n 2:n +:nnn $end:nn'
expect 0 rules explain --json '"a"'
prints out '  "rule": "\"a\"",'
prints out '      "node": "to number"'
expect 65 rules explain '1 2'
[[ $(<err) == 'rule: Invalid tokens: 1 , 2' ]] || fail "$command: wrong message"
is_silent out

expect 0 rules eval '"goal" & $size(n) > 5' --text 'A GOAL!' --set size=7
[[ $(<out) == 1 ]] || fail "$command: wrong value"
expect 0 rules eval '"goal" & $size(n) > 5' --text 'A GOAL!' --set size=7 --set size=5
[[ $(<out) == 0 ]] || fail "$command: wrong value"
expect 0 rules eval '"a goal" + "breads"' --text 'A goal' --analysis phrases
[[ $(<out) == 1 ]] || fail "$command: wrong value"
expect 0 rules eval '"bread"' --text 'breads' --stem english
[[ $(<out) == 1 ]] || fail "$command: wrong value"
expect 0 rules eval --score 0.25 -- '-parent_score / 2'
[[ $(<out) == -0.125 ]] || fail "$command: wrong value"
expect 0 rules eval --json '$a(n)' --set a=inf
[[ $(<out) == '{"rule":"$a(n)","value":"inf"}' ]] || fail "$command: wrong JSON"
expect 65 rules eval ''
[[ $(<err) == 'rule: Empty expression' ]] || fail "$command: wrong message"
is_silent out
expect 64 rules eval 1 --set size
prints err "--set: 'size' is not KEY=VALUE"

expect 0 --version
prints out 'zandrel 1.'
expect 0 --help
prints out 'zandrel evaluate --train'
is_silent err

for arguments in '' 'fly' '--fly' 'evaluate' 'evaluate --train train.tsv' \
    'evaluate --train train.tsv --test test.tsv --analysis magic' \
    'evaluate --train train.tsv --test test.tsv --stem klingon' \
    'evaluate --train train.tsv --test test.tsv --stem english --analysis whitespace' \
    'evaluate --train train.tsv --test test.tsv --confusions -1' \
    'evaluate --train train.tsv --test test.tsv more' \
    'evaluate --train train.tsv --test test.tsv --threshold 1.1' \
    'evaluate --train train.tsv --test test.tsv --threshold -0.1' \
    'evaluate --train train.tsv --test test.tsv --threshold nan' \
    'evaluate --train train.tsv --test test.tsv --threshold half' \
    'evaluate --train train.tsv --test test.tsv --explain' \
    'rules' 'rules fly' 'rules explain' 'rules explain 1 2' 'rules eval' 'rules check a b' \
    'rules eval 1 --score half' 'rules eval 1 --score nan' 'rules eval 1 --score inf' \
    'rules eval 1 --score -1' 'rules eval 1 --set' 'rules eval 1 --set =7' \
    'rules list' 'rules keys' 'rules concepts' 'rules list model.kc a' 'rules list model.kc --phrases' \
    'rules eval 1 --analysis magic' 'rules eval 1 --stem english --analysis whitespace'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 $arguments
    is_silent out
    [[ -s err ]] || fail "$command: says nothing"
done

expect 64 evaluate --train train.tsv --test test.tsv --stem klingon
prints err 'english'
prints err 'german'

expect 65 evaluate --train bad.tsv --test test.tsv
prints err 'bad.tsv:2: no tab between label and text'
is_silent out
expect 65 evaluate --train train.tsv --test bad.tsv
prints err 'bad.tsv:2: '
expect 65 evaluate --train empty.tsv --test test.tsv
prints err 'empty.tsv: no data line'

expect 0 evaluate --train bad.tsv --test test.tsv --skip-bad
[[ $(tail -n 1 err) == 'zandrel: skipped 1 bad line, the first: bad.tsv:2: no tab between label and text' ]] ||
    fail "$command: wrong message"
expect 0 evaluate --train bad.tsv --test bad.tsv --skip-bad --json
prints out '"skipped_lines": 2,'
prints err 'skipped 2 bad lines, the first: bad.tsv:2: '
expect 65 evaluate --train train.tsv --test worse.tsv --skip-bad
prints err 'worse.tsv: no good data line'
is_silent out
expect 65 evaluate --train empty.tsv --test test.tsv --skip-bad
prints err 'empty.tsv: no data line'
expect 66 evaluate --train absent.tsv --test test.tsv --skip-bad

expect 66 evaluate --train absent.tsv --test test.tsv
prints err 'zandrel: cannot read absent.tsv: No such file or directory'
is_silent out
expect 66 evaluate --train train.tsv --test .
prints err 'zandrel: cannot read .: '

"$program" rules eval 1 >/dev/full 2>err
[[ $? == 74 ]] || fail 'a full device is not noticed'

((failures == 0))
