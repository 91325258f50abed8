"""Checks the pages of the project: links, names and the list of decisions.

Usage: pages_document_test.py PROJECT_FOLDER
"""

import ast
import pathlib
import re
import sys
import unittest

from cpp_tokens import tokenize

PROJECT = pathlib.Path(sys.argv[1])
DECISIONS = PROJECT / "docs" / "decisions"

_LINK = re.compile(r"\]\(([^)\s]+)\)")
_CODE_BLOCK = re.compile(r"^```.*?^```$|^    .*?$", re.MULTILINE | re.DOTALL)
_CODE = re.compile(r"`([^`]+)`")
_TERM = re.compile(r"^- \*\*(.+?)\*\*: ", re.MULTILINE)


def pages():
    """The project's pages, without the files of build trees."""
    yield from sorted(PROJECT.glob("*.md"))
    for folder in ("docs", "data"):
        yield from sorted((PROJECT / folder).rglob("*.md"))


def anchors_of(text):
    """The names by which headings are linked."""
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def is_broken(page, link):
    if re.match(r"[a-z]+:", link):
        return False
    path, _, anchor = link.partition("#")
    target = (page.parent / path) if path else page
    if not target.exists():
        return True
    return bool(anchor) and anchor not in anchors_of(target.read_text("utf-8"))


def names_of_sources():
    names = set()
    for folder in ("zandrel", "text", "cli"):
        for path in sorted((PROJECT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                tokens = tokenize(path.read_text("utf-8"))
                names.update(token.text for token in tokens if token.kind == "name")
    for path in sorted((PROJECT / "python" / "zandrel").glob("*.py")):
        names.update(node.name for node in ast.walk(ast.parse(path.read_text("utf-8")))
                     if isinstance(node, (ast.ClassDef, ast.FunctionDef)))
    return names


def unknown_names(text, known):
    """Names between backquotes that the sources do not have, and paths that do not exist."""
    unknown = []
    for code in _CODE.findall(_CODE_BLOCK.sub("", text)):
        if code.startswith("-"):
            continue  # an option of a program
        if "/" in code:
            unknown += [code] if not (PROJECT / code).exists() else []
        else:
            words = re.findall(r"(?<![-\w])[A-Za-z_]\w*", code)
            unknown += [word for word in words if word not in known]
    return unknown


class PagesTest(unittest.TestCase):
    maxDiff = None

    def test_links_have_targets(self):
        broken = []
        link_count = 0
        for page in pages():
            for link in _LINK.findall(_CODE_BLOCK.sub("", page.read_text("utf-8"))):
                link_count += 1
                if is_broken(page, link):
                    broken.append(f"{page.relative_to(PROJECT)}: {link}")
        self.assertGreater(link_count, 30)
        self.assertEqual(broken, [])

    def test_finds_broken_links(self):
        page = PROJECT / "docs" / "architecture.md"
        for link in ("nothing.md", "errors.md#nothing", "#nothing"):
            self.assertTrue(is_broken(page, link), link)
        for link in ("errors.md#qtxzeoptmap", "#folders", "../zandrel/", "https://example.org"):
            self.assertFalse(is_broken(page, link), link)

    def test_glossary_has_each_term_once(self):
        terms = _TERM.findall((PROJECT / "docs" / "glossary.md").read_text("utf-8"))
        single = [word for term in terms for word in term.split(", ")]
        self.assertGreater(len(single), 60)
        self.assertEqual([word for word in single if single.count(word) > 1], [])

    def test_embedding_lists_each_exported_global_name(self):
        page = (PROJECT / "docs" / "embedding.md").read_text("utf-8")
        section = page.split("## Names that the library claims")[1].split("\n## ")[0]
        listed = set(_CODE.findall(section))
        exported = (PROJECT / "tests" / "install" / "exported_symbols.txt").read_text("utf-8")
        names = set(re.findall(r"^(?:class|function|variable) (\w+)(?![\w:])", exported, re.MULTILINE))
        ours = {name for name in names if not name.startswith(("ze", "qt", "ml"))}
        self.assertIn("process_assert", ours)
        self.assertEqual(sorted(ours - listed), [])

    def test_names_in_glossary_and_decisions_exist(self):
        known = names_of_sources()
        self.assertEqual(unknown_names("`zeManager`, `zeNoManager`", known), ["zeNoManager"])
        for page in [PROJECT / "docs" / "glossary.md", *sorted(DECISIONS.glob("*.md"))]:
            with self.subTest(page.name):
                self.assertEqual(unknown_names(page.read_text("utf-8"), known), [])

    def test_decisions_are_listed_and_have_one_form(self):
        listed = re.findall(r"^- \[(.+)\]\((.+)\)$", (DECISIONS / "README.md").read_text("utf-8"), re.M)
        titles = {}
        for page in sorted(DECISIONS.glob("*.md")):
            if page.name != "README.md":
                text = page.read_text("utf-8")
                titles[page.name] = re.findall(r"^# (.+)$", text, re.M)
                with self.subTest(page.name):
                    self.assertEqual(
                        re.findall(r"^## (.+)$", text, re.M), ["Context", "Decision", "Consequence"]
                    )
        self.assertEqual({name: [title] for title, name in listed}, titles)
        self.assertEqual(len(listed), len(titles))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
