#!/usr/bin/env bash
# Usage: model_test.sh PROGRAM DATA
# Runs the commands of the program zandrel that keep a model in a file, with tiny files and with
# DATA.train.tsv and DATA.test.tsv.
# shellcheck source-path=SCRIPTDIR source=program_test_help.sh
source "$(dirname "$0")/program_test_help.sh"

shop=$2
here=$(dirname "$shop")/..

# Prints the labels of a filter's output without scores; a bar ends each line.
labels() { sed 's/\t[01]\.[0-9]\{6\}//g' out | tr '\t\n' ',|'; }
# holds NAME...: checks that these are all files with "kc" in the name, hidden ones too.
holds() { [[ $(find . -type f -name '*kc*' -printf '%f\n' | sort | tr '\n' ' ') == "$* " ]] ||
    fail "$command: left $(find . -type f -name '*kc*' -printf '%f ')"; }

printf 'sport\tgoal match\nfood\tbread cheese\n' >train.tsv
printf 'sport\tball\r\n\r\nfood\tcake' >more.tsv
printf 'sport\tgoal\nno tab\n' >bad.tsv
printf '\n' >empty.tsv
printf 'fun\tsport\nfun\tfood\n' >groups.tsv
printf 'sport\tball\n\nfood,travel\ttrain\nmusic\tdrum\ntravel\tcoast\n' >new.tsv

# train
expect 0 train a.kc train.tsv --analysis words
[[ $(tr -d , <out) == "a.kc: 2 texts 2 labels (2 new) $(stat -c %s a.kc) bytes" ]] ||
    fail "$command: wrong summary"
warns_of_few_texts_only err
expect 0 train b.kc train.tsv more.tsv --json
[[ $(tr -d ' \n' <out) == \
    "{\"file\":\"b.kc\",\"texts\":4,\"labels\":2,\"new_labels\":2,\"bytes\":$(stat -c %s b.kc),\"skipped_lines\":0}" ]] ||
    fail "$command: wrong JSON"
expect 0 train compact.kc train.tsv --compact --analysis words
(($(stat -c %s compact.kc) < $(stat -c %s a.kc))) || fail "$command: not smaller"
expect 0 train groups.kc train.tsv --groups groups.tsv --analysis words
expect 0 train stems.kc train.tsv --analysis words --stem english
expect 65 train b.kc train.tsv bad.tsv --replace
is err 'bad.tsv:2: no tab between label and text'
is_silent out
expect 0 train b.kc train.tsv bad.tsv --skip-bad --replace
prints err 'zandrel: skipped 1 bad line, the first: bad.tsv:2: no tab between label and text'
prints out 'b.kc: 3 texts'
expect 65 train b.kc empty.tsv --replace
is err 'empty.tsv: no data line'
expect 66 train b.kc absent.tsv --replace
is err 'zandrel: cannot read absent.tsv: No such file or directory'
expect 66 train b.kc train.tsv --groups absent.tsv --replace
expect 74 train none/b.kc train.tsv
is err 'zandrel: cannot write none/b.kc: No such file or directory'
expect 74 train . train.tsv
is err 'zandrel: cannot write .: Is a directory'
expect 74 train /dev/full train.tsv
is err 'zandrel: cannot write /dev/full: not a regular file'
[[ -c /dev/full ]] || fail "$command: replaced a device"
for option in --groups --options; do
    expect 64 train b.kc train.tsv $option '' --replace
    prints err "$option: the name of the file is empty"
done
for arguments in '--train= --test train.tsv' '--train train.tsv --test=' \
    '--train train.tsv --test train.tsv --learn='; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 evaluate $arguments
    [[ -s err ]] || fail "$command: says nothing"
    is_silent out
done
expect 64 evaluate --train train.tsv --test train.tsv --learn ''
prints err '--learn: the name of the file is empty'
expect 64 explain a.kc train.tsv --category ''
prints err '--category: the path is empty'
for value in 90 -0.1 nan half; do
    for arguments in 'classify a.kc' 'evaluate a.kc train.tsv'; do
        # shellcheck disable=SC2086  # The words are the arguments.
        expect 64 $arguments --threshold $value
        prints err "--threshold: '$value' is no number from 0 to 1"
    done
