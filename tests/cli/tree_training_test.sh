#!/usr/bin/env bash
# Usage: tree_training_test.sh PROGRAM
# Trains containers whose trees have rules, from the top: train --tree, classify, explain, evaluate,
# learn, edits of the tree, and train --keep-tree.
# shellcheck disable=SC2016  # Rules have dollar signs.
project=$(realpath "$(dirname "$0")/../..")
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

# Prints the labels of a filter's output without scores; a bar ends each line.
labels() { sed 's/\t[0-9]*\.[0-9]\{6\}//g' out | tr '\t\n' ',|'; }
# warns TEXT: checks that a warning is in err.
warns() { prints err "zandrel: $1"; }

# node LEVEL TYPE CATEGORY [RULE]: prints a line of the text form.
node() {
    local score=NoScore
    [[ $2 != Leaf ]] || score=Score
    printf '%s\t[%s]\t[%s]\t[]\t[%s]\t[%s]\n' "$1" "$2" "$score" "$3" "${4-}"
}
{
    node + Rule desk
    node ++ Stat shop '"Shops" & !"URGENT"'
    node +++ Leaf delivery
    node +++ Leaf returns
    node ++ Leaf urgent '"Urgent"'
    node ++ Leaf other default
} >desk.tree
for _ in 1 2 3 4 5 6 7 8 9 10; do
    printf 'delivery\tshop parcel late\nreturns\tshop jacket small\nother\thello there\n'
done >train.tsv
printf 'delivery\tthe parcel of the shop\nreturns\tShop jacket\nother\tgood day\nurgent\tURGENT shop parcel\n' \
    >test.tsv
cut -f 2 test.tsv >texts.txt

# train --tree, and what the container answers
expect 0 train desk.kc train.tsv --tree desk.tree --analysis words --stem english
prints out 'desk.kc: 30 texts, 4 labels (4 new), '
! grep -q 'of the tree' err || fail "$command: warns of the tree"
expect 0 classify desk.kc texts.txt -k 1
[[ $(labels) == 'delivery|returns|other|urgent|' ]] || fail "$command: wrong labels: $(labels)"
cp out answers
expect 0 classify desk.kc texts.txt -k 1 --jobs 2
cmp -s out answers || fail "$command: other answers with two jobs"
expect 0 classify desk.kc texts.txt -k 1 --jsonl
prints out '"path":"desk/shop/delivery"'
expect 0 explain desk.kc texts.txt
prints out 'parcel'
expect 0 explain desk.kc texts.txt --category desk/shop/returns
expect 0 evaluate desk.kc test.tsv
prints out '4 of 4'
expect 0 evaluate --train train.tsv --test test.tsv --tree desk.tree --analysis words --stem english
prints out '4 of 4'
expect 0 tree show desk.kc

# learn
printf 'delivery\tshop truck\nother\thow are you\n' >more.tsv
expect 0 learn desk.kc more.tsv
prints out 'desk.kc: 2 texts, 4 labels (0 new), '
printf 'returns\tno such word\n' >blocked.tsv
expect 0 learn desk.kc blocked.tsv
warns 'the rules of the tree block 1 of 1 text from their labels, so nothing learns them; the first is blocked.tsv:1 with the label "returns"'
printf 'payment\tshop bill\n' >payment.tsv
expect 65 learn desk.kc payment.tsv
is err 'payment.tsv:1: unknown label "payment"; --add-categories adds it'
expect 65 learn desk.kc payment.tsv --add-categories
prints err 'payment.tsv:1: label "payment" cannot be added: '

# --keep-tree after edits of the tree
expect 65 train desk.kc train.tsv payment.tsv --keep-tree
prints err 'payment.tsv:1: label "payment" has no leaf in desk.kc; add a leaf for it there, or remove the text'
expect 0 tree add desk.kc desk/shop/payment
expect 0 tree rename desk.kc desk/other rest
expect 0 tree add desk.kc desk/store --type stat --rule '"Store"'
expect 0 tree move desk.kc desk/shop/returns desk/store --forget
sed 's/^other/rest/; s/shop jacket/store jacket/' train.tsv >edited.tsv
for _ in 1 2 3; do cat payment.tsv; done >payments.tsv
expect 0 train desk.kc edited.tsv payments.tsv --keep-tree
prints out 'desk.kc: 33 texts, 5 labels (0 new), '
! grep -q 'of the tree' err || fail "$command: warns of the tree"
printf 'stores: a jacket\na parcel for the shop\nshop bill\nhello\nurgent store jacket\n' >texts.txt
expect 0 classify desk.kc texts.txt -k 1
[[ $(labels) == 'returns|delivery|payment|rest|urgent|' || $(labels) == 'returns|delivery|payment|rest|returns|' ]] ||
    fail "$command: wrong labels: $(labels)"
