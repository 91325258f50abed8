"""Compares docs/errors.md with the errors that the library raises and the tests expect.

Usage: errors_document_test.py PROJECT_FOLDER
"""

import pathlib
import sys
import unittest

from errors_document import BadDocument, ErrorsDocument, shown
from raises import HOLE, NotUnderstood, Sources
from tested_errors import TestedErrors

PROJECT = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")


def raises_of(text, name="zandrel/a.cpp"):
    return [each[:4] for each in Sources({name: text}).raises()]


class RaisesTest(unittest.TestCase):
    """The finder of raises, on small sources."""

    def test_finds_number_text_and_arguments(self):
        self.assertEqual(
            raises_of('void f() { throw qtX<Store>(3, "Bad key: " + key, {key, qtString("x")}); }'),
            [("qtX<Store>", "3", ("Bad key: ", HOLE), 2)],
        )

    def test_finds_templates_constants_and_texts_in_two_parts(self):
        self.assertEqual(
            raises_of(
                'enum { kBad = 7 }; constexpr const char* kText = "Bad";'
                "template <class F> void f() { throw qtX<Store<F>>(kBad, kText, names()); }"
                'void g() { throw qtXbase("one, " \n "two"); }'
            ),
            [
                ("qtX<Store<F>>", "7", ("Bad",), None),
                ("qtXbase", "0", ("one, two",), 0),
            ],
        )

    def test_finds_both_texts_of_a_conditional(self):
        self.assertEqual(
            raises_of('void f() { throw qtX<A>(1, is_on ? "on" : "off"); }'),
            [("qtX<A>", "1", ("on",), 0), ("qtX<A>", "1", ("off",), 0)],
        )

    def test_sees_through_functions_that_take_the_text(self):
        source = """
            [[noreturn]] void refuse(int number, const char* what, const char* rest = "") {
                if (true) { throw qtX<A>(number, qtString(what).append(rest)); }
            }
            void outer(const char* text) { refuse(2, text); }
            void f() { refuse(1, "Bad: ", rest); outer("Worse"); }
        """
        self.assertEqual(
            raises_of(source),
            [("qtX<A>", "2", ("Worse",), 0), ("qtX<A>", "1", ("Bad: ", HOLE), 0)],
        )

    def test_sees_through_member_functions_across_files(self):
        sources = Sources(
            {
                "zandrel/A.cpp": "void A::fail(const qtString& text) { throw qtX<A>(0, text); }",
                "zandrel/A_more.cpp": 'void A::f() { fail("Bad"); }',
            }
        )
        self.assertEqual([each[:4] for each in sources.raises()], [("qtX<A>", "0", ("Bad",), 0)])

    def test_finds_assertions_but_not_their_macro(self):
        source = """
            #define ZANDREL_ASSERT(condition, text) \\
                process_assert(text, 0)
            void process_assert(const char* text, int line);
            void f() { ZANDREL_ASSERT(a == b, "a"); process_assert("b", 1); }  // process_assert("c")
        """
        self.assertEqual(
            raises_of(source), [("process_assert", "-", (text,), 0) for text in ("a", "b")]
        )

    def test_rethrown_errors_are_left_out(self):
        self.assertEqual(raises_of("void f() { try { g(); } catch (...) { throw; } }"), [])

    def test_unknown_forms_are_refused(self):
        for source in (
            "void f() { throw error; }",
            "void f() { throw std::bad_alloc(); }",
            "void f() { throw qtX<A>(0, text); }",
            'void f() { throw qtX<A>(number, "Bad"); }',
            'void f() { throw qtX<A>(0, "Bad" + translated("key")); }',
            "void f(const char* text) { throw qtX<A>(0, text); }",
        ):
            with self.subTest(source), self.assertRaises(NotUnderstood):
                raises_of(source)


HEADING = "## `qtX<A>`\n\n| Number | Text | Arguments | Cause | State afterwards |\n|---|---|---|---|---|\n"


class ErrorsDocumentFormTest(unittest.TestCase):
    """The reader of the document, on small documents."""

    def test_reads_rows_under_their_class(self):
        row = ErrorsDocument(HEADING + '| 1 | `"Bad \\| \\"x\\": " + the key` | a, b | c | d |').rows[0]
        self.assertEqual(row[:4], ("qtX<A>", "1", ('Bad | "x": ', HOLE), ["a", "b"]))

    def test_refuses_tables_and_rows_of_another_form(self):
        for document in (
            "| Number | Text |",
            HEADING + '| 1 | `"Bad"` | none | cause |',
            HEADING + '| 1 | `"Bad"` | none | | state |',
            HEADING + "| 1 | Bad | none | cause | state |",
            HEADING + "| 1 | `Bad` | none | cause | state |",
            HEADING.replace("`", "") + '| 1 | `"Bad"` | none | cause | state |',
        ):
            with self.subTest(document), self.assertRaises(BadDocument):
                ErrorsDocument(document)


