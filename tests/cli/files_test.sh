#!/usr/bin/env bash
# Usage: files_test.sh PROGRAM REFUSALS TAMPERED_CALLS
# Tests how the program handles files: which files it does not overwrite, its exit status after a
# failure that follows a change, files left after signals, locks, owners and permissions.
# Two libraries are preloaded. REFUSALS makes calls of the system fail, as the environment says.
# TAMPERED_CALLS makes one call of the system wait or fail; its source describes how.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

refusals=$2
tampered_calls=$3

printf 'sport\tgoal match\nfood\tbread cheese\n' >train.tsv
for _ in 1 2 3 4 5; do  # enough texts for train not to warn of labels with few texts
    printf 'sport\tball\nfood\tcake\n'
done >more.tsv
printf 'no container\n' >text
: >empty
"$program" train first.kc train.tsv --analysis words >out 2>err || fail 'train first.kc'

# is_left_with NAME...: checks that these are all files with "kc" in the name, hidden ones too.
is_left_with() {
    [[ $(find . -name '*kc*' -printf '%f\n' | sort | tr '\n' ' ') == "$* " ]] ||
        fail "$command: left $(find . -name '*kc*' -printf '%f ')"
}
# messages KC: prints the numbers of texts learned for the labels food and sport.
messages() {
    "$program" tree show "$1" | sed -n 's/^  \(food\|sport\) .*messages=\([0-9]*\).*/\2/p' | tr '\n' ' '
}
# wait_for COMMAND...: waits until the command succeeds, at most a minute.
wait_for() {
    local i
    for ((i = 0; i < 1200; ++i)); do
        ! "$@" 2>/dev/null || return 0
        sleep 0.05
    done
    fail "$command: waited in vain for: $*"
}
# start ARGUMENT...: runs the program in the background, with the signals of a program that a person
# starts. Sets `process` to its process id. The variables in `environment` are added to its
# environment.
environment=()
start() {
    command="zandrel $*"
    set -m
    env "${environment[@]}" "$program" "$@" >out 2>err </dev/null 8>&- &
    process=$!
    set +m
}
# ends STATUS: checks that the started program ends with this status.
ends() {
    local status=0
    wait "$process" 2>/dev/null || status=$?  # the shell would name the signal
    ((status == $1)) || fail "$command: exit status $status, not $1"
}

# --- files that train overwrites, and files that it does not ---

cp train.tsv A.tsv
expect 65 train A.tsv train.tsv
is err 'A.tsv: this is no knowledge container, and train replaces no other file'
is_silent out
cmp -s A.tsv train.tsv || fail "$command: changed the file"
ln -s A.tsv link.tsv
for name in A.tsv link.tsv text empty; do
    cp "$name" before
    expect 65 train "$name" train.tsv --replace
    is err "$name: this is no knowledge container, and train replaces no other file"
    cmp -s "$name" before || fail "$command: changed the file"
