#include "text/confidence/rated_walk.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text/model/Text_model.h"

namespace zandrel {

namespace {

// Each text reaches both leaves. The leaf "first" has the value 0.5. The way to "second" has the
// value 0.4, and then a rule of the value 2, so this leaf has the score 0.8.
Model_options doubling_tree() {
    Model_options options;
    options.tree.text =
        "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
        "++\t[Leaf]\t[Score]\t[]\t[first]\t[0.5]\n"
        "++\t[Rule]\t[NoScore]\t[]\t[way]\t[0.4]\n"
        "+++\t[Leaf]\t[Score]\t[]\t[second]\t[2]\n";
    options.tree.name = "tree";
    return options;
}

TEST(RatedWalkTest, RulesAboveOneDoNotChangeTheLabelOfAWalkForOne) {
    Text_model model(doubling_tree());
    model.train({{{"first"}, "goal"}, {{"second"}, "price"}});

    const Ranking two = model.rank("goal", 2);
    ASSERT_EQ(two.size(), 2U);
    EXPECT_EQ(two[0].label, "second");
    EXPECT_DOUBLE_EQ(two[0].score, 0.8);

    const Rated_ranking one = model.rank_rated(Labelled_text{{}, "goal"}, 1);
    ASSERT_EQ(one.ranking.size(), 1U);
    EXPECT_EQ(one.ranking[0].label, "first");
    EXPECT_DOUBLE_EQ(one.scores.best, 0.5);
    EXPECT_DOUBLE_EQ(one.scores.second, 0.8);
    EXPECT_EQ(model.rank("goal", 1).at(0).label, "first");
}

TEST(RatedWalkTest, WithoutRulesOneWalkFindsBothScores) {
    struct Result {
        std::string label;
        double score;
    };

    std::vector<int> walks;
    const auto walk = [&walks](int count) {
        walks.push_back(count);
        std::vector<Result> results = {{"a", 0.75}, {"b", 0.5}, {"c", 0.25}};
        results.resize(static_cast<std::size_t>(count < 0 ? 3 : count));
        return results;
    };
    const auto label_of = [](const Result& result) { return result.label; };

    for (const int wanted : {1, 2, 3, -1}) {
        const auto rated = rated_walk(wanted, false, walk, label_of);
        EXPECT_EQ(rated.results.size(), wanted < 0 ? 3U : static_cast<std::size_t>(wanted));
        EXPECT_EQ(rated.scores.best, 0.75);
        EXPECT_EQ(rated.scores.second, 0.5);
    }
    EXPECT_EQ(walks, (std::vector<int>{2, 2, 3, -1}));

    walks.clear();
    const auto rated = rated_walk(1, true, walk, label_of);
    EXPECT_EQ(rated.results.size(), 1U);
    EXPECT_EQ(rated.scores.second, 0.5);
    EXPECT_EQ(walks, (std::vector<int>{1, 2}));
}

}  // namespace

}  // namespace zandrel
