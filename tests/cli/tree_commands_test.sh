#!/usr/bin/env bash
# Usage: tree_commands_test.sh PROGRAM
# Runs the commands of the program zandrel that show and edit a knowledge container: info, tree and
# options.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

# refuses STATUS KC MESSAGE ARGUMENT...: checks the status and the message of a command, and that it
# does not change the file.
refuses() {
    local status=$1 file=$2 message=$3
    shift 3
    cp -p "$file" before.copy
    expect "$status" "$@"
    is err "$message"
    is_silent out
    cmp -s "$file" before.copy || fail "$command: changed the file"
    [[ $(stat -c %i "$file") == "$inode" ]] || fail "$command: wrote the file"
}
# changes ARGUMENT...: checks that the command succeeds without output.
changes() {
    expect 0 "$@"
    is_silent out
    is_silent err
}
# shows KC PATH LINE...: checks the printed subtree, one line for each node.
shows() {
    expect 0 tree show "$1" "$2"
    shift 2
    is out "$(printf '%s\n' "$@")"
}
keep_inode() { inode=$(stat -c %i "$1"); }

printf 'sport\tgoal match\nfood\tbread cheese\nmoney\tbank loan\nsport\tteam goal\n' >train.tsv
printf 'world\tsport\nworld\tmoney\n' >groups.tsv
printf 'no container\n' >no.kc
expect 0 train whole.kc train.tsv --groups groups.tsv --analysis words --stem english
expect 0 train compact.kc train.tsv --groups groups.tsv --compact

# info
expect 0 info whole.kc
for line in '  file                whole.kc' '  format version      2' '  compact             no' \
    '  unicode             no' '  seal                yes' \
    '  text analysis       words, stem english' '  nodes               5' \
    '  leaves              3' '  statistical nodes   2' '  levels              3' \
    '  zandrel.stem=english' "  size                $(printf '%d' "$(stat -c %s whole.kc)" |
        sed ':a;s/\([0-9]\)\([0-9]\{3\}\)\($\|,\)/\1,\2\3/;ta') bytes"; do
    prints out "$line"
done
grep -qE '^ {13}2 +4 +7 +[1-9][0-9]*  root$' out || fail "$command: wrong figures of the root"
is_silent err
expect 0 info compact.kc --json
for line in '"compact": true,' '"seal": true,' '"analysis": "phrases",' '"categories": 3,' \
    "\"size\": $(stat -c %s compact.kc),"; do
    prints out "$line"
done
# The program chooses settings for phrases, until the user sets them.
choices() {
    expect 0 info chosen.kc
    grep -qxF "  program's choices   $1" out || fail "$command: other choices than $1"
}
expect 0 train chosen.kc train.tsv --set MinRlimit=30 --set SuppressM=1
choices 'MaxPsSize=40000, MinPsSize=20000, ProfileSize=10000'
expect 0 train chosen.kc train.tsv --replace --set ProfileSize=5
choices 'AverageRlimit=3000, MaxRlimit=10000, MinRlimit=30, SuppressM=0'
changes options set chosen.kc SuppressM=0
choices 'AverageRlimit=3000, MaxRlimit=10000, MinRlimit=30'
changes options set chosen.kc AverageRlimit=5000
expect 0 info chosen.kc
! grep -q choices out || fail "$command: shows settings of the user as choices"

# tree show
shows whole.kc root 'root [stat] NoScore' '  food [leaf] messages=1' '  world [stat] NoScore messages=3' \
    '    money [leaf] messages=1' '    sport [leaf] messages=2'
shows whole.kc root/world/sport 'sport [leaf] messages=2'
expect 0 tree show whole.kc --depth 1
is out $'root [stat] NoScore\n  food [leaf] messages=1\n  world [stat] NoScore messages=3 children=2'
expect 64 tree show whole.kc --depth -1
prints err '--depth: Value -1 not in range 0 to 1000000'
expect 64 tree add whole.kc -sho
prints err 'was not expected: -sho'
expect 0 tree show whole.kc --json root/food
is out '{
  "name": "food",
  "category": "food",
  "type": "leaf",
  "scored": true,
  "threshold": 0.0,
  "rule": "",
  "note1": "",
  "note2": "",
  "messages": 1,
  "child_count": 0,
  "children": []
}'

