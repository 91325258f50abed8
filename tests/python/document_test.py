"""Runs the code of docs/python.md from its beginning to its end, as a notebook does.

A block of Python that is followed by a block of text prints this text. As in a notebook, the value
of its last expression is printed too. `...` in a text stands for any characters of a line.
"""

import ast
import contextlib
import io
import re

import pytest

from conftest import PROJECT

PAGES = ["README.md", "docs/python.md"]
BLOCK = re.compile(r"^```python\n(.*?)^```\n(?:\n```text\n(.*?)^```$)?", re.MULTILINE | re.DOTALL)


def output_of(code, names):
    """What a cell of a notebook shows."""
    tree = ast.parse(code)
    last = tree.body.pop() if tree.body and isinstance(tree.body[-1], ast.Expr) else None
    shown = io.StringIO()
    with contextlib.redirect_stdout(shown):
        exec(compile(tree, "<document>", "exec"), names)
        if last is not None:
            value = eval(compile(ast.Expression(last.value), "<document>", "eval"), names)
            if value is not None:
                print(repr(value))
    return shown.getvalue()


def matches(shown, output):
    pattern = re.escape(shown).replace(re.escape("..."), ".*")
    return re.fullmatch(pattern, output) is not None


@pytest.mark.parametrize("page", PAGES)
def test_shown_output_is_that_of_the_code(page, tmp_path, monkeypatch):
    (tmp_path / "data").symlink_to(PROJECT / "data")
    monkeypatch.chdir(tmp_path)
    blocks = BLOCK.findall((PROJECT / page).read_text("utf-8"))
    assert blocks
    names = {"__name__": "__main__"}
    for code, shown in blocks:
        output = output_of(code, names)
        assert matches(shown, output), f"{code}\nprints\n{output}"


def test_other_output_is_found():
    assert not matches("1\n", output_of("1 + 1", {}))
    assert matches("2\n", output_of("1 + 1", {}))
    assert matches("a... c\n", output_of("print('a b c')", {}))
