#!/usr/bin/env bash
# Usage: archive_test.sh PROGRAM DATA
# Tests the commands below archive, with dump, check and rebuild-index of archives.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

data=$2
cp "$data/shop.train.tsv" train.tsv
cp "$data/shop.test.tsv" test.tsv
head -n 300 train.tsv >first.tsv
sed -n '301,500p' train.tsv >more.tsv

# is_unchanged FILE: checks that the file is as it was when `sum` was computed.
sum_of() { sum=$(md5sum <"$1"); }
is_unchanged() { [[ $(md5sum <"$1") == "$sum" ]] || fail "$command: $1 has changed"; }
# field NAME: prints the value of a number in the JSON of out.
field() { sed -n "s/^  \"$1\": \(.*[^,]\),\{0,1\}\$/\1/p" out; }
field_is() { [[ $(field "$1") == "$2" ]] || fail "$command: $1 is $(field "$1"), not $2"; }

# --- create ---

expect 0 archive create small.arc --32-bit --analysis words --reserved-size 2 --minimal-size 1 --age-ratio 1
is out 'small.arc: empty archive'
[[ $(od -An -tx1 -N4 small.arc | tr -d ' ') == 4a5b6c80 ]] || fail 'create --32-bit: other magic'
expect 0 archive info small.arc --json
field_is offset_bits 32
field_is reserved_size 2
field_is minimal_size 1
field_is age_ratio 1.0
field_is container null
field_is mature 0.0
field_is messages 0
sum_of small.arc
expect 64 archive create small.arc
is err 'zandrel: small.arc exists; create makes a new file'
is_unchanged small.arc
expect 0 archive create json.arc --json
field_is file '"json.arc"'
field_is messages 0
expect 0 archive create shop.arc --analysis words
[[ $(od -An -tx1 -N4 shop.arc | tr -d ' ') == 4a5b6c81 ]] || fail 'create: other magic'
expect 0 archive info shop.arc --json
field_is offset_bits 64
field_is reserved_size 20
field_is minimal_size 80
field_is age_ratio 5.0
expect 74 archive create no/folder.arc
expect 64 archive create ''

# --- add ---

