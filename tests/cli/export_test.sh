#!/usr/bin/env bash
# Usage: export_test.sh PROGRAM DATA
# Tests the export of containers to knowledge bases of version 5. The library's tests read the files.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

data=$2
is_unchanged() { [[ $(md5sum <"$1") == "$sum" ]] || fail "$command: $1 has changed"; }
no_files_left() { [[ -z $(ls -A | grep -F .tmp-) ]] || fail "$command: an unfinished file is left"; }
# count TEXT FILE: how often a text is in a file.
count() { grep -aoF -- "$1" "$2" | wc -l; }
# is_count NUMBER TEXT FILE
is_count() { [[ $(count "$2" "$3") == "$1" ]] || fail "$command: '$2' is not $1 times in $3"; }

# Three texts each of two labels, in a flat container.
for i in 1 2 3; do
    printf 'sport\tthe goal of team %s\nmoney\tthe loan of bank %s\n' "$i" "$i"
done >two.tsv
expect 0 train flat.kc two.tsv --analysis words
sum=$(md5sum <flat.kc)

# --- a flat container ---

expect 0 export flat.kc flat.kb
is_silent err
is_unchanged flat.kc
no_files_left
size=$(stat -c %s flat.kb)
prints out 'flat.kb: 2 profiles, '
[[ $(sed 's/.*concepts, //; s/[^0-9]//g' out) == "$size" ]] || fail "$command: another size"
[[ $(od -An -tx1 -N8 flat.kb) == ' 5a 45 4b 42 00 00 00 05' ]] || fail "$command: the head of the file"
is_count 1 'Windows-1252' flat.kb
is_count 2 'sport' flat.kb # profile and node
is_count 2 'goal' flat.kb  # once in each profile

# The second export needs --replace, and writes the same bytes.
sum=$(md5sum <flat.kb)
expect 64 export flat.kc flat.kb
is err 'zandrel: flat.kb is a knowledge base already; --replace replaces it'
is_unchanged flat.kb
chmod 640 flat.kb
expect 0 export flat.kc flat.kb --replace
is_unchanged flat.kb
[[ $(stat -c %a flat.kb) == 640 ]] || fail "$command: other permissions"

# A count of one is in the singular.
printf 'sport\tthe goal of team 1\n' >one.tsv
expect 0 train one.kc one.tsv --analysis words
expect 0 export one.kc one.kb
prints out 'one.kb: 1 profile, '

# --- refused files ---

cp two.tsv data.tsv
sum=$(md5sum <data.tsv)
for option in '' --replace; do
    # shellcheck disable=SC2086
    expect 65 export flat.kc data.tsv $option
    is err 'data.tsv: this is no knowledge base, and export replaces no other file'
    is_unchanged data.tsv
done
sum=$(md5sum <flat.kc)
expect 65 export flat.kc flat.kc --replace
is err 'flat.kc: this is no knowledge base, and export replaces no other file'
is_unchanged flat.kc
: >empty
expect 65 export flat.kc empty --replace
prints err 'this is no knowledge base'
printf 'ZEKB\0\0\0\6' >newer.kb
expect 65 export flat.kc newer.kb --replace
prints err 'this is no knowledge base'
mkdir folder
expect 74 export flat.kc folder
prints err 'cannot write folder: '
expect 74 export flat.kc missing/flat.kb
prints err 'cannot write missing/flat.kb: '
expect 66 export missing.kc new.kb
prints err 'cannot read missing.kc: '
[[ ! -e new.kb ]] || fail "$command: made a file"
expect 65 export two.tsv new.kb
[[ ! -e new.kb ]] || fail "$command: made a file"
expect 64 export flat.kc ''
expect 64 export flat.kc
expect 64 export flat.kc new.kb --cached 5
prints err 'flat.kc'
no_files_left

# Another process writes a file of this name: it is not replaced.
(
    flock 9 || fail 'no lock'
    expect 74 export flat.kc taken.kb 9>&-
    prints err 'cannot write taken.kb: '
    [[ ! -e taken.kb ]] || fail "$command: made a file"
    ((failures == 0))
) 9>.taken.kb.lock || failures=$((failures + 1))