done
expect 64 evaluate '' train.tsv
prints err 'KC: the name of the file is empty'
cp a.kc before.kc
(
    trap '' XFSZ
    ulimit -f 1
    expect 74 train a.kc "$shop.train.tsv" --replace
    is err 'zandrel: cannot write a.kc: File too large'
    ((failures == 0))
) || failures=$((failures + 1))
cmp -s a.kc before.kc || fail "$command: changed the file"
holds a.kc b.kc before.kc compact.kc groups.kc stems.kc

# Settings of the engine.
printf 'ProfileSize = 1  # too few\n' >small.options
printf 'UseExtParms = 0\nProfileSize = 7\n' >off.options
printf 'ClipValue = 2\nProfileSize = 0\n' >none.options
printf '# switches\nPositiveMethod = 1\n' >positive.options
printf 'ProfileSize = 5\n\nProfileSice = 7\n' >misspelt.options
printf 'ClipValue = 2.5\n' >fraction.options
echo goal >goal.txt
expect 0 train b.kc train.tsv --set ProfileSize=5 --set ClipValue=0 --replace
expect 0 train b.kc train.tsv --options positive.options --replace
expect 0 train b.kc train.tsv --options small.options --set ProfileSize=5 --replace
expect 0 classify b.kc goal.txt
[[ $(labels) == 'sport|' ]] || fail "$command: wrong label"
expect 65 train b.kc train.tsv --options misspelt.options --replace
is err 'misspelt.options:3: unknown setting "ProfileSice"'
expect 65 train b.kc train.tsv --options fraction.options --replace
is err 'fraction.options:1: bad value for ClipValue: "2.5" is not an integer'
expect 65 train b.kc train.tsv --options none.options --replace
is err 'none.options:2: bad value for ProfileSize: "0" is not between 1 and 2147483647'
for value in 0 -4; do
    expect 64 train b.kc train.tsv --set ProfileSize=$value --replace
    is err "zandrel: --set: bad value for ProfileSize: \"$value\" is not between 1 and 2147483647"
done
printf '\x1b[1m = 7\n' >control.options
expect 65 train b.kc train.tsv --options control.options --replace
is err 'control.options:1: unknown setting "\x1B[1m"'
expect 66 train b.kc train.tsv --options absent.options --replace
prints err 'absent.options'
expect 64 train b.kc train.tsv --set ProfileSice=7 --replace
prints err 'unknown setting "ProfileSice"'
expect 64 train b.kc train.tsv --set MinPsSize=many --replace
prints err 'bad value for MinPsSize: "many" is not an integer'
expect 64 train b.kc train.tsv --set PositiveMethod=1 --replace
prints err 'from an options file alone'

# Settings that are switched off are named in a warning, and replace no choice of the program.
expect 0 train b.kc train.tsv --replace
expect 0 info b.kc
choices=$(grep "program's choices" out)
[[ $choices == *ProfileSize=10000* ]] || fail "$command: no choices"
off="zandrel: with UseExtParms=0 the program's choices are used and not these settings:"
expect 0 train b.kc train.tsv --options off.options --set ClipValue=2 --replace
prints err "$off ClipValue, ProfileSize"
expect 0 info b.kc
[[ $(grep "program's choices" out) == "$choices" ]] || fail "$command: dropped choices"
expect 0 options get b.kc ProfileSize
is out 'ProfileSize=10000'
expect 0 evaluate --train train.tsv --test train.tsv --set UseExtParms=0 --set SuppressM=1
prints err "$off SuppressM"
expect 0 train b.kc train.tsv --set UseExtParms=0 --replace
! grep -q UseExtParms err || fail "$command: a warning without a cause"
# train --bootstrap writes the model that evaluate --bootstrap measures.
printf 'sport\tkitchen\tgoal\tmatch ball\nfood\tstadium\tbread\tcheese\n' >titles.tsv
printf 'sport\tgoal\nfood\tcheese match\nfood\tkitchen\n' >titles.test.tsv
expect 0 evaluate --bootstrap --train titles.tsv --test titles.test.tsv --analysis words --json
quality() { grep -E '"(accuracy|macro_f1_top|micro_f1|ece_top|ece_pairs|brier)":' out; }
measured=$(quality)
expect 0 train titles.kc titles.tsv --bootstrap --analysis words
prints out 'titles.kc: 2 texts, 2 labels (2 new)'
expect 0 evaluate titles.kc titles.test.tsv --json
[[ $(wc -l <<<"$measured") -ge 6 && $(quality) == "$measured" ]] || fail "$command: another model: $(quality)"
echo goal >goal.txt
expect 0 classify titles.kc goal.txt
[[ $(labels) == 'sport|' ]] || fail "$command: wrong label"
echo kitchen >kitchen.txt
expect 0 explain titles.kc kitchen.txt --category root/sport
prints out 'kitchen  (unknown)'
expect 65 train titles.kc train.tsv --bootstrap --replace
prints err 'train.tsv:1: '
rm titles.kc

