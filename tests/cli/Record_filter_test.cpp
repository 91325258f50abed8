// Records of data files in the filters: pairs reach the rules, and answers repeat the records.
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "cli/classify/Line_filter.h"
#include "cli/evaluate/Accuracy_meter.h"
#include "tests/support/logical_tree.h"
#include "text/data/Packing.h"
#include "text/errors.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Rule_of_label {
    const char* label;
    const char* rule;
};

// A root that chooses the label by rules.
qtPtrLight<zeManager> RuleTree(const std::vector<Rule_of_label>& rules) {
    qtPtrLight<zeManager> manager(new zeManager);
    zeLogicalNode root = node_to_add(0, "root", "", ZE_RULE);
    root.attributes = zeNode::NoScore;
    const unsigned int id = manager->m_logical_tree->AddLogicalNode(root);
    for (const Rule_of_label& rule : rules) {
        zeLogicalNode leaf = node_to_add(id, rule.label, rule.rule);
        manager->m_logical_tree->AddLogicalNode(leaf);
    }
    return manager;
}

class RecordFilterTest : public testing::Test {
protected:
    std::string Answers(const std::string& bytes, Data_format format, std::size_t jobs = 1) {
        std::istringstream stream(bytes);
        Line_input input = {stream, "data"};
        input.format = format;
        input.form = m_form;
        input.jobs = jobs;
        input.refuse = [this](const std::string& message) { m_refused += message + "\n"; };
        std::ostringstream out;
        classify_lines(input, m_options, m_model, out);
        return out.str();
    }

    std::string Explained(const std::string& bytes, Data_format format) {
        std::istringstream stream(bytes);
        Line_input input = {stream, "data"};
        input.format = format;
        std::ostringstream out;
        explain_lines(input, {}, m_model, out);
        return out.str();
    }

    Text_model m_model{RuleTree({{"large", "$size(n) > 5"},
                                 {"urgent", "$urgent(n)"},
                                 {"me", "$from(s) == 'me'"},
                                 {"tagged", "$tags(?) & $size(n) == 0"},
                                 {"new", "$sent(n) > 1769853600000000"},
                                 {"rest", "default"}}),
                       {Analysis_kind::kWords}};
    Classify_options m_options;
    Data_form m_form;
    std::string m_refused;
};

constexpr const char* kMessages =
    R"({"text": "a", "pairs": {"size": 7}}
{"text": "a", "pairs": {"size": 5, "urgent": true}}
{"text": "a", "pairs": {"urgent": false, "from": "me"}}
{"text": "a", "pairs": {"tags": ["x", "y"]}}
{"text": "a", "pairs": {"sent": "2026-01-31T10:00:00.5Z"}}
{"text": "a", "pairs": {"sent": "2026-01-31T10:00:00Z"}}
)";

TEST_F(RecordFilterTest, RulesReadThePairsOfRecords) {
    const std::string expected =
        "large\t1.000000\nurgent\t1.000000\nme\t1.000000\ntagged\t1.000000\nnew\t1.000000\n"
        "rest\t1.000000\n";

    EXPECT_EQ(Answers(kMessages, Data_format::kJsonLines), expected);
    EXPECT_EQ(Answers(kMessages, Data_format::kJsonLines, 3), expected);
}

TEST_F(RecordFilterTest, RulesReadPairsOfColumns) {
    m_form.pairs = {{"size", "size"}, {"sent", "when"}};

    EXPECT_EQ(
        Answers("size,text,when\n5.5,a,\n,a,2026-02-01T00:00:00+01:00\n5,a,\n", Data_format::kCsv),
        "large\t1.000000\nnew\t1.000000\nrest\t1.000000\n");
}

TEST_F(RecordFilterTest, ExplanationReadsPairs) {
    EXPECT_THAT(Explained(kMessages, Data_format::kJsonLines), HasSubstr("large"));
}

TEST_F(RecordFilterTest, PathReadsPairs) {
    std::istringstream stream(kMessages);
    Line_input input = {stream, "data"};
    input.format = Data_format::kJsonLines;
    Explain_options options;
    options.shows_path = true;
    std::ostringstream out;

    explain_lines(input, options, m_model, out);

    EXPECT_THAT(out.str(), HasSubstr("$size(n)"));
    EXPECT_THAT(out.str(), HasSubstr("7"));
}

TEST_F(RecordFilterTest, AccuracyReadsPairs) {
    Labelled_text text = {{"large"}, "a"};
    text.pairs = {{"size", mlMessageConverter::kInteger, {"7"}}};

    EXPECT_EQ(Accuracy_meter({text}, m_model).accuracy(m_model), 1.0);
}

