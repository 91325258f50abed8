#include "text/data/Csv_rows.h"

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The rows of a file. A bad row is "LINE: complaint".
std::vector<std::vector<std::string>> CsvRowsOf(const std::string& bytes,
                                                std::size_t longest = kLongestLine) {
    std::istringstream input(bytes);
    Numbered_lines lines(
        input, "a.csv", [] {}, longest);
    Csv_rows rows(lines);
    std::vector<std::vector<std::string>> result;
    for (Csv_rows::Row row; rows.next(row);) {
        result.push_back(row.complaint.empty()
                             ? row.columns
                             : std::vector{std::to_string(row.line) + ": " + row.complaint});
    }
    return result;
}

}  // namespace

TEST(CsvRowsTest, CommasSeparateColumns) {
    EXPECT_THAT(CsvRowsOf("a,b\n,\n c ,\n"),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("", ""), ElementsAre(" c ", "")));
}

TEST(CsvRowsTest, QuotedColumnContainsCommasQuotesAndLineEnds) {
    EXPECT_THAT(CsvRowsOf("\"a,b\",\"c\"\"d\",\"e\r\nf\ng\"\n"),
                ElementsAre(ElementsAre("a,b", "c\"d", "e\r\nf\ng")));
    EXPECT_THAT(CsvRowsOf("\"\",\"\"\"\",x\n"), ElementsAre(ElementsAre("", "\"", "x")));
}

TEST(CsvRowsTest, LineEndIsCrLfOrLfOrMissing) {
    EXPECT_THAT(CsvRowsOf("a,b\r\n\"c\",\"d\"\r\ne,f"),
                ElementsAre(ElementsAre("a", "b"), ElementsAre("c", "d"), ElementsAre("e", "f")));
    EXPECT_THAT(CsvRowsOf("a,\"b\""), ElementsAre(ElementsAre("a", "b")));
}

TEST(CsvRowsTest, CarriageReturnInsideARowIsKept) {
    EXPECT_THAT(CsvRowsOf("a\rb,c\n"), ElementsAre(ElementsAre("a\rb", "c")));
}

TEST(CsvRowsTest, EmptyLinesBetweenRowsAreSkipped) {
    EXPECT_THAT(CsvRowsOf("\n\r\na\n\n\"\"\n\n"), ElementsAre(ElementsAre("a"), ElementsAre("")));
    EXPECT_THAT(CsvRowsOf(""), IsEmpty());
}

TEST(CsvRowsTest, ByteOrderMarkBeforeAQuoteIsSkipped) {
    EXPECT_THAT(CsvRowsOf("\xEF\xBB\xBF\"a\",b\n"), ElementsAre(ElementsAre("a", "b")));
}

TEST(CsvRowsTest, NulByteIsAByteOfAColumn) {
    const std::string nul("a\0b,\"\0\"\n", 8);

    EXPECT_THAT(CsvRowsOf(nul),
                ElementsAre(ElementsAre(std::string("a\0b", 3), std::string("\0", 1))));
}

TEST(CsvRowsTest, QuoteInAPlainColumnIsBad) {
    EXPECT_THAT(CsvRowsOf("a,b\"c\nd,e\n"),
                ElementsAre(ElementsAre("1: a quote in a column that does not begin with a quote"),
                            ElementsAre("d", "e")));
}

TEST(CsvRowsTest, ByteAfterAQuotedColumnIsBad) {
    EXPECT_THAT(
        CsvRowsOf("\"a\" ,b\nc\n"),
        ElementsAre(ElementsAre("1: neither a comma nor the end of the row after a quoted column"),
                    ElementsAre("c")));
}

TEST(CsvRowsTest, UnclosedQuoteLosesOnlyItsLine) {
    EXPECT_THAT(CsvRowsOf("1,a\n2,\"b\n3,c\n4,d\n"),
                ElementsAre(ElementsAre("1", "a"),
                            ElementsAre("2: a quote is not closed before the end of the file"),
                            ElementsAre("3", "c"), ElementsAre("4", "d")));
}

