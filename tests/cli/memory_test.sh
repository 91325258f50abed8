#!/usr/bin/env bash
# Usage: memory_test.sh PROGRAM REFUSED_NEW
# Tests that the program reports that its memory is used up, also right at its start.
# With REFUSED_NEW preloaded, `new` fails from a given allocation on.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

refused_new=$2

printf 'sport\tgoal match\nfood\tbread cheese\n' >train.tsv
expect 0 train small.kc train.tsv
mv small.kc kept.kc

# ends_without_memory FIRST ARGUMENT...: runs the program with failing allocations from FIRST on.
# Succeeds if an allocation failed.
ends_without_memory() {
    local first=$1 status
    shift
    command="zandrel $* without memory from allocation $first on"
    LD_PRELOAD=$refused_new REFUSE_NEW_FROM=$first "$program" "$@" >out 2>err </dev/null
    status=$?
    ((status != 0)) || return 1
    ((status == 70)) || fail "$command: exit status $status, not 70"
    is err 'zandrel: not enough memory'
}

# Tries all of the first allocations, which come before main() and from reading the command line,
# and a sample of the others.
first=0
while ends_without_memory "$first" --version; do
    first=$((first + 1 + first / 50))
done
((first > 50)) || fail "the program needs fewer allocations than it should: $first"
first=0
while cp kept.kc some.kc && ends_without_memory "$first" learn some.kc train.tsv; do
    cmp -s kept.kc some.kc || fail "$command: changed the container"
    first=$((first * 5 / 4 + 1))
done
((first > 1000)) || fail "learning needs fewer allocations than it should: $first"

# The address space is limited. With a low limit the loader cannot even load the libraries (status
# 127).
for ((kib = 4096; kib < 1048576; kib += kib / 32)); do
    command="zandrel --version within $kib KiB"
    (
        ulimit -v "$kib"
        exec "$program" --version >out 2>err
    )
    status=$?
    ((status != 0)) || break
    ((status == 127 || status == 70)) || fail "$command: exit status $status, not 70"
done
((status == 0)) || fail "$command: exit status $status, not 0"

((failures == 0))
