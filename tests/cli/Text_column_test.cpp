#include "cli/classify/Text_column.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string kAdvice = "\"; --column 2 leaves the labels of such lines out of the texts";

class TextColumnTest : public testing::Test {
protected:
    TextColumnTest() { m_model.train({{{"sport"}, "goal"}, {{"fast food"}, "bread"}}); }

    Text_column Column(std::optional<std::size_t> column) {
        return {"data.tsv", column, m_model,
                [this](const std::string& text) { m_warnings.push_back(text); }};
    }

    Text_model m_model{Model_options{{Analysis_kind::kWords}}};
    std::vector<std::string> m_warnings;
};

TEST_F(TextColumnTest, WithoutAColumnTheLineIsTheText) {
    Text_column column = Column({});

    EXPECT_EQ(column.text_of("sport\tgoal", 1), "sport\tgoal");
    EXPECT_EQ(column.text_of("", 2), "");
}

TEST_F(TextColumnTest, ColumnEndsWithTheLine) {
    const std::string line = "1\tsport\tgoal\tat last";

    EXPECT_EQ(Column(1).text_of(line, 1), line);
    EXPECT_EQ(Column(2).text_of(line, 1), "sport\tgoal\tat last");
    EXPECT_EQ(Column(4).text_of(line, 1), "at last");
    EXPECT_EQ(Column(2).text_of("sport\t", 1), "");
    EXPECT_THAT(m_warnings, IsEmpty());
}

TEST_F(TextColumnTest, MissingColumnIsAnEmptyTextAndReportedOnce) {
    Text_column column = Column(3);

    EXPECT_EQ(column.text_of("", 1), "");
    EXPECT_THAT(m_warnings, IsEmpty());
    EXPECT_EQ(column.text_of("sport\tgoal", 2), "");
    EXPECT_EQ(column.text_of("goal", 3), "");
    EXPECT_EQ(column.text_of("\t\tgoal", 4), "goal");

    EXPECT_THAT(m_warnings, ElementsAre("data.tsv:2: there is no column 3, so the text is empty; "
                                        "other such lines are not named"));
}

TEST_F(TextColumnTest, DataLineIsReportedOnce) {
    Text_column column = Column({});

    column.text_of("goal", 1);
    column.text_of("fast food\tbread", 2);
    column.text_of("sport\tgoal", 3);

    EXPECT_THAT(m_warnings, ElementsAre("data.tsv:2: this looks like a data line, since the "
                                        "container has the label \"fast food" +
                                        kAdvice));
}

TEST_F(TextColumnTest, LineIsADataLineOnlyIfAllItsLabelsAreKnown) {
    const struct {
        std::string line;
        bool noticed;
    } rows[] = {
        {"sport\tgoal", true},   {"sport\t", true},       {"fast food,sport\tgoal", true},
        {"sport\tgoal\t", true}, {"sport", false},        {"food\tbread", false},
        {"Sport\tgoal", false},  {"sport \tgoal", false}, {"sport,travel\tgoal", false},
        {"sport,\tgoal", false}, {",sport\tgoal", false}, {"\tsport", false},
        {"goal\tsport", false},  {"root\tgoal", false},   {"", false},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        m_warnings.clear();
        Column({}).text_of(row.line, 1);
        EXPECT_EQ(m_warnings.size(), row.noticed ? 1U : 0U);
    }
}

TEST_F(TextColumnTest, GivenColumnCausesNoWarningAboutLabels) {
    Column(1).text_of("sport\tgoal", 1);
    Column(2).text_of("sport\tgoal", 1);

    EXPECT_THAT(m_warnings, IsEmpty());
}

TEST_F(TextColumnTest, ControlCharactersOfTheNameAreEscaped) {
    Text_column column("a\x1b.tsv", {}, m_model,
                       [this](const std::string& text) { m_warnings.push_back(text); });

    column.text_of("sport\tgoal", 7);

    EXPECT_THAT(m_warnings, ElementsAre("a\\x1B.tsv:7: this looks like a data line, since the "
                                        "container has the label \"sport" +
                                        kAdvice));
}

TEST_F(TextColumnTest, EmptyWarnIsAllowed) {
    EXPECT_EQ(Text_column("data.tsv", {}, m_model, {}).text_of("sport\tgoal", 1), "sport\tgoal");
    EXPECT_EQ(Text_column("data.tsv", 2, m_model, {}).text_of("goal", 1), "");
}

}  // namespace

}  // namespace zandrel::cli
