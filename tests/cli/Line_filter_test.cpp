#include "cli/classify/Line_filter.h"

#include <csignal>
#include <cstddef>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "text/errors.h"
#include "text/model/Text_model.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class LineFilterTest : public testing::Test {
protected:
    LineFilterTest() {
        std::vector<Labelled_text> texts;
        for (int i = 0; i < 10; ++i) {
            texts.push_back({{"sport"}, "the goal of the match"});
            texts.push_back({{"food"}, "the bread and the cheese"});
        }
        m_model.train(texts);
    }

    std::string Classified(const std::string& lines) {
        std::istringstream input(lines);
        std::ostringstream out;
        classify_lines({input, "<stdin>"}, m_options, m_model, out);
        return out.str();
    }

    // The labels of each line, without scores.
    std::vector<std::string> Labels(const std::string& lines) {
        std::istringstream output(Classified(lines));
        std::vector<std::string> labels;
        for (std::string line; std::getline(output, line);) {
            labels.push_back(line.substr(0, line.find('\t')));
        }
        return labels;
    }

    std::string Explained(const std::string& lines, zeNode* node, bool writes_json) {
        std::istringstream input(lines);
        std::ostringstream out;
        explain_lines({input, "<stdin>"}, {node, m_top, writes_json}, m_model, out);
        return out.str();
    }

    std::string Score(const std::string& text, std::size_t place) {
        return with_decimals(m_model.rank(text, -1).at(place).score, 6);
    }

    Text_model m_model{Model_options{{Analysis_kind::kWords}}};
    Classify_options m_options;
    std::optional<std::size_t> m_top;  // the number of concepts in an explanation
};

TEST_F(LineFilterTest, EachLineHasOneLineOfAnswer) {
    EXPECT_THAT(Labels("Goal!\nbread\ngoal"), ElementsAre("sport", "food", "sport"));
}

TEST_F(LineFilterTest, PathOfEachLineIsPrintedInPlaceOfTheConcepts) {
    std::istringstream input("goal\n\nbread\n");
    std::ostringstream out;
    Explain_options options;
    options.shows_path = true;
    options.wanted_labels = 2;
    options.writes_json = true;
    explain_lines({input, "<stdin>"}, options, m_model, out);

    std::istringstream output(out.str());
    for (const std::string text : {"goal", "", "bread"}) {
        std::string line;
        std::getline(output, line);
        const nlohmann::json json = nlohmann::json::parse(line);
        const Ranking ranking = m_model.rank(text, 2);
        EXPECT_EQ(json["text"], text);
        ASSERT_EQ(json["results"].size(), ranking.size());
        for (std::size_t place = 0; place < ranking.size(); ++place) {
            EXPECT_EQ(json["results"][place]["category"], ranking[place].label);
            EXPECT_EQ(json["results"][place]["score"], ranking[place].score);
        }
    }
    EXPECT_EQ(output.peek(), EOF);
}

TEST_F(LineFilterTest, EmptyInputPrintsNothing) {
    EXPECT_EQ(Classified(""), "");
}

TEST_F(LineFilterTest, LineWithoutResultHasAnEmptyAnswer) {
    EXPECT_EQ(Classified("\n\r\n:-)\n\xFF\xFE"), "\n\n\n\n");
}

TEST_F(LineFilterTest, ByteOrderMarkAndCarriageReturnsAreRemoved) {
    EXPECT_EQ(Classified("\uFEFFgoal\r\ngoal\r\n"), Classified("goal\ngoal\n"));
}

TEST_F(LineFilterTest, ZeroBytesWithinALineAreKept) {
    EXPECT_THAT(Labels(std::string("goal\0goal\nbread\n", 16)), ElementsAre("sport", "food"));
}

TEST_F(LineFilterTest, LabelsAndScoresArePrintedBestFirst) {
    m_options.wanted_labels = 2;

    EXPECT_EQ(Classified("goal\n"),
              "sport\t" + Score("goal", 0) + "\tfood\t" + Score("goal", 1) + "\n");
}

