"""Compares the results of this build of the program with the results of another commit, byte by byte.

Both builds train, learn, classify, explain, edit and save with data/shop, with made-up texts under
every setting, and with the corpora of a folder. After each command we compare its output, its
messages, its exit status and all files that it has written. We also print the peak memory of both.

The clock does not move while the program runs, since a container contains the time of its training,
and its id comes from the clock. So whole files can be compared. Debian's package libfaketime stops the
clock.

The other build is kept in build/same/COMMIT. Files that differ are kept in build/same/different.
"""
import argparse
import hashlib
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

from .corpora import find_corpora
from .failure import Failure
from .processes import Cost, run_with_status
from .program import PROGRAM, ROOT, build_program, build_targets
from .same_cases import all_cases, write_inputs

FOLDER = ROOT / "build" / "same"
DIFFERENT = FOLDER / "different"
SHOP = ROOT / "data" / "shop"
# A clock that does not move. Times of files and the clock for durations stay real.
CLOCK = {"FAKETIME": "2026-01-01 00:00:00", "FAKETIME_DONT_FAKE_MONOTONIC": "1", "NO_FAKE_STAT": "1"}
ROW = "{:<60} {:>4} {:>9} {:>9} {:>7} {:>8} {:>8}"
# Figures of `evaluate --json` that differ from run to run.
COSTS = re.compile(rb'"(cpu_seconds|analysis_seconds|peak_memory_bytes)": [0-9.e+-]+')


class Difference(Exception):
    pass


def main(arguments):
    options = parse(arguments)
    try:
        corpora = find_corpora(options.data, options.corpus) if options.data else []
        build_program()
        base = build_commit(commit_of(options.commit))
        return compare_builds(base, PROGRAM, corpora, options.case)
    except Failure as failure:
        print(f"same: {failure}", file=sys.stderr)
        return 2