# Every attribute is read back from the file.
cp whole.kc a.kc
changes tree add a.kc root/filter --type rule --note1 first --note2 $'second\nline'
changes tree add a.kc 'root/filter/a\/b' --type stat --rule '"cheap" & $size(n) > 5' \
    --threshold 0.25 --score
changes tree add a.kc root/filter/rest --rule default --no-score
shows a.kc root/filter 'filter [rule] NoScore messages=0' \
    '  a\/b [stat] threshold=0.25 rule="cheap" & $size(n) > 5' \
    '  rest [leaf] NoScore rule=default'
expect 0 tree show a.kc root/filter --depth 0 --json
prints out '"note1": "first",'
prints out '"note2": "second\nline",'
changes tree set a.kc 'root/filter/a\/b' --type leaf --rule 1 --threshold=-0.5 --no-score --note1 ''
changes tree set a.kc root/filter --note1 '' --score
shows a.kc root/filter 'filter [rule] messages=0' '  a\/b [leaf] NoScore threshold=-0.5 rule=1' \
    '  rest [leaf] NoScore rule=default'
expect 0 tree show a.kc root/filter --json
prints out '"note1": "",'
prints out '"note2": "second\nline",'
changes tree rename a.kc 'root/filter/a\/b' $'c\nd/e'
shows a.kc root/filter 'filter [rule] messages=0' '  c\x0Ad\/e [leaf] NoScore threshold=-0.5 rule=1' \
    '  rest [leaf] NoScore rule=default'
keep_inode a.kc
refuses 64 a.kc 'zandrel: tree move would forget what was learned of food (1 message at root);'\
' --forget moves it all the same' tree move a.kc root/food root/world
changes tree move a.kc root/food root/world --forget
changes tree delete a.kc root/filter
changes tree delete a.kc root/world/sport --keep-concepts
changes tree rename a.kc root shop
shows a.kc shop 'shop [stat] NoScore' '  world [stat] NoScore messages=3' \
    '    food [leaf] messages=0' '    money [leaf] messages=1'
expect 0 info a.kc
prints out '  name                shop'
# The remaining categories still know their words.
printf 'bank\n' >line.txt
expect_of line.txt 0 classify a.kc
prints out 'money'

# A refused edit and an edit without a difference do not change the file.
cp whole.kc b.kc
changes tree add b.kc root/filter --type rule
keep_inode b.kc
refuses 64 b.kc 'zandrel: no node "root/x": "root" has no child "x"' tree delete b.kc root/x
refuses 64 b.kc 'zandrel: no node "food": a path begins with the name of the root, "root"' \
    tree set b.kc food --score
refuses 64 b.kc 'zandrel: no node "root/x/y": "root" has no child "x"' tree add b.kc root/x/y
refuses 64 b.kc 'zandrel: "root" is the root: a new node stands below another' tree add b.kc root
refuses 64 b.kc 'zandrel: no node "root/x": "root" has no child "x"' tree move b.kc root/food root/x
refuses 64 b.kc 'zandrel: no node "root/x": "root" has no child "x"' tree show b.kc root/x
refuses 64 b.kc 'zandrel: tree set: nothing to set' tree set b.kc root/food
for arguments in 'set b.kc root/food' 'add b.kc root/x' 'add b.kc root/world/x --type stat'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    refuses 64 b.kc 'zandrel: threshold 90 is not between 0 and 1; only a rule node, or a node below'\
' one, can have another number' tree $arguments --threshold 90
done
refuses 65 b.kc 'b.kc: Cannot delete top node' tree delete b.kc root
refuses 65 b.kc 'b.kc: Cannot move the node down' tree move b.kc root/world root/world/sport
refuses 65 b.kc 'b.kc: Invalid move' tree move b.kc root/food root
refuses 65 b.kc 'b.kc: Missing category name' tree rename b.kc root/food ''
refuses 65 b.kc \
    'b.kc: world : Category name already in use under the current Principal node' \
    tree rename b.kc root/food world
