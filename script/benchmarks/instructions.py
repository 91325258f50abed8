"""Counts the instructions of six small jobs of the program, and compares them with recorded counts.

Usage: python3 -B -m benchmarks.instructions PROGRAM COUNTS [--update | --profile]    in script/

PROGRAM is the program of the release build, COUNTS a file of recorded counts, which --update rewrites.
The exit status is 1 if a job needs 5 % more instructions than recorded. The message names the functions
that need more. Counts are those of valgrind's tool callgrind. They repeat to about 0.01 %,
however busy the machine is, while times differ by 30 % and more.

Record new counts after a change that is meant to make a job slower or faster, and say so in the commit:

    cmake --build --preset release --target record_instruction_counts

--profile prints for each job the share of each function with all functions that it calls, and
compares nothing.
"""
import json
import operator
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from .failure import Failure
from .program import ROOT
from .synthetic import Recipe, data_lines

ALLOWED_RISE = 0.05
# Recorded for each job, to find the reason of a rise.
FUNCTIONS = 40
# The greatest number of functions that a message names.
NAMED = 8
SHOP = ROOT / "data" / "shop"
# The environment could change what the program does.
ENVIRONMENT = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"}
ANNOTATED = re.compile(r"^ *([0-9,]+) \([^)]*\) +(?:[^ :]*:)?(.*?)(?: \[[^\]]*\])?$")


class Job:
    """Commands that prepare the job, and the command that is counted."""

    def __init__(self, name, preparations, counted):
        self.name = name
        self.preparations = preparations
        self.counted = counted


def all_jobs():
    rules = [["tree", "set", "rules.kc", "root/delivery", "--type", "rule"]]
    rules += [["tree", "add", "rules.kc", f"root/delivery/part{number}", "--rule",
               f'"parcel" & "late" | "word{number}" ? 0.5 : {number} * 0.01']
              for number in range(9)]
    return [
        Job("train words", [], ["train", "words.kc", "topics", "--analysis", "words"]),
        Job("train phrases", [], ["train", "phrases.kc", "shop.few", "--analysis", "phrases"]),
        Job("learn", [["train", "learn.kc", "shop", "--analysis", "words"]],
            ["learn", "learn.kc", "shop.more"]),
        Job("load", [["train", "load.kc", "topics"]], ["classify", "load.kc", "nothing"]),
        Job("classify with many labels", [["train", "many.kc", "many", "--analysis", "words"]],
            ["classify", "many.kc", "many", "--column", "2"]),
        Job("classify by rules", [["train", "rules.kc", "shop", "--analysis", "words"], *rules],
            ["classify", "rules.kc", "shop.all", "--column", "2", "-k", "3"]),
    ]


def write_inputs(folder):
    """Files of the same bytes in each run."""
    shop = (SHOP / "shop.train.tsv").read_bytes().splitlines(keepends=True)
    topics = Recipe(labels=12, texts=500, words=3000, seed=21)
    many = Recipe(labels=200, texts=600, words=2000, topic_words=8, mean_length=10, seed=22)
    for name, lines in (("shop", shop[:250]), ("shop.few", shop[:120]), ("shop.more", shop[250:400]),
                        ("shop.all", shop), ("nothing", []), ("topics", data_lines(topics)), ("many", data_lines(many))):
        (folder / name).write_bytes(b"".join(lines))


class Count:
    """Instructions of a job, and of its costliest functions, without those that they call."""

    def __init__(self, instructions, functions):
        self.instructions = instructions
        self.functions = functions


def count_job(program, job, folder):
    profile = run_job(program, job, folder)
    return Count(total_of(profile.read_text("utf-8", "replace")), functions_of(profile, folder))


def run_job(program, job, folder):
    """Returns the file that callgrind has written."""
    for command in job.preparations:
        call([program, *command], folder)
    profile = folder / "callgrind.out"
    call(["valgrind", "--tool=callgrind", f"--callgrind-out-file={profile}", program, *job.counted],
         folder)
    return profile


