"""What the tests of the Python package share.

ZANDREL_PROGRAM is the program zandrel of the same build, ZANDREL_BUILD the build tree, and PYTHONPATH
begins with the folder of the built package.
"""

import os
import pathlib
import subprocess

import pytest

import zandrel

PROJECT = pathlib.Path(__file__).resolve().parents[2]
TRAIN = PROJECT / "data" / "shop" / "shop.train.tsv"
TEST = PROJECT / "data" / "shop" / "shop.test.tsv"


def read_tsv(path):
    """The (label, text) pairs of a data file."""
    lines = path.read_text("utf-8").splitlines()
    return [tuple(line.split("\t", 1)) for line in lines]


def assert_same_container(first, second):
    """The files differ only in their id, the time of their training, and the checksums of both."""
    one, other = pathlib.Path(first).read_bytes(), pathlib.Path(second).read_bytes()
    assert len(one) == len(other)
    assert sum(left != right for left, right in zip(one, other)) <= 24
    texts = [text for _, text in read_tsv(TEST)]
    with zandrel.Classifier.open(first) as left, zandrel.Classifier.open(second) as right:
        assert left.labels == right.labels
        assert left.classify(texts, count=-1) == right.classify(texts, count=-1)


@pytest.fixture(scope="session")
def train_pairs():
    return read_tsv(TRAIN)


@pytest.fixture(scope="session")
def test_texts():
    return [text for _, text in read_tsv(TEST)]


@pytest.fixture(scope="session")
def run_program():
    """Runs the program zandrel and returns its output."""

    def run(*arguments, **options):
        command = [os.environ["ZANDREL_PROGRAM"], *map(str, arguments)]
        done = subprocess.run(command, capture_output=True, text=True, timeout=60, **options)
        assert done.returncode == 0, done.stderr
        return done.stdout

    return run


@pytest.fixture(scope="session")
def shop_kc(tmp_path_factory, run_program):
    """A container that the program trained."""
    path = tmp_path_factory.mktemp("shop") / "shop.kc"
    run_program("train", path, TRAIN)
    return path


@pytest.fixture(scope="session")
def shop(shop_kc):
    with zandrel.Classifier.open(shop_kc) as classifier:
        yield classifier
