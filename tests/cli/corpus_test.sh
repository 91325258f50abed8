#!/usr/bin/env bash
# Usage: corpus_test.sh PROGRAM DATA
# Tests corpus files: import, info and export, and every command that reads data gives the same
# result for a corpus file as for the data files of which it was made.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

data=$2
cp "$data/shop.train.tsv" train.tsv
cp "$data/shop.test.tsv" test.tsv
cp "$data/desk.train.jsonl" desk.jsonl
cp "$data/desk.tree" desk.tree
head -n 60 test.tsv >more.tsv
cut -f1 train.tsv | tr ',' '\n' | sort -u | awk '{print "g" int((NR - 1) / 2) "\t" $0}' >groups

# same_container A B: compares two containers without their last bytes, which have the id and the
# times of the container.
same_container() {
    local size
    size=$(stat -c %s "$1")
    [[ $size == $(stat -c %s "$2") ]] || fail "$command: $1 and $2 differ in size"
    cmp -s -n $((size - 1500)) "$1" "$2" || fail "$command: $1 and $2 differ"
}
# same_cached A B: compares two containers in cached form.
same_cached() {
    "$program" convert "$1" first.kc --plain --replace >out 2>err || fail "$command: convert $1"
    "$program" convert "$2" second.kc --plain --replace >out 2>err || fail "$command: convert $2"
    same_container first.kc second.kc
}
# is_unchanged FILE: checks that the file is as it was when `sum` was computed.
is_unchanged() { [[ $(md5sum <"$1") == "$sum" ]] || fail "$command: $1 has changed"; }
same() { cmp -s "$1" "$2" || fail "$command: $1 and $2 differ"; }
no_files_left() { [[ -z $(ls -A | grep -F .tmp-) ]] || fail "$command: an unfinished file is left"; }

# --- import, info, export ---

printf 'sport,news\ta goal\nnews\tan election\n' >two.tsv
expect 0 corpus import two.corpus two.tsv --analysis words
prints out 'two.corpus: 2 texts added, 2 texts, '
expect 0 corpus info two.corpus
prints out 'version       2'
prints out 'analysis      --analysis words'
prints out 'texts         2'
prints out '             2  news'
prints out '             1  sport'
expect 0 corpus info two.corpus --json
prints out '"analysis": "words"'
prints out '"stem": null'
expect 0 corpus export two.corpus
is out '{"text":"a goal","labels":["sport","news"]}
{"text":"an election","labels":["news"]}'
expect 0 corpus import two.corpus two.tsv --json
prints out '"added": 2'
prints out '"texts": 4'
prints out '"upgraded": false'

# Every type of a pair comes back, and moments with and without a fraction.
cat >pairs.jsonl <<'END'
{"text":"a","labels":["x"],"pairs":{"b":true,"d":1000.0,"i":-7,"l":[1,2,3],"s":"text \"q\" \\","t":"2026-01-31T10:00:00Z","u":["p","q"]}}
{"text":"","labels":["7"],"pairs":{"t":"1969-12-31T23:59:59.25Z"}}
END
expect 0 corpus import pairs.corpus pairs.jsonl
expect 0 corpus export pairs.corpus -o back.jsonl
same pairs.jsonl back.jsonl
expect 0 corpus import back.corpus back.jsonl
same pairs.corpus back.corpus

# Titles and keywords.
printf 'x\ttext one\ttitle one\tkey one\ny\ttext two\ttitle two\tkey two\n' >columns.tsv
expect 0 corpus import columns.corpus columns.tsv --bootstrap
expect 0 corpus info columns.corpus
prints out 'titles        yes'
expect 0 corpus export columns.corpus -o columns.jsonl
prints columns.jsonl '{"text":"text one","title":"title one","keywords":"key one","labels":["x"]}'
expect 0 corpus import columns2.corpus columns.jsonl --bootstrap
same columns.corpus columns2.corpus
expect 64 corpus import columns.corpus two.tsv
prints err 'columns.corpus has titles and keywords, which --bootstrap reads from the data'
expect 64 corpus import two.corpus columns.tsv --bootstrap
prints err 'two.corpus has no titles and keywords: leave out --bootstrap'

# A corpus as data: the messages are copied.
expect 0 corpus import merged.corpus pairs.corpus pairs.jsonl
expect 0 corpus export merged.corpus -o merged.jsonl
cat pairs.jsonl pairs.jsonl >wanted
same wanted merged.jsonl

# --- refusals change nothing ---