# Permissions and links are kept.
chmod 600 b.kc
ln -s b.kc link
expect 0 train link train.tsv --replace
[[ -L link && $(stat -c %a b.kc) == 600 ]] || fail "$command: lost link or permissions"
rm link

# classify
printf 'CHEESE\r\n\n:-)\nno goal\n\xff\x00goal\xfe\nbread' >lines.txt
expect 0 classify a.kc lines.txt
[[ $(labels) == 'food|||sport|sport|food|' ]] || fail "$command: wrong labels: $(labels)"
is_silent err
for file in '' -; do
    # shellcheck disable=SC2086  # No file is no argument.
    expect_of lines.txt 0 classify a.kc $file
    [[ $(labels) == 'food|||sport|sport|food|' ]] || fail "$command: wrong labels"
done
expect 0 classify a.kc
is_silent out
printf '\n' >newline.txt
expect 0 classify a.kc newline.txt
[[ $(od -An -c out) == '  \n' ]] || fail "$command: not one empty line"
expect 0 classify a.kc -k 2 goal.txt
grep -qP '^sport\t[01]\.\d{6}\tfood\t[01]\.\d{6}$' out || fail "$command: wrong form"
expect 0 classify a.kc -k 2 --threshold 1 lines.txt
[[ $(labels) == '||||||' ]] || fail "$command: scores below the threshold"
expect 0 classify groups.kc --jsonl lines.txt
[[ $(sed -n 4p out | sed 's/:[01]\.[0-9]*/:N/') == \
    '{"categories":[{"category":"sport","path":"root/fun/sport","score":N}]}' ]] ||
    fail "$command: wrong JSON"
[[ $(sed -n 2p out) == '{"categories":[]}' && $(wc -l <out) == 6 ]] || fail "$command: wrong lines"
echo GOALS >goals.txt
expect 0 classify stems.kc goals.txt
[[ $(labels) == 'sport|' ]] || fail "$command: not stemmed"
printf 'loud\tgo !\ncurious\tgo ?\n' >signs.tsv
echo '!' >sign.txt
expect 0 train signs.kc signs.tsv
expect 0 classify signs.kc sign.txt
[[ $(labels) == 'loud|' ]] || fail "$command: not analysed as phrases"
expect 0 train signs.kc signs.tsv --analysis words --replace
expect 0 classify signs.kc sign.txt
[[ $(labels) == '|' ]] || fail "$command: not analysed as words"
rm signs.kc

# Each answer comes before the next line is complete, even if its beginning has arrived.
for jobs in 1 2; do
    command="classify in a coprocess, --jobs $jobs"
    coproc filter { "$program" classify a.kc --jobs "$jobs"; }
    filter_process=$! questions=${filter[1]}
    printf 'goal\nbre' >&"$questions"
    read -r -t 60 line <&"${filter[0]}" || fail "$command: no answer"
    [[ $line == sport* ]] || fail "$command: wrong answer '$line'"
    printf 'ad\n' >&"$questions"
    read -r -t 60 line <&"${filter[0]}" || fail "$command: no answer"
    [[ $line == food* ]] || fail "$command: wrong answer '$line'"
    exec {questions}>&-
    wait "$filter_process" || fail "$command: exit status $?"