expect 0 train desk.kc edited.tsv --keep-tree --stem english
warns 'a leaf of the tree has learned no text: "desk/shop/payment"'
expect 64 train desk.kc edited.tsv --keep-tree --analysis phrases
is err 'zandrel: --analysis phrases: desk.kc was made with --analysis words'
expect 66 train absent.kc edited.tsv --keep-tree
[[ ! -e absent.kc ]] || fail "$command: made a container"
for option in '--groups groups.tsv' '--tree desk.tree' '--options a.options' '--set ProfileSize=5' --replace; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 train desk.kc edited.tsv --keep-tree $option
    prints err "${option%% *} excludes --keep-tree"
done

# Edits warn of words that rules do not find, or find too often, like the training.
unfindable='no text can have this text of a rule, since it is not one concept of the text analysis: "very angry"; combine the parts by &'
expect 0 tree set desk.kc desk/urgent --rule '"Urgent" | "very angry"'
is err "zandrel: $unfindable"
expect 0 tree set desk.kc desk/urgent --note1 slow
is_silent err
expect 0 tree add desk.kc desk/angry --rule '"very angry"'
is err "zandrel: $unfindable"
expect 0 rules concepts desk.kc
is out $'Shops\nStore\nURGENT\nUrgent\nvery angry'
expect 0 rules concepts desk.kc --phrases
is out 'very angry'
expect 0 rules concepts desk.kc --phrases --json
is out '{"concept":"very angry"}'
expect 0 rules list desk.kc --json
prints out '{"path":"desk/angry","rule":"\"very angry\"","top_category":""}'
expect 0 rules keys desk.kc
is_silent out
echo "set desk/angry --rule '\"E404\" & \"very angry\"'" >edits.txt
expect 0 tree apply desk.kc edits.txt
is err "zandrel: $unfindable"
{
    node + Rule codes
    node ++ Leaf refused '"E404"'
    node ++ Leaf other default
} >codes.tree
numbers='the text analysis makes each digit 0, so this text of a rule also finds other digits: "E404" (read as "e000"); --analysis words keeps digits'
printf 'refused\tan error E404\nother\thello\n' >codes.tsv
expect 0 train codes.kc codes.tsv --tree codes.tree
warns "$numbers"
expect 0 train codes.kc codes.tsv --keep-tree
warns "$numbers"
echo 'error E500' >code.txt
expect 0 classify codes.kc code.txt
[[ $(labels) == 'refused|' ]] || fail "$command: wrong labels: $(labels)"
expect 0 tree set codes.kc codes/refused --rule '"E404" & 1 == 1'
is err "zandrel: $numbers"
expect 0 rules eval '"E404"' --text 'error E500' --analysis phrases
is out 1
is err "zandrel: $numbers"
expect 0 train codes.kc codes.tsv --tree codes.tree --analysis words --replace
! grep -q 'digits' err || fail "$command: warns of digits"
expect 0 rules eval '"E404"' --text 'error E500'
is out 0
is_silent err

# The same forms of words by hand
expect 0 rules eval '"Running" & "shoes"' --text 'RUN, shoe!' --stem english
is out 1
is_silent err
expect 0 rules eval '"very angry"' --text 'very angry'
is out 0
is err 'zandrel: no text can have this text of a rule, since it is not one concept of the text analysis: "very angry"; combine the parts by &'
expect 0 rules eval '"Very Angry"' --text 'very angry' --analysis phrases
is out 1
is_silent err
expect 0 rules eval '"very angry" | $a(n) > 1' --set a=2
is out 1
is_silent err

# JSON lines have pairs, which rules read in each command.
{
    node + Rule desk
    node ++ Leaf manager '$amount(n) >= 500'
    node ++ Stat english "\$language(s) == 'en' & \$amount(n) < 500"
    node +++ Leaf delivery
    node +++ Leaf returns
    node ++ Leaf person default
} >pairs.tree
# record LABEL TEXT LANGUAGE AMOUNT: prints a line of JSON.
record() { printf '{"labels": ["%s"], "text": "%s", "pairs": {"language": "%s", "amount": %s}}\n' "$@"; }
for _ in 1 2 3 4 5 6 7 8 9 10; do
    record delivery 'where is my parcel' en 30
    record returns 'the jacket is too small' en 75.5
    record person 'wo ist mein paket' de 30
