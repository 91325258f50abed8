"""Runs the code of docs/python.md from its beginning to its end, as a notebook does.

A block of Python that is followed by a block of text prints this text. As in a notebook, the value
of its last expression is printed too. Other blocks print nothing.
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


@pytest.mark.parametrize("page", PAGES)
def test_shown_output_is_that_of_the_code(page, tmp_path, monkeypatch):
    (tmp_path / "data").symlink_to(PROJECT / "data")
    monkeypatch.chdir(tmp_path)
    blocks = BLOCK.findall((PROJECT / page).read_text("utf-8"))
    assert blocks
    names = {"__name__": "__main__"}
    for code, shown in blocks:
        output = output_of(code, names)
        assert output == shown, f"{code}\nprints\n{output}"


def test_last_expression_is_shown_as_in_a_notebook():
    assert output_of("print(1)\n2", {}) == "1\n2\n"
    assert output_of("'a'", {}) == "'a'\n"
    assert output_of("None", {}) == ""
    assert output_of("x = 1", {}) == ""