done

# Workers end when the process that started them ends, for whatever reason.
command='classify --jobs 2, killed'
coproc filter { exec "$program" classify a.kc --jobs 2; }
filter_process=$!
printf 'goal\n' >&"${filter[1]}"
read -r -t 60 line <&"${filter[0]}" || fail "$command: no answer"
workers=$(cat "/proc/$filter_process/task/$filter_process/children")
[[ $(wc -w <<<"$workers") == 2 ]] || fail "$command: workers '$workers'"
kill -KILL "$filter_process"
wait "$filter_process" 2>/dev/null
for ((i = 0; i < 600; ++i)); do
    # shellcheck disable=SC2086  # The numbers are the arguments.
    kill -0 $workers 2>/dev/null || break
    sleep 0.1
done
((i < 600)) || fail "$command: workers are left"

command='classify, waiting'  # waiting is no work, so the signal ends the process at once
timeout --preserve-status -s INT 1 "$program" classify a.kc < <(sleep 5) >out 2>err
[[ $? == 130 ]] || fail "$command: not ended by SIGINT"
is_silent err

# The analysis that was chosen in training cannot be changed later.
for words in '--analysis phrases' '--stem english'; do
    for arguments in classify explain 'learn DATA' 'evaluate DATA'; do
        # shellcheck disable=SC2086  # The words are the arguments.
        expect 64 ${arguments% DATA} a.kc train.tsv $words
        prints err "zandrel: $words: a.kc was made with "
        is_silent out
    done
done
prints err 'a.kc was made with no --stem'
expect 0 classify a.kc goal.txt --analysis words
expect 0 classify stems.kc goal.txt --analysis words --stem english

# explain
expect 0 explain a.kc goal.txt
[[ $(sed 's/[0-9]\+\.[0-9]*/N/g; s/  */ /g' out | tr '\n' '|') == 'goal| N sport| +N goal +N|' ]] ||
    fail "$command: wrong explanation"
expect_of lines.txt 0 explain a.kc --json
[[ $(sed -n 1p out | sed 's/:[0-9]\+\.[0-9]*/:N/g') == \
    '{"text":"CHEESE","category":"food","score":N,"concepts":[{"concept":"cheese","adds":N,"known":true,"log_odds_adds":N}]}' ]] ||
    fail "$command: wrong JSON"
[[ $(sed -n 2p out) == '{"text":"","category":null,"score":0.0,"concepts":[]}' && $(wc -l <out) == 6 ]] ||
    fail "$command: wrong lines"
echo 'goal goal apple' >apple.txt
for file in a.kc compact.kc; do
    expect 0 explain $file apple.txt
    [[ $(sed 's/[0-9]\+\.[0-9]*/N/g; s/  */ /g' out | tr '\n' '|') == 'goal goal apple| N sport| +N goal +N| +N apple (unknown) +N|' ]] ||
        fail "$command: wrong explanation"
done
expect 0 explain a.kc apple.txt --top 1
[[ $(sed 's/[0-9]\+\.[0-9]*/N/g; s/  */ /g' out | tr '\n' '|') == 'goal goal apple| N sport| +N goal +N| (1 more)|' ]] ||
    fail "$command: wrong explanation"
expect 0 explain a.kc apple.txt --top 1 --json
[[ $(sed 's/:[0-9]\+\.[0-9]*/:N/g' out) == \
    '{"text":"goal goal apple","category":"sport","score":N,"concepts":[{"concept":"goal","adds":N,"known":true,"log_odds_adds":N}],"left_out":1}' ]] ||
    fail "$command: wrong JSON"
expect 0 explain groups.kc goal.txt --category root/fun/food
[[ $(sed 's/[0-9]\+\.[0-9]*/N/g; s/  */ /g' out | tr '\n' '|') == 'goal| N food| -N goal -N|' ]] ||
    fail "$command: wrong explanation"
expect 0 explain groups.kc goal.txt --category root/fun
prints out '  fun'
for path in root/food root/fun/none none; do
    expect 64 explain groups.kc goal.txt --category $path
    is err "zandrel: --category: groups.kc has no node \"$path\""
    is_silent out
