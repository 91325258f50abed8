#include "text/data/Labelled_text.h"

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/growth.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<Labelled_text> read_texts(std::string_view data) {
    std::istringstream input{std::string(data)};
    return read_labelled_texts(input, "data.tsv");
}

// Each text as "label|label>text".
std::vector<std::string> lines_of(std::string_view data) {
    std::vector<std::string> lines;
    for (const Labelled_text& text : read_texts(data)) {
        std::string line;
        for (const std::string& label : text.labels) {
            line += (line.empty() ? "" : "|") + label;
        }
        lines.push_back(line + ">" + text.text);
    }
    return lines;
}

// The message of the Data_error of a read; empty if it raises none.
std::string error_of(std::string_view data) {
    try {
        read_texts(data);
    } catch (const Data_error& error) {
        return error.what();
    }
    return "";
}

TEST(LabelledTextTest, ReadsLabelAndText) {
    EXPECT_THAT(lines_of("sport\tgoal and match\nfood\tbread\n"),
                ElementsAre("sport>goal and match", "food>bread"));
}

TEST(LabelledTextTest, ReadsSeveralLabelsInTheirOrder) {
    EXPECT_THAT(lines_of("b,a,c\ttext\n"), ElementsAre("b|a|c>text"));
}

TEST(LabelledTextTest, LabelGivenTwiceIsTakenOnce) {
    EXPECT_THAT(lines_of("a,b,a\ttext\n"), ElementsAre("a|b>text"));
}

TEST(LabelledTextTest, LabelGivenTwiceAmongManyIsTakenOnce) {
    std::string line;
    std::vector<std::string> labels;
    for (int i = 0; i < 40; ++i) {
        labels.push_back("label" + std::to_string(i));
        line += labels.back() + ',';
    }

    std::istringstream input(line + line + "label3\ttext\n");

    EXPECT_EQ(read_labelled_texts(input, "data.tsv").front().labels, labels);
}

TEST(LabelledTextTest, ReadingManyLabelsOfOneTextTakesNoSquareTime) {
    ExpectNoSquareGrowth(5000, [](int n) {
        std::string line;
        for (int i = 0; i < n; ++i) {
            line += "label" + std::to_string(i) + ',';
        }
        std::istringstream input(line + "last\ttext\n");
        EXPECT_EQ(read_labelled_texts(input, "data.tsv").front().labels.size(),
                  static_cast<std::size_t>(n) + 1);
    });
}

TEST(LabelledTextTest, LaterTabsAndCommasBelongToTheText) {
    EXPECT_THAT(lines_of("a\tone\ttwo, three\n"), ElementsAre("a>one\ttwo, three"));
}

TEST(LabelledTextTest, TextMayBeEmpty) {
    EXPECT_THAT(lines_of("a\t\nb\t\r\n"), ElementsAre("a>", "b>"));
}

TEST(LabelledTextTest, CarriageReturnAtLineEndIsRemoved) {
    EXPECT_THAT(lines_of("a\tone\r\nb\ttwo\rthree\r\n"), ElementsAre("a>one", "b>two\rthree"));
}

TEST(LabelledTextTest, LastLineWithoutLineEndIsRead) {
    EXPECT_THAT(lines_of("a\tone\nb\ttwo"), ElementsAre("a>one", "b>two"));
}

TEST(LabelledTextTest, EmptyLinesAreSkipped) {
    EXPECT_THAT(lines_of("\na\tone\n\r\n\nb\ttwo\n\n"), ElementsAre("a>one", "b>two"));
}

TEST(LabelledTextTest, ByteOrderMarkIsSkippedOnlyAtTheStart) {
    EXPECT_THAT(lines_of("\uFEFFa\tone\n\uFEFFb\ttwo\n"), ElementsAre("a>one", "\uFEFFb>two"));
}

TEST(LabelledTextTest, InvalidUtf8IsKept) {
    EXPECT_THAT(lines_of("a\tb\xFF"
                         "c\n"),
                ElementsAre("a>b\xFF"
                            "c"));
}

TEST(LabelledTextTest, LineOfEachTextIsKnown) {
    const std::vector<Labelled_text> texts = read_texts("\na\tone\r\n\r\nb\ttwo");

    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0].line, 2U);
    EXPECT_EQ(texts[1].line, 4U);
}

TEST(LabelledTextTest, EmptyInputGivesNoTexts) {
    EXPECT_THAT(read_texts(""), IsEmpty());
}

TEST(LabelledTextTest, FileAndLineOfABadLineAreNamed) {
    const struct {
        std::string_view data;
        std::string_view expected;
    } rows[] = {
        {"no tab here\n", "data.tsv:1: no tab between label and text"},
        {"a\tx\nb\ty\nc z", "data.tsv:3: no tab between label and text"},
        {"a\tx\n\n\nb\n", "data.tsv:4: no tab between label and text"},
        {"a\tx\n \n", "data.tsv:2: no tab between label and text"},
        {"\ttext\n", "data.tsv:1: empty label"},
        {"a\tx\r\n\ty\r\n", "data.tsv:2: empty label"},
        {",a\ttext\n", "data.tsv:1: empty label"},
        {"a,\ttext\n", "data.tsv:1: empty label"},
        {"a,,b\ttext\n", "data.tsv:1: empty label"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.data);
        EXPECT_EQ(error_of(row.data), row.expected);
    }
}

std::vector<Labelled_text> read_four_columns(const std::string& data) {
    std::istringstream input(data);
    return read_labelled_texts(input, "data.tsv", nullptr, Columns::kTextTitleKeywords);
}