TEST_F(LineFilterTest, ScoresBelowTheThresholdAreLeftOut) {
    m_options.wanted_labels = 2;
    const Ranking ranking = m_model.rank("goal", -1);

    m_options.threshold = ranking.at(1).score;
    EXPECT_THAT(Classified("goal\n"), HasSubstr("food"));
    m_options.threshold = ranking.at(0).score;
    EXPECT_EQ(Classified("goal\n"), "sport\t" + Score("goal", 0) + "\n");
    m_options.threshold = 1.0;
    EXPECT_EQ(Classified("goal bread\n"), "\n");
}

TEST_F(LineFilterTest, JsonHasAnObjectForEachLine) {
    m_options.wanted_labels = 2;
    m_options.writes_json = true;
    const Ranking ranking = m_model.rank("goal", -1);

    std::istringstream output(Classified("goal\n\n"));
    std::string line;
    std::getline(output, line);
    const auto json = nlohmann::ordered_json::parse(line);

    EXPECT_EQ(json["categories"].size(), 2U);
    EXPECT_EQ(json["categories"][0]["category"], "sport");
    EXPECT_EQ(json["categories"][0]["path"], "root/sport");
    EXPECT_EQ(json["categories"][0]["score"].get<double>(), ranking.at(0).score);
    EXPECT_EQ(json["categories"][1]["category"], "food");
    std::getline(output, line);
    EXPECT_EQ(line, R"({"categories":[]})");
    EXPECT_FALSE(std::getline(output, line));
}

// Containers of other programs may have labels with line ends.
TEST_F(LineFilterTest, AnswerIsOneLineForAnyLabels) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train({{{"a\tb\nc"}, "goal"}, {{"food"}, "bread"}});
    std::istringstream input("goal\n");
    std::ostringstream out;

    classify_lines({input, "<stdin>"}, m_options, model, out);

    EXPECT_THAT(out.str(), StartsWith("a b c\t"));
}

TEST_F(LineFilterTest, TooLongLineHasAnEmptyAnswer) {
    const std::string lines = "goal\n" + std::string(5, 'x') + "\nbread";
    std::istringstream input(lines);
    std::ostringstream out;
    std::vector<std::string> refused;

    classify_lines({input, "in.txt", 5, [&](const std::string& text) { refused.push_back(text); }},
                   m_options, m_model, out);
    EXPECT_EQ(out.str(), Classified(lines));
    EXPECT_THAT(refused, IsEmpty());

    input = std::istringstream("goal\n" + std::string(6, 'x') + "\nbread");
    out = std::ostringstream();
    classify_lines({input, "in.txt", 5, [&](const std::string& text) { refused.push_back(text); }},
                   m_options, m_model, out);
    EXPECT_EQ(out.str(), Classified("goal\n\nbread"));
    EXPECT_THAT(refused, ElementsAre("in.txt:2: the line is longer than 5 bytes; --max-line raises "
                                     "the limit"));
}

TEST_F(LineFilterTest, TooLongLineIsAnErrorObjectInJson) {
    m_options.writes_json = true;
    std::istringstream input("bread\ngoals");
    std::ostringstream out;

    classify_lines({input, "in.txt", 4}, m_options, m_model, out);

    const std::string error =
        "{\"error\":\"in.txt:1: the line is longer than 4 bytes; --max-line raises the limit\"}\n";
    EXPECT_EQ(out.str(), error + "{\"error\":\"in.txt:2" + error.substr(18));
}

TEST_F(LineFilterTest, TooLongLineHasNoExplanation) {
    std::istringstream input("bread\n:-)\n");
    std::ostringstream out;

    explain_lines({input, "in.txt", 4}, {}, m_model, out);
    EXPECT_EQ(out.str(), "  (line is too long)\n:-)\n  (no result)\n");

    input = std::istringstream("bread\n");
    out = std::ostringstream();
    explain_lines({input, "in.txt", 4}, {.writes_json = true}, m_model, out);
    EXPECT_THAT(out.str(), StartsWith("{\"error\":\"in.txt:1: the line is longer than 4 bytes"));
}

