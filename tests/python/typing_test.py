"""Tests that the type hints are complete and say what the module does."""

import inspect
import pathlib
import subprocess
import sys

import pytest

import zandrel
import zandrel.dask
import zandrel.sklearn
from conftest import PROJECT
from zandrel import _zandrel

USE = """
import zandrel
from typing import List

classifier = zandrel.Classifier.train([("a", "one"), zandrel.Example(["b"], "two")])
one: List[zandrel.Label] = classifier.classify("text")
many: List[List[zandrel.Label]] = classifier.classify(["text"], jobs=2)
name: str = one[0].name
score: float = many[0][0].score
reasons: zandrel.Reasons = classifier.explain("text")
"""


def mypy(*arguments, cwd, cache):
    config = PROJECT / "python" / "mypy.ini"
    command = [
        "mypy",
        "--config-file",
        config,
        "--cache-dir",
        cache,
        "--python-executable",
        sys.executable,
        *arguments,
    ]
    return subprocess.run(command, cwd=cwd, capture_output=True, text=True, timeout=300)


@pytest.fixture(scope="module")
def cache(tmp_path_factory):
    return tmp_path_factory.mktemp("mypy")


def test_package_has_no_finding(cache):
    done = mypy("zandrel", cwd=PROJECT / "python", cache=cache)
    assert done.returncode == 0, done.stdout


def test_uses_have_the_documented_types(tmp_path, cache):
    (tmp_path / "use.py").write_text(USE)
    done = mypy("use.py", cwd=tmp_path, cache=cache)
    assert done.returncode == 0, done.stdout
    (tmp_path / "wrong.py").write_text(USE + "name = one[0].score\nclassifier.classify(7)\n")
    done = mypy("wrong.py", cwd=tmp_path, cache=cache)
    assert done.stdout.count("error:") == 2, done.stdout


def test_stub_names_the_functions_of_the_module():
    stub = (pathlib.Path(zandrel.__file__).parent / "_zandrel.pyi").read_text("utf-8")
    for owner in (_zandrel, _zandrel.Classifier, _zandrel.FileRecords):
        for name in vars(owner):
            if not name.startswith("_"):
                assert any(f"{word} {name}" in stub for word in ("def", "class")) or f"{name}:" in stub


def test_everything_public_has_a_docstring():
    for module in (zandrel, zandrel.dask, zandrel.sklearn):
        assert module.__doc__
        for name in getattr(module, "__all__", ["classifier", "classify"]):
            value = getattr(module, name)
            if not (inspect.isclass(value) or inspect.isfunction(value)):
                continue
            assert value.__doc__, name
            for method, function in vars(value).items():
                if not method.startswith("_") and inspect.isfunction(function):
                    assert function.__doc__, f"{name}.{method}"