expect 0 archive add small.arc --id a --category red --category blue 'one two'
is out 'small.arc: 1 message added, 0 replaced, 1 in the archive'
expect 0 corpus import some.corpus test.tsv --analysis words
sum_of small.arc
# Another analysis is refused before anything changes, also after a file that fits.
expect 0 corpus import phrases.corpus test.tsv --analysis phrases
expect 65 archive add small.arc some.corpus phrases.corpus
is err 'phrases.corpus: its texts were analysed with --analysis phrases, but small.arc was made with --analysis words'
expect 64 archive add small.arc some.corpus --text body
prints err 'some.corpus is a corpus file, for which there are no --format'
is_unchanged small.arc
expect 0 archive add small.arc --id b --category red 'three'
expect 0 archive add small.arc --id c --category red 'four' --json
field_is added 1
field_is replaced 0
field_is messages 3
# The reserved size is 2: a is reserved only by blue now.
expect 0 archive list small.arc --json
[[ $(grep -c '"reserved":true' out) == 3 ]] || fail 'list: other reservations'
expect 0 archive list small.arc
cut -f1,3-6 out >list
is list $'1\treserved\ta\tred,blue\tone two\n2\treserved\tb\tred\tthree\n3\treserved\tc\tred\tfour'
expect 0 archive list small.arc --category blue
[[ $(cut -f1 out) == 1 ]] || fail 'list --category: other messages'
# A correction removes the old message, although it is reserved.
expect 0 archive add small.arc --id d --category green --replaces b 'three'
is out 'small.arc: 1 message added, 1 replaced, 3 in the archive'
expect 65 archive show small.arc b
is err 'small.arc: no message has the id "b"'
expect 0 archive show small.arc d
prints out 'labels              green'
prints out 'text                three'
expect 0 archive show small.arc --number 4 --json
prints out '"id":"d"'
# The id may be the one of the message that is replaced, and the replaced message may be missing.
expect 0 archive add small.arc --id d --category red --replaces d 'three'
expect 0 archive add small.arc --id e --category red --replaces missing 'five'
is out 'small.arc: 1 message added, 0 replaced, 4 in the archive'
sum_of small.arc
expect 65 archive add small.arc --id e --category red 'six'
is err 'small.arc: a message has the id "e" already; --replaces replaces it'
expect 64 archive add small.arc --id f 'six'
is err 'zandrel: --id and --replaces need --category'
expect 64 archive add small.arc --category red one two
is err 'zandrel: with --category, give one text'
expect 64 archive add small.arc --category red --category red one
is err 'zandrel: --category: "red" is given twice'
expect 64 archive add small.arc --category '' one
expect 64 archive add small.arc --category red --id '' one
prints err '--id: the id is empty'
expect 64 archive add small.arc --category red --replaces '' one
prints err '--replaces: the id is empty'
expect 64 archive add small.arc --category red --id-pair id one
prints err '--category excludes --id-pair'
expect 64 archive add small.arc --category red --format csv one
expect 64 archive add small.arc --category red --skip-bad one
expect 64 archive add small.arc --category red --analysis phrases one
is err 'zandrel: small.arc was made with --analysis words'
printf 'red\tgood\nbad line\n' >bad.tsv
expect 65 archive add small.arc bad.tsv
prints err 'bad.tsv:2: '
printf '{"id":"e","label":"red","text":"x"}\n' >twice.jsonl
expect 65 archive add small.arc twice.jsonl --label label --pair id --id-pair id
is err 'twice.jsonl:1: the id "e" is already in small.arc'
expect 65 archive add small.arc twice.jsonl --label label --id-pair id
is err 'twice.jsonl:1: there is no single value of "id"'
is_unchanged small.arc
printf '{"id":"g","label":"red","text":"x"}\n' >ids.jsonl
expect 0 archive add small.arc ids.jsonl --label label --pair id --id-pair id
expect 0 archive show small.arc g
expect 0 archive add small.arc bad.tsv --skip-bad
prints err 'bad.tsv:2: '
expect 0 archive add shop.arc first.tsv
is out 'shop.arc: 300 messages added, 0 replaced, 300 in the archive'

# --- delete, set, rename ---

sum_of small.arc
expect 65 archive delete small.arc e missing
is err 'small.arc: no message has the id "missing"'
expect 65 archive delete small.arc g
is err 'small.arc: message "g" is reserved; --reserved deletes it'
expect 64 archive delete small.arc --number x
is err 'zandrel: "x" is not the number of a message'
expect 65 archive delete small.arc --number 99
is err 'small.arc: there is no message 99'
expect 64 archive set small.arc
is err 'zandrel: give --reserved-size, --minimal-size or --age-ratio'
expect 64 archive set small.arc --age-ratio inf
expect 65 archive rename small.arc white black
is err 'small.arc: there is no category "white"'
expect 65 archive rename small.arc red blue
is err 'small.arc: Category already exists: blue'
is_unchanged small.arc
expect 0 archive delete small.arc g --reserved
expect 0 archive rename small.arc red 'dark red'
is out 'small.arc: category "red" is "dark red" now'
expect 0 archive rename small.arc 'dark red' dark --json
field_is old '"dark red"'
field_is new '"dark"'
expect 0 archive rename small.arc dark 'dark red'
expect 0 archive list small.arc --category 'dark red'
grep -q 'a	dark red,blue' out || fail 'rename: other labels'
expect 0 archive list small.arc --category red
is_silent out
expect 0 archive set small.arc --reserved-size 1 --minimal-size 5
is out 'small.arc: 2 settings changed'
expect 0 archive set small.arc --age-ratio 2.5 --json
is out '{
  "file": "small.arc",
  "age_ratio": 2.5
}'
expect 0 archive set small.arc --reserved-size 1
is out 'small.arc: 1 setting changed'
expect 0 archive info small.arc --json
field_is reserved_size 1
field_is minimal_size 5
field_is age_ratio 2.5
expect 0 check small.arc
is out 'small.arc: clean'

