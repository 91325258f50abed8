#!/usr/bin/env bash
# Usage: classify_share.sh KC TEXTS FOLDER INDEX COUNT [OPTION...]
# One job of an array of COUNT jobs with the indices 1 to COUNT. Classifies a share of the lines of the
# file TEXTS, and writes the answers to FOLDER/share-INDEX.txt, whole or not at all. An older file of
# this name is removed first, so a job that fails leaves none. FOLDER must be new for each COUNT. When all jobs have
# ended, `cat FOLDER/share-*.txt` is the output of one process for all lines. The options are those of
# `zandrel classify`. ZANDREL is the program, if it is not in the path.
set -euo pipefail

if (($# < 5)); then
    echo "usage: classify_share.sh KC TEXTS FOLDER INDEX COUNT [OPTION...]" >&2
    exit 64
fi
kc=$1 texts=$2 folder=$3 index=$4 count=$5
shift 5
# More digits than these do not fit into a number of the shell. 10# reads 08 as 8.
if [[ ! $index =~ ^[0-9]{1,9}$ || ! $count =~ ^[0-9]{1,9}$ ]] ||
    ((10#$index < 1 || 10#$index > 10#$count)); then
    echo "classify_share.sh: no share $index of $count; the first is 1" >&2
    exit 64
fi
index=$((10#$index)) count=$((10#$count))

# As many digits as the largest index, so that the order of the names is that of the shares.
answers=$folder/share-$(printf "%0${#count}d" "$index").txt
rm -f -- "$answers"
unfinished=$answers.$$
trap 'rm -f "$unfinished"' EXIT
# split divides by bytes and moves each border to the next end of a line. A share can be empty.
split --number="l/$index/$count" -- "$texts" |
    "${ZANDREL:-zandrel}" classify "$kc" "$@" >"$unfinished"
mv -- "$unfinished" "$answers"
