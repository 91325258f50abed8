#!/usr/bin/env bash
# Usage: formats_test.sh PROGRAM DATA
# Tests the forms of data files in all commands that read data. DATA.train.tsv and DATA.test.tsv are
# the data files of the project; the other forms are made from them.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

shop=$2

# As CSV the files have a header and the columns id, kind and body.
python3 - "$shop" <<'END' || fail "the data cannot be converted"
import csv, gzip, json, sys
for part in ("train", "test"):
    with open(f"{sys.argv[1]}.{part}.tsv", encoding="utf-8") as file:
        texts = [line.rstrip("\n").split("\t", 1) for line in file]
    with open(f"{part}.csv", "w", newline="", encoding="utf-8") as file:
        rows = csv.writer(file)
        rows.writerow(["id", "kind", "body"])
        rows.writerows([i, labels, text] for i, (labels, text) in enumerate(texts))
    with open(f"{part}.jsonl", "w", encoding="utf-8") as file:
        for labels, text in texts:
            file.write(json.dumps({"text": text, "labels": labels.split(",")}) + "\n")
    with open(f"{part}.ft", "w", encoding="utf-8") as file:
        for labels, text in texts:
            file.write(" ".join("__label__" + label for label in labels.split(",")) + f" {text}\n")
    with open(f"{part}.csv", "rb") as file:
        packed = gzip.compress(file.read())
    with open(f"{part}.csv.gz", "wb") as file:
        file.write(packed)
END
columns=(--text body --label kind --label-separator ,)

# The same texts give the same model and the same figures in each form
figures() {
    grep -E '^(accuracy|macro|micro|calibration|without)' out
}
expect 0 train tsv.kc "$shop.train.tsv"
expect 0 classify tsv.kc "$shop.test.tsv" --column 2 -k 3
cp out tsv.answers
expect 0 evaluate tsv.kc "$shop.test.tsv"
figures >tsv.figures
expect 0 train csv.kc train.csv "${columns[@]}"
is_silent err
expect 0 train jsonl.kc train.jsonl
expect 0 train ft.kc train.ft
expect_of train.csv.gz 0 train gz.kc - --format csv "${columns[@]}"
for form in csv jsonl ft gz; do
    expect 0 classify $form.kc "$shop.test.tsv" --column 2 -k 3
    cmp -s out tsv.answers || fail "the model of $form answers differently"
done
expect 0 classify tsv.kc test.csv --text body -k 3
cmp -s out tsv.answers || fail "classify answers CSV differently"
expect 0 classify tsv.kc test.csv.gz --text body -k 3 --jobs 2
cmp -s out tsv.answers || fail "classify answers compressed CSV differently"
expect 0 classify tsv.kc test.jsonl -k 3
cmp -s out tsv.answers || fail "classify answers JSON lines differently"
expect 0 classify tsv.kc test.ft -k 3
cmp -s out tsv.answers || fail "classify answers lines with __label__ differently"
expect 0 evaluate tsv.kc test.csv "${columns[@]}"
figures | cmp -s - tsv.figures || fail "evaluate reports other figures of CSV"
expect 0 evaluate --train train.jsonl --test test.jsonl
figures | cmp -s - tsv.figures || fail "evaluate reports other figures of JSON lines"
expect 0 learn csv.kc test.ft
expect 0 explain tsv.kc test.jsonl --top 1
(($(wc -l <out) >= 2 * $(wc -l <test.jsonl))) || fail "explain has too few lines"

# Answers repeat the records
expect 0 classify tsv.kc test.csv --text body --csv
[[ $(head -n 1 out) == id,kind,body,category_1,score_1 ]] || fail "the header is $(head -n 1 out)"
python3 - <<'END' || fail "--csv changes a row"
import csv
before = list(csv.reader(open("test.csv", newline="", encoding="utf-8")))
after = list(csv.reader(open("out", newline="", encoding="utf-8")))
assert [row[:3] for row in after] == before
assert all(len(row) == 5 for row in after)
END
cp out one.csv
expect 0 classify tsv.kc test.csv --text body --csv --jobs 3
cmp -s out one.csv || fail "--csv --jobs answers differently"
expect 0 classify tsv.kc test.jsonl --jsonl -k 2
python3 - <<'END' || fail "--jsonl changes a record"
import json
before = [json.loads(line) for line in open("test.jsonl", encoding="utf-8")]
after = [json.loads(line) for line in open("out", encoding="utf-8")]
assert all(len(record.pop("categories")) == 2 for record in after)
assert before == after
END

# Bad records
printf 'kind,body\nsport,goal\nsport,"match\nfood,bread\nfood\nfood,cheese\n' >bad.csv
expect 65 train bad.kc bad.csv --text body --label kind
is err 'bad.csv:3: record 2: a quote is not closed before the end of the file'
expect 0 train bad.kc bad.csv --text body --label kind --skip-bad
prints err 'zandrel: skipped 2 bad lines, the first: bad.csv:3: record 2: a quote is not closed before the end of the file'
prints out 'bad.kc: 3 texts, 2 labels'
printf '{"text":"goal","label":"sport"}\n{"text":"bread","label":7.5}\n' >bad.jsonl
expect 65 train bad.kc bad.jsonl --replace
is err 'bad.jsonl:2: record 2: "label" must be a string, an integer or a list of them, not a number'
expect 65 learn bad.kc bad.jsonl --add-categories
is err 'bad.jsonl:2: record 2: "label" must be a string, an integer or a list of them, not a number'
expect 65 evaluate bad.kc bad.jsonl
is err 'bad.jsonl:2: record 2: "label" must be a string, an integer or a list of them, not a number'
printf '__label__sport goal\nbread\n' >bad.ft
expect 65 train bad.kc bad.ft --replace
is err 'bad.ft:2: record 2: no word begins with __label__'
printf '{"text":1}\n{"text":"goal"}\n' >texts.jsonl
expect 65 classify tsv.kc texts.jsonl
is err 'texts.jsonl:1: record 1: "text" must be a string, not an integer'
(($(wc -l <out) == 2)) || fail "classify does not answer each record"
expect 65 explain tsv.kc texts.jsonl
[[ $(head -n 1 out) == '  (bad record)' ]] || fail "explain does not mark a bad record"
expect 65 train bad.kc train.csv --text nothing --label kind --replace
is err 'train.csv:1: there is no column "nothing" in the header, but "id", "kind", "body"'