# --- learn and train ---

expect 0 train shop.kc first.tsv --analysis words
expect 0 train phrases.kc first.tsv
cp shop.kc other.kc
sum_of shop.arc
expect 65 archive learn shop.arc phrases.kc
is err 'phrases.kc: it was made with another text analysis than shop.arc'
expect 66 archive learn shop.arc missing.kc
expect 66 archive learn missing.arc shop.kc
expect 65 archive learn train.tsv shop.kc
is err 'train.tsv: no message archive'
is_unchanged shop.arc
# An archive that no container has learned from needs no match.
expect 0 archive train shop.arc shop.kc --json
field_is used 300
field_is new_labels 0
# Its messages are below 80 for each of 8 labels, so none is deleted.
field_is kept 300
sum_of shop.arc
expect 65 archive learn shop.arc shop.kc
is err 'shop.arc: No new smls in archive'
expect 0 archive learn shop.arc shop.kc --if-due
is out 'shop.arc: not due: 0 of 100 new messages'
expect 65 archive learn shop.arc other.kc
prints err 'shop.arc: it does not match other.kc'
expect 65 archive train shop.arc other.kc
prints err 'archive train --unmatched brings them together'
is_unchanged shop.arc
head -n 99 more.tsv >almost.tsv
expect 0 archive add shop.arc almost.tsv
expect 0 archive learn shop.arc shop.kc --if-due --json
field_is due false
field_is new_messages 99
expect 0 archive add shop.arc --category praise 'very good'
expect 0 archive learn shop.arc shop.kc --if-due --json
field_is due true
field_is used 100

# Replacing the newest learned message does not let the next learning begin anew.
expect 0 archive add shop.arc --id wrong --category praise 'terrible'
expect 0 archive learn shop.arc shop.kc
expect 0 archive add shop.arc --id right --category complaint --replaces wrong 'terrible'
expect 0 archive learn shop.arc shop.kc --json
field_is used 1
expect 0 archive add shop.arc --id next --category praise 'nice'
expect 0 archive delete shop.arc right --reserved
expect 0 archive learn shop.arc shop.kc --json
field_is used 1

# An unknown label is refused before anything changes.
expect 0 archive add shop.arc --id new --category greeting 'hello there'
cp shop.arc before.arc
cp shop.kc before.kc
for verb in learn train 'train --rebuild'; do
    # shellcheck disable=SC2086
    expect 65 archive $verb shop.arc shop.kc
    is err 'shop.arc: unknown label "greeting"; --add-categories adds it'
    cmp -s shop.arc before.arc || fail "$command: the archive has changed"
    cmp -s shop.kc before.kc || fail "$command: the container has changed"
done
expect 0 archive learn shop.arc shop.kc --add-categories --json
field_is new_labels 1
field_is labels 9
expect 0 classify shop.kc -k 1 - </dev/null
expect 0 info shop.kc

# --- warnings, in the words of learn and train for data files ---

expect 0 train low.kc first.tsv --analysis words --set AverageRlimit=10
cp low.kc before.kc
expect 0 learn low.kc more.tsv
prints err 'low.kc: its limits make learning forget: '
cp err warnings
cp before.kc low.kc
expect 0 archive create low.arc --analysis words
expect 0 archive add low.arc more.tsv
expect 0 archive learn low.arc low.kc
cmp -s err warnings || fail "$command: other warnings than those of learn"
{
    printf '+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n'
    printf '++\t[Leaf]\t[Score]\t[]\t[returns]\t["refund"]\n'
    printf '++\t[Leaf]\t[Score]\t[]\t[other]\t[default]\n'
} >desk.tree
printf 'returns\trefund please\nother\thello\n' >desk.tsv
expect 0 train desk.kc desk.tsv --tree desk.tree --analysis words
printf 'returns\tno such word\n' >blocked.tsv
expect 0 archive create desk.arc --analysis words
expect 0 archive add desk.arc blocked.tsv
for verb in learn train; do
    expect 0 archive $verb desk.arc desk.kc --unmatched
    prints err 'zandrel: the rules of the tree block 1 of 1 text from their labels, so nothing learns them; the first is desk.arc:1 with the label "returns"'
