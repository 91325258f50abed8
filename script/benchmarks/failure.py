"""The error of a benchmark, with a message for its user."""
import sys


class Failure(Exception):
    pass


def report(failure):
    print(f"bench: {failure}", file=sys.stderr, flush=True)
