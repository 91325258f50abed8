#!/usr/bin/env bash
# Usage: confidence_test.sh PROGRAM SHOP_FOLDER
# The confidence of answers: train --calibrate, classify --confidence and --reject, learn, edits that
# drop the map, archives, texts of unknown topics, and interruptions.
shop=$2
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

# dropped FILE REASON [MORE]: the warning, and the map in the file. MORE: the end of the advice.
dropped() {
    grep -qxF "zandrel: $1 has no confidence map any more, since ${2/_/ }; $advice${3-}" err ||
        fail "$command: another warning"
    expect 0 info "$1"
    ! grep -q confidence out || fail "$command: the map is still there"
}
has_map() {
    expect 0 info "$1"
    prints out "confidence          from $2 answers"
}

advice='zandrel train --keep-tree --calibrate makes one'

# A container without a map
expect 0 train usual.kc "$shop/shop.train.tsv"
! grep -q confidence out || fail "$command: mentions a map"
echo 'Where is my parcel?' >text.txt
expect 64 classify usual.kc text.txt --confidence
is err "zandrel: --confidence: usual.kc has no confidence map; $advice"
expect 64 classify usual.kc text.txt --reject 0.5
is err "zandrel: --reject: usual.kc has no confidence map; $advice"
expect 0 classify usual.kc text.txt --jsonl
! grep -q confidence out || fail "$command: has a confidence"

# A container with a map has the same answers
expect 0 train a.kc "$shop/shop.train.tsv" --calibrate
prints out 'a.kc: 968 texts, 8 labels (8 new), '
prints out ', confidence from 968 answers'
has_map a.kc 968
cut -f 2- "$shop/shop.test.tsv" >texts.txt
expect 0 classify usual.kc texts.txt -k 2
mv out usual.out
expect 0 classify a.kc texts.txt -k 2
cmp -s out usual.out || fail "$command: other answers than without a map"
expect 0 classify a.kc texts.txt -k 2 --confidence
cut -f 2- out | cmp -s - usual.out || fail "$command: other columns after the first one"
cp out confidence.out
expect 0 classify a.kc texts.txt -k 2 --confidence --jobs 2
cmp -s out confidence.out || fail "$command: another output with two jobs"

# --reject leaves out exactly the answers below
expect 0 classify a.kc texts.txt --reject 0.9
paste confidence.out out | awk -F '\t' '($1 < 0.9) != ($NF == "")' >wrong
[[ ! -s wrong ]] || fail "$command: $(head -n 1 wrong)"
grep -q '^$' out || fail "$command: rejects nothing"
grep -q . out || fail "$command: rejects everything"
expect 64 classify a.kc text.txt --reject 1.5
expect 0 classify a.kc text.txt --jsonl --reject 1
prints out '"categories":[],"confidence":'
prints out '"rejected":true}'

# Records
echo '{"id":7,"confidence":"old","text":"Where is my parcel?"}' >texts.jsonl
expect 0 classify a.kc texts.jsonl --jsonl
prints out '{"id":7,"text":"Where is my parcel?","categories":[{"category":"delivery"'
prints out '"confidence":0.9'
echo '{"id":7,"rejected":"old","text":"Where is my parcel?"}' >texts.jsonl
expect 0 classify a.kc texts.jsonl --jsonl
prints out '{"id":7,"text":"Where is my parcel?","categories":['
expect 0 classify a.kc texts.jsonl --jsonl --reject 0.1
prints out '{"id":7,"text":"Where is my parcel?","categories":['
prints out ',"rejected":false}'
expect 0 classify usual.kc texts.jsonl --jsonl
prints out '{"id":7,"rejected":"old","text":"Where is my parcel?","categories":['
printf 'id,text\n7,Where is my parcel?\n' >texts.csv
expect 0 classify a.kc texts.csv --text text --csv --confidence
prints out 'id,text,category_1,score_1,confidence'
printf 'confidence,text\n7,Where is my parcel?\n' >texts.csv
expect 0 classify a.kc texts.csv --text text --csv
expect 65 classify a.kc texts.csv --text text --csv --confidence
prints err 'the header has a column "confidence" already'

# learn keeps the map
cp a.kc learned.kc
expect 0 learn learned.kc "$shop/shop.test.tsv"
prints out ', confidence from 1,207 answers'
printf 'weather\tWill it rain tomorrow?\n' >new.tsv
expect 0 learn learned.kc new.tsv --add-categories --json
prints out '"confidence_answers": 1208'
has_map learned.kc 1,208

# Edits
cp a.kc edited.kc
expect 0 tree rename edited.kc root/payment money
is_silent err
expect 0 options set edited.kc AverageRlimit=5000
is_silent err
has_map edited.kc 968
expect 0 tree add edited.kc root/weather
dropped edited.kc 'its tree has changed'
cp a.kc edited.kc
expect 0 options set edited.kc ClipValue=5
dropped edited.kc 'its settings have changed'
cp a.kc edited.kc
expect 0 import edited.kc usual.kc --under root/delivery
dropped edited.kc 'its tree has changed'
cp a.kc edited.kc
expect 0 train edited.kc "$shop/shop.train.tsv" --keep-tree
dropped edited.kc 'its classifiers are trained anew'
expect 0 train edited.kc "$shop/shop.train.tsv" --keep-tree --calibrate
has_map edited.kc 968

# Archives
cp a.kc archived.kc
expect 0 archive create shop.arc --analysis phrases
expect 0 archive add shop.arc "$shop/shop.test.tsv"
expect 0 archive learn shop.arc archived.kc
has_map archived.kc 1,207
expect 0 archive train shop.arc archived.kc
dropped archived.kc 'its classifiers are trained anew'