done
cp shop.kc kept.kc
expect 0 archive create labels.arc --analysis words
expect 0 archive add labels.arc --category Praise 'good'
expect 0 archive add labels.arc --category praise 'very good'
expect 0 archive train labels.arc shop.kc --add-categories --rebuild
is err 'zandrel: labels.arc: there are more labels (2) than a fifth of the texts (2)
zandrel: labels.arc: 2 labels have a single text: "Praise", "praise"
zandrel: labels.arc: labels that differ only in case or blanks are different labels: "Praise", "praise"'
cp kept.kc shop.kc
expect 0 archive train labels.arc shop.kc --add-categories --unmatched
prints err 'zandrel: labels.arc: 2 labels have a single text: "Praise", "praise"'
prints err '8 leaves of the tree have learned no text: '
cp kept.kc shop.kc

# --- what is due ---

expect 0 archive create due.arc --analysis words
head -n 3 train.tsv >three.tsv
expect 0 archive add due.arc three.tsv
expect 0 train due.kc first.tsv --analysis words --set ActivateFeedback=0
expect 0 archive train due.arc due.kc
expect 0 archive learn due.arc due.kc --if-due
is out 'due.arc: not due: 0 of 1 new messages'
expect 0 archive train due.arc due.kc --if-due --json
field_is due true
field_is needed 0
# The first message is not learned again if the others are deleted.
expect 0 archive delete due.arc --number 2 3 --reserved
is out 'due.arc: 1 message in the archive'
expect 65 archive learn due.arc due.kc
is err 'due.arc: No new smls in archive'
expect 0 archive delete due.arc --number 1 --reserved --json
field_is file '"due.arc"'
field_is messages 0
expect 0 archive add due.arc --category praise 'nice'
expect 0 archive learn due.arc due.kc --if-due --json
field_is due true

# --- a container is lost after the archive was written ---

cp shop.kc crashed.kc
expect 0 archive add shop.arc more.tsv
expect 0 archive learn shop.arc shop.kc
cp crashed.kc shop.kc
expect 65 archive learn shop.arc shop.kc
prints err 'it does not match shop.kc'
expect 0 archive train shop.arc shop.kc --unmatched
expect 65 archive learn shop.arc shop.kc
is err 'shop.arc: No new smls in archive'
expect 0 archive add shop.arc --category praise 'good'
expect 0 archive learn shop.arc shop.kc

# If the container cannot be written, the archive does not count its messages as learned.
expect 0 archive create tiny.arc --analysis words
expect 0 archive add tiny.arc --category praise 'fine'
cp shop.kc full.kc
sum_of full.kc
command='archive learn, disk full'
(
    ulimit -f 100 # blocks of 1024 bytes
    "$program" archive learn tiny.arc full.kc >out 2>err
)
[[ $? == 74 ]] || fail "$command: another status"
is err 'zandrel: cannot write full.kc: File too large'
is_unchanged full.kc
expect 0 archive info tiny.arc --json
field_is container null
expect 0 archive learn tiny.arc full.kc --json
field_is used 1

# If the archive cannot be written, rebuild-index repairs it.
command='archive add, disk full'
cp tiny.arc full.arc
(
    ulimit -f 20
    "$program" archive add full.arc train.tsv >out 2>err
)
[[ $? == 74 ]] || fail "$command: another status"
prints err 'zandrel: cannot write full.arc: File too large; zandrel check says if the archive needs rebuild-index'
expect 65 archive info full.arc
expect 1 check full.arc
"$program" rebuild-index full.arc >out 2>err
prints out 'full.arc: rebuilt with '
expect 0 check full.arc
expect 0 archive learn full.arc full.kc --unmatched

# --- rebuild ---