done >train.jsonl
{
    record delivery 'parcel' en 499.99
    record returns 'jacket' en 0
    record manager 'parcel' en 500
    record manager 'paket' de 9000
    record person 'parcel' fr 1
} >test.jsonl
expect 0 train pairs.kc train.jsonl --tree pairs.tree
! grep -q 'of the tree' err || fail "$command: warns of the tree"
expect 0 evaluate pairs.kc test.jsonl
prints out '5 of 5'
expect 0 evaluate pairs.kc test.jsonl --jobs 2 --learn train.jsonl --bulk 15
prints out '5 of 5'
head -n 20 train.jsonl >learn.jsonl
record payment 'the bill' en 10 >>learn.jsonl
expect 65 evaluate pairs.kc test.jsonl --learn learn.jsonl --bulk 15
prints err 'learn.jsonl:21: label "payment" cannot be added: '
expect 0 evaluate --train train.jsonl --test test.jsonl --tree pairs.tree
prints out '5 of 5'
expect 0 classify pairs.kc test.jsonl -k 1
[[ $(labels) == 'delivery|returns|manager|manager|person|' ]] || fail "$command: wrong labels: $(labels)"
expect 0 explain pairs.kc test.jsonl
prints out '1.000  manager'
record delivery 'where is my sofa' en 900 >large.jsonl
expect 0 learn pairs.kc train.jsonl large.jsonl
warns 'the rules of the tree block 1 of 31 texts from their labels, so nothing learns them; the first is large.jsonl:1 with the label "delivery"'
expect 0 tree set pairs.kc desk/manager --rule '$amount(n) >= 1000'
expect 0 tree set pairs.kc desk/english --rule "\$language(s) == 'en' & \$amount(n) < 1000"
expect 0 train pairs.kc train.jsonl large.jsonl --keep-tree
! grep -q 'of the tree' err || fail "$command: warns of the tree"
expect 0 rules eval '"PARCEL" & $amount(n) >= 500' --message test.jsonl
[[ $(tr '\n' ' ' <out) == '0 0 1 0 0 ' ]] || fail "$command: wrong values"

# Without a container, evaluate warns like train.
{ head -n 3 train.tsv && cat blocked.tsv; } >odd.tsv
expect 0 train odd.kc odd.tsv --tree desk.tree --analysis words --stem english
grep 'of the tree' err >wanted
printf 'zandrel: the rules of the tree block 1 of 4 texts from their labels, so nothing learns them; the first is odd.tsv:4 with the label "returns"\n' |
    cmp -s - wanted || fail "$command: other warnings"
grep -v '^delivery' odd.tsv >fewer.tsv
for file in odd.tsv fewer.tsv; do
    expect 0 train odd.kc $file --tree desk.tree --analysis words --stem english --replace
    grep 'of the tree' err >wanted
    expect 0 evaluate --train $file --test test.tsv --tree desk.tree --analysis words --stem english
    grep 'of the tree' err | cmp -s - wanted || fail "$command: other warnings than train"
done
warns 'a leaf of the tree has learned no text: "desk/shop/delivery"'
expect 0 evaluate --cv 2 fewer.tsv --tree desk.tree --analysis words --stem english
[[ $(grep -c 'of the tree' err) == 2 ]] || fail "$command: not each warning once"
warns 'a leaf of the tree has learned no text: "desk/shop/delivery"'
warns 'the rules of the tree block 1 of 3 texts from their labels, so nothing learns them; the first is fewer.tsv:3 with the label "returns"'
for _ in 1 2 3; do cat payment.tsv; done >payments.tsv
for form in '--cv 2' '--holdout 0.2'; do
    for files in payments.tsv 'payments.tsv train.tsv' 'train.tsv payments.tsv'; do
        # shellcheck disable=SC2086  # The words are the arguments.
        expect 65 evaluate $form $files --tree desk.tree
        grep -q '^payments\.tsv:[123]: label "payment" has no leaf in desk\.tree; ' err ||
            fail "$command: other error"
    done
done

# A tree may be compressed. A damaged file is refused, also if the part before the damage is a tree.
gzip -c desk.tree >desk.tree.gz
{ cat desk.tree.gz && head -c 12 desk.tree.gz; } >cut.tree.gz
expect 0 train packed.kc train.tsv --tree desk.tree.gz --analysis words --stem english
expect 0 train plain.kc train.tsv --tree desk.tree --analysis words --stem english
expect 0 tree dump plain.kc
cp out plain.tree
expect 0 tree dump packed.kc
cmp -s out plain.tree || fail "$command: another tree from a compressed file"
expect 65 train cut.kc train.tsv --tree cut.tree.gz
prints err 'cut.tree.gz: the compressed data ends too early, after '
expect 65 evaluate --train train.tsv --test test.tsv --tree cut.tree.gz
prints err 'cut.tree.gz: the compressed data ends too early, after '
[[ ! -e cut.kc ]] || fail 'a damaged tree made a container'