printf 'label,text\nsport,goal\n' >header.csv
expect 0 train bad.kc header.csv --replace
prints err 'header.csv:1: this looks like a header line, and counts as a text with the label "label"; --header reads it as one'
expect 0 train bad.kc header.csv --replace --header
prints out 'bad.kc: 1 text, 1 label'
printf 'label\ttext\nsport\tgoal\n' >header.tsv
expect 0 train bad.kc header.tsv --replace
prints err 'header.tsv:1: this looks like a header line, and counts as a text with the label "label"; remove it if it is one, or read it with --header'
expect 0 train bad.kc header.tsv --replace --header
prints out 'bad.kc: 1 text, 1 label'

# A first row that is not like the others does not decide silently
printf 'sport,a,b\nsport,goal match\ntax,form fee\n' >first.csv
expect 65 train bad.kc first.csv --replace --skip-bad
is err 'first.csv:1: the first row has 3 columns, and 2 other rows have another number; remove the first row if it is no data, or give --format or --header'
expect 65 split first.csv half.csv rest.csv --skip-bad
[[ ! -e half.csv ]] || fail "split writes a part of bad data"
prints err 'first.csv:1: the first row has 3 columns, and 2 other rows have another number'
printf 'sport,a,b\nsport,goal match\n' >first.csv
expect 0 train bad.kc first.csv --replace --skip-bad
prints err 'skipped 1 bad line, the first: first.csv:2: record 2: the record has 2 columns, and the first row has 3'

# The end .json is read as JSON lines
cp train.jsonl train.json
expect 0 train bad.kc train.json --replace
expect 0 evaluate bad.kc "$shop.test.tsv"
figures | cmp -s - tsv.figures || fail "evaluate reports other figures of train.json"

# A terminal gets a note about the form.
for arguments in 'classify tsv.kc - --format jsonl' 'train typed.kc - --format csv'; do
    command="zandrel $arguments on a terminal"
    printf '%b' 'x\n\0004' | timeout 20 script -qec "$program $arguments >out 2>err" typed.log >/dev/null
    prints err "waiting for records of the form ${arguments##* }"
done

# Damaged compressed files. --skip-bad does not hide the loss
head -c 5000 train.csv.gz >cut.csv.gz
expect 65 train bad.kc cut.csv.gz "${columns[@]}" --replace --skip-bad
is err 'cut.csv.gz: the compressed data ends too early, after 5000 bytes'
expect 65 classify tsv.kc cut.csv.gz --text body
prints err 'cut.csv.gz: the compressed data ends too early, after 5000 bytes'
(($(wc -l <out) > 10)) || fail "the answers before the damage are missing"

# Wrong usage
expect 64 train bad.kc train.ft --text 1 --replace
is err 'zandrel: train.ft has the format fasttext, for which there is no --text'
expect 64 train bad.kc train.jsonl --header --replace
is err 'zandrel: train.jsonl has the format jsonl, for which there is no --header'
expect 64 train bad.kc train.csv --text 0 --replace
is err 'zandrel: column 0: columns are counted from 1'
expect 64 train bad.kc train.csv --text 99999999999999999999 --replace
is err 'zandrel: column 99999999999999999999: the number is too large'
expect 64 train bad.kc train.csv --pair _SMLx=1 --replace
is err 'zandrel: --pair _SMLx=1: the engine uses names that begin with _SML'
expect 64 train bad.kc train.csv --pair a=1 --pair a=2 --replace
is err 'zandrel: --pair a=2: the pair is given twice'
expect 64 train bad.kc train.csv --format lines --replace
expect 64 classify tsv.kc test.csv --column 2
is err 'zandrel: --column is for lines of text; --text chooses the column of the form csv'
expect 64 classify tsv.kc --text body
is err 'zandrel: --text, --pair and --header need a form with columns; --format names it'
expect 64 classify tsv.kc test.csv --csv --jsonl

# Rules read pairs of messages
printf '{"text":"A parcel","pairs":{"size":7}}\n{"pairs":{"size":3}}\n' >messages.jsonl
expect 0 rules eval '"parcel" & $size(n) > 5' --message messages.jsonl
is out $'1\n0'
expect 0 rules eval '$size(n)' --message messages.jsonl --json
is out $'{"rule":"$size(n)","value":7.0}\n{"rule":"$size(n)","value":3.0}'
expect 64 rules eval 1 --message messages.jsonl --set a=1
expect 66 rules eval 1 --message absent.jsonl

# Each answer is written before the next record is read
mkfifo to from
"$program" classify tsv.kc - --format jsonl --jsonl <to >from 2>err &
exec 3>to 4<from
for _ in 1 2; do
    printf '{"text": "Where is my parcel?"}\n' >&3
    read -r -t 20 answer <&4 || fail "there is no answer before the input ends"
    [[ $answer == '{"text": "Where is my parcel?","categories":[{"category":"delivery"'* ]] ||
        fail "the answer is $answer"
done
exec 3>&- 4<&-
wait

((failures == 0))