expect 0 archive train shop.arc shop.kc --rebuild --json
field_is labels 9
expect 0 info shop.kc --json
cut -f1 train.tsv | tr ',' '\n' | sort -u | awk '{print "g" int((NR - 1) / 2) "\t" $0}' >groups
expect 0 train groups.kc train.tsv --analysis words --groups groups
expect 64 archive train shop.arc groups.kc --rebuild --add-categories
prints err 'which --rebuild would lose; --forget allows that'
expect 64 archive train shop.arc groups.kc --forget
is err 'zandrel: --forget needs --rebuild'
expect 0 archive train shop.arc groups.kc --rebuild --forget --add-categories
expect 0 tree show groups.kc
! grep -q g0 out || fail 'train --rebuild: the old tree is still there'
expect 0 convert shop.kc cached.kc --cached
expect 64 archive train shop.arc cached.kc --rebuild
prints err '--rebuild is not possible with the cached form'

# A container in cached form gets the same answers.
cp shop.arc plain.arc
cp groups.kc plain.kc
expect 0 convert plain.kc cached.kc --cached --replace
expect 0 archive train shop.arc plain.kc --unmatched
expect 0 archive train plain.arc cached.kc --unmatched
cut -f2 test.tsv | head -n 50 >texts
expect 0 classify plain.kc texts
cp out plain.txt
expect 0 classify cached.kc texts
cmp -s out plain.txt || fail 'a container in cached form has other answers'

# --- locks, dump, check, rebuild-index ---

# Another process has the lock of readers.
sum_of shop.arc
exec 9<shop.arc
flock -s 9
expect 74 archive add shop.arc --category praise 'good'
prints err 'another process is reading it'
expect 0 archive info shop.arc
flock -u 9
flock -x 9
expect 66 archive info shop.arc
prints err 'another process is changing it'
exec 9<&-
is_unchanged shop.arc
expect 0 dump small.arc
prints out '  summary'
prints out '"zandrel.analysis"  text analysis'
prints out '  message 1'
prints out '  reserved size 1'
expect 0 dump small.arc --json
prints out '"contents": "message 1"'
prints out '"archive": {'
expect 0 check shop.arc
expect 0 rebuild-index shop.arc
is out 'shop.arc: unchanged: the index is right'
# The mark of a file that was not closed.
cp small.arc marked.arc
printf '\x01' | dd of=marked.arc bs=1 seek=9 conv=notrunc status=none
expect 65 archive info marked.arc
is err 'marked.arc: the archive was not closed; zandrel rebuild-index repairs it'
expect 65 archive add marked.arc --category red x
is err 'marked.arc: the archive was not closed; zandrel rebuild-index repairs it'
expect 1 check marked.arc
expect 0 rebuild-index marked.arc
cmp -s small.arc marked.arc || fail 'rebuild-index: the file has changed'

# --- a process that is killed while it adds messages ---

for _ in {1..8}; do cat train.tsv; done >large.tsv
for delay in 0.02 0.1 0.3; do
    cp tiny.arc killed.arc
    "$program" archive add killed.arc large.tsv >out 2>err &
    sleep $delay
    kill -9 $! 2>/dev/null
    wait $! 2>/dev/null
    command="archive add, killed after $delay s"
    if ! "$program" archive info killed.arc >out 2>err; then
        prints err 'zandrel rebuild-index repairs it'
        "$program" rebuild-index killed.arc >out 2>err
        prints out 'killed.arc: '
    fi
    expect 0 check killed.arc
    is out 'killed.arc: clean'
    cp full.kc killed.kc
    expect 0 archive train killed.arc killed.kc --unmatched
done
# A signal that the program handles leaves an archive that can be used at once.
cp tiny.arc ended.arc
"$program" archive add ended.arc large.tsv >out 2>err &
sleep 0.2
kill -TERM $! 2>/dev/null
wait $! 2>/dev/null
expect 0 check ended.arc
is out 'ended.arc: clean'
expect 0 archive info ended.arc

# --- numbers that end ---