done
expect 65 train ./*.tsv  # the first of the names is the container
prints err 'A.tsv: this is no knowledge container'
# This check comes first, before the search for a missing data file.
expect 65 train text absent.tsv

cp first.kc a.kc
expect 64 train a.kc train.tsv
is err 'zandrel: a.kc is a knowledge container already; --replace replaces it'
expect 64 train a.kc absent.tsv
cmp -s a.kc first.kc || fail "$command: changed the file"
expect 0 train a.kc train.tsv more.tsv --analysis words --replace
[[ $(messages a.kc) == '6 6 ' ]] || fail "$command: not replaced"
expect 0 train new.kc train.tsv --replace
rm new.kc
# A cut or damaged container still counts as a container.
head -c 100 first.kc >a.kc
expect 64 train a.kc train.tsv
expect 0 train a.kc train.tsv --replace
printf 'JZl\204zandrel' >a.kc  # a package of another program
expect 65 train a.kc train.tsv --replace
cp first.kc a.kc
for name in train learn; do
    expect 64 $name a.kc train.tsv ./a.kc --skip-bad $([[ $name == learn ]] || echo --replace)
    is err 'zandrel: ./a.kc is the knowledge container, and no data file'
    cmp -s a.kc first.kc || fail "$command: changed the file"
done
for name in train learn; do
    expect 65 $name $([[ $name == learn ]] && echo a.kc || echo new.kc) train.tsv first.kc --skip-bad
    is err 'first.kc: this is a knowledge container, and no data file'
    is_left_with a.kc first.kc
done
mkdir closed
cp first.kc closed/a.kc
if ((EUID != 0)); then
    chmod 0 closed
    expect 74 train closed/a.kc train.tsv
    is err 'zandrel: cannot write closed/a.kc: Permission denied'
    expect 66 learn closed/a.kc train.tsv
    is err 'zandrel: cannot read closed/a.kc: Permission denied'
    chmod 700 closed
fi
rm -r closed
expect 74 train text/a.kc train.tsv
is err 'zandrel: cannot write text/a.kc: Not a directory'
expect 66 learn text/a.kc train.tsv
is err 'zandrel: cannot read text/a.kc: Not a directory'
is_left_with a.kc first.kc

# --- failures after the change ---

changed='zandrel: a.kc has been changed all the same, so do not repeat the command'
mkfifo pipe
exec 8<>pipe 9>pipe 8<&-  # nobody reads it any more
for arguments in 'learn a.kc more.tsv' 'learn a.kc more.tsv --json' 'train a.kc more.tsv --replace'; do
    for output in full closed pipe; do
        cp first.kc a.kc
        command="zandrel $arguments, output to $output"
        # shellcheck disable=SC2086  # The words are the arguments.
        case $output in
            full) "$program" $arguments >/dev/full 2>err ;;
            closed) "$program" $arguments >&- 2>err ;;
            pipe) "$program" $arguments >&9 2>err ;;
        esac
        status=$?
        ((status == 3)) || fail "$command: exit status $status, not 3"
        is err "zandrel: cannot write the output"$'\n'"$changed"
        [[ $(messages a.kc) == "$([[ $arguments == learn* ]] && echo '6 6 ' || echo '5 5 ')" ]] ||
            fail "$command: not changed"
    done
done
# Without a change the status is different. A filter whose reader has ended ends without a message.
"$program" info a.kc >/dev/full 2>err
[[ $? == 74 ]] || fail 'info: a full device is not noticed'
"$program" info a.kc >&- 2>err
[[ $? == 74 ]] || fail 'info: a closed output is not noticed'
"$program" info a.kc >&9 2>err
[[ $? == $((128 + 13)) ]] || fail 'info: not ended by SIGPIPE'
is_silent err
# If the error output is closed, no file of the program gets its number, and the status is the same.
cp first.kc a.kc
"$program" learn a.kc more.tsv --skip-bad >out 2>&- || fail "learn, without error output: $?"
prints out 'a.kc: 10 texts'
expect 0 info a.kc
"$program" learn a.kc more.tsv <&- >&- 2>&-
[[ $? == 3 ]] || fail 'learn, without any stream: not 3'
[[ $(messages a.kc) == '11 11 ' ]] || fail 'learn, without any stream: has not learned'
"$program" learn a.kc more.tsv >&9 2>&9
[[ $? == 3 ]] || fail 'learn, all streams broken: not 3'
exec 9>&-
rm pipe

refused_flush=REFUSE_FOLDER_FLUSH
without_flush() {
    # The runtime of the sanitizers demands to be loaded first. This order does not matter here.
    env LD_PRELOAD="$refusals" "$refused_flush=1" ASAN_OPTIONS="verify_asan_link_order=0:${ASAN_OPTIONS-}" \
        "$program" "$@" >out 2>err
}
cp first.kc a.kc
printf 'ClipValue = 5\n' >new.options
for arguments in 'learn a.kc more.tsv' 'train a.kc more.tsv --replace' 'tree add a.kc root/x' \
    'tree set a.kc root/x --note1 note' 'tree move a.kc root/x root/food' \
    'tree rename a.kc root/food/x y' 'tree delete a.kc root/food/y' 'options set a.kc ClipValue=2' \
    'options load a.kc new.options'; do
    command="zandrel $arguments, with a folder that cannot be flushed"
    [[ $arguments != 'tree move'* ]] || "$program" tree set a.kc root/food --type stat >out 2>err
    cp a.kc before
    # shellcheck disable=SC2086  # The words are the arguments.
    without_flush $arguments
    status=$?
    ((status == 3)) || fail "$command: exit status $status, not 3"
    is err "zandrel: cannot write a.kc: Input/output error"$'\n'"$changed"
    ! cmp -s a.kc before || fail "$command: not changed"
done
is_left_with a.kc first.kc

# A container in cached form is changed in place, and brought to the disk at the end.
refused_flush=REFUSE_FILE_FLUSH
"$program" convert first.kc a.kc --cached --replace >out 2>err || fail 'convert a.kc --cached'
for arguments in 'learn a.kc more.tsv' 'check --seal a.kc' 'tree add a.kc root/x' \
    'options set a.kc ClipValue=2'; do
    command="zandrel $arguments, in cached form, with a file that cannot be flushed"
    cp a.kc before
    # shellcheck disable=SC2086  # The words are the arguments.
    without_flush $arguments
    status=$?
    ((status == 3)) || fail "$command: exit status $status, not 3"
    is err "zandrel: cannot write a.kc: Input/output error"$'\n'"$changed"
    ! cmp -s a.kc before || fail "$command: not changed"
done
is_left_with a.kc first.kc

# An archive too.
"$program" archive create a.arc --analysis words >out 2>err || fail 'archive create'
for arguments in 'add a.arc --id a --category fun text' 'set a.arc --minimal-size 7' \
    'add a.arc more.tsv' 'delete a.arc a --reserved'; do
    command="zandrel archive $arguments, with a file that cannot be flushed"
    cp a.arc before
    # shellcheck disable=SC2086  # The words are the arguments.
    without_flush archive $arguments
    status=$?
    ((status == 3)) || fail "$command: exit status $status, not 3"
    is err "zandrel: cannot write a.arc: Input/output error"$'\n'"${changed/a.kc/a.arc}"
    ! cmp -s a.arc before || fail "$command: not changed"
done
rm a.arc before

# --- files that are left ---

# A command that reads from a pipe keeps its lock until the pipe is closed.
mkfifo slow.tsv
for arguments in 'learn a.kc slow.tsv' 'train a.kc slow.tsv --replace' 'train new.kc slow.tsv'; do
    for pair in HUP:129 INT:130 TERM:143; do
        cp first.kc a.kc
        # While the program waits for data it cannot poll, so the first signal ends the process.
        # shellcheck disable=SC2086  # The words are the arguments.
        start $arguments
        command="$command, ${pair%:*}"
        wait_for eval 'ls .*.kc.lock >/dev/null'
        [[ ${pair%:*} == HUP ]] || exec 9<>slow.tsv  # open, but without data
        sleep 0.3
        kill -s "${pair%:*}" "$process"
        ends "${pair#*:}"
        exec 9>&-
        is_silent err
        is_silent out
        cmp -s a.kc first.kc || fail "$command: changed the file"
        is_left_with a.kc first.kc
    done
done
cp first.kc a.kc
# The same applies while evaluate waits for data, and while a filter waits for lines.
for pair in HUP:129 INT:130 TERM:143; do
    for name in classify evaluate; do
        exec 9<>slow.tsv
        start $name a.kc slow.tsv
        sleep 0.5
        kill -s "${pair%:*}" "$process"
        ends "${pair#*:}"
        exec 9>&-
    done
done
rm slow.tsv

(
    ulimit -f 1  # blocks of 1024 bytes
    expect 74 learn a.kc more.tsv
    is err 'zandrel: cannot write a.kc: File too large'
    expect 74 train a.kc more.tsv --replace
    ((failures == 0))
) || failures=$((failures + 1))
cmp -s a.kc first.kc || fail "$command: changed the file"
is_left_with a.kc first.kc

# The next change removes only the unfinished files of processes that have ended.
: >.a.kc.tmp-abcdef
: >.a.kc.tmp-living
: >.a.kc.tmp-abcde
: >.a.kc.tmp-abcde.
: >.a.kc.backup
: >.b.kc.tmp-abcdef
: >.a.kc.lock
mkdir .a.kc.tmp-folder
ln -s train.tsv .a.kc.tmp-linked
exec 9<.a.kc.tmp-living
flock 9
expect 0 learn a.kc more.tsv
exec 9<&-
is_left_with .a.kc.backup .a.kc.tmp-abcde .a.kc.tmp-abcde. .a.kc.tmp-folder .a.kc.tmp-linked \
    .a.kc.tmp-living .b.kc.tmp-abcdef a.kc first.kc
expect 0 options set a.kc ClipValue=2
[[ ! -e .a.kc.tmp-living ]] || fail "$command: left a file of a process that has ended"
rm -r .[ab].kc.*

# Containers with the longest possible file names work, also if characters have several bytes.
for name in "$(printf 'n%.0s' {1..252}).kc" "$(printf '\xC3\xBC%.0s' {1..126}).kc"; do
    expect 0 train "$name" train.tsv --analysis words
    expect 0 learn "$name" more.tsv
    rm "$name"
    is_left_with a.kc first.kc
done

# --- locks ---

# A process that has the file open only for reading does not prevent learning.
cp first.kc a.kc
exec 9<a.kc
flock -s 9
expect 0 learn a.kc more.tsv
exec 9<&-

mkfifo slow.tsv
# Starts a command that keeps the lock until `release` is called.
hold() {
    start "$@"
    holder=$process
    wait_for eval 'ls .*.kc.lock >/dev/null'
    mv out held.out
    mv err held.err
    exec 8>slow.tsv
}
release() {
    cat more.tsv >&8
    exec 8>&-
    process=$holder
    ends 0
}
refused='zandrel: cannot write a.kc: another process is changing it; --wait SECONDS waits for it'
ln -s a.kc link.kc
cp first.kc a.kc
printf 'set root/food --note1 note\n' >edits.txt
hold learn a.kc slow.tsv
for arguments in 'learn a.kc more.tsv' 'train a.kc more.tsv --replace' 'tree add a.kc root/x' \
    'tree apply a.kc edits.txt' \
    'tree set a.kc root/food --note1 note' 'tree move a.kc root/food root/sport' \
    'tree rename a.kc root/food x' 'tree delete a.kc root/food' 'options set a.kc ClipValue=2' \
    'options load a.kc new.options'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 74 $arguments
    is err "$refused"
    # shellcheck disable=SC2086
    expect 74 $arguments --wait 0.2
    is err 'zandrel: cannot write a.kc: another process is still changing it after 0.2 seconds'
done
expect 74 learn link.kc more.tsv
prints err 'another process is changing it'
expect 0 classify a.kc train.tsv  # reading needs no lock
# Ctrl-C ends the wait.
start learn a.kc more.tsv --wait 100
sleep 0.5
kill -s INT "$process"
ends 130
is err 'zandrel: Process interrupted'
cmp -s a.kc first.kc || fail "$command: changed the file"
# The waiting process continues with the other one's new container.
start learn a.kc more.tsv --wait 100
waiting=$process
sleep 0.5
release
process=$waiting
ends 0
[[ $(messages a.kc) == '11 11 ' ]] || fail "$command: lost texts: $(messages a.kc)"
is_left_with a.kc first.kc link.kc
rm link.kc

hold train new.kc slow.tsv
expect 74 train new.kc train.tsv
prints err 'another process is changing it'
# The program checks its target before it searches for the data.
start train new.kc absent.tsv --wait 100
waiting=$process
sleep 0.5
release
process=$waiting
ends 64
is err 'zandrel: new.kc is a knowledge container already; --replace replaces it'
rm new.kc

# Changes by another program, which does not use the lock, are not overwritten.
# release_in_vain REASON: releases the command that has the lock, and checks that it is refused.
release_in_vain() {
    cat more.tsv >&8
    exec 8>&-
    process=$holder
    ends 74
    mv held.err err
    is err "zandrel: cannot write $1"
}
for arguments in 'learn b.kc slow.tsv' 'train b.kc slow.tsv --replace'; do
    cp first.kc b.kc
    cp first.kc v2.kc
    ln -s b.kc cur
    # shellcheck disable=SC2086  # The words are the arguments.
    hold ${arguments/b.kc/cur}
    [[ -e .b.kc.lock ]] || fail "$command: locks another file"
    ln -sfn v2.kc cur
    release_in_vain 'cur: the link leads to another file by now'
    cmp -s b.kc first.kc && cmp -s v2.kc first.kc || fail "$command: changed a file"
    is_left_with a.kc b.kc first.kc v2.kc
    rm cur v2.kc
    # The container is replaced by a file of another kind, and by another container.
    for other in train.tsv a.kc; do
        [[ $arguments$other != train*.tsv ]] || continue  # refused because it is no container
        cp first.kc b.kc
        # shellcheck disable=SC2086
        hold $arguments
        mv b.kc saved
        cp $other b.kc
        release_in_vain 'b.kc: the file has been changed by something else meanwhile'
        cmp -s b.kc $other || fail "$command: changed the file"
        is_left_with a.kc b.kc first.kc
    done
done
rm b.kc saved slow.tsv

for name in .a.kc.lock; do
    ln -s train.tsv $name
    expect 74 learn a.kc more.tsv
    is err 'zandrel: cannot write a.kc: its lock file ./.a.kc.lock: Too many levels of symbolic links'
    rm $name
    mkfifo $name
    expect 74 learn a.kc more.tsv
    is err 'zandrel: cannot write a.kc: its lock file ./.a.kc.lock: not a regular file'
    rm $name
done

# If many processes learn at once, the texts of all of them are learned.
cp first.kc a.kc
command='20 commands at once'
learning=()
for ((i = 0; i < 20; ++i)); do
    "$program" learn a.kc more.tsv --wait 100 >out 2>err &
    learning+=($!)
done
for process in "${learning[@]}"; do
    wait "$process" || fail "$command: status $?"
done
[[ $(messages a.kc) == '101 101 ' ]] || fail "$command: $(messages a.kc)"
is_left_with a.kc first.kc

# --- calls of the system that wait or fail ---

mkfifo gate
# tampered CALL ARGUMENT...: replaces the shell by the program, with this call tampered.
tampered() {
    exec env TAMPER="$1" TAMPER_FIFO=gate LD_PRELOAD="$tampered_calls" \
        ASAN_OPTIONS="verify_asan_link_order=0:${ASAN_OPTIONS-}" "$program" "${@:2}"
}
# start_tampered CALL ARGUMENT...: starts the same in the background. The program waits in the call
# until file descriptor 9 is closed.
start_tampered() {
    command="zandrel ${*:2}, waiting in $1"
    set -m
    tampered "$@" >out 2>err </dev/null 8>&- 9>&- &
    process=$!
    set +m
    exec 9>gate
}

# Signals while the new file exists.
cp first.kc a.kc
start_tampered fsync learn a.kc more.tsv
[[ $(find . -name '.a.kc.tmp-*' | wc -l) == 1 && -e .a.kc.lock ]] || fail "$command: no files"
kill -s TERM "$process"
sleep 0.3
kill -s HUP "$process"
ends 129
exec 9>&-
cmp -s a.kc first.kc || fail "$command: changed the file"
is_left_with a.kc first.kc
# The first signal comes after the last poll, so it cannot interrupt.
start_tampered fsync learn a.kc more.tsv
kill -s TERM "$process"
sleep 0.3
exec 9>&-
ends 0
[[ $(messages a.kc) == '6 6 ' ]] || fail "$command: $(messages a.kc)"
is_left_with a.kc first.kc
start_tampered fsync learn a.kc more.tsv
kill -s KILL "$process"
ends 137
exec 9>&-
[[ $(find . -name '.a.kc.tmp-*' | wc -l) == 1 && -e .a.kc.lock ]] || fail "$command: no files"
expect 0 learn a.kc more.tsv
[[ $(messages a.kc) == '11 11 ' ]] || fail "$command: $(messages a.kc)"
is_left_with a.kc first.kc

# split writes both files before either takes its place.
printf 'a\tx\nb\ty\na\tx\nb\ty\n' >whole.tsv
start_tampered fsync split whole.tsv left.tsv right.tsv --share 0.5
kill -s TERM "$process"
ends 143
exec 9>&-
[[ -z $(find . -name '*left.tsv*' -o -name '*right.tsv*') ]] || fail "$command: left a file"
# The second file cannot take its place, since a folder of this name has come meanwhile.
start_tampered fsync split whole.tsv left.tsv right.tsv --share 0.5
mkdir right.tsv
exec 9>&-
ends 3
prints err 'zandrel: cannot write right.tsv: Is a directory'
prints err 'zandrel: left.tsv has been changed all the same'
[[ $(wc -l <left.tsv) == 2 ]] || fail "$command: left.tsv is not complete"
rmdir right.tsv
rm left.tsv whole.tsv
[[ -z $(find . -name '.*right.tsv*') ]] || fail "$command: left an unfinished file"

# Another process replaces the lock file right after it was opened.
: >.a.kc.lock
start_tampered flock learn a.kc more.tsv
rm .a.kc.lock
exec 7>.a.kc.lock
flock 7
exec 9>&-
ends 74
is err "$refused"
[[ -e .a.kc.lock ]] || fail "$command: removed the lock of another"
exec 7>&-
rm .a.kc.lock
# A new lock file whose permissions cannot be set is removed, unless another process has locked it.
start_tampered fchmod learn a.kc more.tsv
exec 9>&-
ends 74
is err 'zandrel: cannot write a.kc: its lock file ./.a.kc.lock: Input/output error'
is_left_with a.kc first.kc
start_tampered fchmod learn a.kc more.tsv
exec 7>.a.kc.lock
flock 7
exec 9>&-
ends 74
is err "$refused"
[[ -e .a.kc.lock ]] || fail "$command: removed the lock of another"
exec 7>&-
rm .a.kc.lock

# Not every file system can lock a file that is open only for reading.
: >.a.kc.tmp-abcdef
command='learn, with locks as on NFS'
(tampered nfs learn a.kc more.tsv) >out 2>err || fail "$command: status $?"
is_left_with a.kc first.kc
# A folder that cannot be opened cannot be flushed to the disk.
command='learn, with a folder that cannot be opened'
(tampered open learn a.kc more.tsv) >out 2>err
[[ $? == 3 ]] || fail "$command: not 3"
is err "zandrel: cannot write a.kc: Input/output error"$'\n'"$changed"
rm gate

# --- owners, groups, permissions ---

# facts FILE: prints the owner, group, permissions and extended attributes of a file.
facts() {
    stat -c '%u:%g %a' "$1"
    python3 - "$1" <<'PYTHON'
import os, sys
for name in sorted(os.listxattr(sys.argv[1])):
    print(name, os.getxattr(sys.argv[1], name).hex())
PYTHON
}
# set_attributes FILE: gives the file a user attribute, and an access list that lets user 7 read and
# write, and the owning group read.
set_attributes() {
    python3 - "$1" <<'PYTHON'
import os, struct, sys
OWNER, USER, GROUP, MASK, OTHER, NOBODY = 1, 2, 4, 16, 32, 0xFFFFFFFF
entries = [(OWNER, 6, NOBODY), (USER, 6, 7), (GROUP, 4, NOBODY), (MASK, 6, NOBODY), (OTHER, 0, NOBODY)]
access_list = struct.pack("<I", 2) + b"".join(struct.pack("<HHI", *entry) for entry in entries)
for name, value in ("user.note", b"from the sales team"), ("system.posix_acl_access", access_list):
    try:
        os.setxattr(sys.argv[1], name, value)
    except OSError as error:
        print(f"files_test: no {name} here: {error.strerror}", file=sys.stderr)
PYTHON
}
changes=('learn a.kc more.tsv' 'train a.kc more.tsv --replace' 'tree set a.kc root/food --note1 note'
    'tree rename a.kc root/food f' 'tree add a.kc root/g' 'tree move a.kc root/g root/s'
    'tree delete a.kc root/f' 'options set a.kc ClipValue=2' 'options load a.kc new.options')
# prepare ARGUMENTS: makes a.kc anew, with the nodes that the command needs: root/s and root/g for
# the move, and root/f for the deletion.
prepare() {
    rm -f a.kc
    cp first.kc a.kc
    case $1 in
        *root/s) "$program" tree add a.kc root/s --type stat && "$program" tree add a.kc root/g ;;
        *root/f) "$program" tree add a.kc root/f ;;
    esac >out 2>err || fail "prepare $1"
}

umask 022
group=$(id -G | tr ' ' '\n' | tail -n 1)  # another group, if this user has several
for arguments in "${changes[@]}"; do
    prepare "$arguments"
    chgrp "$group" a.kc
    chmod 640 a.kc
    ((EUID != 0)) || chown 4141:4242 a.kc
    set_attributes a.kc
    before=$(facts a.kc)
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 0 $arguments
    [[ $(facts a.kc) == "$before" ]] || fail "$command: $(facts a.kc), not $before"
    # The permission to run the file as its owner was given to the old contents only.
    prepare "$arguments"
    chmod 6755 a.kc
    # shellcheck disable=SC2086
    expect 0 $arguments
    [[ $(stat -c %a a.kc) == 755 ]] || fail "$command: permissions $(stat -c %a a.kc)"
done
# The folder's access list for new files is not given to a file that had none before.
cp first.kc a.kc
chmod 640 a.kc
python3 - <<'PYTHON'
import os, struct
entries = [(1, 6, -1), (2, 6, 7), (4, 4, -1), (16, 6, -1), (32, 0, -1)]
try:
    os.setxattr(".", "system.posix_acl_default", struct.pack("<I", 2) + b"".join(
        struct.pack("<HHI", kind, rights, name % 2**32) for kind, rights, name in entries))
except OSError as error:
    print(f"files_test: no access lists here: {error.strerror}")
PYTHON
before=$(facts a.kc)
expect 0 learn a.kc more.tsv
[[ $(facts a.kc) == "$before" ]] || fail "$command: $(facts a.kc), not $before"
expect 0 train new.kc train.tsv
: >plain
[[ $(facts new.kc) == "$(facts plain)" ]] || fail "$command: not as other new files"
rm new.kc plain
python3 -c 'import os; os.removexattr(".", "system.posix_acl_default")' 2>err
chmod 444 a.kc
if ((EUID != 0)); then
    expect 74 learn a.kc more.tsv
    is err 'zandrel: cannot write a.kc: Permission denied'
fi

# Hard links are separated.
rm -f a.kc
cp first.kc a.kc
ln a.kc b.kc
expect 0 learn a.kc more.tsv
cmp -s b.kc first.kc || fail "$command: changed the other link"
rm b.kc

# Several users. A copy of the program is in a folder that all of them can open.
if ((EUID == 0)); then
    chmod 711 .
    mkdir bin shared
    cp "$program" bin/zandrel
    cp "$refusals" bin/refusals
    cp "$(ldd "$program" | sed -n 's/.*libzandrel.* => \([^ ]*\).*/\1/p')" bin
    cp train.tsv more.tsv shared
    chmod -R a+rX bin shared
    chgrp 4242 shared
    without_lists=()  # the environment in which a file system takes no access list
    # as USER GROUP[,GROUP] ARGUMENT...: runs the program in the shared folder as this user.
    as() {
        (cd shared && exec setpriv --reuid="$1" --regid="${2%%,*}" --groups="$2" \
            env LD_LIBRARY_PATH="$work/bin" "${without_lists[@]}" "$work/bin/zandrel" "${@:3}") \
            >out 2>err </dev/null
    }
    # as_expected STATUS USER GROUP[,GROUP] ARGUMENT...
    as_expected() {
        local status=0
        command="${*:4}, as $2:$3"
        as "${@:2}" || status=$?
        ((status == $1)) || fail "$command: exit status $status, not $1"
    }
    # container USER:GROUP PERMISSIONS: makes a new container.
    container() {
        rm -f shared/a.kc  # and its access list
        cp first.kc shared/a.kc
        chown "$1" shared/a.kc
        chmod "$2" shared/a.kc
    }
    # permissions_for ENTRY...: gives the container an access list. An entry is KIND:RIGHTS:ID;
    # kinds are 1 (owner), 2 (a user), 4 (owning group), 8 (a group), 16 (mask), 32 (all others).
    permissions_for() {
        python3 - "$@" <<'PYTHON'
import os, struct, sys
entries = [tuple(int(number) for number in entry.split(":")) for entry in sys.argv[1:]]
os.setxattr("shared/a.kc", "system.posix_acl_access", struct.pack("<I", 2) + b"".join(
    struct.pack("<HHI", kind, rights, name % 2**32) for kind, rights, name in entries))
PYTHON
    }
    # permissions_of FILE: prints owner, group, permissions, and the entries of the access list, as
    # above.
    permissions_of() {
        stat -c '%u:%g %a' "$1" | tr '\n' ' '
        python3 - "$1" <<'PYTHON'
import os, struct, sys
try:
    entries = list(struct.iter_unpack("<HHi", os.getxattr(sys.argv[1], "system.posix_acl_access")[4:]))
except OSError:
    entries = []
print(*(f"{kind}:{rights}:{name}" for kind, rights, name in entries))
PYTHON
    }
    # is_shared PERMISSIONS: checks the container's permissions, written as above.
    is_shared() {
        [[ $(permissions_of shared/a.kc | xargs) == "$1" ]] ||
            fail "$command: $(permissions_of shared/a.kc), not $1"
    }
    has_lists() { python3 -c 'import os; os.getxattr("shared/a.kc", "system.posix_acl_access")' 2>err ||
        grep -q 'No data available' err; }
    chmod 777 shared
    # All users have the rights of the owner and the group, so the list needs to name nobody.
    container 4141:4242 666
    as_expected 0 5151 5151 learn a.kc more.tsv
    is_shared '5151:5151 666'
    container 4141:4242 664
    if has_lists; then
        chmod 770 shared
        # A member of the group writes. The group keeps its rights, and the writer becomes the
        # owner. The access list names the previous owner, who may be no member of the group.
        as_expected 0 5151 5151,4242 learn a.kc more.tsv
        is_shared '5151:4242 664 1:6:-1 2:6:4141 4:6:-1 16:6:-1 32:4:-1'
        as_expected 0 6161 6161,4242 learn a.kc more.tsv
        is_shared '6161:4242 664 1:6:-1 2:6:4141 2:6:5151 4:6:-1 16:6:-1 32:4:-1'
        chmod 777 shared
        as_expected 0 4141 4141 learn a.kc more.tsv
        # A member who may write only through the group's rights can write again.
        container 4141:4242 464
        as_expected 0 5151 5151,4242 learn a.kc more.tsv
        is_shared '5151:4242 664'
        as_expected 0 5151 5151,4242 learn a.kc more.tsv
        # Another user writes, who cannot give the file to the group. The list names the group, and
        # the writer's own group gets the same rights as all others.
        container 4141:4242 662
        chmod 4766 shared/a.kc
        as_expected 0 5151 5151 train a.kc more.tsv --replace
        is_shared '5151:5151 776 1:7:-1 2:7:4141 4:6:-1 16:7:-1 32:6:-1'
        container 4141:4242 676
        as_expected 0 5151 5151 train a.kc more.tsv --replace
        is_shared '5151:5151 676 1:6:-1 4:6:-1 8:7:4242 16:7:-1 32:6:-1'
        # A group without rights still has none, although all others have rights.
        container 4141:4242 606
        as_expected 0 5151 5151 learn a.kc more.tsv
        is_shared '5151:5151 666 1:6:-1 2:6:4141 4:0:-1 8:0:4242 16:6:-1 32:6:-1'
        as_expected 66 6161 6161,4242 classify a.kc more.tsv
        # An access list lets user 7 write, and gives all others no rights. The previous owner and
        # group keep their rights.
        container 4141:4242 640
        permissions_for 1:6:-1 2:6:7 4:4:-1 16:6:-1 32:0:-1
        as_expected 0 7 7 learn a.kc more.tsv
        is_shared '7:7 660 1:6:-1 2:6:7 2:6:4141 4:0:-1 8:4:4242 16:6:-1 32:0:-1'
        as_expected 0 6161 6161,4242 classify a.kc more.tsv
        as_expected 66 6161 6161,7 classify a.kc more.tsv
        as_expected 0 4141 4141 learn a.kc more.tsv
    fi
    # Without access lists the rights are reduced instead. The previous owner has the rights of all
    # users.
    reduced() {
        container 4141:4242 "$1"
        without_lists=("LD_PRELOAD=$work/bin/refusals" REFUSE_ACCESS_LISTS=1
            "ASAN_OPTIONS=verify_asan_link_order=0:${ASAN_OPTIONS-}")
        as_expected 0 5151 "$2" learn a.kc more.tsv
        without_lists=()
        is_shared "$3"
    }
    reduced 666 5151 '5151:5151 666'
    reduced 676 5151 '5151:5151 666'
    reduced 606 5151 '5151:5151 600'
    reduced 664 5151,4242 '5151:4242 664'
    reduced 464 5151,4242 '5151:4242 664'
    # In a folder like /tmp only the owner may replace a file. This is checked before data are read.
    container 4141:4242 666
    chmod 1777 shared
    for arguments in 'learn a.kc absent.tsv' 'train a.kc absent.tsv --replace'; do
        # shellcheck disable=SC2086  # The words are the arguments.
        as_expected 74 5151 5151 $arguments
        is err 'zandrel: cannot write a.kc: Operation not permitted'
    done
    as_expected 0 4141 4141 learn a.kc more.tsv
    as_expected 0 0 0 learn a.kc more.tsv
    chmod 777 shared
    # A process that may change owners, but not files of others, keeps owner, group and permissions.
    container 4141:4242 664
    (cd shared && exec setpriv --reuid=5151 --regid=5151 --groups=5151,4242 --inh-caps=+chown \
        --ambient-caps=+chown env LD_LIBRARY_PATH="$work/bin" "$work/bin/zandrel" learn a.kc more.tsv) \
        >out 2>err || fail "learn with the right to give files away: status $?"
    is_shared '4141:4242 664'

    # Only users who may write the container can open its lock file.
    # lock_facts USER GROUP[,GROUP]: prints the facts of the lock file while this user has the lock.
    lock_facts() {
        local process
        mkfifo -m 666 shared/slow.tsv
        as "$1" "$2" learn a.kc slow.tsv &
        process=$!
        wait_for test -e shared/.a.kc.lock
        exec 8>shared/slow.tsv  # succeeds when the program reads, after it has made the lock file
        facts shared/.a.kc.lock
        cat more.tsv >&8
        exec 8>&-
        rm shared/slow.tsv
        wait "$process" || fail "learn as $1:$2: status $?"
        [[ ! -e shared/.a.kc.lock ]] || fail "learn as $1:$2: left the lock"
    }
    command='the lock of another'
    for row in '4141:4242 644 600' '4141:4242 664 660' '4141:4242 666 666' '4141:4242 640 600'; do
        read -r owner permissions wanted <<<"$row"
        container "$owner" "$permissions"
        locked=$(lock_facts 4141 4242)
        [[ $locked == "4141:4242 $wanted" ]] || fail "lock of $row: $locked"
        container "$owner" "$permissions"
        locked=$(lock_facts 0 0)
        [[ $locked == "4141:4242 $wanted" ]] || fail "lock of $row, by root: $locked"
    done
    if has_lists; then
        # If the lock file cannot belong to the container's owner, its list names the owner: owner
        # 5151, user 4141, group 4242.
        container 4141:4242 664
        rights='0200000001000600ffffffff020006002d10000004000600ffffffff10000600ffffffff20000000ffffffff'
        locked=$(lock_facts 5151 5151,4242)
        [[ $locked == "5151:4242 660"$'\n'"system.posix_acl_access $rights" ]] ||
            fail "lock without its owner: $locked"
    fi
    # A user who may only read is refused, gets no lock file, and cannot open the lock files of
    # others.
    container 4141:4242 644
    as_expected 74 5151 5151 learn a.kc more.tsv
    prints err 'cannot write a.kc: Permission denied'
    : >shared/.a.kc.lock
    chmod 600 shared/.a.kc.lock
    chmod 666 shared/a.kc
    as_expected 74 5151 5151 learn a.kc more.tsv
    prints err 'cannot write a.kc: its lock file ./.a.kc.lock: Permission denied; remove it if no zandrel runs'
    # Waiting does not help, since the lock file of a living process can be opened.
    as_expected 74 5151 5151 learn a.kc more.tsv --wait 100
    prints err '; remove it if no zandrel runs'
    as_expected 0 0 0 learn a.kc more.tsv
    # We cannot open the unfinished file of another user's dead process. We have the lock, so no
    # other process writes a.kc, and the file is removed. The second name is so long that the name
    # of its unfinished file may be cut: the file may belong to another container, so it stays.
    long=$(printf 'n%.0s' {1..240})
    cp first.kc "shared/$long.kc"
    chmod 666 shared/*.kc
    for name in a.kc "$long"; do
        : >"shared/.$name.tmp-abcdef"
        chown 4141 "shared/.$name.tmp-abcdef"
        chmod 600 "shared/.$name.tmp-abcdef"
    done
    as_expected 0 5151 5151 learn a.kc more.tsv
    [[ ! -e shared/.a.kc.tmp-abcdef ]] || fail "$command: left the file of a dead process"
    as_expected 0 5151 5151 learn "$long.kc" more.tsv
    [[ -e shared/.$long.tmp-abcdef ]] || fail "$command: removed what may be another container's"
    rm "shared/.$long.tmp-abcdef" "shared/$long.kc"
    # A folder without read permission cannot be flushed. This is no error.
    chmod 733 shared
    as_expected 0 5151 5151 learn a.kc more.tsv
    # If no lock file can be made in a folder, no container can be made there either.
    chmod 755 shared
    chown 0 shared
    as_expected 74 5151 5151 learn a.kc more.tsv
    prints err 'cannot write a.kc: its lock file ./.a.kc.lock: Permission denied'
    # A file whose status cannot be read does not count as missing.
    chmod 700 shared
    command='train into a closed folder'
    (cd / && exec setpriv --reuid=5151 --regid=5151 --clear-groups env LD_LIBRARY_PATH="$work/bin" \
        "$work/bin/zandrel" train "$work/shared/a.kc" "$work/train.tsv") >out 2>err
    [[ $? == 74 ]] || fail "$command: not 74"
    is err "zandrel: cannot write $work/shared/a.kc: Permission denied"
fi


((failures == 0))
