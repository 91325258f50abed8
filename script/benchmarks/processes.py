"""Runs programs and measures what they cost as whole processes."""
import os
import pathlib
import subprocess
import sys
import tempfile
import time

from .failure import Failure

_ONE_THREAD = {"OMP_NUM_THREADS": "1", "OPENBLAS_NUM_THREADS": "1", "MKL_NUM_THREADS": "1"}


class Cost:
    """`cpu_seconds` of user and system, `peak_bytes` of the largest process."""

    def __init__(self, cpu_seconds=0.0, peak_bytes=0):
        self.cpu_seconds = cpu_seconds
        self.peak_bytes = peak_bytes

    def __add__(self, other):
        return Cost(self.cpu_seconds + other.cpu_seconds, max(self.peak_bytes, other.peak_bytes))


def run(command, output, good_statuses=(0,)):
    """Runs a program with its output in a file. RAISES: Failure with what it wrote to stderr."""
    errors = pathlib.Path(f"{output}.errors")
    status, cost = run_with_status(command, output, errors)
    if status not in good_statuses:
        complaint = errors.read_text("utf-8", "replace").strip()[-1000:]
        raise Failure(f"{' '.join(command)} failed (status {status}): {complaint}")
    return cost


def run_with_status(command, output, errors, folder=None, environment=None):
    """Runs a program in a folder, with its output and its messages in files and with additions to
    the environment. Returns its exit status, below 0 for a signal, and its cost."""
    sys.stdout.flush()
    # The memory that the child has from this process counts for its peak. A forked child has some
    # 10 MB, less than any of the programs. A child that shares all memory until it starts the
    # program has all of it.
    child = os.fork()
    if child == 0:
        _become(command, output, errors, folder, environment or {})
    _, status, usage = os.wait4(child, 0)
    # Linux counts the memory in KiB.
    return (os.waitstatus_to_exitcode(status),
            Cost(usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024))


def run_all(commands, output, good_statuses=(0,)):
    """Runs one after the other; `output` is the output of the last."""
    cost = Cost()
    for command in commands:
        cost += run(command, output, good_statuses)
    return cost


def seconds_to_first_line(command, line=None):
    """Starts a program and measures the time until it has written a line. The program
    gets `line` at once, and its input stays open: a filter must not wait for the end.
    RAISES: Failure."""
    with tempfile.TemporaryFile() as errors:
        start = time.perf_counter()
        try:
            process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL if line is None else subprocess.PIPE,
                stdout=subprocess.PIPE, stderr=errors, env={**os.environ, **_ONE_THREAD})
        except OSError as error:
            raise Failure(f"{command[0]}: {error.strerror}") from error
        with process:
            _hand_over(process.stdin, line)
            first = process.stdout.readline()
            seconds = time.perf_counter() - start
            process.communicate()
        errors.seek(0)
        if process.returncode != 0 or not first:
            complaint = errors.read().decode("utf-8", "replace").strip()[-1000:]
            raise Failure(f"{' '.join(command)} failed (status {process.returncode}): {complaint}")
    return seconds


def _hand_over(stream, line):
    if line is None:
        return
    try:
        stream.write(line.encode("utf-8"))
        stream.flush()
    except BrokenPipeError:
        pass  # The program has ended, and its status shows why.


def _become(command, output, errors, folder, environment):
    try:
        os.dup2(os.open(os.devnull, os.O_RDONLY), 0)
        os.dup2(os.open(output, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644), 1)
        os.dup2(os.open(errors, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644), 2)
        if folder is not None:
            os.chdir(folder)
        os.execvpe(command[0], command, {**os.environ, **_ONE_THREAD, **environment})
    except OSError as error:
        os.write(2, f"{command[0]}: {error.strerror}\n".encode())
    finally:
        os._exit(127)
