#!/usr/bin/env bash
# Usage: c_calls_test.sh PROGRAM STEPS SEED [VALGRIND]
# Runs the program of c_calls.c in a new folder. Under valgrind each wrong access, and each block that
# is not freed, is an error.
set -euo pipefail

program=$1 steps=$2 seed=$3
checker=()
if (($# > 3)); then
    checker=("$4" --quiet --suppressions="$(dirname "$0")/c_calls.supp" --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all
        --error-exitcode=99)
fi

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
"${checker[@]}" "$program" "$folder" "$steps" "$seed"