# set_next_number FILE: the next message gets the number 0xFFFFFFF, 32 bits, highest byte first. The
# data of the summary are behind its tag, its key of 11 bytes and two lengths.
set_next_number() {
    local at
    at=$("$program" dump "$1" | awk '$NF == "summary" {print $1; exit}')
    printf '\x0f\xff\xff\xff' | dd of="$1" bs=1 seek=$((at + 23)) conv=notrunc status=none
}
for verb in learn train 'train --rebuild'; do
    expect 0 archive create long.arc --analysis words --reserved-size 2 --minimal-size 3
    expect 0 archive add long.arc --id rare-1 --category praise 'lovely'
    expect 0 archive add long.arc --id rare-2 --category praise 'so nice'
    for i in 1 2 3 4 5 6 7 8; do printf 'returns\tmoney back %d\n' $i; done >refunds.tsv
    expect 0 archive add long.arc refunds.tsv
    expect 0 train long.kc first.tsv --analysis words --replace
    expect 0 archive train long.arc long.kc
    set_next_number long.arc
    expect 0 archive add long.arc refunds.tsv
    expect 0 archive list long.arc
    prints out '268435455'
    # shellcheck disable=SC2086
    expect 0 archive $verb long.arc long.kc --json
    field_is kept 8
    expect 0 check long.arc
    is out 'long.arc: clean'
    # Two messages of each category are reserved, and all have the ids that they had.
    expect 0 archive list long.arc --json
    [[ $(grep -c '"reserved":true' out) == 4 ]] || fail "$command: other reservations after $verb"
    [[ $(grep -c '"id":null' out) == 6 ]] || fail "$command: other ids after $verb"
    ! grep -q '"number":268' out || fail "$command: high numbers after $verb"
    expect 65 archive learn long.arc long.kc
    is err 'long.arc: No new smls in archive'
    expect 65 archive delete long.arc rare-1
    is err 'long.arc: message "rare-1" is reserved; --reserved deletes it'
    for round in 1 2; do
        expect 0 archive add long.arc refunds.tsv
        expect 0 archive learn long.arc long.kc
        expect 0 archive train long.arc long.kc
    done
    expect 0 archive list long.arc --category praise
    [[ $(cut -f4 out | tr '\n' ' ') == 'rare-1 rare-2 ' ]] || fail "$command: lost reserved messages after $verb"
    expect 0 archive add long.arc --id rare-3 --category praise --replaces rare-1 'lovely'
    is out 'long.arc: 1 message added, 1 replaced, 8 in the archive'
    expect 0 check long.arc
    is out 'long.arc: clean'
    rm long.arc
done
# A lock without its message, as other programs leave it after they have numbered messages anew.
expect 0 archive create locks.arc --analysis words
expect 0 archive add locks.arc --id a --category praise 'nice'
expect 0 train long.kc first.tsv --analysis words --replace
at=$("$program" dump locks.arc | awk '$NF == "summary" {print $1; exit}')
# 36 bytes of numbers, 42 of the only category, and the count of the locks are before the first lock.
printf '\x00\x00\x00\x09' | dd of=locks.arc bs=1 seek=$((at + 23 + 36 + 42 + 4)) conv=notrunc status=none
sum_of locks.arc
for verb in 'add locks.arc --category praise good' 'delete locks.arc a' 'learn locks.arc long.kc' 'train locks.arc long.kc'; do
    # shellcheck disable=SC2086
    expect 65 archive $verb
    is err 'locks.arc: the archive is damaged: the summary disagrees with itself about reserved messages; zandrel rebuild-index repairs it'
