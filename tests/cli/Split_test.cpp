#include "cli/split/Split.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/evaluate/Evaluation.h"
#include "tests/cli/Typed_input.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/train/Training.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

class SplitTest : public testing::Test {
protected:
    SplitTest() {
        m_options.rest_file = m_folder.file("a.tsv");
        m_options.share_file = m_folder.file("b.tsv");
        m_options.share = 0.5;
    }

    Split_summary Split(const std::string& data) {
        m_options.data_file = m_folder.write("data.tsv", data);
        return split(m_options);
    }

    std::string Rest() const { return m_folder.content("a.tsv"); }

    std::string Share() const { return m_folder.content("b.tsv"); }

    // The error text of a split, without the folder.
    template <class Error>
    std::string ErrorOf() {
        try {
            split(m_options);
        } catch (const Error& error) {
            std::string text = error.what();
            for (std::size_t at = text.find(m_folder.path()); at != std::string::npos;
                 at = text.find(m_folder.path())) {
                text.erase(at, m_folder.path().size() + 1);
            }
            return text;
        }
        return "no error";
    }

    Scratch_folder m_folder;
    Split_options m_options;
};

TEST_F(SplitTest, EachLabelIsInBothFiles) {
    const Split_summary summary = Split("a\t1\na\t2\nb\t3\nb\t4\nb\t5\nb\t6\n");

    EXPECT_EQ(summary.rest_texts, 3U);
    EXPECT_EQ(summary.share_texts, 3U);
    for (const std::string& part : {Rest(), Share()}) {
        EXPECT_EQ(std::count(part.begin(), part.end(), 'a'), 1);
        EXPECT_EQ(std::count(part.begin(), part.end(), 'b'), 2);
    }
}

// Each line is in one of the files, in its order. Only empty lines are dropped.
TEST_F(SplitTest, LinesAreCopiedByteForByte) {
    const std::string lines[] = {"a\tone\r\n", "b,a\ttw\xFF o\tx\n",      "\n",     "\r\n",
                                 "a\t \r\n",   std::string("a\t\0\n", 4), "a\tlast"};
    Split(lines[0] + lines[1] + lines[2] + lines[3] + lines[4] + lines[5] + lines[6]);

    std::string rest = Rest();
    std::string share = Share();
    EXPECT_FALSE(rest.empty());
    EXPECT_FALSE(share.empty());
    for (const std::size_t i : {0U, 1U, 4U, 5U, 6U}) {
        std::string& part = rest.starts_with(lines[i]) ? rest : share;
        ASSERT_TRUE(part.starts_with(lines[i])) << i;
        part.erase(0, lines[i].size());
    }
    EXPECT_EQ(rest + share, "");
}

TEST_F(SplitTest, ByteOrderMarkIsInBothFiles) {
    Split(
        "\xEF\xBB\xBF"
        "a\tx\na\tx\n");

    EXPECT_EQ(Rest(),
              "\xEF\xBB\xBF"
              "a\tx\n");
    EXPECT_EQ(Share(),
              "\xEF\xBB\xBF"
              "a\tx\n");
}

TEST_F(SplitTest, SameSeedGivesTheSameFiles) {
    std::string data;
    for (int i = 0; i < 30; ++i) {
        data += "a\t" + std::to_string(i) + "\n";
    }
    Split(data);
    const std::string first = Share();
    m_options.replaces = true;
    Split(data);
    EXPECT_EQ(Share(), first);
    m_options.seed = 2;
    Split(data);
    EXPECT_NE(Share(), first);
}

// Files of split give the figures of a holdout with the same share and seed.
TEST_F(SplitTest, ShareIsTheHoldoutOfAnEvaluation) {
    std::string data;
    for (int i = 0; i < 50; ++i) {
        data += (i % 3 == 0 ? "a\tw" : "b\tw") + std::to_string(i * i % 13) + "\n";
    }
    m_options.share = 0.3;
    m_options.seed = 5;
    Split(data);
    Evaluation_options files;
    files.train_file = m_options.rest_file;
    files.test_file = m_options.share_file;
    Evaluation_options holdout;
    holdout.data_files = {m_options.data_file};
    holdout.held_out_share = 0.3;
    holdout.seed = 5;

    const Evaluation expected = evaluate(files);
    const Evaluation actual = evaluate(holdout);

    EXPECT_EQ(actual.metrics.texts, 15U);
    EXPECT_EQ(actual.metrics.correct, expected.metrics.correct);
    EXPECT_EQ(actual.calibration.brier, expected.calibration.brier);
    EXPECT_EQ(actual.assignments.macro.f1, expected.assignments.macro.f1);
}

