#!/usr/bin/env bash
# Usage: tree_text_test.sh PROGRAM
# Runs the commands of the program zandrel that write trees and settings as text, and read them.
document=$(realpath "$(dirname "$0")/../../docs/formats/tree.md")
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

printf 'sport\tgoal match\nfood\tbread cheese\nmoney\tbank loan\nsport\tteam goal\n' >train.tsv
printf 'world\tsport\nworld\tmoney\n' >groups.tsv
expect 0 train a.kc train.tsv --groups groups.tsv --analysis words

# The dumped tree is accepted, from a file, from standard input, and as an editor of Windows saves it.
cat >expected.tree <<'END'
+	[Stat]	[NoScore]	[]	[root]	[]
++	[Stat]	[NoScore]	[]	[world]	[]
+++	[Leaf]	[Score]	[]	[sport]	[]
+++	[Leaf]	[Score]	[]	[money]	[]
++	[Leaf]	[Score]	[]	[food]	[]
END
expect 0 tree dump a.kc
cmp -s out expected.tree || fail "$command: another tree"
is_silent err
for option in -o --output; do
    echo 'from before' >a.tree
    expect 0 tree dump a.kc $option a.tree
    is_silent out
    cmp -s a.tree expected.tree || fail "$command: another tree"
done
expect 0 tree dump a.kc -o -
cmp -s out expected.tree || fail "$command: another tree"
counts='5 nodes: 0 rule nodes, 2 statistical nodes, 3 leaves'
(printf '\xef\xbb\xbf' && sed 's/$/\r/' a.tree) >windows.tree
printf %s "$(<a.tree)" >no_last_end.tree
sed 's/\t/\t\t/g' a.tree >tabs.tree
for file in a.tree windows.tree no_last_end.tree tabs.tree; do
    expect 0 tree check $file
    is out "$counts"
    is_silent err
done
expect_of a.tree 0 tree check -
is out "$counts"

gzip -c a.tree >a.tree.gz
expect 0 tree check a.tree.gz
is out "$counts"
{ cat a.tree.gz && head -c 12 a.tree.gz; } >cut.tree.gz
expect 65 tree check cut.tree.gz
prints err 'cut.tree.gz: the compressed data ends too early, after '
is_silent out

# Rules, and the child for the rest.
expect 0 tree add a.kc root/mail --type rule
# shellcheck disable=SC2016  # The dollar is part of the rule.
expect 0 tree add a.kc root/mail/urgent --rule '"urgent" | $size(n) > 5'
expect 0 tree add a.kc root/mail/rest --rule default
expect 0 tree dump a.kc -o rules.tree
prints rules.tree $'+++\t[Leaf]\t[Score]\t[]\t[urgent]\t["urgent" | $size(n) > 5]'
prints rules.tree $'+++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]'
expect 0 tree check rules.tree
is out '8 nodes: 1 rule node, 2 statistical nodes, 5 leaves'

# The examples of the help and of the document are correct.
expect 0 tree check --help
sed -n 's/^  +/+/p' out | sed 's/  */\t/g' >help.tree
(($(wc -l <help.tree) == 5)) || fail "$command: another example"
expect 0 tree check help.tree
is out '5 nodes: 1 rule node, 1 statistical node, 3 leaves'
sed -n '/^+.*→/s/→/\t/gp' "$document" >document.tree
expect 0 tree check document.tree
is out '5 nodes: 1 rule node, 1 statistical node, 3 leaves'

# A name with a tab is written with a blank.
expect 0 tree rename a.kc root/food $'fo\tod'
expect 0 tree dump a.kc
prints out '[fo od]'
is err 'zandrel: tabs and line breaks in names or rules are written as blanks: 1 node'

# Wrong lines are named with file and line, and empty lines count.
wrong() {
    printf '%b' "$1" >wrong.tree
    expect 65 tree check wrong.tree
    is err "wrong.tree:$2"
    is_silent out
}
root='+\t[Rule]\t[NoScore]\t[]\t[root]\t[]\n'
wrong "$root++\t[Leaf]\t[Score]\t\t[a]\t[1]\n" '2: Invalid line: ++\x09[Leaf]\x09[Score]\x09\x09[a]\x09[1]'
wrong "$root\n\r\n+++\t[Leaf]\t[Score]\t[]\t[a]\t[1]\n" \
    '4: Invalid level: +++\x09[Leaf]\x09[Score]\x09[]\x09[a]\x09[1]'
wrong "$root++\t[Tree]\t[Score]\t[]\t[a]\t[1]\n" \
    '2: Invalid type: ++\x09[Tree]\x09[Score]\x09[]\x09[a]\x09[1]'
wrong "$root++\t[Leaf]\t[score]\t[]\t[a]\t[1]\n" \
    '2: Invalid score: ++\x09[Leaf]\x09[score]\x09[]\x09[a]\x09[1]'
wrong "$root++\t[Leaf]\t[Score]\t[]\ta\t[1]\n" '2: a : invalid input string'
wrong "$root++\t[Leaf]\t[Score]\t[]\t[a]\t[\"x]\n" '2: Invalid rule: ["x]: Missing delimiter at: "x'
wrong "$root++\t[Leaf]\t[Score]\t[]\t[a]\t[5 & 3]\n" \
    '2: Invalid rule: [5 & 3]: Type mismatch, cannot cast one type to the other: &'
# shellcheck disable=SC2016  # $end is a word of the parser.
wrong "$root++\t[Leaf]\t[Score]\t[]\t[a]\t[(]\n" '2: Invalid rule: [(]: Invalid tokens: ( , $end'
wrong "$root++\t[Leaf]\t[Score]\t[]\t[a]\t[default]\n++\t[Leaf]\t[Score]\t[]\t[b]\t[default]\n" \
    '3: OTHERWISE rule already exists in a sibling of the given node'