done
expect 0 archive list locks.arc
is_unchanged locks.arc
expect 1 check locks.arc
"$program" rebuild-index locks.arc >out 2>err
expect 0 archive learn locks.arc long.kc
# A category with two messages that counts only one. The counter is behind the name of 6 bytes.
expect 0 archive create counts.arc --analysis words
expect 0 archive add counts.arc --id a --category praise 'nice'
expect 0 archive add counts.arc --id b --category praise 'fine'
at=$("$program" dump counts.arc | awk '$NF == "summary" {print $1; exit}')
printf '\x00\x00\x00\x01' | dd of=counts.arc bs=1 seek=$((at + 23 + 36 + 4 + 10)) conv=notrunc status=none
sum_of counts.arc
expect 65 archive delete counts.arc a b --reserved
is err 'counts.arc: the archive is damaged: it != m_manager.category_info.end(); zandrel rebuild-index repairs it'
is_unchanged counts.arc
"$program" rebuild-index counts.arc >out 2>err
expect 0 archive delete counts.arc a b --reserved
# A message that cannot be read. Behind its tag, its key of 4 bytes and two lengths there are its data.
expect 0 archive add counts.arc --id c --category praise 'nice'
at=$("$program" dump counts.arc | awk '/ message 3$/ {print $1; exit}')
printf '\xff\xff\xff\xff' | dd of=counts.arc bs=1 seek=$((at + 16)) conv=notrunc status=none
expect 65 archive show counts.arc c
is err "counts.arc: Can't read Sml 3 from Archive; zandrel check says more"
expect 65 check counts.arc
prints out 'counts.arc: damaged: messages or the summary of the archive cannot be read; zandrel rebuild-index makes it usable without them'

# --- the messages of a corpus file ---

# same_lines FIRST SECOND: compares two listings without the times of arrival.
same_lines() { cmp -s <(sed 's/"time":"[^"]*"//' "$1") <(sed 's/"time":"[^"]*"//' "$2") || fail "$command: $1 and $2 differ"; }
cat >pairs.jsonl <<'END'
{"text":"a goal","labels":["sport","news"],"pairs":{"id":"n1","size":7,"list":[1,2,3],"ok":true}}
{"text":"an \"election\" \\ \u0001","labels":["news"],"pairs":{"id":"n2"}}
END
expect 0 corpus import pairs.corpus pairs.jsonl --analysis words
for name in data stored; do
    expect 0 archive create $name.arc --analysis words
done
expect 0 archive add data.arc pairs.jsonl --id-pair id
expect 0 archive add stored.arc pairs.corpus --id-pair id
is out 'stored.arc: 2 messages added, 0 replaced, 2 in the archive'
for name in data stored; do
    expect 0 archive show $name.arc n1 n2 --json
    cp out $name.lines
done
same_lines data.lines stored.lines
prints data.lines '"pairs":{"id":"n1","list":[1,2,3],"ok":true,"size":7}'
expect 0 archive show stored.arc n1
prints out 'pair                list = [1,2,3]'
prints out 'pair                id = n1'
# The lines of list are data with pairs.
expect 0 archive list stored.arc --json
cp out listed.jsonl
expect 0 corpus import listed.corpus listed.jsonl --analysis words
expect 0 corpus export listed.corpus
cp out listed.lines
expect 0 corpus export pairs.corpus
cmp -s out listed.lines || fail 'archive list --json: other messages'
# Archives from data lines and from a corpus of them train the same container.
expect 0 train first.kc first.tsv --analysis words
cp first.kc second.kc
expect 0 corpus import first.corpus first.tsv --analysis words
for name in data stored; do
    expect 0 archive create $name-first.arc --analysis words
done
expect 0 archive add data-first.arc first.tsv
expect 0 archive add stored-first.arc first.corpus
expect 0 archive train data-first.arc first.kc
expect 0 archive train stored-first.arc second.kc
[[ $(stat -c %s first.kc) == $(stat -c %s second.kc) ]] || fail 'archive train: containers of different sizes'
cmp -s -n $(($(stat -c %s first.kc) - 1500)) first.kc second.kc || fail 'archive train: different containers'
# An id that is missing or already there is refused.
sum_of stored.arc
expect 65 archive add stored.arc pairs.corpus --id-pair id
is err 'pairs.corpus: message 0: the id "n1" is already in stored.arc'
expect 65 archive add stored.arc pairs.corpus --id-pair list
is err 'pairs.corpus: message 0: there is no single value of "list"'
is_unchanged stored.arc
# Titles and keywords are kept.
printf 'x\ttext one\ttitle one\tkey one\n' >columns.tsv
expect 0 corpus import columns.corpus columns.tsv --bootstrap --analysis words
expect 0 archive add stored.arc columns.corpus
expect 0 archive show stored.arc --number 3 --json
prints out '"_SML_TEXT_TITLE":"title one"'

