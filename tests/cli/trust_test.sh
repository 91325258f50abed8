#!/usr/bin/env bash
# Usage: trust_test.sh PROGRAM DATA
# Tests the parts of evaluate that say how far to trust an answer: intervals, accuracy against the share
# answered, --calibrate, --reject and --want-precision. DATA.train.tsv and DATA.test.tsv are data files.
train=$(realpath "$2.train.tsv")
test=$(realpath "$2.test.tsv")
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

figure() { python3 -c "import json; report = json.load(open('out')); print($1)"; }
# The figures of quality, without times and sizes.
quality() { sed '/^\(model\|training\|loading\|classifying\|peak memory\)/d' "$1"; }

# Each figure has an interval with the figure in it or below it, and a number of texts.
expect 0 evaluate --train "$train" --test "$test" --json
is_silent err
[[ $(figure "report['intervals']['texts'] == report['test']['texts'] > 200") == True ]] ||
    fail "$command: other number of texts"
[[ $(figure "all(report['intervals'][name][0] <= report[name] <= report['intervals'][name][1] for name in
    ['accuracy', 'macro_f1_top', 'micro_precision', 'micro_recall', 'micro_f1', 'macro_precision',
    'macro_recall', 'macro_f1', 'ece_top', 'ece_pairs', 'brier'])") == True ]] ||
    fail "$command: a figure is outside its interval"
[[ $(figure "report['answered']['by'], 'confidence' in report, 'rejection' in report") == \
    "score False False" ]] || fail "$command: a confidence that nothing has made"
[[ $(figure "sum(bin['right'] for bin in report['bins']['score']) == report['correct']") == True ]] ||
    fail "$command: the bins have other right answers"
[[ $(figure "report['answered']['points'][0]['right'] == report['correct']") == True ]] ||
    fail "$command: another accuracy for 100 %"
expect 0 evaluate --train "$train" --test "$test" --per-category
prints out '95 % interval             texts'
prints out 'answered               score'
prints out '100.00 % '
prints out 'given   precision        95 %'
cp out plain.txt
expect 0 evaluate --train "$train" --test "$test" --per-category --jobs 2
cmp -s <(quality out) <(quality plain.txt) || fail "$command: other figures with --jobs"

# Confidences, from a model that is not kept and from a container
expect 0 evaluate --train "$train" --test "$test" --calibrate
is_silent err
prints out 'confidence                       95 % interval'
prints out 'answered          confidence'
cp out trained.txt
expect 0 train shop.kc "$train" --calibrate
expect 0 evaluate shop.kc "$test"
cmp -s <(quality out) <(quality trained.txt) || fail "$command: other figures than without a file"
expect 0 evaluate shop.kc "$test" --json
[[ $(figure "report['confidence']['ece_top'] < report['ece_top']") == True ]] ||
    fail "$command: the confidence is no better than the score"
[[ $(figure "report['intervals']['confidence']['ece_top'][0] >= 0") == True ]] ||
    fail "$command: no interval"

# Rejection: the figures are of the answered texts.
right=$(figure "report['correct']")
all=$(figure "report['test']['texts']")
expect 0 evaluate shop.kc "$test" --reject 0.8 --json
answered=$(figure "report['rejection']['answered']")
((answered > all / 3 && answered < all)) || fail "$command: $answered of $all texts are answered"
[[ $(figure "report['rejection']['texts'], report['intervals']['texts']") == "$all $answered" ]] ||
    fail "$command: other numbers of texts"
(($(figure "report['correct']") <= right)) || fail "$command: more right answers"
[[ $(figure "report['accuracy'] > $right / $all") == True ]] || fail "$command: no higher accuracy"
[[ $(figure "report['answered']['points'][0]['answered']") == "$all" ]] ||
    fail "$command: the share answered is not of all texts"
expect 0 evaluate shop.kc "$test" --reject 0.8
prints out 'reject 0.8000                    95 % interval             texts'
prints out "$answered of $all"
expect 0 evaluate shop.kc "$test" --reject 0 --json
[[ $(figure "report['rejection']['answered']") == "$all" ]] || fail "$command: a text is rejected"
printf 'games\t:-)\n' >none.tsv
expect 0 evaluate shop.kc none.tsv --reject 1
prints out '0 of 1'
prints out 'accuracy                   -                              0 of 0'
expect 0 evaluate shop.kc none.tsv --reject 1 --json
[[ $(figure "report['accuracy'], report['ece_top'], report['intervals']['ece_top'],
    report['rejection']['answered_share']") == "None None None 0.0" ]] ||
    fail "$command: figures of no answers"
expect 0 evaluate --cv 3 "$train" --calibrate --reject 0.8
prints out 'reject 0.8000           mean      spread   all texts'

# A wanted precision: the threshold comes from training texts, from folds of the test texts, or from folds.
expect 0 evaluate --holdout 0.3 "$train" --want-precision 0.9
prints out 'wanted precision 90.00 %: score >= 0.'
prints out 'training texts'
expect 0 evaluate --train "$train" --test "$test" --want-precision 0.9 --calibrate --json
[[ $(figure "report['wanted_precision']['by'], report['wanted_precision']['chosen_from'],
    report['wanted_precision']['folds'], 0 < report['wanted_precision']['threshold'] < 1") == \
    "confidence training 0 True" ]] || fail "$command: another choice"
# The report of the answers with this threshold as --reject has the same precision.
threshold=$(figure "report['wanted_precision']['threshold']")
precision=$(figure "report['wanted_precision']['precision']")
expect 0 evaluate shop.kc "$test" --reject "$threshold" --json
[[ $(figure "report['accuracy']") == "$precision" ]] || fail "$command: not the precision $precision"
expect 0 evaluate shop.kc "$test" --want-precision 0.9
prints out 'chosen from '"$all"' test texts'
prints out '5 folds '
expect 0 evaluate --cv 4 "$train" --want-precision 0.9 --json
[[ $(figure "report['all_texts']['wanted_precision']['folds']") == 4 ]] || fail "$command: other folds"
expect 0 evaluate shop.kc "$test" --want-precision 0.9999
prints out 'wanted precision 99.99 %: no threshold of the confidence can be proved to reach it'
expect 0 evaluate shop.kc none.tsv --want-precision 0.5
prints out 'no threshold of the confidence'

# Wrong usage
expect 0 train plain.kc "$train"
expect 64 evaluate plain.kc "$test" --reject 0.5
is err 'zandrel: --reject: plain.kc has no confidence map; zandrel train --keep-tree --calibrate makes one'
is_silent out
expect 64 evaluate --train "$train" --test "$test" --reject 0.5
prints err '--reject requires --calibrate, or a container with a confidence map'
expect 64 evaluate shop.kc "$test" --calibrate
prints err '--calibrate'
expect 64 evaluate shop.kc "$test" --reject 0.5 --want-precision 0.9
expect 64 evaluate shop.kc "$test" --reject 1.5
prints err 'is no number from 0 to 1'
expect 64 evaluate shop.kc "$test" --reject nan
for precision in 0 1 95 nan; do
    expect 64 evaluate shop.kc "$test" --want-precision $precision
    prints err 'is no number from 0.0001 to 0.9999'
done

((failures == 0))