done

# explain --color: the text without the colours is the same, whatever is in it. Only a terminal has
# colours by default, and only if the environment wants them.
printf 'Goal goal \033[2J apple bre\xff ad\u202e\n' >hostile.txt
expect 0 explain a.kc hostile.txt
cp out plain
for words in '--color never' '--color auto' ''; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 0 explain a.kc hostile.txt $words
    cmp -s out plain || fail "$command: other output"
done
for jobs in 1 2; do
    expect 0 explain a.kc hostile.txt --color always --jobs $jobs
    [[ $(grep -c $'\033' out) == 1 ]] || fail "$command: no colours in the text, or some below it"
    sed 's/\x1b\[[0-9;]*m//g' out | cmp -s - plain || fail "$command: other text"
done
prints out $'\033[2mapple\033[0m'
expect 64 explain a.kc hostile.txt --color sometimes
expect 0 explain a.kc goal.txt --json
cp out plain
expect 0 explain a.kc goal.txt --color always --json
cmp -s out plain || fail "$command: colours in JSON"

# Runs explain on a terminal without a progress bar, with the environment of the arguments.
expect 0 train coloured.model "$shop.train.tsv"
echo parcel >parcel.txt
on_terminal() {
    command="explain on a terminal, $*"
    env -u NO_COLOR -u COLORTERM "$@" \
        script -qec "'$program' explain coloured.model parcel.txt 2>/dev/null" /dev/null </dev/null >out 2>err ||
        fail "$command: exit status $?"
}
on_terminal TERM=xterm-256color
prints out $'\033[1;38;5;33mparcel\033[0m'
on_terminal TERM=xterm COLORTERM=truecolor
prints out $'\033[1;38;5;33mparcel\033[0m'
on_terminal TERM=xterm NO_COLOR=
prints out $'\033[1;36mparcel\033[0m'
for words in 'TERM=xterm NO_COLOR=1' 'TERM=xterm NO_COLOR=0' 'TERM=dumb' 'TERM='; do
    # shellcheck disable=SC2086  # The words are the arguments.
    on_terminal $words
    prints out '  delivery'
    ! grep -q $'\033' out || fail "$command: colours"
done

# explain --path
expect 0 explain groups.kc goal.txt --path
[[ $(sed 's/[01]\.[0-9]\{6\}/N/g' out | tr '\n' '|') == \
    'goal|  N  root/fun/sport|  1. root  stat, score N, not scored|       N  fun  taken in step 2|'\
'  2. root/fun  stat, score N, not scored|       N  sport  taken in step 3|'\
'       N  food   not taken: the walk had enough results|  3. root/fun/sport  leaf, score N, result 1|' ]] ||
    fail "$command: wrong path"
expect_of lines.txt 0 explain a.kc --path --json --top 1
[[ $(wc -l <out) == 6 && $(sed -n 2p out) == '{"text":"","has_words":false,"results":[],"ended":"nothing left",'* ]] ||
    fail "$command: wrong JSON"
expect 0 explain groups.kc goal.txt --path -k 2 --category root/fun/food
[[ $(tail -n 1 out) == '  root/fun/food was taken in step '* ]] || fail "$command: wrong way"
expect 0 explain groups.kc goal.txt --path --category root/fun/food
[[ $(grep -c '^  the way to root/fun/food ended in step 2 at food, score ' out) == 1 ]] || fail "$command: wrong way"
expect 64 explain a.kc goal.txt -k 2
prints err '-k requires --path'
# The root is a rule node.
cp a.kc ruled.kc
for label in sport food; do
    expect 0 tree delete ruled.kc root/$label
done
expect 0 tree set ruled.kc root --type rule
expect 0 tree add ruled.kc root/match --rule '"goal" & $size(n) < 3'
expect 0 tree add ruled.kc root/rest --type stat --rule default
expect 0 explain ruled.kc goal.txt --path --jobs 2
is out 'goal
  1.000000  root/match
  1. root  rule, score 1.000000, not scored
       1.000000  match  taken in step 2
                   rule      "goal" & $size(n) < 3
                   value     1
                   "goal"    found
                   $size(n)  0 (no pair)
              -  rest   default, and a rule fired
                   rule  default
  2. root/match  leaf, score 1.000000, result 1'
