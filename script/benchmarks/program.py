"""The program that is measured."""
import json
import pathlib
import subprocess

from .failure import Failure

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAM = ROOT / "build" / "release" / "cli" / "zandrel"


def build_program():
    build_targets("zandrel_cli")


def build_targets(*targets, root=ROOT):
    """Builds in the working tree `root`. RAISES: Failure with the messages of the build."""
    for command in (["cmake", "--preset", "release"],
                    ["cmake", "--build", "--preset", "release", "-j2", "--target", *targets]):
        try:
            done = subprocess.run(command, cwd=root, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True)
        except FileNotFoundError as error:
            raise Failure("no cmake; script/bootstrap installs it") from error
        if done.returncode != 0:
            raise Failure(f"{' '.join(command)} failed:\n{done.stdout}")


def evaluation_command(corpus, analysis):
    return [str(PROGRAM), "evaluate", "--train", str(corpus.train), "--test", str(corpus.test),
            "--analysis", analysis, "--json"]


def evaluate(corpus, analysis, *more):
    """The report of `zandrel evaluate` for a corpus. `more`: further arguments."""
    return json.loads(output_of(evaluation_command(corpus, analysis) + list(more)))


def evaluate_container(container, test, *more):
    return json.loads(output_of([str(PROGRAM), "evaluate", str(container), str(test), "--json", *more]))


def train_container(container, train, analysis, *more):
    output_of([str(PROGRAM), "train", str(container), str(train), "--analysis", analysis, *more])


def output_of(command):
    """RAISES: Failure with the message of the program."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode != 0:
        raise Failure(done.stderr.strip() or f"zandrel ended with status {done.returncode}")
    return done.stdout
