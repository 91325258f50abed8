#include "cli/evaluate/Metrics.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> lines_of(const std::vector<Confusion>& confusions) {
    std::vector<std::string> lines;
    for (const Confusion& confusion : confusions) {
        lines.push_back(std::to_string(confusion.texts) + " " + confusion.expected + "->" +
                        confusion.got);
    }
    return lines;
}

// Six texts. Counted by hand as hits / misses / false alarms: a 2/1/0, b 1/2/1, c 0/1/0; d was only
// predicted.
Metrics six_texts() {
    Metrics_counter counter;
    counter.add({"a"}, "a");
    counter.add({"a"}, "b");
    counter.add({"b"}, "b");
    counter.add({"b"}, "");
    counter.add({"a", "b"}, "a");
    counter.add({"c"}, "d");
    return counter.metrics();
}

TEST(MetricsTest, TextIsCorrectIfItsBestLabelIsOneOfItsLabels) {
    const Metrics metrics = six_texts();

    EXPECT_EQ(metrics.texts, 6U);
    EXPECT_EQ(metrics.correct, 3U);
    EXPECT_EQ(metrics.accuracy, 0.5);
}

TEST(MetricsTest, F1IsAveragedOverTheLabelsOfTheTexts) {
    const Metrics metrics = six_texts();

    // F1 is 4/5 for a, 2/5 for b and 0 for c.
    EXPECT_EQ(metrics.labels, 3U);
    EXPECT_DOUBLE_EQ(metrics.macro_f1_top, 0.4);
}

TEST(MetricsTest, AllRightGivesTheValueOne) {
    Metrics_counter counter;
    counter.add({"a"}, "a");
    counter.add({"b"}, "b");

    EXPECT_EQ(counter.metrics().accuracy, 1.0);
    EXPECT_EQ(counter.metrics().macro_f1_top, 1.0);
    EXPECT_THAT(counter.metrics().confusions, IsEmpty());
}

TEST(MetricsTest, WithoutTextsAllValuesAreZero) {
    const Metrics metrics = Metrics_counter().metrics();

    EXPECT_EQ(metrics.accuracy, 0.0);
    EXPECT_EQ(metrics.macro_f1_top, 0.0);
}

TEST(MetricsTest, ConfusionsAreListedWorstFirstThenByText) {
    Metrics_counter counter;
    counter.add({"c"}, "a");
    counter.add({"b"}, "c");
    counter.add({"b"}, "a");
    counter.add({"c"}, "a");
    counter.add({"a", "b"}, "c");
    counter.add({"a"}, "");

    EXPECT_THAT(lines_of(counter.metrics().confusions),
                ElementsAre("2 c->a", "1 a->", "1 a,b->c", "1 b->a", "1 b->c"));
}

}  // namespace

}  // namespace zandrel::cli