# Other forms
expect 0 train cached.kc "$shop/shop.train.tsv" --cached 1 --calibrate
has_map cached.kc 968
expect 0 classify cached.kc texts.txt -k 2 --confidence
cmp -s out confidence.out || fail "$command: other answers in cached form"
expect 0 learn cached.kc "$shop/shop.test.tsv"
has_map cached.kc 1,207
expect 64 train cached.kc "$shop/shop.train.tsv" --keep-tree --calibrate
prints err '--calibrate with --keep-tree is not possible with the cached form'

# Edits in cached form: the file itself loses or keeps the map
plain_first=' after zandrel convert --plain'
printf 'UseExtParms=1
ClipValue=5
' >clip.options
echo 'add root/weather' >edits.txt
for bound in 1 2; do
    expect 0 train original.kc "$shop/shop.train.tsv" --groups "$shop/shop.groups.tsv"         --cached "$bound" --calibrate --replace
    while read -r reason words; do
        read -ra edit <<<"$words"
        # A move needs two classifiers at a time.
        ((bound == 1)) && [[ $words == *move* ]] && continue
        cp original.kc cached.kc
        expect 0 "${edit[@]}" --cached "$bound"
        dropped cached.kc "its $reason changed" "$plain_first"
        expect 64 classify cached.kc text.txt --confidence
        prints err "cached.kc has no confidence map; $advice$plain_first"
        expect 0 learn cached.kc "$shop/shop.test.tsv" --add-categories
        ! grep -q confidence out || fail "$command: the map is back after $words"
    done <<'END'
tree_has tree set cached.kc root/opinions/praise --threshold 0.2
tree_has tree add cached.kc root/weather
tree_has tree delete cached.kc root/opinions/praise
tree_has tree move cached.kc root/opinions/praise root/orders --forget
tree_has tree apply cached.kc edits.txt
tree_has import cached.kc usual.kc --under root/orders/returns
settings_have options set cached.kc ClipValue=5
settings_have options load cached.kc clip.options
END
    cp original.kc cached.kc
    expect 0 tree rename cached.kc root/money/payment invoices --cached "$bound"
    is_silent err
    has_map cached.kc 968
    expect 0 tree rename cached.kc root/money/invoices payment
    expect 0 options set cached.kc AverageRlimit=5000 --cached "$bound"
    is_silent err
    has_map cached.kc 968
    expect 0 train cached.kc "$shop/shop.train.tsv" --keep-tree --cached "$bound"
    dropped cached.kc 'its classifiers are trained anew' "$plain_first"
    # The advice works
    expect 0 convert cached.kc plain.kc --plain
    expect 0 train plain.kc "$shop/shop.train.tsv" --keep-tree --calibrate
    has_map plain.kc 968
    rm plain.kc
done

# A setting of rules concerns only trees with rules
cp a.kc edited.kc
expect 0 options set edited.kc FullPropogation=0
is_silent err
has_map edited.kc 968
expect 0 train ruled.kc "$shop/desk.train.jsonl" --tree "$shop/desk.tree" --calibrate
expect 0 options set ruled.kc FullPropogation=0
dropped ruled.kc 'its settings have changed'

# Few answers
printf 'weather	Will it rain tomorrow?
' >one.tsv
expect 0 train one.kc one.tsv --calibrate
prints err 'with one label each answer is right, so the confidence means nothing'
printf 'weather	Will it rain?
music	A song
' >two.tsv
expect 0 train two.kc two.tsv --calibrate
prints err 'the confidence map comes from only 2 answers, so a confidence is hardly better'
expect 0 train compact.kc "$shop/shop.train.tsv" --compact --calibrate
expect 0 classify compact.kc texts.txt -k 2 --confidence
cmp -s out confidence.out || fail "$command: other answers in compact form"
expect 0 convert a.kc plain.kc --plain --compact
has_map plain.kc 968

# Texts of a topic that training has not seen have lower confidences than the others
grep -v $'^returns\t' "$shop/shop.train.tsv" >without.tsv
expect 0 train without.kc without.tsv --calibrate
grep -v $'^returns\t' "$shop/shop.test.tsv" | cut -f 2- >known.txt
grep $'^returns\t' "$shop/shop.test.tsv" | cut -f 2- >unknown.txt
# answered FILE: the share of the texts that are answered, in per cent.
answered() {
    expect 0 classify without.kc "$1" --reject 0.8
    echo $((100 * $(grep -c . out) / $(wc -l <"$1")))
}
known=$(answered known.txt)
unknown=$(answered unknown.txt)
((known >= 2 * unknown)) ||
    fail "$known % of the texts of known topics are answered, and $unknown % of the others"

# Ctrl-C in each part of a calibration leaves no file
for _ in {1..30}; do
    cat "$shop/shop.train.tsv"
done >large.tsv
for seconds in 0.3 0.8 1.3 2; do
    timeout --preserve-status -s INT "$seconds" "$program" train new.kc large.tsv --calibrate >out 2>err
    status=$?
    command="train --calibrate with Ctrl-C after $seconds s"
    if ((status == 0)); then
        rm new.kc
    else
        ((status == 130)) || fail "$command: exit status $status"
        [[ ! -e new.kc ]] || fail "$command: there is a container"
    fi
    [[ -z $(find . -name '*new.kc*' ! -name 'new.kc.lock') ]] || fail "$command: there is another file"
done

((failures == 0))