def call(command, folder):
    """RAISES: Failure with what the program wrote."""
    done = subprocess.run([str(word) for word in command], cwd=folder, env=ENVIRONMENT,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode != 0:
        raise Failure(f"{' '.join(str(word) for word in command)} failed (status {done.returncode}): "
                      f"{done.stderr.decode('utf-8', 'replace')[-1000:]}")
    return done.stdout.decode("utf-8", "replace")


def total_of(profile):
    """RAISES: Failure if the profile has no line of its sum."""
    found = re.search(r"^(?:summary|totals): (\d+)", profile, re.MULTILINE)
    if found is None:
        raise Failure("callgrind has written no sum")
    return int(found.group(1))


def functions_of(profile, folder):
    """The costliest functions of a profile with their own instructions."""
    return parse_annotated(call(["callgrind_annotate", "--threshold=99", profile], folder))


def callers_of(profile, folder):
    """The same, but each with the functions that it calls. If functions have one name, one may call
    the other, so their costs are not added."""
    return parse_annotated(call(["callgrind_annotate", "--threshold=99", "--inclusive=yes", profile],
                                folder), max)


def parse_annotated(text, join=operator.add):
    """The instructions by name. `join` combines the numbers of two functions with one name, such as two
    instances of a template."""
    functions = {}
    for line in text.partition("file:function")[2].splitlines():
        found = ANNOTATED.match(line)
        if found is not None:
            cost, name = int(found.group(1).replace(",", "")), short_name(found.group(2))
            functions[name] = join(functions.get(name, 0), cost)
    costliest = sorted(functions.items(), key=lambda item: -item[1])
    return dict(costliest[:FUNCTIONS])


def short_name(function):
    """The name without arguments and return type. Example: `void std::swap<int>(int&, int&)` and
    `void std::swap<char>(char&, char&)` are both `std::swap`."""
    changed = 1
    while changed:
        function, changed = re.subn(r"<[^<>]*>|\([^()]*\)|\{[^{}]*\}|\[[^\[\]]*\]", "", function)
    words = re.sub(r"\boperator (\w)", r"operator_\1", function).replace(" const", "").split()
    return words[-1] if words else "?"


def complaint(name, count, recorded):
    """The complaint about a job, or None."""
    if recorded is None:
        return f"{name}: no recorded count"
    if count.instructions <= (1 + ALLOWED_RISE) * recorded.instructions:
        return None
    rise = count.instructions / recorded.instructions - 1
    lines = [f"{name}: {count.instructions:,} instructions, recorded {recorded.instructions:,}: "
             f"{100 * rise:+.1f} %, {100 * ALLOWED_RISE:.0f} % are allowed"]
    return "\n".join(lines + [f"    {line}" for line in risen_functions(count, recorded)])


def risen_functions(count, recorded):
    """The functions that cost more than recorded, the greatest difference first. A function without a
    record cost at most as much as the cheapest recorded one."""
    least = min(recorded.functions.values(), default=0)
    rises = []
    for function, cost in count.functions.items():
        before = recorded.functions.get(function)
        rise = cost - (least if before is None else before)
        if rise > 0:
            was = f"at most {least:,}" if before is None else f"{before:,}"
            rises.append((rise, f"{cost:,}, recorded {was}: {function}"))
    return [line for _, line in sorted(rises, key=lambda pair: -pair[0])[:NAMED]]


def read_counts(path):
    recorded = json.loads(path.read_text("utf-8")) if path.is_file() else {}
    return {name: Count(job["instructions"], job["functions"]) for name, job in recorded.items()}


def write_counts(path, counts):
    text = json.dumps({name: vars(count) for name, count in counts.items()}, indent=1)
    path.write_text(text + "\n", "utf-8")


def for_all_jobs(work):
    """The results of work(job, folder) by the names of the jobs. RAISES: Failure if valgrind is missing or
    a command fails."""
    if shutil.which("valgrind", path=ENVIRONMENT["PATH"]) is None:
        raise Failure("missing package: valgrind; `script/bootstrap release` installs it")
    with tempfile.TemporaryDirectory(prefix="zandrel-count-") as folder:
        write_inputs(pathlib.Path(folder))
        return {job.name: work(job, pathlib.Path(folder)) for job in all_jobs()}


def count_all(program):
    return for_all_jobs(lambda job, folder: count_job(program, job, folder))


def print_profiles(program):
    """A recursive function has a share for its outermost calls and, as `name'2`, one for the others."""
    def print_one(job, folder):
        profile = run_job(program, job, folder)
        total = total_of(profile.read_text("utf-8", "replace"))
        print(f"{job.name}: {total:,} instructions")
        for function, cost in callers_of(profile, folder).items():
            print(f"{100 * cost / total:7.1f} %  {function}", flush=True)

    for_all_jobs(print_one)


def compare(counts, recorded):
    """Prints a line for each job. Returns the complaints."""
    for name, count in counts.items():
        before = recorded.get(name)
        change = f"{100 * (count.instructions / before.instructions - 1):+6.1f} %" if before else ""
        print(f"{name:<28} {count.instructions:>14,} {change}")
    complaints = [complaint(name, count, recorded.get(name)) for name, count in counts.items()]
    complaints += [f"{name}: recorded, but there is no such job"
                   for name in recorded if name not in counts]
    return [text for text in complaints if text is not None]


def main(arguments):
    program, path = pathlib.Path(arguments[0]).resolve(), pathlib.Path(arguments[1])
    try:
        if "--profile" in arguments:
            print_profiles(program)
            return 0
        counts = count_all(program)
    except Failure as failure:
        print(f"instructions: {failure}", file=sys.stderr)
        return 1
    complaints = compare(counts, read_counts(path))
    if "--update" in arguments:
        write_counts(path, counts)
        return 0
    for text in complaints:
        print(text, file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