refuses 65 b.kc 'b.kc: Mixing rules and statistics on the same level' tree add b.kc root/filter/x
refuses 65 b.kc 'b.kc: Cannot switch node type' tree set b.kc root/food --rule 1
refuses 65 b.kc 'b.kc: Cannot change root type' tree set b.kc root --type rule
refuses 65 b.kc 'rule: Invalid tokens: 1 , 2' tree add b.kc root/filter/x --rule '1 2'
refuses 0 b.kc '' tree set b.kc root/food --score --threshold 0
refuses 0 b.kc '' tree rename b.kc root/food food

# A compact container accepts edits for which its classifiers need no statistics, and stays compact.
keep_inode compact.kc
compact='compact.kc: the container is compact: without the statistics of training no'
refuses 65 compact.kc "$compact category of a statistical classifier can come or go" \
    tree delete compact.kc root/food
refuses 65 compact.kc "$compact category of a statistical classifier can come or go" \
    tree add compact.kc root/world/more
refuses 65 compact.kc "$compact category of a statistical classifier can come or go" \
    tree move compact.kc root/food root/world --forget
refuses 65 compact.kc "$compact likelihood table can be made anew" \
    options set compact.kc LikelihoodHistogramResolution=2
changes tree rename compact.kc root/world/money cash
changes tree set compact.kc root/world/sport --threshold 0.001 --note1 note
changes options set compact.kc ClipValue=2
expect 0 info compact.kc
prints out '  compact             yes'
expect_of line.txt 0 classify compact.kc
prints out 'cash'

# options
expect 0 options get whole.kc
head -n 1 out | grep -qx 'ClipValue=3' || fail "$command: wrong first line"
[[ $(wc -l <out) -ge 32 && $(sort -u out | wc -l) == $(wc -l <out) ]] ||
    fail "$command: fewer than 32 settings, or one twice"
cp out all.options
expect 0 evaluate --train train.tsv --test train.tsv --options all.options
cp whole.kc c.kc
changes options set c.kc ClipValue=2 ProfileSize=77 LearnSpeedScale=linear
expect 0 options get c.kc ClipValue
is out 'ClipValue=2'
expect 0 options get c.kc ProfileSize --json
[[ $(tr -d ' \n' <out) == '{"ProfileSize":{"value":77,"classifiers":[]}}' ]] ||
    fail "$command: wrong JSON"
expect 0 options get c.kc
prints out 'LearnSpeedScale=linear'
[[ $(diff all.options out | grep -c '^>') == 3 ]] || fail "$command: not three settings differ"
# The greatest limit of a classifier is never below its average one.
changes options set c.kc MaxRlimit=50
expect 0 options get c.kc MaxRlimit
is out 'MaxRlimit=50  # 3000 at root, 3000 at root/world'
keep_inode c.kc
refuses 64 c.kc 'zandrel: unknown setting "ProfileSice"' options set c.kc ClipValue=1 ProfileSice=7
refuses 64 c.kc 'zandrel: bad value for ClipValue: "2.5" is not an integer' options set c.kc ClipValue=2.5
refuses 64 c.kc 'zandrel: bad value for ProfileSize: "0" is not between 1 and 2147483647' \
    options set c.kc ClipValue=1 ProfileSize=0
refuses 64 c.kc 'zandrel: ClipValue: no "=" between key and value' options set c.kc ClipValue
cp -p c.kc before.copy
expect 64 options set c.kc UseExtParms=1
grep -q '^zandrel: UseExtParms is read from options files and kept in no container; these settings'\
' are kept: ClipValue, UseLikelihoodInTrain, .*, FullPropogation' err || fail "$command: wrong message"
cmp -s c.kc before.copy || fail "$command: changed the file"
refuses 64 c.kc 'zandrel: unknown setting "x"' options get c.kc x
refuses 0 c.kc '' options set c.kc ClipValue=2

