// The file of a model that keeps learning must not keep growing.
#include <vector>

#include <gtest/gtest.h>

#include "tests/cli/New_words.h"

namespace zandrel::cli {

namespace {

// Compares the file after 50,000 and after 100,000 texts, with the settings that the program
// chooses. Likelihood tables are off: they have a fixed size, and making them takes most of the
// time.
void expect_hardly_any_growth(Analysis_kind kind) {
    const std::vector<Growth> points =
        learn_new_words({kind}, {"UseLikelihoodInTrain=0"}, 100000, 2000, 4);

    ASSERT_EQ(points.size(), 10U);
    EXPECT_EQ(points[4].texts, 50000U);
    EXPECT_EQ(points[9].texts, 100000U);
    EXPECT_LT(static_cast<double>(points[9].file_bytes),
              1.05 * static_cast<double>(points[4].file_bytes));
    EXPECT_GT(points[4].concepts, 4000U) << "more than the 2,000 words that come again";
}

TEST(LearningGrowthTest, StreamOfNewWordsAddsLessThanATwentiethToTheFileOfPhrases) {
    expect_hardly_any_growth(Analysis_kind::kPhrases);
}

TEST(LearningGrowthTest, StreamOfNewWordsAddsLessThanATwentiethToTheFileOfWords) {
    expect_hardly_any_growth(Analysis_kind::kWords);
}

}  // namespace

}  // namespace zandrel::cli