# --- list and show as JSON ---

expect 0 archive create ids.arc --analysis words
strange=$'a"b\\c\td\ne\x01'
expect 0 archive add ids.arc --id "$strange" --category $'c"\t' $'a "text"\n\x02'
expect 0 archive add ids.arc --category red 'no id'
for arguments in 'list ids.arc' 'show ids.arc --number 1 2'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 0 archive $arguments --json
    python3 - "$strange" <<'PYTHON' || fail "$command: other JSON"
import json, sys
first, second = [json.loads(line) for line in open("out", encoding="utf-8")]
assert first["id"] == sys.argv[1], first["id"]
assert first["labels"] == ['c"\t'] and first["text"] == 'a "text"\n\x02', first
assert second["id"] is None, second["id"]
PYTHON
done
expect 0 archive show ids.arc "$strange"
prints out 'a"b\c\x09d\x0Ae\x01'
# The lines of list are data.
expect 0 archive list ids.arc --json
cp out list.jsonl
expect 0 corpus import list.corpus list.jsonl --analysis words
prints out 'list.corpus: 2 texts added, 2 texts, '

# --- other kinds of files ---

expect 0 train kind.kc first.tsv --analysis words
for verb in 'train new.kc' 'learn kind.kc' 'evaluate kind.kc' 'evaluate --cv 2' 'tree suggest' 'corpus import new.corpus' 'archive add small.arc'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 65 $verb small.arc
    is err 'small.arc: this is a message archive, and no data file; zandrel archive train reads it, and zandrel archive list --json writes its messages as JSON lines'
done
expect 65 split small.arc new.one new.two
prints err 'small.arc: this is a message archive, and no data file'
for verb in classify explain; do
    for file in kind.kc first.corpus small.arc; do
        expect 65 $verb kind.kc $file
        is_silent out
        prints err "$file: this is a"
        prints err ', and no file of texts'
        "$program" $verb kind.kc <$file >out 2>err && fail "$verb kind.kc <$file: no error"
        prints err '<stdin>: this is a'
    done
done
for file in first.corpus small.arc; do
    "$program" train new.kc - <$file >out 2>err && fail "train new.kc - <$file: no error"
    prints err '<stdin>: this is a'
done
expect 65 archive info kind.kc
is err 'kind.kc: this is a knowledge container, and no message archive; zandrel info describes it'
expect 65 archive list first.corpus
is err 'first.corpus: this is a corpus file, and no message archive; zandrel corpus info describes it'
for verb in info 'tree show' 'options get'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 65 $verb small.arc
    is err 'small.arc: this is a message archive, and no knowledge container; zandrel archive info describes it'
done
sum_of small.arc
for verb in learn train; do
    expect 64 archive $verb small.arc small.arc
    is err 'zandrel: small.arc is the archive itself, and no knowledge container'
    expect 65 archive $verb small.arc first.corpus
    is err 'first.corpus: this is a corpus file, and no knowledge container; zandrel corpus info describes it'
done
expect 64 tree dump kind.kc -o small.arc
is err 'zandrel: small.arc is a message archive; a text does not replace it'
expect 64 tree dump kind.kc -o first.corpus
is err 'zandrel: first.corpus is a corpus file; a text does not replace it'
expect 65 split first.corpus small.arc other.corpus --replace
is err 'small.arc: this is a message archive, and split replaces only data files'
is_unchanged small.arc
[[ ! -e new.kc && ! -e new.corpus && ! -e new.one ]] || fail 'a refused command made a file'

# Nothing is left beside the archives.
[[ -z $(find . -name '.*.tmp*' -o -name '.*.lock') ]] || fail "$(find . -name '.*')"

((failures == 0))
