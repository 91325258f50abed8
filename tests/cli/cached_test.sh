#!/usr/bin/env bash
# Usage: cached_test.sh PROGRAM DATA
# Tests containers in cached form: every command gives the same results as with a plain container, a
# refused change leaves the file as it was, and readers and changes keep away from each other.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

data=$2
cp "$data/shop.train.tsv" train.tsv
cp "$data/shop.test.tsv" test.tsv
head -n 100 test.tsv >more.tsv
printf 'refund\tmy money back\nrefund\ta refund please\ngreeting\thello there\n' >>more.tsv
cut -f2 test.tsv | head -n 60 >texts
cut -f1 train.tsv | tr ',' '\n' | sort -u | awk '{print "g" int((NR - 1) / 2) "\t" $0}' >groups

# same_container A B: compares two plain containers without their last bytes, which have the id and
# the times of the container.
same_container() {
    local size
    size=$(stat -c %s "$1")
    [[ $size == $(stat -c %s "$2") ]] || fail "$command: $1 and $2 differ in size"
    cmp -s -n $((size - 1500)) "$1" "$2" || fail "$command: $1 and $2 differ"
}
# same_as_plain CACHED PLAIN: compares a container in cached form with a plain one.
same_as_plain() {
    "$program" check "$1" >out 2>err || fail "$command: check $1"
    "$program" convert "$1" back.kc --plain --replace >out 2>err || fail "$command: convert $1"
    same_container "$2" back.kc
}
# is_unchanged KC: checks that the file is as it was when `sum` was computed.
is_unchanged() { [[ $(md5sum <"$1") == "$sum" ]] || fail "$command: $1 has changed"; }

# --- training ---

expect 0 train plain.kc train.tsv --groups groups --analysis words
for bound in 1 2 20; do
    expect 0 train cached.kc train.tsv --groups groups --analysis words --cached $bound --replace --json
    prints out '"cache": {'
    same_as_plain cached.kc plain.kc
done
expect 0 info cached.kc
prints out 'form                cached, at most 20 classifiers in memory'
prints out 'seal                yes'
expect 0 info cached.kc --cached 3 --json
prints out '"form": "cached"'
prints out '"cache_bound": 3'
expect 0 info plain.kc
prints out 'form                plain'
expect 0 train desk.kc "$data/desk.train.jsonl" --tree "$data/desk.tree"
expect 0 train desk_cached.kc "$data/desk.train.jsonl" --tree "$data/desk.tree" --cached 1
same_as_plain desk_cached.kc desk.kc

# The rules of a container, in both forms.
for file in desk.kc 'desk_cached.kc --cached 1'; do
    # shellcheck disable=SC2086
    expect 0 rules list $file
    is out $'desk/manager\t$amount(n) >= 500\t
desk/english\t$language(s) == \'en\' & $amount(n) < 500\t
desk/german\t$language(s) == \'de\' & $amount(n) < 500\t'
    # shellcheck disable=SC2086
    expect 0 rules keys $file
    is out $'amount\tnumber\nlanguage\tstring'
    # shellcheck disable=SC2086
    expect 0 rules keys $file --json
    is out $'{"key":"amount","datatype":"number"}\n{"key":"language","datatype":"string"}'
    # shellcheck disable=SC2086
    expect 0 rules concepts $file
    is_silent out
    is_silent err
done

expect 64 train cached.kc train.tsv --cached 2
prints err '--replace replaces it'
expect 64 train new.kc train.tsv --cached 2 --compact
prints err '--compact is not possible with the cached form'
[[ ! -e new.kc ]] || fail "$command: new.kc exists"

# --- the option ---

for bound in 0 -1 x 1000000001; do
    expect 64 classify cached.kc texts --cached $bound
    prints err 'is no number of classifiers from 1 to 1000000000'
