# shellcheck shell=bash
# Shared by the tests of the program. A script whose first argument is the program reads this file
# with `source`. The working folder is then a new empty folder.
set -uo pipefail

program=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() {
    echo "FAILED: $*" >&2
    sed 's/^/    /' out err >&2
    failures=$((failures + 1))
}

# expect STATUS ARGUMENT...: runs the program, keeping its output in out and err.
expect() {
    local wanted=$1
    shift
    expect_of /dev/null "$wanted" "$@"
}

# expect_of INPUT STATUS ARGUMENT...: the same with the file INPUT as standard input.
expect_of() {
    local input=$1 wanted=$2 status
    shift 2
    command="zandrel $*"
    "$program" "$@" >out 2>err <"$input"
    status=$?
    ((status == wanted)) || fail "$command: exit status $status, not $wanted"
}

prints() { grep -qF -- "$2" "$1" || fail "$command: '$2' is not in $1"; }
is_silent() { [[ ! -s $1 ]] || fail "$command: $1 is not empty"; }
# is FILE TEXT: checks that the file contains only the text.
is() { [[ $(<"$1") == "$2" ]] || fail "$command: $1 is not '$2'"; }
# warns_of_few_texts_only FILE: checks that the file has only the warnings that a few lines of data
# cause: too many labels, and labels with a single text.
warns_of_few_texts_only() {
    ! grep -v 'than a fifth of the texts\| a single text: ' "$1" ||
        fail "$command: $1 has other lines than warnings of few texts"
}