TEST_F(LineFilterTest, ExplanationsShowNoControlCharacters) {
    EXPECT_THAT(Explained("goal\x1B[2J\u202E\n", nullptr, false),
                StartsWith("goal\\x1B[2J\\xE2\\x80\\xAE\n  "));
}

TEST_F(LineFilterTest, BestLabelOfEachLineIsExplained) {
    const std::string explained = Explained("Goal!\r\n\nbread", nullptr, false);

    EXPECT_THAT(explained, StartsWith("Goal!\n  "));
    EXPECT_THAT(explained, HasSubstr("  sport\n    +"));
    EXPECT_THAT(explained, testing::ContainsRegex("  goal  .*\n\n  \\(no result\\)\nbread\n  "));
    EXPECT_THAT(explained, HasSubstr("  food\n    +"));
}

TEST_F(LineFilterTest, GivenNodeIsExplained) {
    std::istringstream output(Explained("goal\n\n", m_model.find("root/food"), true));
    std::string line;
    std::getline(output, line);
    const auto json = nlohmann::ordered_json::parse(line);

    EXPECT_EQ(json["text"], "goal");
    EXPECT_EQ(json["category"], "food");
    EXPECT_EQ(json["score"].get<double>(), m_model.rank("goal", -1).at(1).score);
    EXPECT_LT(json["concepts"][0]["adds"].get<double>(), 0.0);
    std::getline(output, line);
    EXPECT_EQ(line, R"({"text":"","category":"food","score":0.0,"concepts":[]})");
}

TEST_F(LineFilterTest, ColumnOfALineIsClassified) {
    std::istringstream input("\uFEFFfood\tgoal\r\nsport\n\nfood\tgoal\tgoal\n");
    std::ostringstream out;
    std::vector<std::string> warnings;
    const auto warn = [&warnings](const std::string& text) { warnings.push_back(text); };

    classify_lines({.stream = input, .name = "in.tsv", .column = 2, .warn = warn}, m_options,
                   m_model, out);

    const std::string goal = Classified("goal\n");
    EXPECT_EQ(out.str(), goal + "\n\n" + Classified("goal goal\n"));
    EXPECT_THAT(warnings, ElementsAre(StartsWith("in.tsv:2: there is no column 2")));
}

TEST_F(LineFilterTest, ColumnOfALineIsExplained) {
    std::istringstream input("food\tgoal\n");
    std::ostringstream out;

    explain_lines({.stream = input, .name = "in.tsv", .column = 2}, {}, m_model, out);

    EXPECT_EQ(out.str(), Explained("goal\n", nullptr, false));
}

TEST_F(LineFilterTest, DataLinesAreWarnedOfOnce) {
    std::vector<std::string> warnings;
    const auto warn = [&warnings](const std::string& text) { warnings.push_back(text); };
    const std::string lines = "\uFEFFgoal\r\nfood\tgoal\r\nfood\tbread\r\n";
    std::ostringstream out;
    std::istringstream to_classify(lines);
    std::istringstream to_explain(lines);

    classify_lines({.stream = to_classify, .name = "in.tsv", .warn = warn}, m_options, m_model,
                   out);
    EXPECT_EQ(out.str(), Classified(lines));
    explain_lines({.stream = to_explain, .name = "<stdin>", .warn = warn}, {}, m_model, out);

    EXPECT_THAT(warnings, ElementsAre(StartsWith("in.tsv:2: this looks like a data line"),
                                      StartsWith("<stdin>:2: this looks like a data line")));
}