TEST_F(RecordFilterTest, JsonAnswerRepeatsTheObject) {
    m_options.writes_json = true;
    const std::string categories =
        R"("categories":[{"category":"rest","path":"root/rest","score":1.0}]})";
    const std::string lines =
        "{\"id\": 1, \"text\": \"a\"}\n\n{\"categories\": 3, \"text\": \"a\"}\nnope\n";
    const std::string expected =
        "{\"id\": 1,\"text\": \"a\"," + categories + "\n{\"text\": \"a\"," + categories +
        "\n{\"error\":\"data:4: record 3: not valid JSON at byte 2: syntax error while parsing "
        "value - invalid literal\"}\n";

    EXPECT_EQ(Answers(lines, Data_format::kJsonLines), expected);
    EXPECT_EQ(m_refused,
              "data:4: record 3: not valid JSON at byte 2: syntax error while parsing "
              "value - invalid literal\n");
    EXPECT_EQ(Answers(lines, Data_format::kJsonLines, 2), expected);
}

TEST_F(RecordFilterTest, JsonAnswerToOtherFormsHasOnlyCategories) {
    m_options.writes_json = true;
    const std::string answer =
        "{\"categories\":[{\"category\":\"rest\",\"path\":\"root/rest\",\"score\":1.0}]}\n";

    EXPECT_EQ(Answers("a\n", Data_format::kLines), answer);
    EXPECT_EQ(Answers("x,a\n", Data_format::kCsv), answer);
}

TEST_F(RecordFilterTest, CsvAnswerRepeatsTheRow) {
    m_options.writes_csv = true;
    m_options.wanted_labels = 2;
    m_form.texts = {"body"};
    m_form.pairs = {{"size", "size"}};
    const std::string table =
        "\"size\",body\r\n7,\"a, \"\"b\"\"\"\r\n1,\"c\nd\"\r\n9\r\n,e\"\r\n2,f";
    const std::string expected =
        "size,body,category_1,score_1,category_2,score_2\n"
        "7,\"a, \"\"b\"\"\",large,1.000000,,\n"
        "1,\"c\nd\",rest,1.000000,,\n"
        ",,,,,\n"
        ",,,,,\n"
        "2,f,rest,1.000000,,\n";

    EXPECT_EQ(Answers(table, Data_format::kCsv), expected);
    EXPECT_EQ(m_refused,
              "data:5: record 3: the record has 1 column, and the first row has 2\n"
              "data:6: record 4: a quote in a column that does not begin with a quote\n");
    EXPECT_EQ(Answers(table, Data_format::kCsv, 2), expected);
}

TEST_F(RecordFilterTest, CsvAnswerToTextIsARowWithTheText) {
    m_options.writes_csv = true;

    EXPECT_EQ(Answers("a, b\n\n", Data_format::kLines),
              "\"a, b\",rest,1.000000\n\"\",rest,1.000000\n");
}

TEST_F(RecordFilterTest, HeaderWithTheNameOfAnAnswerIsRefused) {
    m_options.writes_csv = true;
    m_form.has_header = true;

    try {
        Answers("text,score_1\na,b\n", Data_format::kCsv);
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(),
                     "data:1: the header has a column \"score_1\" already, and --csv adds a column "
                     "of this name");
    }
}

TEST_F(RecordFilterTest, BadRecordHasAnEmptyAnswer) {
    EXPECT_EQ(Answers("__label__x a\n\n__label__y\n", Data_format::kFasttext),
              "rest\t1.000000\nrest\t1.000000\n");
    EXPECT_EQ(Answers("{\"text\": 1}\n{\"text\": \"a\"}\n", Data_format::kJsonLines),
              "\nrest\t1.000000\n");
    EXPECT_EQ(m_refused, "data:1: record 1: \"text\" must be a string, not an integer\n");
    EXPECT_EQ(Explained("{\"text\": 1}\n", Data_format::kJsonLines), "  (bad record)\n");
}

// Standard input may be damaged after many good records.
TEST_F(RecordFilterTest, AnswersBeforeDamagedDataAreWritten) {
    class Failing_buffer : public std::stringbuf {
    public:
        using std::stringbuf::stringbuf;

    protected:
        int_type underflow() override {
            const int_type next = std::stringbuf::underflow();
            return next == traits_type::eof() ? throw Data_error("data", "damaged") : next;
        }
    };

    for (const std::size_t jobs : {1U, 2U}) {
        Failing_buffer buffer("a\nb\n", std::ios::in);
        std::istream stream(&buffer);
        stream.exceptions(std::ios::badbit);
        Line_input input = {stream, "data"};
        input.jobs = jobs;
        std::ostringstream out;

        EXPECT_THROW(classify_lines(input, m_options, m_model, out), Data_error);
        EXPECT_EQ(out.str(), "rest\t1.000000\nrest\t1.000000\n");
    }
}

}  // namespace

}  // namespace zandrel::cli