rm ruled.kc

# check and dump
expect 0 check a.kc
is out 'a.kc: clean'
expect 0 dump a.kc
prints out 'tree and settings'
prints out 'statistical classifier, id 2'
expect 0 dump a.kc --json
prints out '"contents": "statistical model, id 1"'
prints out '"messages": '
expect 0 dump a.kc --items 1
prints out ' more (--items 0 shows all)'
expect 64 dump a.kc --items x
expect 64 dump a.kc --items -1
cp a.kc sealed.kc
expect 0 check a.kc --seal
is out 'a.kc: clean; the seal matches'
cmp -s a.kc sealed.kc || fail "$command: changed the file"
expect 65 check train.tsv --seal
is err 'train.tsv: no record file or container: wrong magic number'
rm sealed.kc
expect 0 convert a.kc cached.kc --cached
expect 0 check cached.kc
is out 'cached.kc: clean'
expect 0 dump cached.kc
prints out 'statistical model, id 1, at '
prints out 'holes '
expect 0 learn cached.kc more.tsv
expect 0 check cached.kc
is out 'cached.kc: clean, but there is no seal: changed bytes inside items are not found'
expect 0 check cached.kc --seal
is out 'cached.kc: clean; sealed now'
expect 0 check cached.kc
is out 'cached.kc: clean'
printf '\x01' | dd of=cached.kc bs=1 seek=9 conv=notrunc status=none
expect 1 check cached.kc --seal
prints out 'the index may be stale: the file was not closed'
prints out '; not sealed'
rm cached.kc
head -c -1 a.kc >cut.kc
expect 65 check cut.kc
is out $'cut.kc: offset '"$(od -An -tu4 --endian=big -j12 -N4 a.kc | tr -d ' ')"$': the index goes past the end of the file\ncut.kc: damaged: the bytes are not those that were written'
expect 0 dump cut.kc
{ head -c 99 a.kc; printf '\xAA\x55'; tail -c +102 a.kc; } >cut.kc
expect 65 check cut.kc
prints out 'Seal does not match: object 1'
rm cut.kc

# learn
expect 0 learn a.kc more.tsv
[[ $(<out) == 'a.kc: 2 texts, 2 labels (0 new), '*' bytes' ]] || fail "$command: wrong summary"
printf 'ball\ncake\n' >learned.txt
expect 0 classify a.kc learned.txt
[[ $(labels) == 'sport|food|' ]] || fail "$command: has not learned"
expect 0 info a.kc
prints out '  seal                yes'
cp a.kc before.kc
expect 65 learn a.kc more.tsv new.tsv
is err 'new.tsv:3: unknown label "travel"; --add-categories adds it'
is_silent out
expect 65 learn a.kc bad.tsv
is err 'bad.tsv:2: no tab between label and text'
expect 66 learn a.kc absent.tsv
printf 'two\x1blabels\tgoal\n' >control.tsv
expect 65 learn a.kc control.tsv
is err 'control.tsv:1: unknown label "two\x1Blabels"; --add-categories adds it'
cmp -s a.kc before.kc || fail "$command: changed the file"
expect 0 learn a.kc new.tsv bad.tsv --add-categories --skip-bad --json
prints out '"new_labels": 2,'
prints out '"skipped_lines": 1'
prints err 'skipped 1 bad line'
printf 'coast\ndrum\n' >learned.txt
expect 0 classify a.kc learned.txt --jsonl
prints out '"path":"root/travel"'
prints out '"path":"root/music"'
cp compact.kc before.kc
expect 65 learn compact.kc more.tsv
is err 'compact.kc: the container is compact and can only classify'
cmp -s compact.kc before.kc || fail "$command: changed the file"
expect 65 evaluate compact.kc more.tsv --learn more.tsv
is err 'compact.kc: the container is compact and can only classify'
printf 'fun\tgoal\n' >clash.tsv
expect 65 learn groups.kc clash.tsv --add-categories
prints err 'clash.tsv:1: label "fun" cannot be added: '
expect 66 learn absent.kc more.tsv
is err 'zandrel: cannot read absent.kc: No such file or directory'