// Returns more lines than one block can have. Some are empty, and some are too long.
std::string many_lines() {
    std::string lines;
    for (int i = 0; i < 1500; ++i) {
        lines += i % 7 == 0 ? "" : "goal " + std::string(static_cast<std::size_t>(i % 60), 'x');
        lines += i % 3 == 0 ? " bread\r\n" : "\n";
    }
    return lines + "bread";
}

TEST_F(LineFilterTest, SeveralProcessesGiveTheSameAnswersAsOne) {
    const auto classified = [this](std::size_t jobs, std::vector<std::string>& refused) {
        std::istringstream input(many_lines());
        std::ostringstream out;
        const auto refuse = [&refused](const std::string& text) { refused.push_back(text); };
        classify_lines(
            {.stream = input, .name = "in", .longest_line = 50, .refuse = refuse, .jobs = jobs},
            m_options, m_model, out);
        return out.str();
    };
    for (const bool writes_json : {false, true}) {
        m_options.writes_json = writes_json;
        std::vector<std::string> refused;
        const std::string expected = classified(1, refused);
        ASSERT_GT(refused.size(), 10U);
        for (const std::size_t jobs : {std::size_t(2), std::size_t(3)}) {
            std::vector<std::string> refused_there;
            EXPECT_TRUE(classified(jobs, refused_there) == expected);
            EXPECT_EQ(refused_there, refused);
        }
    }
}

TEST_F(LineFilterTest, SeveralProcessesGiveTheSameExplanationsAsOne) {
    const auto explained = [this](std::size_t jobs) {
        std::istringstream input(many_lines());
        std::ostringstream out;
        explain_lines({.stream = input, .name = "in", .longest_line = 50, .jobs = jobs}, {},
                      m_model, out);
        return out.str();
    };
    EXPECT_TRUE(explained(2) == explained(1));
}

// The child processes that still exist.
std::vector<pid_t> child_processes() {
    std::vector<pid_t> children;
    std::ifstream file("/proc/self/task/" + std::to_string(::getpid()) + "/children");
    for (pid_t child = 0; file >> child;) {
        children.push_back(child);
    }
    return children;
}

// The system may kill a process when memory runs out.
TEST_F(LineFilterTest, AnswersOfKilledProcessesAreNotLost) {
    std::size_t killed_count = 0;
    const auto kill_all = [&killed_count](const std::string&) {
        for (const pid_t child : child_processes()) {
            ::kill(child, SIGKILL);
            ++killed_count;
        }
    };
    std::istringstream input(many_lines());
    std::ostringstream out;
    classify_lines(
        {.stream = input, .name = "in", .longest_line = 50, .refuse = kill_all, .jobs = 2},
        m_options, m_model, out);

    EXPECT_GE(killed_count, 2U);
    input = std::istringstream(many_lines());
    std::ostringstream expected;
    classify_lines({.stream = input, .name = "in", .longest_line = 50}, m_options, m_model,
                   expected);
    EXPECT_TRUE(out.str() == expected.str());
}

TEST_F(LineFilterTest, InputThatCannotBeReadRaises) {
    std::istringstream input("goal\n");
    input.setstate(std::ios::badbit);
    std::ostringstream out;

    EXPECT_THROW(classify_lines({input, "in.txt"}, m_options, m_model, out), Input_error);
}

TEST_F(LineFilterTest, FilterEndsIfTheOutputFails) {
    std::istringstream input("goal\ngoal\n");
    std::ostringstream out;
    out.setstate(std::ios::badbit);

    classify_lines({input, "<stdin>"}, m_options, m_model, out);

    EXPECT_EQ(input.tellg(), 0);
}

TEST_F(LineFilterTest, EachLineIsExplainedByTheRequestedNumberOfConcepts) {
    m_top = 1;
    const std::string json = Explained("goal bread\ngoal", nullptr, true);
    const std::string first = json.substr(0, json.find('\n'));

    EXPECT_EQ(nlohmann::json::parse(first)["concepts"].size(), 1U);
    EXPECT_THAT(Explained("goal bread\n", nullptr, false), EndsWith("    (1 more)\n"));
    EXPECT_THAT(Explained("goal\n", nullptr, false), testing::Not(HasSubstr("more)")));
}

