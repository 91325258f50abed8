#include "cli/model/Text_model.h"

#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Each text ten times, since a word that few texts have counts for little.
std::vector<Labelled_text> ten_of_each() {
    std::vector<Labelled_text> texts;
    for (int i = 0; i < 10; ++i) {
        texts.push_back({{"sport"}, "the goal of the match"});
        texts.push_back({{"food"}, "the bread and the cheese"});
        texts.push_back({{"travel"}, "the train to the coast"});
        texts.push_back({{"sport", "food"}, "apples at the match"});
    }
    return texts;
}

std::vector<std::string> labels_of(const std::vector<Scored_label>& ranking) {
    std::vector<std::string> labels;
    for (const Scored_label& label : ranking) {
        labels.push_back(label.label);
    }
    return labels;
}

TEST(TextModelTest, RanksLabelWhoseWordsTheTextHasFirst) {
    Text_model model({Analysis_kind::kWords});
    model.train(ten_of_each());

    EXPECT_THAT(labels_of(model.rank("Goal!", 1)), ElementsAre("sport"));
    EXPECT_THAT(labels_of(model.rank("more CHEESE", 1)), ElementsAre("food"));
    EXPECT_THAT(labels_of(model.rank("train, coast", 1)), ElementsAre("travel"));
}

TEST(TextModelTest, RanksBestFirstWithScoresUpToOne) {
    Text_model model({Analysis_kind::kWords});
    model.train(ten_of_each());

    const std::vector<Scored_label> ranking = model.rank("bread and goal", 3);

    EXPECT_THAT(labels_of(ranking), UnorderedElementsAre("sport", "food", "travel"));
    for (std::size_t i = 0; i < ranking.size(); ++i) {
        EXPECT_GT(ranking[i].score, 0.0);
        EXPECT_LE(ranking[i].score, i == 0 ? 1.0 : ranking[i - 1].score);
    }
}

TEST(TextModelTest, GivesAsManyLabelsAsWanted) {
    Text_model model({Analysis_kind::kWords});
    model.train(ten_of_each());

    EXPECT_EQ(model.rank("bread", 2).size(), 2U);
    EXPECT_EQ(model.rank("bread", 100).size(), 3U);
}

TEST(TextModelTest, HasNoResultForTextWithoutWord) {
    Text_model model({Analysis_kind::kWords});
    model.train(ten_of_each());

    EXPECT_THAT(model.rank("", 3), IsEmpty());
    EXPECT_THAT(model.rank(":-)", 3), IsEmpty());
}

TEST(TextModelTest, CountsDifferentLabels) {
    Text_model model({Analysis_kind::kWords});

    EXPECT_EQ(model.label_count(), 0U);
    model.train(ten_of_each());
    EXPECT_EQ(model.label_count(), 3U);
}

TEST(TextModelTest, UsesTheAnalysisThatItIsMadeWith) {
    const std::vector<Labelled_text> texts = {{{"upper"}, "GO :-)"}, {{"lower"}, "go :-("}};
    Text_model model({Analysis_kind::kWhitespace});
    model.train(texts);

    EXPECT_THAT(labels_of(model.rank("GO", 1)), ElementsAre("upper"));
    EXPECT_THAT(labels_of(model.rank("go", 1)), ElementsAre("lower"));
    EXPECT_THAT(labels_of(model.rank(":-(", 1)), ElementsAre("lower"));
}

}  // namespace

}  // namespace cli