# If limits would scale down earlier training, a warning comes before learning begins. The command
# in the warning can be pasted into a shell for any file name.
for name in 'an old one.kc' $'it\'s\n\x1b1 old.kc'; do
    expect 0 train "$name" "$shop.train.tsv" --set AverageRlimit=100
    expect 0 learn "$name" more.tsv --add-categories
    prints err '.kc: its limits make learning forget: '
    prints err 'This run goes on'
    [[ $(wc -l <err) == 1 ]] || fail "$command: more than one line"
    advice=$(sed -n 's/.*first run: zandrel //p' err)
    eval "expect 0 $advice"
    expect 0 learn "$name" more.tsv
    is_silent err
    rm "$name"
done

# Files that cannot be read as containers.
head -c 600 a.kc >cut.kc
for arguments in classify explain 'learn DATA' 'evaluate DATA'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    set -- ${arguments% DATA}
    expect 65 "$@" train.tsv more.tsv
    is err 'train.tsv: Not a kc file'
    expect 65 "$@" cut.kc more.tsv
    prints err 'cut.kc: the container is damaged: '
    expect 66 "$@" absent.kc more.tsv
    is err 'zandrel: cannot read absent.kc: No such file or directory'
    expect 66 "$@" . more.tsv
    is err 'zandrel: cannot read .: Is a directory'
    is_silent out
done
mkfifo pipe  # nobody writes to it, so opening it would wait for ever
for arguments in classify explain info 'tree show' 'tree dump' 'options get' 'options dump' dump check 'learn DATA' 'evaluate DATA'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 66 ${arguments% DATA} pipe $([[ $arguments != *DATA ]] || echo more.tsv)
    is err 'zandrel: cannot read pipe: not a regular file'
done
expect 66 options set pipe ClipValue=2
expect 66 tree delete pipe root/food
rm pipe
for name in classify explain; do
    expect 66 $name a.kc absent.txt
    is err 'zandrel: cannot read absent.txt: No such file or directory'
    expect 66 $name a.kc .
    prints err 'zandrel: cannot read .: '
    "$program" $name a.kc goal.txt >/dev/full 2>err
    [[ $? == 74 ]] || fail "$name: a full device is not noticed"
done

# Several processes print the same output as one.
for name in classify explain; do
    expect 65 $name a.kc "$shop.test.tsv" --max-line 60
    mv out one.out && mv err one.err
    expect 65 $name a.kc "$shop.test.tsv" --max-line 60 --jobs 3
    cmp -s out one.out && cmp -s err one.err || fail "$command: other output than without --jobs"
    "$program" $name a.kc "$shop.test.tsv" --jobs 2 >/dev/full 2>err
    [[ $? == 74 ]] || fail "$name --jobs: a full device is not noticed"
done

expect 65 explain a.kc "$shop.test.tsv" --max-line 60 --path -k 2
mv out one.out
expect 65 explain a.kc "$shop.test.tsv" --max-line 60 --path -k 2 --jobs 3
cmp -s out one.out || fail "$command: other output than without --jobs"

