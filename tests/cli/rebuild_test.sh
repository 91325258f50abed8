#!/usr/bin/env bash
# Usage: rebuild_test.sh PROGRAM
# Tests the command rebuild-index on containers.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

for _ in 1 2 3 4 5; do
    printf 'sport\tgoal match ball\nfood\tbread cheese cake\n'
done >train.tsv
"$program" train good.kc train.tsv --analysis words >out 2>err || fail 'train'

cp good.kc same.kc
expect 0 rebuild-index same.kc
is out 'same.kc: unchanged: the index is right'
cmp -s good.kc same.kc || fail 'an undamaged file changed'

# The index is cut: nothing is lost, and the seal still fits.
cp good.kc cut.kc
truncate -s -9 cut.kc
cp cut.kc kept
expect 65 check cut.kc
expect 0 rebuild-index cut.kc
prints out 'cut.kc: rebuilt with 4 items; the old file is cut.kc.bad'
cmp -s good.kc cut.kc || fail 'the recovered container differs'
cmp -s kept cut.kc.bad || fail 'the old file was not kept'
expect 0 check cut.kc
expect 0 rebuild-index --json cut.kc
prints out '"result": "unchanged"'

# A byte of an item is changed: the item is left out, and the status says so although a file was
# changed.
cp good.kc broken.kc
printf '\xff' | dd of=broken.kc bs=1 seek=200 conv=notrunc 2>/dev/null
expect 65 rebuild-index broken.kc
prints out 'its checksum in the seal differs, so the item is damaged'
prints out 'broken.kc: items are lost'
is_silent err

# The process was killed while it wrote a model over the old one: the item is whole, its record is
# not. Only the bit of the state has to be cleared.
"$program" train half.kc train.tsv --analysis words --cached 2 >out 2>err || fail 'train --cached'
"$program" learn half.kc train.tsv >out 2>err || fail 'learn'
cp half.kc tail.kc
place=$("$program" dump half.kc | awk '/statistical model, id/ { print $1; exit }')
head -c 200 /dev/zero | dd of=half.kc bs=1 seek=$((place + 16)) conv=notrunc 2>/dev/null
printf '\x01' | dd of=half.kc bs=1 seek=9 conv=notrunc 2>/dev/null
expect 65 rebuild-index half.kc
prints out 'so only the bit was cleared'
prints out 'half.kc: still damaged: the container needs its back-up'
expect 65 check half.kc
expect 65 rebuild-index --json half.kc
prints out '"problems": ['

# Somebody appended bytes to a container that can be used. It loses nothing.
"$program" classify tail.kc --column 2 train.tsv >before 2>err || fail 'classify'
head -c 300 /dev/zero >>tail.kc
expect 1 check tail.kc
expect 0 rebuild-index tail.kc
prints out '300 bytes: behind the last block, so of no item'
expect 0 check tail.kc
"$program" classify tail.kc --column 2 train.tsv >after 2>err || fail 'classify a rebuilt container'
cmp -s before after || fail 'a rebuilt container has other answers'

# The magic number and the index offset are gone.
cp good.kc head.kc
printf 'oops' | dd of=head.kc bs=1 conv=notrunc 2>/dev/null
expect 0 rebuild-index head.kc
prints out 'the magic number is wrong; the contents are those of a package'
cmp -s good.kc head.kc || fail 'the container with a damaged header differs'

printf 'no container' >text
expect 65 rebuild-index text
prints err 'text: too short for a header, so there is nothing to recover'
head -c 500 /dev/zero >zeros
expect 65 rebuild-index zeros
prints err 'zeros: neither a record file nor a container'
: >empty
expect 65 rebuild-index empty
expect 66 rebuild-index missing
expect 66 rebuild-index .
expect 64 rebuild-index
expect 64 rebuild-index a b
expect 64 rebuild-index good.kc --wait x
expect 0 rebuild-index --help
prints out 'FILE.bad'

# A full disk: the old file stays, and nothing else.
cp good.kc full.kc
truncate -s -9 full.kc
cp full.kc kept
(ulimit -f 1 && "$program" rebuild-index full.kc >out 2>err)
status=$?
((status == 74 || $(stat -c %s full.kc) < 1024)) || fail "full disk: exit status $status"
cmp -s kept full.kc || fail 'a failed rebuild changed the file'
[[ $(find . -name '*full*' | wc -l) == 1 ]] || fail 'a failed rebuild left files'

((failures == 0))