TEST_F(SplitTest, FilesThatExistAreKeptWithoutReplace) {
    m_folder.write("b.tsv", "old");

    EXPECT_THROW(Split("a\tx\na\ty\n"), Usage_error);

    EXPECT_EQ(ErrorOf<Usage_error>(), "b.tsv exists already; --replace replaces it");
    EXPECT_EQ(Share(), "old");
    EXPECT_THAT(m_folder.names(), ElementsAre("b.tsv", "data.tsv"));
    m_options.replaces = true;
    EXPECT_EQ(Split("a\tx\na\ty\n").share_texts, 1U);
}

TEST_F(SplitTest, SameFileIsRefused) {
    m_options.data_file = m_folder.write("data.tsv", "a\tx\na\ty\n");
    std::filesystem::create_symlink("data.tsv", m_folder.file("link.tsv"));
    std::filesystem::create_hard_link(m_folder.file("data.tsv"), m_folder.file("hard.tsv"));
    std::filesystem::create_symlink("new.tsv", m_folder.file("to_new.tsv"));

    const struct {
        const char* rest;
        const char* share;
        const char* message;
    } rows[] = {
        {"a.tsv", "a.tsv", "a.tsv and a.tsv are the same file"},
        {"a.tsv", "./a.tsv", "a.tsv and ./a.tsv are the same file"},
        {"new.tsv", "to_new.tsv", "new.tsv and to_new.tsv are the same file"},
        {"data.tsv", "b.tsv", "data.tsv is the data file, which split does not change"},
        {"a.tsv", "link.tsv", "link.tsv is the data file, which split does not change"},
        {"hard.tsv", "b.tsv", "hard.tsv is the data file, which split does not change"},
    };

    m_options.replaces = true;
    for (const auto& row : rows) {
        m_options.rest_file = m_folder.file(row.rest);
        m_options.share_file = m_folder.file(row.share);
        EXPECT_EQ(ErrorOf<Usage_error>(), row.message);
    }
    EXPECT_EQ(m_folder.content("data.tsv"), "a\tx\na\ty\n");
    EXPECT_THAT(m_folder.names(), ElementsAre("data.tsv", "hard.tsv", "link.tsv", "to_new.tsv"));
}

TEST_F(SplitTest, ContainersAreNeitherReplacedNorRead) {
    m_options.data_file = m_folder.write("data.tsv", "a\tx\na\ty\n");
    train_kc({m_folder.file("a.kc"), {m_options.data_file}});
    const std::string before = m_folder.content("a.kc");
    m_options.replaces = true;
    m_options.rest_file = m_folder.file("a.kc");
    EXPECT_EQ(ErrorOf<Data_error>(),
              "a.kc: this is a knowledge container, and split replaces only data files");
    m_options.rest_file = m_folder.file("a.tsv");
    m_options.data_file = m_folder.file("a.kc");
    EXPECT_EQ(ErrorOf<Data_error>(), "a.kc: this is a knowledge container, and no data file");
    EXPECT_EQ(m_folder.content("a.kc"), before);
}

TEST_F(SplitTest, BadDataLeaveNoFile) {
    const struct {
        const char* data;
        const char* message;
    } rows[] = {
        {"", "data.tsv: no data line"},
        {"\n\n", "data.tsv: no data line"},
        {"a\tx\nbad\n", "data.tsv:2: no tab between label and text"},
        {"a\tx\n", "data.tsv: too few texts (1) for the share: all are held out"},
    };

    for (const auto& row : rows) {
        m_options.data_file = m_folder.write("data.tsv", row.data);
        EXPECT_EQ(ErrorOf<Data_error>(), row.message);
    }
    m_options.skips_bad_lines = true;
    m_options.data_file = m_folder.write("data.tsv", "bad\n");
    EXPECT_EQ(ErrorOf<Data_error>(), "data.tsv: no good data line");
    EXPECT_THAT(m_folder.names(), ElementsAre("data.tsv"));
}

TEST_F(SplitTest, BadLinesAreSkippedIfRequested) {
    m_options.skips_bad_lines = true;
    m_options.longest_line = 4;

    const Split_summary summary = Split("bad\na\tx\na\ttoo long\na\tx\n");

    EXPECT_EQ(summary.skipped.count, 2U);
    EXPECT_EQ(Rest(), "a\tx\n");
    EXPECT_EQ(Share(), "a\tx\n");
}