done
for arguments in 'classify KC texts' 'explain KC texts' 'evaluate KC test.tsv' 'learn KC more.tsv' \
    'train KC train.tsv --keep-tree' 'info KC' 'tree show KC' 'tree dump KC' 'options get KC' \
    'rules list KC' 'rules keys KC' 'rules concepts KC' 'options dump KC' \
    'options set KC ClipValue=2' 'tree rename KC root/g0 x' 'convert KC new.kc'; do
    sum=$(md5sum <plain.kc)
    option='--cached 5'
    [[ $arguments != convert* ]] || option='--plain --bound 5'
    # shellcheck disable=SC2086  # the words of the arguments
    expect 64 ${arguments/KC/plain.kc} $option
    option=${option#--plain }
    prints err "${option% 5} is for containers in cached form, and plain.kc is a plain one"
    is_unchanged plain.kc
done
expect 64 evaluate --train train.tsv --test test.tsv --cached 3
expect 64 evaluate cached.kc test.tsv --learn more.tsv --cached 3
prints err '--cached is not possible with --learn'

# --- commands that read ---

sum=$(md5sum <cached.kc)
for arguments in 'classify KC texts' 'classify KC texts --jsonl -k 3' 'explain KC texts' \
    'explain KC texts --path' 'explain KC texts --category root/g1' 'tree show KC --json' \
    'tree dump KC' 'options get KC' 'options dump KC'; do
    # shellcheck disable=SC2086
    expect 0 ${arguments/KC/plain.kc}
    cp out wanted
    for bound in 1 2 20; do
        # shellcheck disable=SC2086
        expect 0 ${arguments/KC/cached.kc} --cached $bound
        cmp -s wanted out || fail "$command: not the results of the plain container"
    done
done
expect 0 classify plain.kc texts
cp out wanted
expect 0 classify cached.kc texts --cached 1 --jobs 3
cmp -s wanted out || fail "$command: not the results of one job"
expect 0 explain plain.kc texts
cp out wanted
expect 0 explain cached.kc texts --jobs 2
cmp -s wanted out || fail "$command: not the results of one job"
# figures FILE: the figures without times, memory and size of the file.
figures() { sed '/^ *CPU time/,/^$/d; s/ *[0-9.]* s$//; /^model /d; /^loading/d; /^peak/d' "$1"; }
for options in '' '--jobs 2' '--learn more.tsv --bulk 60'; do
    [[ $options != *learn* ]] || head -n 100 more.tsv >known.tsv
    options=${options/more/known}
    # shellcheck disable=SC2086
    expect 0 evaluate plain.kc test.tsv $options
    figures out | sed '/^learned/,$d' >wanted
    # shellcheck disable=SC2086
    expect 0 evaluate cached.kc test.tsv $options
    figures out | sed '/^learned/,$d' >got
    cmp -s wanted got || fail "$command: not the figures of the plain container"
done
is_unchanged cached.kc

# A user who may only read can use the file, also in a folder that nobody may write.
mkdir locked
cp cached.kc locked/kc
chmod 444 locked/kc
chmod 555 locked
for arguments in 'classify locked/kc texts' 'explain locked/kc texts' 'info locked/kc'; do
    command="zandrel $arguments as another user"
    # shellcheck disable=SC2086
    (chmod 755 . && exec setpriv --reuid=5151 --regid=5151 --clear-groups env \
        LD_LIBRARY_PATH="${LD_LIBRARY_PATH:-}" "$program" $arguments >/dev/null) 2>err || fail "$command"
done
chmod 755 locked

# --- changes ---

for bound in 1 2 20; do
    cp plain.kc a.kc
    cp cached.kc b.kc
    expect 0 learn a.kc more.tsv --add-categories
    sed s/a.kc/b.kc/ out >wanted
    expect 0 learn b.kc more.tsv --add-categories --cached $bound
    [[ $(cut -d, -f1-2 out) == "$(cut -d, -f1-2 wanted)" ]] || fail "$command: another summary"
    same_as_plain b.kc a.kc
    expect 0 info b.kc
    prints out 'seal                no'
    expect 0 options set a.kc ClipValue=2 AverageRlimit=500
    expect 0 options set b.kc ClipValue=2 AverageRlimit=500 --cached $bound
    same_as_plain b.kc a.kc
    sum=$(md5sum <b.kc)
    expect 0 options set b.kc ClipValue=2 --cached $bound
    is_unchanged b.kc
    expect 0 train a.kc known.tsv --keep-tree
    expect 0 train b.kc known.tsv --keep-tree --cached $bound
    same_as_plain b.kc a.kc
done
for bound in 1 2 20; do
    cp plain.kc a.kc
    cp cached.kc b.kc
    while read -r edit; do
        # shellcheck disable=SC2086
        expect 0 tree ${edit/KC/a.kc}
        # shellcheck disable=SC2086
        expect 0 tree ${edit/KC/b.kc} --cached $bound
    done <<'END'
add KC root/g1/new
rename KC root/g2 third
delete KC root/g0
set KC root/third --threshold 0.1
add KC root/rules --type rule
add KC root/rules/urgent --rule "urgent"
set KC root/rules/urgent --note1 text
END
    same_as_plain b.kc a.kc
done
cat >edits <<'END'
add root/parcels --type stat
move root/g1/delivery root/parcels --forget
delete root/g2/payment
rename root/g0 'money back'
delete root/g3
END
for bound in 2 20; do
    cp plain.kc a.kc
    cp cached.kc b.kc
    expect 0 tree apply a.kc edits
    expect 0 tree apply b.kc edits --cached $bound
    same_as_plain b.kc a.kc
done

# --- refused changes ---

cp cached.kc b.kc
sum=$(md5sum <b.kc)
cp edits bad
echo 'delete root/none' >>bad
for bound in 2 20; do
    expect 65 tree apply b.kc bad --cached $bound
    is_unchanged b.kc
    expect 64 tree move b.kc root/g1/delivery root --cached $bound
    prints err 'would forget what was learned of delivery (134 messages at root/g1)'
    is_unchanged b.kc
done
for edit in 'tree move b.kc root/g1/delivery root --forget' 'tree apply b.kc edits' \
    'tree set b.kc root --type rule'; do
    # shellcheck disable=SC2086
    expect 65 $edit --cached 1
    prints err "KB can't be modified until cache size is increased from 1 to 2"
    is_unchanged b.kc
done
expect 65 learn b.kc more.tsv --cached 1
prints err 'more.tsv:101: unknown label "refund"'
is_unchanged b.kc
expect 65 train b.kc more.tsv --keep-tree --cached 1
is_unchanged b.kc
expect 64 options set b.kc ProfileSize=0
is_unchanged b.kc
expect 0 convert cached.kc compact.kc --cached --compact
sum=$(md5sum <compact.kc)
for bound in 1 2; do
    expect 65 learn compact.kc known.tsv --cached $bound
    prints err 'the container is compact and can only classify'
    expect 65 tree add compact.kc root/g0/new --cached $bound
    prints err 'the container is compact'
    expect 65 tree delete compact.kc root/g0 --cached $bound
    expect 65 options set compact.kc LikelihoodHistogramResolution=50 --cached $bound
    is_unchanged compact.kc
done
expect 64 train compact.kc known.tsv --keep-tree --compact
is_unchanged compact.kc

# --- conversions ---

expect 0 convert plain.kc c.kc --cached
prints out 'c.kc: cached container, '
expect 0 convert c.kc d.kc --plain
prints out 'd.kc: plain container, '
same_container plain.kc d.kc
expect 0 convert plain.kc e.kc --plain --compact
expect 0 convert compact.kc f.kc --plain
cmp -s -n $(($(stat -c %s e.kc) - 1500)) e.kc f.kc || fail "$command: another compact container"
expect 0 info f.kc
prints out 'compact             yes'
expect 0 convert compact.kc g.kc --cached --bound 1
expect 0 convert c.kc d.kc --plain --bound 3 --replace
same_container plain.kc d.kc
for name in e.kc f.kc compact.kc g.kc; do
    expect 0 classify $name texts
    [[ $name == e.kc ]] && cp out wanted
    cmp -s out wanted || fail "$command: another answer"
done
expect 64 convert plain.kc c.kc
prints err 'give one of --plain and --cached'
expect 64 convert plain.kc c.kc --plain --cached
expect 64 convert plain.kc c.kc --cached
prints err 'c.kc is a knowledge container already; --replace replaces it'
expect 0 convert plain.kc c.kc --cached --replace
ln -sf plain.kc link.kc
ln -f plain.kc hard.kc
for same in plain.kc ./plain.kc link.kc hard.kc; do
    expect 64 convert plain.kc $same --cached --replace
    prints err 'is the container itself; convert writes another file'
done
expect 65 convert plain.kc texts --cached --replace
prints err 'texts: this is no knowledge container, and convert replaces no other file'
expect 65 convert texts new.kc --cached
expect 66 convert none.kc new.kc --cached
expect 64 convert cached.kc new.kc --cached --bound 0
prints err "--bound: '0' is no number of classifiers from 1 to 1000000000"
for option in '--cached 20' --cached=20 --cached=form --plain=1 --cached=false; do
    # shellcheck disable=SC2086  # the option and its value
    expect 64 convert cached.kc new.kc $option
done
[[ ! -e new.kc ]] || fail "$command: new.kc exists"
[[ -z $(find . -name '.*kc*') ]] || fail "$command: hidden files are left"
# The flag that says that the texts are Unicode is bit 0x80 of the flags, which the seal leaves out.
printf '\x80' | dd of=c.kc bs=1 seek=8 conv=notrunc status=none
expect 0 convert c.kc d.kc --plain --replace
expect 0 info d.kc
prints out 'unicode             yes'
expect 0 convert d.kc c.kc --cached --replace
expect 0 info c.kc
prints out 'unicode             yes'
expect 0 check c.kc
# A changed byte of a sealed container is found when it is converted.
printf 'X' | dd of=c.kc bs=1 seek=30000 conv=notrunc status=none
expect 65 convert c.kc d.kc --plain --replace
prints err 'c.kc: the container is damaged'
# A container in cached form is a container for the other commands too.
expect 65 train new.kc cached.kc
prints err 'cached.kc: this is a knowledge container, and no data file'
expect_of cached.kc 65 train new.kc -
expect 64 tree dump plain.kc -o cached.kc
prints err 'a text does not replace it'

# --- readers and changes at the same time ---

mkfifo pipe
"$program" classify b.kc pipe >answers 2>err &
reader=$!
exec 7>pipe
echo 'a text' >&7
until [[ -s answers ]]; do sleep 0.05; done
expect 0 classify b.kc texts
expect 74 learn b.kc known.tsv
prints err 'b.kc: another process is reading it; --wait SECONDS waits for it'
expect 74 learn b.kc known.tsv --wait 0.1
prints err 'another process is still reading it after 0.1 seconds'
"$program" learn b.kc known.tsv --wait 60 >out2 2>err2 7>&- &
waiting=$!
sleep 0.2
exec 7>&-
wait $reader || fail "classify from a pipe"
wait $waiting || fail "learn --wait"
"$program" learn b.kc pipe >out2 2>err2 &
change=$!
exec 7>pipe
until [[ -e .b.kc.lock ]]; do sleep 0.05; done
sleep 0.2
expect 66 classify b.kc texts
prints err 'cannot read b.kc: another process is changing it'
expect 74 learn b.kc known.tsv
printf 'delivery\twhere is it\n' >&7
exec 7>&-
wait $change || fail "learn from a pipe"
expect 0 classify b.kc texts

# --- a full disk ---

cp cached.kc b.kc
(
    trap '' XFSZ
    ulimit -f $(($(stat -c %s b.kc) / 2048))  # no place behind the first half
    expect 74 learn b.kc more.tsv --add-categories --cached 1
    is err "zandrel: cannot write b.kc: File too large; the file has a part of the change, and zandrel \
rebuild-index recovers what is whole"
    ((failures == 0))
) || failures=$((failures + 1))
sum=$(md5sum <b.kc)
expect 65 classify b.kc texts
prints err 'the last change of the container was not completed; zandrel rebuild-index '
is_unchanged b.kc
"$program" rebuild-index b.kc >out 2>err
status=$?
((status == 0 || status == 1)) || fail "rebuild-index after a full disk: exit status $status"
expect 0 check b.kc
expect 0 classify b.kc texts
rm -f b.kc.bad

# --- files that need another command ---

cp cached.kc b.kc
printf '\x01' | dd of=b.kc bs=1 seek=9 conv=notrunc status=none
sum=$(md5sum <b.kc)
for arguments in 'classify b.kc texts' 'learn b.kc known.tsv' 'convert b.kc new.kc --plain'; do
    # shellcheck disable=SC2086
    expect 65 $arguments
    prints err 'b.kc: the last change of the container was not completed; zandrel rebuild-index '
    is_unchanged b.kc
done

((failures == 0))
