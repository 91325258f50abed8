// The rankings are made up, so no model is trained. A ranking without nodes has no explanations.
#include "cli/report/Report_collector.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using Cell_counts = std::tuple<std::string, std::string, std::size_t>;

Labelled_text labelled_text(std::vector<std::string> labels, std::string text) {
    return {std::move(labels), std::move(text)};
}

// The name of the answer is empty if there is none.
std::vector<Cell_counts> named_cells(const Report_data& data) {
    std::vector<Cell_counts> cells;
    for (const Report_cell& cell : data.cells) {
        cells.emplace_back(data.names[cell.row],
                           cell.column < data.names.size() ? data.names[cell.column] : "",
                           cell.texts);
    }
    return cells;
}

TEST(ReportCollectorTest, TextsAreCountedByLabelAndAnswer) {
    Report_collector collector;
    const Labelled_text golf = labelled_text({"golf"}, "a");
    const Labelled_text chess = labelled_text({"chess"}, "b");
    collector.add({golf, 0, {{"golf", 0.9}, {"chess", 0.1}}});
    collector.add({golf, 1, {{"chess", 0.6}, {"golf", 0.4}}});
    collector.add({chess, 2, {{"golf", 0.7}}});
    collector.add({golf, 3, {{"golf", 0.8}}});
    collector.add({chess, 4, {}});
    const Report_data data = collector.data();
    EXPECT_EQ(data.names, (std::vector<std::string>{"chess", "golf"}));
    EXPECT_EQ(
        named_cells(data),
        (std::vector<Cell_counts>{
            {"chess", "golf", 1}, {"chess", "", 1}, {"golf", "chess", 1}, {"golf", "golf", 2}}));
    EXPECT_EQ(data.texts, 5U);
    EXPECT_EQ(data.mistake_count, 3U);
    EXPECT_FALSE(data.has_several_labels);
}

// The rule of Report_data, with its example.
TEST(ReportCollectorTest, TextWithSeveralLabelsCountsForTheOneWithTheHighestScore) {
    Report_collector collector;
    const Labelled_text text = labelled_text({"golf", "tax"}, "a");
    collector.add({text, 0, {{"chess", 0.7}, {"tax", 0.4}, {"golf", 0.1}}});
    const Report_data data = collector.data();
    EXPECT_EQ(named_cells(data), (std::vector<Cell_counts>{{"tax", "chess", 1}}));
    EXPECT_TRUE(data.has_several_labels);
    EXPECT_EQ(data.cells.front().samples.front().labels, "golf, tax");
    EXPECT_DOUBLE_EQ(data.cells.front().samples.front().label_score, 0.4);
    // As in the metrics of best labels: each label of the text that is not the answer is missed.
    EXPECT_EQ(data.tallies[0].false_alarms, 1U);  // chess
    EXPECT_EQ(data.tallies[1].misses, 1U);        // golf
    EXPECT_EQ(data.tallies[2].misses, 1U);        // tax
}

TEST(ReportCollectorTest, CellsOfWrongAnswersKeepTheHighestScores) {
    Report_collector collector;
    for (int i = 0; i < 30; ++i) {
        const Labelled_text text = labelled_text({"golf"}, std::to_string(i));
        collector.add({text, static_cast<std::size_t>(i), {{"chess", 0.3 + 0.01 * i}}});
    }
    const Report_cell cell = collector.data().cells.front();
    EXPECT_EQ(cell.texts, 30U);
    ASSERT_EQ(cell.samples.size(), 20U);
    EXPECT_EQ(cell.samples.front().text, "29");
    EXPECT_EQ(cell.samples.back().text, "10");
}

TEST(ReportCollectorTest, CellsOfRightAnswersKeepTheLowestScores) {
    Report_collector collector;
    for (int i = 0; i < 30; ++i) {
        const Labelled_text text = labelled_text({"golf"}, std::to_string(i));
        collector.add({text, static_cast<std::size_t>(i), {{"golf", 0.3 + 0.01 * i}}});
    }
    const Report_cell cell = collector.data().cells.front();
    ASSERT_EQ(cell.samples.size(), 20U);
    EXPECT_EQ(cell.samples.front().text, "0");
    EXPECT_EQ(cell.samples.back().text, "19");
}

TEST(ReportCollectorTest, WorstMistakesAreThoseWithTheHighestScores) {
    Report_collector collector;
    for (int i = 0; i < 60; ++i) {
        const Labelled_text text = labelled_text({"golf"}, std::to_string(i));
        collector.add({text, static_cast<std::size_t>(i), {{"chess", 0.01 * (i + 1)}}});
    }
    const std::vector<Mistake> mistakes = collector.data().mistakes;
    ASSERT_EQ(mistakes.size(), 50U);
    EXPECT_EQ(mistakes.front().sample.text, "59");
    EXPECT_EQ(mistakes.back().sample.text, "10");
}

// Bins have the width 0.05, so 0.05 is in the second one. A score of a rule can be above 1.
TEST(ReportCollectorTest, ScoresAreCountedInBins) {
    Report_collector collector;
    const Labelled_text text = labelled_text({"golf"}, "a");
    collector.add({text, 0, {{"golf", 0.049}}});
    collector.add({text, 1, {{"golf", 0.05}}, 0.5});
    collector.add({text, 2, {{"golf", 3.0}}});
    collector.add({text, 3, {{"chess", 1.0}}});
    collector.add({text, 4, {}});
    const Report_data data = collector.data();
    EXPECT_EQ(data.by_score.right[0], 1U);
    EXPECT_EQ(data.by_score.right[1], 1U);
    EXPECT_EQ(data.by_score.right[19], 1U);
    EXPECT_EQ(data.by_score.wrong[19], 1U);
    EXPECT_EQ(data.by_score.wrong[0], 1U);
    EXPECT_EQ(data.by_confidence.right[10], 1U);
    EXPECT_TRUE(data.has_confidence);
}

TEST(ReportCollectorTest, TextsWithoutAnswerByTheirConfidenceAreLeftOut) {
    Report_collector collector;
    const Labelled_text text = labelled_text({"golf"}, "a");
    collector.add({text, 0, {{"chess", 0.9}}, 0.3, false});
    collector.add({text, 1, {{"golf", 0.9}}, 0.8, true});
    const Report_data data = collector.data();
    EXPECT_EQ(named_cells(data), (std::vector<Cell_counts>{{"golf", "golf", 1}}));
    EXPECT_EQ(data.texts, 1U);
    EXPECT_EQ(data.rejected, 1U);
    EXPECT_TRUE(data.mistakes.empty());
}

TEST(ReportCollectorTest, TextsOfCellsAreCut) {
    Report_collector collector;
    const Labelled_text text = labelled_text({"golf"}, std::string(400, 'a'));
    collector.add({text, 0, {{"golf", 0.5}}});
    EXPECT_EQ(collector.data().cells.front().samples.front().text,
              std::string(300, 'a') + "\u2026");
}

}  // namespace

}  // namespace zandrel::cli
