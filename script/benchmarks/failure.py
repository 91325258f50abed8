"""The error with which a benchmark tells its user what is wrong."""
import sys


class Failure(Exception):
    pass


def report(failure):
    print(f"bench: {failure}", file=sys.stderr, flush=True)
