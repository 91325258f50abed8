"""Runs a program that a document shows, to compare its output with the document."""

import subprocess
import tempfile


def output_of(program):
    """Runs the program in an empty folder and returns what it prints.

    RAISES: AssertionError if it fails, or prints errors.
    """
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            [program],
            cwd=folder,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            timeout=60,
        )
    if run.returncode != 0 or run.stderr:
        raise AssertionError(f"{program}: exit status {run.returncode}: {run.stderr}")
    return run.stdout