# A model from a file gets the same figures as a model that evaluate trains.
expect 0 train shop.kc "$shop.train.tsv"
prints out 'shop.kc: 968 texts, 8 labels (8 new), '
quality() { sed '/^training data\|^model\|^training \|^loading\|^classifying\|^peak/d' out; }
expect 0 evaluate --train "$shop.train.tsv" --test "$shop.test.tsv" --per-category
quality >trained.txt
expect 0 evaluate shop.kc "$shop.test.tsv" --per-category
quality | cmp -s - trained.txt || fail "$command: other figures than evaluate --train"
grep -q '^loading ' out || fail "$command: no time of loading"
! grep -q '^training' out || fail "$command: shows training"
[[ $(wc -l <trained.txt) -gt 20 ]] || fail "$command: hardly any figures"
expect 0 evaluate shop.kc "$shop.test.tsv" --per-category --jobs 2
quality | cmp -s - trained.txt || fail "$command: other figures than without --jobs"
expect 0 evaluate shop.kc "$shop.test.tsv" --json --threshold 0.6 --explain 'Where is my parcel?'
prints out '  "training": null,'
prints out '  "loading": {'
prints out '  "threshold": 0.6,'
prints out '    "category": "delivery",'
# The example of the README is the output of this program.
cp shop.kc routed.kc
expect 0 tree set routed.kc root/delivery --type rule
expect 0 tree add routed.kc root/delivery/lost --rule '"lost" | "missing" & !"found"'
expect 0 tree add routed.kc root/delivery/question --rule default
echo 'The delivery is late, the parcel seems to be missing' >late.txt
expect 0 explain routed.kc late.txt --path --top 2
[[ $(<"$here/../README.md") == *"$(<out)"* ]] || fail "$command: not the example of the README"
# The walks have the results of classify.
expect 0 classify routed.kc "$shop.test.tsv" --column 2 -k 3 --jsonl
sed 's/^{"categories":\(.*\)}$/\1/' out >results.txt
[[ $(wc -l <results.txt) -gt 200 ]] || fail "$command: hardly any results"
expect 0 explain routed.kc "$shop.test.tsv" --column 2 -k 3 --path --json
sed 's/.*"results":\(\[[^]]*\]\),"ended":.*/\1/' out | cmp -s - results.txt ||
    fail "$command: other results than classify"
rm routed.kc
expect 0 evaluate shop.kc more.tsv --learn more.tsv --bulk 1
[[ $(grep -c '^bulk ' out) == 2 ]] || fail "$command: not two bulks"

# The data are large enough that the signal comes during the training.
awk 'function letter() { return sprintf("%c", 97 + int(rand() * 26)) }
    BEGIN { srand(1); for (i = 0; i < 30000; ++i) { line = "l" (i % 40) "\t";
    for (j = 0; j < 30; ++j) line = line " " letter() letter() letter(); print line } }' >long.tsv
cp a.kc before.kc
command='train, interrupted'
for seconds in 1 3; do  # on a machine under load, training may not have begun after one second
    timeout --preserve-status -s INT $seconds "$program" train a.kc long.tsv --replace >out 2>err
    status=$?
    ((status != 130)) || [[ ! -s err ]] || break
done
((status == 130)) || fail "$command: exit status $status, not 130"
is err 'zandrel: Process interrupted'
is_silent out
cmp -s a.kc before.kc || fail "$command: changed the file"
rm before.kc cut.kc
holds a.kc b.kc compact.kc groups.kc shop.kc stems.kc

for arguments in train learn classify explain 'train b.kc' 'learn a.kc' 'evaluate a.kc' \
    'train b.kc train.tsv --analysis magic' 'train b.kc train.tsv --stem klingon' \
    'train b.kc train.tsv --stem english --analysis whitespace' 'train b.kc train.tsv --jsonl' \
    'train b.kc train.tsv --wait -1' 'learn b.kc train.tsv --wait nan' 'learn b.kc train.tsv --replace' \
    'classify a.kc goal.txt more' 'classify a.kc goal.txt -k 0' 'classify a.kc --train train.tsv' \
    'classify a.kc goal.txt --threshold 1.1' 'classify a.kc goal.txt --threshold nan' \
    'classify a.kc goal.txt --json' 'explain a.kc goal.txt --category' 'explain a.kc -k 2' 'explain a.kc --top 0' \
    'classify a.kc goal.txt --jobs 0' 'explain a.kc goal.txt --jobs 257' 'evaluate a.kc train.tsv --jobs x' \
    'learn a.kc more.tsv --set ProfileSize=5' 'evaluate a.kc more.tsv more' \
    'evaluate a.kc more.tsv --train train.tsv' 'evaluate a.kc more.tsv --test more.tsv' \
    'evaluate a.kc more.tsv --bootstrap' 'evaluate a.kc more.tsv --groups groups.tsv' \
    'evaluate a.kc more.tsv --set ProfileSize=5' 'evaluate a.kc more.tsv --options small.options'; do
    # shellcheck disable=SC2086  # The words are the arguments.
    expect 64 $arguments
    is_silent out
    [[ -s err ]] || fail "$command: says nothing"
done

((failures == 0))