// A map whose confidence is the score itself, with four decimals.
class ConfidenceFilterTest : public LineFilterTest {
protected:
    ConfidenceFilterTest() { m_model.give_confidence(Confidence_map::fit({})); }

    std::string ConfidenceOf(const std::string& text) {
        const Ranking ranking = m_model.rank(text, 2);
        return with_decimals(m_model.confidence()->of(top_scores(ranking)), 4);
    }
};

TEST_F(ConfidenceFilterTest, ConfidenceIsTheFirstColumnOfAnAnswer) {
    const std::string usual = Classified("the goal\n\nthe bread\n");
    m_options.shows_confidence = true;
    std::istringstream lines(usual);
    std::string expected;
    for (const char* const text : {"the goal", "", "the bread"}) {
        std::string line;
        std::getline(lines, line);
        expected += (line.empty() ? "" : ConfidenceOf(text) + "\t" + line) + "\n";
    }

    EXPECT_EQ(Classified("the goal\n\nthe bread\n"), expected);
    EXPECT_THAT(expected, HasSubstr("\tsport\t"));
}

TEST_F(ConfidenceFilterTest, ColumnsStayWithoutTheOption) {
    const std::string with_map = Classified("the goal\nthe bread\n");
    m_model.drop_confidence();

    EXPECT_EQ(Classified("the goal\nthe bread\n"), with_map);
}

TEST_F(ConfidenceFilterTest, JsonHasTheConfidenceOnlyWithAMap) {
    m_options.writes_json = true;
    const nlohmann::json answer = nlohmann::json::parse(Classified("the goal"));
    EXPECT_EQ(with_decimals(answer.at("confidence").get<double>(), 4), ConfidenceOf("the goal"));
    EXPECT_FALSE(answer.contains("rejected"));
    EXPECT_EQ(answer.at("categories").size(), 1U);
    m_model.drop_confidence();
    EXPECT_FALSE(nlohmann::json::parse(Classified("the goal")).contains("confidence"));
}

TEST_F(ConfidenceFilterTest, AnswerBelowTheLeastConfidenceIsRejected) {
    const double confidence = m_model.confidence()->of(top_scores(m_model.rank("the goal", 2)));
    m_options.reject = confidence;
    EXPECT_THAT(Labels("the goal"), ElementsAre("sport"));
    m_options.reject = confidence + 0.0001;
    EXPECT_EQ(Classified("the goal\n"), "\n");
    m_options.writes_json = true;
    const nlohmann::json answer = nlohmann::json::parse(Classified("the goal"));
    EXPECT_TRUE(answer.at("categories").empty());
    EXPECT_EQ(answer.at("rejected"), true);
    EXPECT_EQ(answer.at("confidence"), confidence);
    m_options.reject = 0.0;
    EXPECT_EQ(nlohmann::json::parse(Classified("the goal")).at("rejected"), false);
}

TEST_F(ConfidenceFilterTest, ConfidenceIsThatOfTheBestLabelBelowTheThreshold) {
    m_options.writes_json = true;
    m_options.threshold = 1.0;
    const nlohmann::json answer = nlohmann::json::parse(Classified("the goal the bread"));
    EXPECT_TRUE(answer.at("categories").empty());
    EXPECT_GT(answer.at("confidence"), 0.0);
}

TEST_F(ConfidenceFilterTest, CsvHasTheConfidenceInTheLastColumn) {
    m_options.writes_csv = true;
    m_options.wanted_labels = 2;
    const std::string usual = Classified("the goal\n");
    m_options.shows_confidence = true;

    EXPECT_EQ(Classified("the goal\n"),
              usual.substr(0, usual.size() - 1) + "," + ConfidenceOf("the goal") + "\n");
}

}  // namespace

}  // namespace zandrel::cli
