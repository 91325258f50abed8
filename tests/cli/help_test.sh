#!/usr/bin/env bash
# Usage: help_test.sh PROGRAM
# Tests the help of the program zandrel, and its suggestions for misspelt words.
readme=$(realpath "$(dirname "$0")/../../README.md")
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

lacks() { ! grep -qF -- "$2" "$1" || fail "$command: '$2' is in $1"; }
# names_below HEADING: prints the names that out lists below the heading.
names_below() { sed -n "/^$1:\$/,/^\$/s/^  \([a-z-]*\) .*/\1/p" out; }

# The program's help lists commands and topics, in each of its forms.
expect 0 --help
is_silent err
cp out main.txt
mapfile -t commands < <(names_below Subcommands)
mapfile -t topics < <(names_below Topics)
[[ "${commands[*]}" == \
    'evaluate split train learn classify explain rules dump check rebuild-index info convert export options tree import archive corpus help' ]] ||
    fail "$command: other commands: ${commands[*]}"
[[ "${topics[*]}" == 'containers data analysis settings trees editing archives figures confidence exit-status' ]] ||
    fail "$command: other topics: ${topics[*]}"
expect 0 help
cmp -s out main.txt || fail "$command: not as --help"
(($(wc -l <main.txt) < 50)) || fail 'the help of the program is long'

# The README lists each command.
for name in "${commands[@]}"; do
    grep -qE "^    zandrel ([a-z]+\|)*$name[ |]" "$readme" || fail "README.md does not list $name"
done

# A command's help is about that command, and is the same in both forms.
described=0
for name in "${commands[@]}" 'rules check' 'rules explain' 'rules eval' \
    'rules list' 'rules keys' 'rules concepts' 'options get' 'options set' \
    'options load' 'options dump' 'tree show' 'tree add' 'tree set' 'tree move' 'tree rename' 'tree delete' \
    'tree apply' 'tree dump' 'tree check' 'tree suggest' 'archive create' 'archive add' \
    'archive delete' 'archive list' 'archive show' 'archive info' 'archive rename' 'archive set' \
    'archive learn' 'archive train' 'corpus import' 'corpus info' 'corpus export'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 0 $name --help
    is_silent err
    prints out "Usage: zandrel $name "
    (($(wc -l <out) < 60)) || fail "$command: long"
    for text in 'Brier score' 'Text analysis:' 'hard links' '.NAME.lock' 'Exit status: 0, or 64'; do
        lacks out "$text"
    done
    cp out described.txt
    # shellcheck disable=SC2086
    expect 0 help $name
    cmp -s out described.txt || fail "$command: not as --help"
    # Its examples use this command.
    while IFS= read -r line; do
        [[ $line == *"zandrel $name"* ]] || fail "$command: an example of another command: $line"
        described=$((described + 1))
    done < <(sed -n '/^Examples\{0,1\}:$/,/^$/{/zandrel /p}' out)
done
((described >= 24)) || fail "only $described examples"
expect 0 classify --help
prints out 'an empty line if there is no result'
lacks out '--replace'
expect 0 tree move --help
lacks out '--keep-concepts'

# Each topic has a page, and each page that a command points to exists.
for topic in "${topics[@]}"; do
    expect 0 help "$topic"
    is_silent err
    (($(wc -l <out) > 5)) || fail "$command: short"
    lacks out 'Usage:'
done
while IFS= read -r topic; do
    [[ " ${topics[*]} " == *" $topic "* ]] || fail "a command points to the topic $topic"
done < <(for name in "${commands[@]}" 'tree move' 'tree check' 'options set' 'options load' 'options dump'; do
    # shellcheck disable=SC2086
    "$program" help $name
done | sed -n 's/^See also: .*zandrel help //p' | tr -d ',' | tr ' ' '\n' | sort -u)
expect 0 help containers
prints out 'unfinished .NAME.tmp-XXXXXX'
expect 0 help figures
prints out 'expected calibration error, over 15 bins'
prints out 'standard deviation: the sum of squared distances from the mean is divided by K - 1'
expect 0 help exit-status
prints out '  143  ended by SIGTERM'
expect 0 help analysis
prints out 'Han, Hiragana or Katakana'
expect 0 help data
prints out '<TAB>title<TAB>keywords'
expect 0 help editing
prints out '\ in front of a / or \ in a name'

# For a misspelt word the program suggests the nearest one.
# asks MESSAGE ARGUMENT...: checks that the command fails with this message.
asks() {
    local message=$1
    shift
    expect 64 "$@"
    is_silent out
    [[ $(head -n 1 err) == "zandrel: $message" ]] || fail "$command: not '$message'"
}
asks 'unknown command "trian"; did you mean "train"?' trian shop.kc shop.tsv --replace
asks 'unknown command "eval"; did you mean "evaluate"?' eval
asks 'unknown command "tree mvoe"; did you mean "tree move"?' tree mvoe a.kc root/a root/b
asks 'unknown command "options gte"; did you mean "options get"?' options gte a.kc
asks 'unknown command "rules chekc"; did you mean "rules check"?' rules chekc --json
asks 'unknown command "tree mvoe"; did you mean "tree move"?' tree mvoe show
asks 'unknown command "fly"' fly
prints err 'Run zandrel help for a list of the commands.'
asks $'unknown command "tr\\x1Bain"; did you mean "train"?' $'tr\x1bain'
asks 'help: unknown command or topic "anlysis"; did you mean "analysis"?' help anlysis
asks 'help: unknown command or topic "clasify"; did you mean "classify"?' help clasify
asks 'help: unknown command or topic "tree mvoe"; did you mean "tree move"?' help tree mvoe
asks 'help: unknown command or topic "train data"' help train data
asks 'help: unknown command or topic "fly"' help fly
asks 'help: nothing follows the topic "settings"' help settings data

expect 64 evaluate --train a.tsv --test b.tsv --treshold=0.5
prints err 'was not expected: --treshold=0.5'
prints err 'Did you mean --threshold?'
expect 64 classify a.kc --jsnol
prints err 'Did you mean --jsonl?'
expect 64 train --repalce
prints err 'Did you mean --replace?'
expect 64 train a.kc a.tsv --fly
lacks err 'Did you mean'
lacks err 'unknown command'

((failures == 0))