# Trees that are wrong
cp desk.kc before.kc
expect 64 train desk.kc train.tsv --tree desk.tree --replace --groups groups.tsv
prints err '--groups excludes --tree'
expect 64 evaluate desk.kc test.tsv --tree desk.tree
prints err 'excludes'
expect 66 train new.kc train.tsv --tree absent.tree
is err 'zandrel: cannot read absent.tree: No such file or directory'
expect 66 train new.kc train.tsv --tree .
expect 64 train new.kc train.tsv --tree ''
prints err '--tree: the name of the file is empty'
{
    node + Rule desk
    echo
    node ++ Leaf other '1 +'
} >bad.tree
expect 65 train new.kc train.tsv --tree bad.tree
is err 'bad.tree:3: Invalid rule: [1 +]: Invalid number of operations'
: >empty.tree
expect 65 train new.kc train.tsv --tree empty.tree
prints err 'empty.tree: '
expect 65 train new.kc train.tsv payment.tsv --tree desk.tree
prints err 'payment.tsv:1: label "payment" has no leaf in desk.tree; add a leaf for it there, or remove the text'
expect 65 evaluate --train payment.tsv --test test.tsv --tree desk.tree
prints err 'payment.tsv:1: label "payment" has no leaf in desk.tree; add a leaf for it there, or remove the text'
[[ ! -e new.kc ]] || fail "a refused training made a container"
expect 64 train new.kc - --tree -
is err 'zandrel: - is given more than once, and standard input can be read only once'
expect_of desk.tree 0 train new.kc train.tsv --tree - --analysis words
cmp -s desk.kc before.kc || fail "a refused training changed a container"

# The commands of the page on trees give what the page says, with the files that are shipped.
mkdir page && cd page || exit 1
page=$project/docs/trees.md
cp "$project"/data/shop/desk.* .
sed -n '/^+.*→/s/→/\t/gp' "$page" >page.tree
expect 0 tree check page.tree
is out '9 nodes: 1 rule node, 2 statistical nodes, 6 leaves'
expect 0 tree check desk.tree
is out '16 nodes: 1 rule node, 2 statistical nodes, 13 leaves'
sed -n 's/^    zandrel //p' "$page" >commands
(($(wc -l <commands) == 13)) || fail "$page: other commands"
printf 'rose\tred rose thorn\ntulip\tbulb spring tulip\nrose\trose bed\n' >garden.tsv
expect 0 train garden.kc garden.tsv
expect 0 tree rename garden.kc root garden
while read -r line; do
    eval "expect 0 $line"
    case $line in
        *--keep-tree) sed -n 's/^zandrel: /&/p' "$page" | cmp -s - err || fail "$command: other warnings" ;;
        evaluate*)
            accuracy=$(sed -n 's/^accuracy  *\([0-9]*\)\..* [0-9]* of 94$/\1/p' out)
            ((accuracy >= 65)) || fail "$command: accuracy below 65 %"
            is_silent err
            ;;
        train*)
            prints out 'desk.kc: 376 texts, 10 labels (10 new), '
            is_silent err
            ;;
        'rules list'*) sed -n '/^desk\/.*→/s/→/\t/gp' "$page" | cmp -s - out || fail "$command: other rules" ;;
        'rules keys'*) sed -n '/^[a-z]*→[a-z]*$/s/→/\t/p' "$page" | cmp -s - out || fail "$command: other keys" ;;
        'rules concepts'*) is_silent out ;;
        import*) prints out "imported garden.kc as " ;;
        *) is_silent err ;;
    esac
done <commands
# A label below two nodes: only one of its leaves is empty.
grep -v '"labels": \["delivery"\].*"language": "de"' desk.train.jsonl >fewer.jsonl
(($(wc -l <fewer.jsonl) == 362)) || fail 'other German texts'
expect 0 train fewer.kc fewer.jsonl --tree desk.tree
is err 'zandrel: a leaf of the tree has learned no text: "desk/german/delivery"'
expect 0 tree show fewer.kc desk/german
prints out 'delivery [leaf] messages=0'

((failures == 0))