sum=$(md5sum <two.corpus)
expect 64 corpus import two.corpus two.corpus
prints err 'two.corpus is the corpus itself, and no data file'
expect 64 corpus import two.corpus two.tsv --analysis phrases
prints err '--analysis phrases: two.corpus was made with --analysis words'
expect 65 corpus import two.corpus pairs.corpus
prints err 'pairs.corpus: its texts were analysed with --analysis phrases, but two.corpus was made with --analysis words'
printf 'sport\tgood\nbad line\n' >bad.tsv
expect 65 corpus import two.corpus bad.tsv
prints err 'bad.tsv:2: '
expect 66 corpus import two.corpus missing.tsv
expect 0 train a.kc two.tsv --analysis words
expect 65 corpus import two.corpus a.kc
prints err 'this is a knowledge container, and no data file'
expect 64 corpus export two.corpus -o two.corpus
expect 64 corpus import two.corpus two.corpus two.tsv
expect 64 corpus import two.corpus
expect 64 corpus
is_unchanged two.corpus
no_files_left
expect 0 corpus import skipped.corpus bad.tsv --skip-bad
prints err 'skipped 1 bad line'
sum=$(md5sum <two.tsv)
expect 65 corpus import two.tsv train.tsv
prints err 'two.tsv: this is no corpus file, and corpus import changes no other file'
is_unchanged two.tsv
for verb in info export; do
    expect 65 corpus $verb two.tsv
    prints err 'two.tsv: '
    expect 66 corpus $verb missing
done
printf 'x\t\xff\n' >latin.tsv
expect 0 corpus import latin.corpus latin.tsv
expect 65 corpus export latin.corpus
prints err 'latin.corpus: message 0: it has bytes that are not UTF-8, which JSON cannot express'

# --- the same results as the data files ---

expect 0 corpus import train.corpus train.tsv
expect 0 corpus import test.corpus test.tsv
expect 0 corpus import more.corpus more.tsv
expect 0 train plain.kc train.tsv
expect 0 train stored.kc train.corpus
same_container plain.kc stored.kc
head -n 500 train.tsv >first.tsv
tail -n +501 train.tsv >second.tsv
expect 0 corpus import first.corpus first.tsv
expect 0 train mixed.kc first.corpus second.tsv
same_container plain.kc mixed.kc
expect 0 learn plain.kc more.tsv
expect 0 learn stored.kc more.corpus
same_container plain.kc stored.kc
expect 0 train plain.kc train.tsv --groups groups --cached 1 --replace
expect 0 train stored.kc train.corpus --groups groups --cached 1 --replace
same_cached plain.kc stored.kc
expect 0 learn plain.kc more.tsv
expect 0 learn stored.kc more.corpus
same_cached plain.kc stored.kc
expect 0 corpus import desk.corpus desk.jsonl
expect 0 train plain.kc desk.jsonl --tree desk.tree --replace
expect 0 train stored.kc desk.corpus --tree desk.tree --replace
same_container plain.kc stored.kc
expect 0 train stored.kc desk.corpus --keep-tree
expect 0 train plain.kc desk.jsonl --keep-tree
same_container plain.kc stored.kc
for i in 1 2 3 4; do sed "s/one/one$i/g; s/two/two$i/g" columns.tsv; done >columns4.tsv
expect 0 corpus import columns4.corpus columns4.tsv --bootstrap
expect 0 train plain.kc columns4.tsv --bootstrap --replace
expect 0 train stored.kc columns4.corpus --bootstrap --replace
same_container plain.kc stored.kc
expect 65 train stored.kc two.corpus --bootstrap --replace
prints err 'two.corpus: message 0 has no title and no keywords; corpus import --bootstrap keeps them'

# figures FILE: the accuracy lines of a report.
figures() { grep -iE 'accuracy|F1' out >"$1"; }
expect 0 train plain.kc train.tsv --replace
expect 0 evaluate plain.kc test.tsv
figures plain.figures
for jobs in 1 2; do
    expect 0 evaluate plain.kc test.corpus --jobs $jobs
    figures stored.figures
    same plain.figures stored.figures
done
expect 0 evaluate --train train.corpus --test test.corpus
figures stored.figures
same plain.figures stored.figures
expect 0 evaluate --cv 2 test.tsv
figures plain.figures
expect 0 evaluate --cv 2 test.corpus
figures stored.figures
same plain.figures stored.figures
[[ -s plain.figures ]] || fail "there are no figures"

expect 0 split test.tsv a.tsv b.tsv
expect 0 split test.corpus a.corpus b.corpus
for half in a b; do
    expect 0 corpus import $half.wanted $half.tsv
    same $half.wanted $half.corpus