TEST(CsvRowsTest, UnclosedQuoteBeforeQuotedRowsLosesOnlyItsLine) {
    EXPECT_THAT(
        CsvRowsOf("1,\"a\n2,\"b, c\"\n3,\"d\ne\"\n"),
        ElementsAre(ElementsAre("1: neither a comma nor the end of the row after a quoted column "
                                "in line 2"),
                    ElementsAre("2", "b, c"), ElementsAre("3", "d\ne")));
}

TEST(CsvRowsTest, RowOfSeveralLinesIsReadAgain) {
    std::istringstream input("a,\"b\n\nc\nd\"\ne\n");
    Numbered_lines lines(
        input, "a.csv", [] {}, kLongestLine);
    Csv_rows rows(lines);
    Csv_rows::Row row;
    ASSERT_TRUE(rows.next(row));
    EXPECT_THAT(row.columns, ElementsAre("a", "b\n\nc\nd"));
    rows.read_again();
    std::vector<std::string> rest;
    while (rows.next(row)) {
        rest.push_back(std::to_string(row.line) + ":" + row.complaint +
                       (row.columns.empty() ? "" : row.columns.front()));
    }
    EXPECT_THAT(
        rest, ElementsAre("3:c", "4:a quote in a column that does not begin with a quote", "5:e"));
}

TEST(CsvRowsTest, TooLongLineInAnOpenRowIsReadAgain) {
    const auto rows = CsvRowsOf("\"a\nb\nabcdef\nc\n", 5);
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_THAT(rows[0].front(), testing::StartsWith("1: a quote is not closed, or the row"));
    EXPECT_THAT(rows[1], ElementsAre("b"));
    EXPECT_THAT(rows[2].front(), testing::StartsWith("3: the line is longer than 5 bytes"));
    EXPECT_THAT(rows[3], ElementsAre("c"));
}

TEST(CsvRowsTest, RowWithTooManyColumnsIsBad) {
    EXPECT_EQ(CsvRowsOf(std::string(999999, ',') + "\n").front().size(), 1000000U);
    EXPECT_THAT(CsvRowsOf(std::string(1000000, ',') + "\na\n"),
                ElementsAre(ElementsAre("1: the record has more than 1,000,000 columns"),
                            ElementsAre("a")));
}

TEST(CsvRowsTest, UnclosedQuoteIsFoundAtTheLimit) {
    EXPECT_THAT(
        CsvRowsOf("1,\"a\n2,b\n3,c\n4,d\n", 9),
        ElementsAre(ElementsAre("1: a quote is not closed, or the row is longer than 9 bytes; "
                                "--max-line raises the limit"),
                    ElementsAre("2", "b"), ElementsAre("3", "c"), ElementsAre("4", "d")));
}

TEST(CsvRowsTest, RowOfSeveralLinesIsLimitedWithItsLineEnds) {
    EXPECT_THAT(CsvRowsOf("\"a\nbc\"\n", 6), ElementsAre(ElementsAre("a\nbc")));
    EXPECT_THAT(CsvRowsOf("\"a\nbc\"\n", 5).front().front(),
                testing::StartsWith("1: a quote is not closed, or the row is longer than 5 bytes"));
}

TEST(CsvRowsTest, TooLongLineIsBad) {
    EXPECT_THAT(
        CsvRowsOf("abcdef\nb\n", 5),
        ElementsAre(ElementsAre("1: the line is longer than 5 bytes; --max-line raises the limit"),
                    ElementsAre("b")));
}

// Each row opens a quote that the next line closes at a wrong place.
TEST(CsvRowsTest, ManyUnclosedQuotesTakeLinearTime) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i) {
        bytes += "a,\"b\n";
    }

    const auto rows = CsvRowsOf(bytes);

    EXPECT_EQ(rows.size(), 100000U);
    EXPECT_EQ(rows.back().front(), "100000: a quote is not closed before the end of the file");
}

}  // namespace zandrel::cli
