#!/usr/bin/env bash
# Usage: import_test.sh PROGRAM
# Tests the import of one container into another by the program zandrel.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

# refuses STATUS KC MESSAGE ARGUMENT...: checks the status and the last line of the message of an
# import, and that neither file changes.
refuses() {
    local status=$1 file=$2 message=$3
    shift 3
    md5sum ./*.kc >before.sums
    expect "$status" import "$file" "$@"
    [[ $(tail -n 1 err) == "$message" ]] || fail "$command: the message is not '$message'"
    is_silent out
    md5sum --quiet -c before.sums >/dev/null 2>&1 || fail "$command: changed a file"
}
# scores KC: prints the scores of the labels of garden for each text, without paths.
scores() { "$program" classify "$1" texts -k 9 2>/dev/null; }

printf '+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n%s%s%s%s%s' \
    $'++\t[Leaf]\t[Score]\t[]\t[urgent]\t["urgent"]\n' \
    $'++\t[Stat]\t[NoScore]\t[]\t[shop]\t["shop"]\n' \
    $'+++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n' $'+++\t[Leaf]\t[Score]\t[]\t[payment]\t[]\n' \
    $'++\t[Leaf]\t[Score]\t[]\t[person]\t[default]\n' >desk.tree
printf 'delivery\tshop parcel late\npayment\tshop bill money\ndelivery\tshop parcel lost\n' >desk.tsv
printf 'rose\tred rose thorn\ntulip\tbulb spring tulip\nrose\trose bed\ntulip\ttulip field\n' >garden.tsv
printf 'plants\trose\nplants\ttulip\n' >plants.tsv
printf 'a red rose\na tulip of spring\nthe bed of roses\nnothing\n' >texts
expect 0 train desk.kc desk.tsv --tree desk.tree --analysis words
expect 0 train garden.kc garden.tsv --analysis words
expect 0 tree rename garden.kc root garden
cp desk.kc whole.kc
scores garden.kc >garden.scores
expect 0 convert desk.kc desk_cached.kc --cached
expect 0 convert garden.kc garden_cached.kc --cached

# Each combination of forms answers as the imported container does: its rule is 1.0, and no other
# rule fires.
for kc in desk desk_cached; do
    for other in garden garden_cached; do
        for bound in '' 1 2; do
            [[ -z $bound || $kc == desk_cached ]] || continue
            cp $kc.kc merged.kc
            sum=$(md5sum <$other.kc)
            # shellcheck disable=SC2086  # no bound is no word
            expect 0 import merged.kc $other.kc --under desk ${bound:+--cached $bound}
            is out "merged.kc: imported $other.kc as desk/garden: 3 nodes, 1 classifier"
            is err 'zandrel: the rule of "desk/garden" is 1.0, so each text at "desk" reaches it, and none reaches the default, "desk/person"'
            [[ $(md5sum <$other.kc) == "$sum" ]] || fail "$command: changed $other.kc"
            expect 0 check merged.kc
            scores merged.kc >merged.scores
            cmp -s garden.scores merged.scores || fail "$command: other scores"
            expect 0 tree show merged.kc desk/garden
            prints out 'garden [stat] NoScore rule=1.0'
            rm merged.kc
        done
    done
done

# The rule can be changed, and the imported tree learns on.
cp desk.kc merged.kc
expect 0 import merged.kc garden.kc --under desk
expect 0 tree set merged.kc desk/garden --rule '"garden"'
printf 'my garden rose\nshop parcel\nhello\n' >ways
expect 0 classify merged.kc ways
[[ $(cut -f1 out | tr '\n' ' ') == 'rose delivery person ' ]] || fail "$command: other labels"
printf 'rose\tgarden petal\n' >more.tsv
expect 0 learn merged.kc more.tsv

# Below a statistical classifier the imported root must be learned first.
cp desk.kc merged.kc
expect 0 import merged.kc garden_cached.kc --under desk/shop
is out 'merged.kc: imported garden_cached.kc as desk/shop/garden: 3 nodes, 1 classifier'
is err 'zandrel: no text reaches "desk/shop/garden" until learn or train has taught "desk/shop" texts of its labels'
expect 0 check merged.kc
printf 'rose\tshop rose\nrose\tshop rose thorn\ntulip\tshop tulip\n' >more.tsv
expect 0 learn merged.kc more.tsv
printf 'shop rose thorn\n' >way
expect 0 classify merged.kc way
[[ $(cut -f1 out) == rose ]] || fail "$command: not rose"
# A leaf without a rule stays a leaf, and one with a rule gets a classifier.
cp desk.kc merged.kc
expect 0 import merged.kc garden.kc --under desk/shop/delivery
expect 0 tree show merged.kc desk/shop/delivery --depth 0
prints out 'delivery [leaf]'
expect 0 import merged.kc garden.kc --under desk/urgent
expect 0 tree show merged.kc desk/urgent --depth 0
prints out 'urgent [stat]'
expect 0 check merged.kc

# Refusals. Nothing changes then.
refuses 64 desk.kc 'zandrel: ./desk.kc is the container itself; import needs another one' ./desk.kc --under desk
refuses 64 desk.kc 'zandrel: no node "desk/none": "desk" has no child "none"' garden.kc --under desk/none
expect 64 import desk.kc garden.kc
prints err '--under is required'
expect 64 import desk.kc garden.kc --under ''
refuses 64 desk.kc 'zandrel: --cached is for containers in cached form, and desk.kc is a plain one' \
    garden.kc --under desk --cached 2
refuses 66 none.kc 'zandrel: cannot read none.kc: No such file or directory' garden.kc --under desk
refuses 66 desk.kc 'zandrel: cannot read none.kc: No such file or directory' none.kc --under desk
printf 'no container\n' >no.kc
expect 65 import desk.kc no.kc --under desk
prints err 'no.kc: '
cp desk.kc merged.kc
expect 0 import merged.kc garden.kc --under desk
refuses 65 merged.kc 'merged.kc: garden : Category name already in use under the current Principal node' \
    garden.kc --under desk
expect 0 tree rename merged.kc desk/garden old
expect 0 import merged.kc garden.kc --under desk
expect 0 train other.kc garden.tsv --analysis phrases
refuses 65 desk.kc 'other.kc: it was made with --analysis phrases, but desk.kc was made with --analysis words' \
    other.kc --under desk
expect 0 train stemmed.kc garden.tsv --analysis words --stem english
expect 65 import desk.kc stemmed.kc --under desk
prints err 'stemmed.kc: it was made with '
expect 0 convert garden.kc small.kc --plain --compact
refuses 65 desk.kc 'desk.kc: Cannot merge a compact container with a full one' small.kc --under desk
expect 0 convert desk.kc small_desk.kc --plain --compact
refuses 65 small_desk.kc 'small_desk.kc: Cannot merge a compact container with a full one' garden.kc --under desk
refuses 65 small_desk.kc 'small_desk.kc: the container is compact: without the statistics of training no category of a statistical classifier can come or go' small.kc --under desk/shop
# A leaf with a rule would become a statistical node that can learn nothing.
expect 0 tree add small_desk.kc desk/ruled --rule 1
refuses 65 small_desk.kc 'small_desk.kc: the container is compact: without the statistics of training no category of a statistical classifier can come or go' small.kc --under desk/ruled
expect 0 tree delete small_desk.kc desk/ruled
expect 0 import small_desk.kc small.kc --under desk
scores small_desk.kc >merged.scores
cmp -s garden.scores merged.scores || fail "$command: other scores"
printf '+\t[Rule]\t[NoScore]\t[]\t[alone]\t[]\n' >alone.tree
expect 0 train alone.kc desk.tsv --tree desk.tree --analysis words
for node in urgent shop person; do expect 0 tree delete alone.kc desk/$node; done
refuses 65 desk.kc 'alone.kc: nothing to import: its root has no children' alone.kc --under desk
for kc in garden garden_cached; do
    cp $kc.kc damaged.kc
    printf 'XXXXXXXX' | dd of=damaged.kc bs=1 seek=600 conv=notrunc 2>dd.log
    expect 65 import desk.kc damaged.kc --under desk
    prints err 'damaged.kc: '
done

# Another process changes the container.
exec 9>.desk.kc.lock
flock 9
expect 74 import desk.kc garden.kc --under desk
prints err 'cannot write desk.kc: '
exec 9>&-
rm -f .desk.kc.lock
cmp -s desk.kc whole.kc || fail 'a refused import changed desk.kc'

# A killed import leaves a plain container as it was or complete. A container in cached form is as it
# was, complete, or marked; then commands refuse it, and name the command that recovers it.
for kc in desk desk_cached; do
    for delay in 0 0.005 0.01 0.02; do
        cp $kc.kc killed.kc
        "$program" import killed.kc garden.kc --under desk >out 2>err &
        sleep $delay
        kill -9 $! 2>/dev/null
        wait $! 2>/dev/null
        command="import into $kc.kc, killed after $delay s"
        if [[ $kc == desk_cached ]] && ! "$program" info killed.kc >out 2>err; then
            prints err 'zandrel rebuild-index'
            continue
        fi
        cmp -s killed.kc $kc.kc || "$program" tree show killed.kc desk/garden >out 2>err ||
            fail "$command: neither the old container nor the new one"
        expect 0 check killed.kc
    done
done

((failures == 0))