# After all these changes the file is sealed.
expect 0 info c.kc
prints out '  seal                yes'

# tree apply: all edits of a file, or none.
# applies KC: checks that the edits of standard input are done without output.
applies() {
    cat >edits.stdin
    expect_of edits.stdin 0 tree apply "$1" -
    is_silent out
    is_silent err
}
expect 0 train apply.kc train.tsv
cat >edits.txt <<'END'
# parcels get a classifier of their own
add root/parcels --type stat --note1 'a "note"'

add root/parcels/late
  # a comment behind blanks
move root/food root/parcels --forget
rename root/sport "team's games"
set root/parcels --threshold=0.25
END
sed 's/$/\r/' edits.txt | head -c -2 >edits_crlf.txt  # the last line has no end
cp apply.kc apply_crlf.kc
changes tree apply apply.kc edits.txt
tree=('root [stat] NoScore' '  money [leaf] messages=1' '  parcels [stat] NoScore threshold=0.25 messages=0'
    '    food [leaf] messages=0' '    late [leaf] messages=0' "  team's games [leaf] messages=2")
shows apply.kc root "${tree[@]}"
applies apply_crlf.kc <edits_crlf.txt
shows apply_crlf.kc root "${tree[@]}"
expect 0 info apply.kc
prints out '  seal                yes'
# The same as the edits one after the other.
expect 0 train single.kc train.tsv
changes tree add single.kc root/parcels --type stat --note1 'a "note"'
changes tree add single.kc root/parcels/late
changes tree move single.kc root/food root/parcels --forget
changes tree rename single.kc root/sport "team's games"
changes tree set single.kc root/parcels --threshold=0.25
expect 0 tree show single.kc --json
cp out single.json
expect 0 tree show apply.kc --json
cmp -s out single.json || fail 'tree apply gives another tree than single edits'
# An edit can use the result of the edit before. If an edit is refused, none of the edits remains.
applies apply.kc <<<$'add root/a\nadd root/a/b\nrename root/a c\ndelete root/c'
shows apply.kc root "${tree[@]}"
keep_inode apply.kc
# refuses_line MESSAGE LINE: checks that the line is refused after a line that is not.
refuses_line() {
    printf '%s\n' '# one' 'add root/first' "$2" 'add root/last' >bad.txt
    refuses 65 apply.kc "bad.txt:3: $1" tree apply apply.kc bad.txt
}
refuses_line 'no node "root/none": "root" has no child "none"' 'delete root/none'
refuses_line 'money : Category name already in use under the current Principal node' 'add root/money'
refuses_line 'rule: Invalid number of operations' "set root/money --rule '1 +'"
refuses_line 'tree move would forget what was learned of money (1 message at root);'\
' --forget moves it all the same' 'move root/money root/parcels'
refuses_line 'threshold 7 is not between 0 and 1; only a rule node, or a node below one, can have another'\
' number' 'set root/money --threshold 7'
refuses_line '"ad" is no edit: add, set, move, rename or delete' 'ad root/x'
refuses_line '"show" is no edit: add, set, move, rename or delete' 'show root'
refuses_line '"" is no edit: add, set, move, rename or delete' "''"
refuses_line 'PATH is required' 'delete'
refuses_line 'NAME is required' 'rename root/money'
refuses_line 'tree set: nothing to set' 'set root/money'
refuses_line "a ' is not closed" "rename root/money 'coins"
refuses_line 'The following argument was not expected: --help' 'add root/x --help'
refuses_line 'The following argument was not expected: --wait' 'add root/x --wait'
# Names may have any bytes.
applies apply.kc < <(printf 'rename root/money \xff\x80\n')
expect 0 tree show apply.kc
prints out '  \xFF\x80 [leaf] messages=1'
applies apply.kc < <(printf 'rename "root/\xff\x80" money')
# A compact container refuses one of the edits. A file of edits that changes nothing is accepted.
keep_inode compact.kc
printf 'set root/food --note1 a\nadd root/more\n' >bad.txt
refuses 65 compact.kc 'bad.txt:2: the container is compact: without the statistics of training no category of a'\
' statistical classifier can come or go' tree apply compact.kc bad.txt
keep_inode apply.kc
printf '\n# nothing\n' >nothing.txt
refuses 0 apply.kc '' tree apply apply.kc nothing.txt
refuses 0 apply.kc '' tree apply apply.kc /dev/null
# Bad files of edits: without an end, with a line that is too long, missing, with zero bytes.
refuses 65 apply.kc '/dev/zero:1: the line is longer than 1,048,576 bytes' tree apply apply.kc /dev/zero
{
    printf 'add root/first\nadd root/'
    head -c 1048576 /dev/zero | tr '\0' x
    printf '\n'
} >long.txt
refuses 65 apply.kc 'long.txt:2: the line is longer than 1,048,576 bytes' tree apply apply.kc long.txt
refuses 66 apply.kc 'zandrel: cannot read absent.txt: No such file or directory' tree apply apply.kc absent.txt
printf '\xef\xbb\xbfadd root/\0x\n\xff\0add root/x\n' >bytes.txt
refuses 65 apply.kc 'bytes.txt:2: "\xFF\x00add" is no edit: add, set, move, rename or delete' \
    tree apply apply.kc bytes.txt