class TestedErrorsTest(unittest.TestCase):
    """The finder of expectations, on small tests."""

    def has(self, test, raised="qtX<A>", number="1", pieces=("Bad: ", HOLE)):
        row = ErrorsDocument(HEADING + '| 1 | `"x"` | none | c | d |').rows[0]
        return TestedErrors({"a": test}).has(
            row._replace(raised=raised, number=number, pieces=pieces)
        )

    def test_takes_the_text_of_an_expectation(self):
        self.assertTrue(self.has('EXPECT_QTX(f(), A, 1, "Bad: key");'))
        self.assertTrue(self.has('EXPECT_QTX_ARGS(f(), A, 1, "Bad: " + key, {"x", "y"});'))
        self.assertTrue(self.has('EXPECT_ASSERTS(f(), "a == b");', "process_assert", "-", ("a == b",)))
        self.assertTrue(self.has('EXPECT_QTX(f(), A<int>, 1, "Bad: ");', "qtX<A<F>>"))

    def test_takes_the_texts_of_a_table(self):
        self.assertTrue(self.has('Row rows[] = {{"Bad: x"}}; EXPECT_QTX(f(), A, 1, row.text);'))

    def test_other_texts_are_not_taken(self):
        for test in (
            'EXPECT_QTX(f("Bad: "), A, 1, "Good");',
            'EXPECT_QTX(f(), B, 1, "Bad: ");',
            'EXPECT_QTX(f(), A, 2, "Bad: ");',
            '// EXPECT_QTX(f(), A, 1, "Bad: ");',
            'const char* text = "Bad: ";',
        ):
            with self.subTest(test):
                self.assertFalse(self.has(test))
        self.assertFalse(self.has('EXPECT_QTX(f(), A, 1, "Bad: key");', pieces=("Bad: ",)))


class ErrorsDocumentTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.document = ErrorsDocument((PROJECT / "docs" / "errors.md").read_text("utf-8"))
        cls.raises = Sources.of_folder(PROJECT / "zandrel").raises()
        cls.tested = TestedErrors.of_folder(PROJECT / "tests")
        cls.untested = {(each.raised, each.pieces) for each in cls.document.untested}

    def named(self, rows):
        return [f"line {row.line}: {row.raised} {row.number} {shown(row.pieces)}" for row in rows]

    def test_every_raised_error_has_a_row(self):
        self.assertGreater(len(self.raises), 40)
        known = {row.key() for row in self.document.rows}
        missing = [
            f"{each.place}: {each.raised} {each.number} {shown(each.pieces)}"
            for each in self.raises
            if each.key() not in known
        ]
        self.assertEqual(missing, [])

    def test_every_row_is_raised(self):
        raised = {each.key() for each in self.raises}
        self.assertEqual(self.named(r for r in self.document.rows if r.key() not in raised), [])

    def test_each_error_has_one_row(self):
        keys = [row.key() for row in self.document.rows]
        self.assertEqual(self.named(r for r in self.document.rows if keys.count(r.key()) > 1), [])

    def test_number_of_arguments_is_correct(self):
        rows = {row.key(): row for row in self.document.rows}
        wrong = []
        for each in self.raises:
            row = rows.get(each.key())
            if row is not None and not self.fits(each.argument_count, len(row.arguments)):
                wrong.append(f"line {row.line}: {each.place} has {each.argument_count}")
        self.assertEqual(wrong, [])

    @staticmethod
    def fits(raised_count, listed_count):
        return listed_count > 0 if raised_count is None else listed_count == raised_count

    def test_every_error_has_a_test_or_is_listed_as_untested(self):
        missing = [
            row
            for row in self.document.rows
            if (row.raised, row.pieces) not in self.untested and not self.tested.has(row)
        ]
        self.assertEqual(self.named(missing), [])

    def test_errors_listed_as_untested_exist_and_have_no_test(self):
        untested = {(row.raised, row.pieces) for row in self.document.rows if not self.tested.has(row)}
        self.assertEqual([each for each in self.untested if each not in untested], [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