def parse(arguments):
    parser = argparse.ArgumentParser(prog="script/test same", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("commit", metavar="COMMIT", help="commit to compare the working tree with")
    parser.add_argument("--data", metavar="DIR",
                        help="also folder of corpora NAME.train.tsv with NAME.test.tsv")
    parser.add_argument("--corpus", action="append", metavar="NAME",
                        help="use only this corpus of DIR; may be given more than once")
    parser.add_argument("--case", metavar="TEXT", default="",
                        help="run only cases whose names contain this text")
    return parser.parse_args(arguments)


def commit_of(name):
    """RAISES: Failure if there is no such commit."""
    done = subprocess.run(["git", "-c", "safe.directory=*", "-C", str(ROOT), "rev-parse", "--verify", "--quiet",
                           f"{name}^{{commit}}"], stdout=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise Failure(f"no commit '{name}'")
    return done.stdout.strip()


def build_commit(commit):
    """Builds the program of a commit in its own worktree, or uses an existing worktree."""
    source = FOLDER / commit[:12]
    program = source / PROGRAM.relative_to(ROOT)
    if not source.is_dir():
        git = ["git", "-c", "safe.directory=*", "-C", str(ROOT), "worktree"]
        # Git still has the worktree if somebody has only removed its folder.
        done = [subprocess.run(git + arguments, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               text=True)
                for arguments in (["prune"], ["add", "--detach", str(source), commit])][-1]
        if done.returncode != 0:
            raise Failure(done.stdout)
    build_targets("zandrel_cli", root=source)
    return program


def compare_builds(base, new, corpora, wanted=""):
    """Prints a line for each case. Returns the exit status: 1 if something differs."""
    environment = {"LD_PRELOAD": str(library_of_the_clock()), **CLOCK}
    cases = [case for case in all_cases(corpora) if wanted in case.name]
    if not cases:
        raise Failure(f"no case with '{wanted}' in its name")
    shutil.rmtree(DIFFERENT, ignore_errors=True)
    print(ROW.format("", "", "base MB", "new MB", "ratio", "base s", "new s"))
    different = []
    with tempfile.TemporaryDirectory(prefix="zandrel-same-") as folder:
        work = pathlib.Path(folder)
        inputs = write_inputs(work, SHOP, corpora)
        for case in cases:
            sides = [Side(program, work / name, inputs, environment)
                     for program, name in ((base, "base"), (new, "new"))]
            try:
                run_case(case, *sides)
                verdict = "same"
            except Difference as difference:
                verdict = "DIFF"
                different.append(f"{case.name}: {difference}")
                keep(case, sides)
            print(row(case, verdict, *(side.cost for side in sides)), flush=True)
            for side in sides:
                shutil.rmtree(side.folder)
    print_differences(different, len(cases))
    return 1 if different else 0


def library_of_the_clock():
    """RAISES: Failure if it is not installed."""
    for path in sorted(pathlib.Path("/usr/lib").glob("*/faketime/libfaketime.so.1")):
        return path
    raise Failure("missing package: faketime; `script/bootstrap` installs it")


class Side:
    """One build that works in its own folder. Outputs contain only paths relative to it, so that both
    builds print the same names."""

    def __init__(self, program, folder, inputs, environment):
        self.folder = folder
        self.cost = Cost()
        self._program = str(program)
        self._inputs = inputs
        self._environment = environment
        folder.mkdir()

    def do(self, command):
        """Returns (status, {name of a file: its bytes' digest}) after one command."""
        if command[0].startswith(">"):
            lines = "".join(line + "\n" for line in command[1:])
            (self.folder / command[0][1:]).write_text(lines, "utf-8")
            return 0, {}
        arguments = [self._inputs[word[1:-1]] if word.startswith("{") else word for word in command]
        output, errors = self.folder / "output", self.folder / "messages"
        status, cost = run_with_status([self._program] + arguments, output, errors, self.folder,
                                       self._environment)
        self.cost += cost
        if status < 0:
            raise Difference(f"`{' '.join(command)}` ended by signal {-status}")
        if command[0] == "evaluate":
            output.write_bytes(COSTS.sub(b"", output.read_bytes()))
        return status, {path.name: hashlib.sha256(path.read_bytes()).digest()
                        for path in sorted(self.folder.iterdir()) if not path.name.startswith(".")}


def run_case(case, base, new):
    """RAISES: Difference."""
    for number, command in enumerate(case.commands, 1):
        (status, files), (new_status, new_files) = base.do(command), new.do(command)
        where = f"after command {number}, `{' '.join(command)}`"
        if status != new_status:
            raise Difference(f"exit status {status} and {new_status} {where}")
        if set(files) != set(new_files):
            raise Difference(f"files {sorted(files)} and {sorted(new_files)} {where}")
        for name in files:
            if files[name] != new_files[name]:
                offset = first_difference(base.folder / name, new.folder / name)
                raise Difference(f"`{name}` differs at byte {offset} {where}")


def first_difference(one, other):
    pairs = zip(one.read_bytes(), other.read_bytes())
    shorter = min(one.stat().st_size, other.stat().st_size)
    return next((offset for offset, (left, right) in enumerate(pairs) if left != right), shorter)


def keep(case, sides):
    name = re.sub("[^A-Za-z0-9=.-]+", "_", case.name)
    for side in sides:
        shutil.copytree(side.folder, DIFFERENT / name / side.folder.name)


def row(case, verdict, base, new):
    """Memory is the greatest resident set of a process, time is the CPU time of all processes."""
    return ROW.format(case.name[:60], verdict, f"{base.peak_bytes / 1e6:.1f}",
                      f"{new.peak_bytes / 1e6:.1f}", f"{new.peak_bytes / base.peak_bytes:.2f}",
                      f"{base.cpu_seconds:.2f}", f"{new.cpu_seconds:.2f}")


def print_differences(different, count):
    if not different:
        print(f"\nall {count} cases are the same")
        return
    print(f"\n{len(different)} of {count} cases differ; their files are in {DIFFERENT}")
    for line in different:
        print(f"  {line}")


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