printf 'bad' >edits.stdin
expect_of edits.stdin 65 tree apply apply.kc -
is err '<stdin>:1: "bad" is no edit: add, set, move, rename or delete'

# The file is not a container, or does not exist.
for arguments in 'info no.kc' 'tree show no.kc' 'tree delete no.kc root/x' 'tree apply no.kc edits.txt' 'options get no.kc' \
    'options set no.kc ClipValue=2'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 65 $arguments
    prints err 'no.kc: '
    is_silent out
    # shellcheck disable=SC2086
    expect 66 ${arguments/no.kc/absent.kc}
    prints err 'zandrel: cannot read absent.kc: No such file or directory'
    is_silent out
    [[ ! -e absent.kc ]] || fail "$command: made a file"
done

# A container with a changed byte, for each command that reads a container.
cp whole.kc damaged.kc
byte=$(od -An -tu1 -j100 -N1 whole.kc)
printf '%b' "\\x$(printf %x $((byte ^ 1)))" | dd of=damaged.kc bs=1 seek=100 conv=notrunc status=none
cmp -s whole.kc damaged.kc && fail 'the byte has not changed'
keep_inode damaged.kc
for arguments in 'info damaged.kc' 'tree show damaged.kc' 'tree add damaged.kc root/x' 'tree apply damaged.kc edits.txt' \
    'options get damaged.kc' 'options set damaged.kc ClipValue=2' 'classify damaged.kc' \
    'explain damaged.kc' 'evaluate damaged.kc train.tsv' 'learn damaged.kc train.tsv'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    refuses 65 damaged.kc 'damaged.kc: the container is damaged: its bytes are not those'\
' that were sealed (Seal does not match: object 1)' $arguments
done

# Arguments that the command line parser refuses.
for arguments in 'info' 'info a b' 'tree' 'tree fly' 'tree show' 'tree show a.kc shop --depth -1' \
    'tree show a.kc shop --depth all' 'tree move a.kc shop/x --forget' 'tree add a.kc' 'tree add a.kc shop/x --type magic' \
    'tree add a.kc shop/x --threshold high' 'tree add a.kc shop/x --threshold nan' \
    'tree add a.kc shop/x --threshold inf' 'tree add a.kc shop/x --score --no-score' \
    'tree add a.kc shop/x --rule' 'tree move a.kc shop/x' 'tree rename a.kc shop/x' \
    'tree delete a.kc shop/x more' 'tree set a.kc' 'tree apply a.kc' 'tree apply a.kc edits.txt more' 'options' 'options get' 'options set a.kc'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 $arguments
    is_silent out
    [[ -s err ]] || fail "$command: says nothing"
done

((failures == 0))