TEST_F(SplitTest, FolderThatIsMissingIsReportedBeforeEitherFileIsWritten) {
    m_options.data_file = m_folder.write("data.tsv", "a\tx\na\ty\n");
    m_options.share_file = m_folder.file("absent/b.tsv");
    EXPECT_EQ(ErrorOf<Output_error>(), "cannot write absent/b.tsv: No such file or directory");
    EXPECT_THAT(m_folder.names(), ElementsAre("data.tsv"));
    m_options.data_file = m_folder.file("absent.tsv");
    m_options.share_file = m_folder.file("b.tsv");
    EXPECT_EQ(ErrorOf<Input_error>(), "cannot read absent.tsv: No such file or directory");
    m_options.data_file = m_folder.path();
    EXPECT_THROW(split(m_options), Input_error);
}

// The row of several lines is one record. The header, with the byte order mark, is in both files.
TEST_F(SplitTest, CsvRecordsAreCopiedWithTheHeader) {
    m_options.rest_file = m_folder.file("a.csv");
    m_options.share_file = m_folder.file("b.csv");
    const std::string start = "\xEF\xBB\xBFlabel,text\r\n";
    const std::string first = "a,\"one\n\n\"\"last\"\"\"\r\n";
    const std::string second = "a,two";
    m_options.data_file =
        m_folder.write("data.csv", "\xEF\xBB\xBF\nlabel,text\r\n\n" + first + "\r\n\n" + second);
    m_options.form.has_header = true;
    split(m_options);

    const std::string rest = m_folder.content("a.csv");
    EXPECT_TRUE(rest == start + first || rest == start + second) << rest;
    EXPECT_EQ(m_folder.content("b.csv"), start + (rest == start + first ? second : first));
}

// A quote that is not closed makes only its own line bad. The next records are good.
TEST_F(SplitTest, BadCsvRecordIsLeftOut) {
    m_options.rest_file = m_folder.file("a.csv");
    m_options.share_file = m_folder.file("b.csv");
    m_options.skips_bad_lines = true;
    m_options.data_file = m_folder.write("data.csv", "a,same\na,\"open\na,same\n\n");

    EXPECT_EQ(split(m_options).skipped.count, 1U);
    EXPECT_EQ(m_folder.content("a.csv"), "a,same\n");
    EXPECT_EQ(m_folder.content("b.csv"), "a,same\n");
}

TEST_F(SplitTest, JsonLinesAreCopied) {
    m_options.rest_file = m_folder.file("a.jsonl");
    m_options.share_file = m_folder.file("b.jsonl");
    const std::string line = "{\"labels\": [\"a\"],  \"text\": \"x\\ny\"}\r\n";
    m_options.data_file = m_folder.write("data.jsonl", "  \n" + line + " \t\r\n" + line);
    split(m_options);

    EXPECT_EQ(m_folder.content("a.jsonl"), line);
    EXPECT_EQ(m_folder.content("b.jsonl"), line);
}

// A header that nobody has declared is a record, and so it is in only one of the files.
TEST_F(SplitTest, ProbableHeaderAndSingleTextsAreWarnedOf) {
    std::vector<std::string> warnings;
    m_options.warn = [&](const std::string& text) { warnings.push_back(text); };
    Split("label\ttext\n" + std::string(20, '\n') +
          "a\tx\na\ty\na\tx\na\tx\na\tx\na\tx\na\tx\na\tx\na\tx\n");

    EXPECT_THAT(warnings, ElementsAre(HasSubstr(":1: this looks like a header line"),
                                      EndsWith("1 label has a single text: \"label\"")));
}

TEST_F(SplitTest, NamesOfAnotherFormAreRefused) {
    m_options.data_file = m_folder.write("data.csv", "a,x\na,y\n");
    EXPECT_EQ(ErrorOf<Usage_error>(),
              "a.tsv is named like a file of the form tsv, but the data have the form csv");
    m_options.rest_file = m_folder.file("a.csv.gz");
    m_options.share_file = m_folder.file("b.csv");
    EXPECT_EQ(ErrorOf<Usage_error>(), "a.csv.gz: split writes files that are not compressed");
    EXPECT_THAT(m_folder.names(), ElementsAre("data.csv"));
}

TEST_F(SplitTest, StandardInputIsRead) {
    const Typed_input typed("a\tx\na\tx\n");
    m_options.data_file = "-";

    EXPECT_EQ(split(m_options).share_texts, 1U);
    EXPECT_EQ(Rest(), "a\tx\n");
}

TEST_F(SplitTest, SummaryNamesBothFiles) {
    std::ostringstream out;
    m_options.rest_file = "a\x1B.tsv";
    m_options.share_file = "b.tsv";
    print_split(m_options, {1234, 1}, out);

    EXPECT_EQ(out.str(), "a\\x1B.tsv: 1,234 texts\nb.tsv: 1 text\n");
}

}  // namespace

}  // namespace zandrel::cli