TEST(LabelledTextTest, TitleAndKeywordsAreReadIfRequested) {
    const std::vector<Labelled_text> texts =
        read_four_columns("a,b\tthe text\tthe title\tkey words\n\nc\t\t\t\r\nd\tx\ty\tz\tmore\n");

    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts[0].labels.size(), 2U);
    EXPECT_EQ(texts[0].text, "the text");
    EXPECT_EQ(texts[0].title, "the title");
    EXPECT_EQ(texts[0].keywords, "key words");
    EXPECT_EQ(texts[1].text + texts[1].title + texts[1].keywords, "");
    EXPECT_EQ(texts[2].keywords, "z\tmore");
    EXPECT_EQ(text_bytes(texts), 8U + 9U + 9U + 1U + 1U + 6U);
}

TEST(LabelledTextTest, MissingColumnIsNamed) {
    const struct {
        std::string data;
        std::string expected;
    } rows[] = {
        {"a\n", "data.tsv:1: no tab between label and text"},
        {"a\tx\ty\tz\na\tx\n", "data.tsv:2: no tab between text and title"},
        {"a\tx\ty\n", "data.tsv:1: no tab between title and keywords"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.data);
        try {
            read_four_columns(row.data);
            ADD_FAILURE() << "no error";
        } catch (const Data_error& error) {
            EXPECT_EQ(error.what(), row.expected);
        }
    }
}

// The number of skipped lines and the first of them: "count first".
std::string skipped_of(std::string_view data) {
    std::istringstream input{std::string(data)};
    Skipped_lines skipped;
    read_labelled_texts(input, "data.tsv", &skipped);
    return std::to_string(skipped.count) + " " + skipped.first;
}

TEST(LabelledTextTest, BadLinesAreSkippedIfRequested) {
    std::istringstream input("bad\na\tone\n\tbad\nb\ttwo\na,\tbad\n");
    Skipped_lines skipped;
    const std::vector<Labelled_text> texts = read_labelled_texts(input, "data.tsv", &skipped);

    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0].text, "one");
    EXPECT_EQ(texts[1].text, "two");
}

TEST(LabelledTextTest, SkippedLinesAreCountedAndTheFirstIsKept) {
    EXPECT_EQ(skipped_of("a\tx\n\n\ty\nbad\nc\tz\n"), "2 data.tsv:3: empty label");
    EXPECT_EQ(skipped_of("a\tx\n\n"), "0 ");
}

TEST(LabelledTextTest, LineLongerThanTheLimitIsBad) {
    const std::string data = "a\tone\r\na\ttwoo\nb\ttwo";
    std::istringstream refused(data);
    try {
        read_labelled_texts(refused, "data.tsv", nullptr, Columns::kText, 5);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(),
                     "data.tsv:2: the line is longer than 5 bytes; --max-line raises the limit");
    }

    std::istringstream input(data);
    Skipped_lines skipped;
    const std::vector<Labelled_text> texts =
        read_labelled_texts(input, "data.tsv", &skipped, Columns::kText, 5);
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0].text, "one");
    EXPECT_EQ(texts[1].text, "two");
    EXPECT_EQ(texts[1].line, 3U);
    EXPECT_EQ(skipped.count, 1U);
}

TEST(LabelledTextTest, SkippedLineOfFileWithControlCharactersIsShownOnOneLine) {
    std::ostringstream out;
    print_skipped({1, "a\nb:2: m"}, out);
    EXPECT_EQ(out.str(), "zandrel: skipped 1 bad line, the first: a\\x0Ab:2: m\n");
}

TEST(LabelledTextTest, SkippedLinesOfSeveralFilesAreAdded) {
    Skipped_lines skipped;
    for (const char* const name : {"one.tsv", "two.tsv"}) {
        std::istringstream input("a\tx\nbad\n");
        read_labelled_texts(input, name, &skipped);
    }

    EXPECT_EQ(skipped.count, 2U);
    EXPECT_EQ(skipped.first, "one.tsv:2: no tab between label and text");
}

TEST(LabelledTextTest, SkippedLinesAreReportedInOneLine) {
    const struct {
        Skipped_lines skipped;
        std::string_view expected;
    } rows[] = {
        {{0, ""}, ""},
        {{1, "f:2: m"}, "zandrel: skipped 1 bad line, the first: f:2: m\n"},
        {{12, "f:2: m"}, "zandrel: skipped 12 bad lines, the first: f:2: m\n"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        std::ostringstream out;
        print_skipped(row.skipped, out);
        EXPECT_EQ(out.str(), row.expected);
    }
}

TEST(LabelledTextTest, FileThatCannotBeReadIsNamed) {
    const struct {
        std::string path;
        std::string expected;
    } rows[] = {
        {"no/such/file", "cannot read no/such/file: No such file or directory"},
        {"/", "cannot read /: Is a directory"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        try {
            read_labelled_file(row.path);
            ADD_FAILURE() << "no error";
        } catch (const Input_error& error) {
            EXPECT_EQ(error.what(), row.expected);
        }
    }
}

TEST(LabelledTextTest, FileWithoutDataLineIsRefused) {
    try {
        read_labelled_file("/dev/null");
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "/dev/null: no data line");
    }
}

TEST(LabelledTextTest, BytesOfTextsAreCountedWithoutLabels) {
    EXPECT_EQ(text_bytes(read_texts("label\tabc\nlabel\t\u00E9\nlabel\t\n")), 5U);
}

}  // namespace

}  // namespace zandrel::cli