done
expect 64 split test.corpus a.corpus b.corpus
prints err 'a.corpus exists already; --replace replaces it'
expect 0 tree suggest test.tsv
cp out plain.tree
expect 0 tree suggest test.corpus
same plain.tree out

# --- another analysis ---

expect 0 corpus import words.corpus more.tsv --analysis words
sum=$(md5sum <plain.kc)
expect 65 learn plain.kc words.corpus
prints err 'words.corpus: its texts were analysed with --analysis words, but plain.kc was made with --analysis phrases'
is_unchanged plain.kc
expect 65 evaluate plain.kc words.corpus
expect 65 train new.kc words.corpus more.corpus
expect 64 train new.kc words.corpus --analysis phrases
prints err '--analysis phrases: words.corpus was made with --analysis words'
[[ ! -e new.kc ]] || fail "$command: new.kc exists"
expect 0 train new.kc words.corpus
expect 0 info new.kc
prints out 'words'
expect 64 train new.kc words.corpus --replace --text body
prints err 'words.corpus is a corpus file, for which there are no --format'

# --- damage ---

# poke FILE OFFSET BYTES: overwrites bytes.
poke() { printf '%b' "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }
# data_of FILE KEY: the offset of the data of the item with this key as dump shows it.
offset_of() { "$program" dump "$1" | grep -F -- "$2" | awk 'NR == 1 {print $1}'; }
expect 0 dump two.corpus
prints out 'form          corpus'
prints out 'message, number 0: labels 2, concepts 2, pairs 1'
prints out 'GlobalInfo: pairs 0, texts 1'
prints out 'ZqeInfo'
expect 0 dump two.corpus --json
prints out '"corpus": true'
prints out '"contents": "message, number 0"'
expect 0 check two.corpus
prints out 'two.corpus: clean'
cp two.corpus damaged.corpus
at=$(offset_of two.corpus 'number 1:')
# Behind the tag, the key with its length, and the length of the data: the number of pairs.
poke damaged.corpus $((at + 16)) '\xff\xff\xff\xff'
expect 65 check damaged.corpus
prints out 'message, number 1 cannot be read'
expect 0 dump damaged.corpus
prints out 'message, number 1  ('
sum=$(md5sum <a.kc)
for verb in 'learn a.kc' 'train a.kc --replace' 'evaluate a.kc' 'tree suggest' 'corpus info' 'corpus export'; do
    # shellcheck disable=SC2086
    expect 65 $verb damaged.corpus
    prints err 'damaged.corpus: message 1 cannot be read'
done
expect 65 split damaged.corpus p q
[[ ! -e p ]] || fail "$command: p exists"
is_unchanged a.kc
# Every command says how the other messages can be used, and --skip-bad leaves the message out.
way="zandrel corpus import NEW 'damaged.corpus' --skip-bad makes a corpus of the others"
expect 65 corpus export damaged.corpus
is err "damaged.corpus: message 1 cannot be read; $way"
expect 65 check damaged.corpus
prints out "damaged.corpus: damaged: messages of the corpus cannot be read; ${way/\'damaged.corpus\'/OLD}"
expect 65 rebuild-index damaged.corpus
prints out 'damaged.corpus: corpus: zandrel corpus import NEW OLD --skip-bad makes a corpus without the messages that cannot be read'
cp two.tsv three.tsv
printf 'sport,news\ta last goal\n' >>three.tsv
expect 0 corpus import three.corpus three.tsv --analysis words
cp three.corpus hole.corpus
poke hole.corpus $(($(offset_of three.corpus 'number 1:') + 16)) '\xff\xff\xff\xff'
skips_one() { prints err "zandrel: skipped 1 bad line, the first: hole.corpus: message 1 cannot be read"; }
expect 0 corpus import rescued.corpus hole.corpus --skip-bad
skips_one
expect 0 corpus export rescued.corpus
is out '{"text":"a goal","labels":["sport","news"]}
{"text":"a last goal","labels":["sport","news"]}'
expect 0 check rescued.corpus
is out 'rescued.corpus: clean'
expect 0 corpus import whole.corpus rescued.corpus two.tsv
expect 0 train rescued.kc rescued.corpus
expect 0 train skipped.kc hole.corpus --skip-bad
skips_one
same_container rescued.kc skipped.kc
expect 0 learn rescued.kc rescued.corpus
expect 0 learn skipped.kc hole.corpus --skip-bad
skips_one
same_container rescued.kc skipped.kc
expect 0 evaluate rescued.kc hole.corpus --skip-bad
skips_one
expect 0 tree suggest hole.corpus --skip-bad
skips_one
expect 0 split hole.corpus hole.rest hole.share --skip-bad --share 0.5
skips_one
for half in rest share; do expect 0 check hole.$half; done
expect 0 archive create hole.arc --analysis words
expect 0 archive add hole.arc hole.corpus --skip-bad
skips_one
expect 65 corpus import hole.corpus two.tsv --skip-bad
prints err 'hole.corpus: message 1 cannot be read; '
# New messages would get the number of an old one if one is missing, so nothing is added.
cp damaged.corpus gap.corpus
expect 65 rebuild-index gap.corpus
for name in damaged gap; do
    sum=$(md5sum <$name.corpus)
    expect 65 corpus import $name.corpus two.tsv
    is_unchanged $name.corpus
done
cp two.corpus stale.corpus
poke stale.corpus 9 '\x01'
expect 65 train a.kc stale.corpus --replace
prints err "stale.corpus: the corpus file was changed and not closed; zandrel rebuild-index 'stale.corpus' makes it usable"
expect 65 corpus import stale.corpus two.tsv
expect 0 rebuild-index stale.corpus
same two.corpus stale.corpus
cp two.corpus version.corpus
poke version.corpus 11 '\x07'
expect 65 corpus info version.corpus
prints err 'the corpus file has a version that this program does not know'
expect 65 check version.corpus
prints out 'the corpus has the unknown version 7'
head -c 300 two.corpus >cut.corpus
expect 65 corpus info cut.corpus
expect 65 rebuild-index cut.corpus

# --- a killed import ---

for i in $(seq 2000); do printf 'sport\ta goal in match %d\n' "$i"; done >many.tsv
cp two.corpus old.corpus
sum=$(md5sum <old.corpus)
mkfifo slow
"$program" corpus import old.corpus slow >out 2>err &
importer=$!
exec 8>slow
cat many.tsv >&8
command='corpus import, killed'
is_large() { [[ $(stat -c %s .old.corpus.tmp-* 2>/dev/null || echo 0) -gt 20000 ]]; }
for _ in {1..200}; do is_large && break; sleep 0.02; done
kill -9 "$importer"
wait "$importer" 2>/dev/null
exec 8>&-
is_unchanged old.corpus
# The unfinished file has the first messages. It was not closed, and rebuild-index makes it a corpus.
cp .old.corpus.tmp-* unfinished.corpus
expect 65 corpus info unfinished.corpus
"$program" rebuild-index unfinished.corpus >out 2>err
expect 0 check unfinished.corpus
is out 'unfinished.corpus: clean'
expect 0 corpus export unfinished.corpus
(($(wc -l <out) > 100)) || fail "$command: only $(wc -l <out) messages"
cp out found.jsonl
expect 0 corpus export two.corpus
cat out >wanted.jsonl
sed 's/^sport\t\(.*\)/{"text":"\1","labels":["sport"]}/' many.tsv >>wanted.jsonl
cmp -s found.jsonl <(head -n "$(wc -l <found.jsonl)" wanted.jsonl) || fail "$command: other messages"
# The next import removes the unfinished file.
expect 0 corpus import old.corpus two.tsv
no_files_left

# --- other kinds of files ---

for verb in info export; do
    expect 65 corpus $verb a.kc
    is err 'a.kc: this is a knowledge container, and no corpus file; zandrel info describes it'
    expect 65 corpus $verb two.tsv
    is err 'two.tsv: this is no corpus file'
    : >empty
    expect 65 corpus $verb empty
    is err 'empty: this is no corpus file'
    expect 66 corpus $verb .
done
expect_of two.corpus 65 corpus import new.corpus -
is err '<stdin>: this is a corpus file, which cannot be read from standard input'
[[ ! -e new.corpus ]] || fail "$command: new.corpus exists"

# --- locks, a full disk ---

cp two.corpus full.corpus
sum=$(md5sum <full.corpus)
(ulimit -f 8 && "$program" corpus import full.corpus train.tsv >out 2>err)
status=$?
command="corpus import with a full disk"
((status == 74)) || fail "$command: exit status $status, not 74"
prints err 'cannot write full.corpus: '
is_unchanged full.corpus
no_files_left
exec 9>.two.corpus.lock
if flock -n 9; then
    expect 74 corpus import two.corpus two.tsv
    flock -u 9
fi
exec 9>&-
rm -f .two.corpus.lock

((failures == 0)) || exit 1