wrong "$root++\t[Leaf]\t[Score]\t[]\t[a]\t[]\n" '2: Mixing rules and statistics on the same level'
wrong "$root$root" '2: More than one node under root'
wrong '' ' no node'
wrong 'a text\nof two lines\n' '1: Invalid line: a text'
expect 65 tree check a.kc
prints err 'a.kc:1: Invalid '
head -c 100000 "$program" >binary
expect 65 tree check binary
prints err 'binary:1: Invalid line: \x7FELF'
expect 65 tree check /dev/null
is err '/dev/null: no node'

expect 66 tree check absent.tree
is err 'zandrel: cannot read absent.tree: No such file or directory'
expect 66 tree check .
is err 'zandrel: cannot read .: Is a directory'
expect 64 tree check
expect 64 tree check ''
expect 64 tree check a.tree a.tree
expect 66 tree dump absent.kc
expect 65 tree dump train.tsv
expect 64 tree dump a.kc -o ''

# A text never replaces a container, and a failure leaves the old file.
cp a.kc before.kc
for arguments in 'tree dump' 'options dump'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 $arguments a.kc -o a.kc
    is err 'zandrel: a.kc is a knowledge container; a text does not replace it'
    cmp -s a.kc before.kc || fail "$command: changed the container"
    # shellcheck disable=SC2086
    expect 74 $arguments a.kc -o .
    is err 'zandrel: cannot write .: Is a directory'
    # shellcheck disable=SC2086
    expect 74 $arguments a.kc -o absent/file
    # shellcheck disable=SC2086
    "$program" $arguments a.kc >/dev/full 2>err
    [[ $? == 74 ]] || fail "$arguments: a full device is not noticed"
done

# A text is written to a pipe without -o.
for arguments in 'tree dump' 'options dump'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    "$program" $arguments a.kc -o /dev/stdout 2>err | cat >out
    [[ ${PIPESTATUS[0]} == 74 ]] || fail "$arguments: wrong status for a pipe"
    is err 'zandrel: cannot write /dev/stdout: not a regular file'
    is_silent out
done

# Settings: a dumped file gives another container the same settings, by load and by train.
expect 0 options set a.kc ProfileSize=77 AgeAdjustment=0.5 LearnSpeedScale=linear
expect 0 options dump a.kc -o a.options
is_silent out
is_silent err
[[ $(wc -l <a.options) == 33 ]] || fail "$command: not 32 settings and the switch"
for line in 'ProfileSize = 77' 'AgeAdjustment = 0.5' 'LearnSpeedScale = linear' 'UseExtParms = 1'; do
    prints a.options "$line"
done
LC_ALL=C sort -c a.options || fail "$command: not sorted"
expect 0 train b.kc train.tsv
expect 0 options load b.kc a.options
is_silent out
is_silent err
expect 0 options dump b.kc
cmp -s out a.options || fail "$command: other settings"
expect 0 info b.kc
! grep -q "program's choices" out || fail "$command: loaded settings are choices of the program"
cp b.kc before.kc
expect 0 options load b.kc a.options
cmp -s b.kc before.kc || fail "$command: changed the container"
expect 0 train c.kc train.tsv --options a.options
expect 0 options dump c.kc
cmp -s out a.options || fail "$command: other settings"

# Only given settings change. Windows line ends and comments are accepted.
printf '# few features\r\n\r\nProfileSize = 5 # each\r\nMinPsSize=leave\r\nMaxPsSize\r\n' >few.options
expect 0 options load b.kc few.options
expect 0 options dump b.kc
[[ $(diff a.options out) == $'23c23\n< ProfileSize = 77\n---\n> ProfileSize = 5' ]] ||
    fail "$command: other settings have changed"
printf 'ClipValue=1\nUseExtParms=0\n' >off.options
cp b.kc before.kc
expect 0 options load b.kc off.options
is err 'zandrel: with UseExtParms=0 these settings are not used: ClipValue'
printf 'PositiveMethod=1\nGeomAverage=0\n' >switches.options
expect 0 options load b.kc switches.options
is err 'zandrel: only train --options reads GeomAverage, PositiveMethod; no container keeps it'
wrong_options() {
    printf '%b' "$1" >wrong.options
    expect 65 options load b.kc wrong.options
    is err "wrong.options:$2"
}
wrong_options 'ClipValue=2\nProfileSice=1\n' '2: unknown setting "ProfileSice"'
wrong_options 'ClipValue=2.5' '1: bad value for ClipValue: "2.5" is not an integer'
expect 66 options load b.kc absent.options
is err 'zandrel: cannot read absent.options: it is no readable options file'
expect_of a.options 66 options load a.kc -
is err 'zandrel: cannot read -: settings are read from a file, and not from standard input'
expect_of a.options 66 train new.kc train.tsv --options -
is err 'zandrel: cannot read -: settings are read from a file, and not from standard input'
expect 66 options load b.kc .
expect 66 options load absent.kc a.options
expect 65 options load b.kc before.kc
expect 64 options load b.kc
expect 64 options load b.kc ''
: >empty.options
expect 0 options load b.kc empty.options
cmp -s b.kc before.kc || fail 'options load: changed the container'

# A classifier's own value is not in the file.
expect 0 options set c.kc MaxRlimit=50
expect 0 options dump c.kc
prints out 'MaxRlimit = 50'
is err 'zandrel: other values of classifiers are not in the options file: root'

((failures == 0))