# A damaged container leaves the old knowledge base.
sum=$(md5sum <flat.kb)
head -c 2000 flat.kc >cut.kc
expect 65 export cut.kc flat.kb --replace
prints err 'cut.kc: the container is damaged'
is_unchanged flat.kb
no_files_left
# So does one in cached form, also if only its seal shows the damage. A changed byte of a hole in the
# file is no damage.
expect 0 convert flat.kc flat_cached.kc --cached
expect 0 export flat_cached.kc flat.kb --replace
is_unchanged flat.kb
size=$(stat -c %s flat_cached.kc)
damaged=0
for ((place = 100; place < size; place += 311)); do
    cp flat_cached.kc changed.kc
    printf 'X' | dd of=changed.kc bs=1 seek=$place conv=notrunc status=none
    if "$program" check changed.kc >out 2>err; then
        expect 0 export changed.kc flat.kb --replace
    else
        damaged=$((damaged + 1))
        expect 65 export changed.kc flat.kb --replace
        prints err 'changed.kc: the container is damaged'
    fi
    is_unchanged flat.kb
    no_files_left
done
((damaged > 2)) || fail "only $damaged of the changed bytes are damage"
head -c $((size / 2)) flat_cached.kc >changed.kc
expect 65 export changed.kc flat.kb --replace
prints err 'changed.kc: the container is damaged'
is_unchanged flat.kb
no_files_left

# --- compact containers ---

expect 0 convert flat.kc compact.kc --plain --compact
expect 65 export compact.kc compact.kb
is err 'compact.kc: a compact container has no statistics to export'
[[ ! -e compact.kb ]] || fail "$command: made a file"

# --- rules ---

expect 0 train desk.kc "$data/desk.train.jsonl" --tree "$data/desk.tree" --analysis words
sum=$(md5sum <desk.kc)
expect 65 export desk.kc desk.kb
is err 'desk.kc: the rule node desk has a default category, which a knowledge base cannot have'
[[ ! -e desk.kb ]] || fail "$command: made a file"
is_unchanged desk.kc
expect 0 tree set desk.kc desk/person --rule 'parent_score > 0.5'
expect 0 export desk.kc desk.kb
prints out 'desk.kb: 11 profiles, '
is_count 0 'parent_score' desk.kb
is_count 1 'stat_matching > 0.5' desk.kb
is_count 2 'product_question' desk.kb # profile and node
expect 0 export desk.kc zero.kb --zero-parent-score
is_count 0 'stat_matching' zero.kb
is_count 1 '0 > 0.5' zero.kb
grep -qaF "\$language(s) == 'en' & \$amount(n) < 500" desk.kb || fail "$command: no rule"

# The path names a nested rule node.
expect 0 tree add desk.kc desk/more --type rule --rule 1
expect 0 tree add desk.kc desk/more/other --rule default
expect 65 export desk.kc desk.kb --replace
is err 'desk.kc: the rule node desk/more has a default category, which a knowledge base cannot have'
expect 0 tree delete desk.kc desk/more

# The child _Internal gives its children to its parent.
expect 0 tree add desk.kc desk/_Internal --type rule --rule 1
expect 0 tree add desk.kc desk/_Internal/inner_leaf --rule 2
expect 0 export desk.kc desk.kb --replace
is_count 0 '_Internal' desk.kb
is_count 1 'inner_leaf' desk.kb
expect 0 tree add desk.kc desk/_Internal/person --rule 2
expect 65 export desk.kc desk.kb --replace
is err 'desk.kc: two children of one node would have the name person'
is_count 1 'inner_leaf' desk.kb
expect 0 tree delete desk.kc desk/_Internal/person

# --- cached form ---

expect 0 export desk.kc desk.kb --replace
expect 0 convert desk.kc cached.kc --cached
sum=$(md5sum <cached.kc)
for bound in 1 20; do
    expect 0 export cached.kc cached.kb --replace --cached $bound
    cmp -s cached.kb desk.kb || fail "$command: not as from the plain container"
    is_unchanged cached.kc
done

# --- a full disk ---

if [[ -w /dev/full ]]; then
    expect 74 export flat.kc /dev/full --replace
    prints err 'cannot write /dev/full: '
fi
(
    ulimit -f 1
    trap '' XFSZ
    expect 74 export desk.kc flat.kb --replace
    prints err 'cannot write flat.kb: '
    ((failures == 0))
) || failures=$((failures + 1))
sum=$(md5sum <flat.kb)
expect 0 export flat.kc fresh.kb
is_unchanged fresh.kb
no_files_left

((failures == 0)) || exit 1
