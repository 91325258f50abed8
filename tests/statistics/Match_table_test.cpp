#include "zandrel/statistics/Match_table.h"

#include <cstddef>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/match_rows.h"

using zandrel::detail::Match_table;

namespace {

using Profiles = std::vector<std::unique_ptr<zeStat_storage::Profile>>;
using Pairs = std::vector<std::pair<float, int>>;

Pairs pairs_of(const Match_table& table, const char* word) {
    Pairs pairs;
    for (const Match_table::Concept_weight& pair : row_of(table, term(word))) {
        pairs.emplace_back(pair.m_weight, pair.m_iprofile);
    }
    return pairs;
}

TEST(Match_tableTest, NewAndClearedTableHasRoomFor100Rows) {
    Match_table table;
    EXPECT_GE(table.rows().bucket_count(), 100U);

    table.add(term("x"), 1);
    table.clear();

    EXPECT_GE(table.rows().bucket_count(), 100U);
}

TEST(Match_tableTest, CompileGivesEachConceptItsPairsInTheOrderOfProfiles) {
    Profiles profiles;
    profiles.push_back(std::make_unique<zeStat_storage::Profile>());
    profiles.push_back(std::make_unique<zeStat_storage::Profile>());
    profiles[0]->m_weights = {{term("x"), 1.0F}};
    profiles[1]->m_weights = {{term("y"), 2.0F}, {term("x"), -1.0F}};
    Match_table table;

    table.compile(profiles);

    EXPECT_EQ(table.size(), 2U);
    EXPECT_EQ(pairs_of(table, "x"), (Pairs{{1.0F, 0}, {-1.0F, 1}}));
    EXPECT_EQ(pairs_of(table, "y"), (Pairs{{2.0F, 1}}));
    EXPECT_EQ(table.find(term("z")), table.end());
    EXPECT_EQ(table.profile_end(), 2);
}

// The third value of a weight is a guess: the position of its concept among the model's infos. All
// profiles guess 5 for x. One of them guesses 5 for y too, which cannot be right. The second weight
// of z has no guess.
TEST(Match_tableTest, CompileTakesPositionsOfInfosAsGuesses) {
    Profiles profiles;
    for (int i = 0; i < 3; ++i) {
        profiles.push_back(std::make_unique<zeStat_storage::Profile>());
    }
    profiles[0]->m_weights = {{term("x"), 1.0F, 5}, {term("y"), 2.0F, 0}, {term("z"), 3.0F, 9}};
    profiles[1]->m_weights = {{term("y"), 4.0F, 5}, {term("z"), 5.0F}, {term("x"), 6.0F, 5}};
    profiles[2]->m_weights = {{term("z"), 7.0F, 9}, {term("x"), 8.0F, 5}, {term("y"), 9.0F, 0}};
    Match_table table;

    table.compile(profiles);

    EXPECT_EQ(table.size(), 3U);
    EXPECT_EQ(pairs_of(table, "x"), (Pairs{{1.0F, 0}, {6.0F, 1}, {8.0F, 2}}));
    EXPECT_EQ(pairs_of(table, "y"), (Pairs{{2.0F, 0}, {4.0F, 1}, {9.0F, 2}}));
    EXPECT_EQ(pairs_of(table, "z"), (Pairs{{3.0F, 0}, {5.0F, 1}, {7.0F, 2}}));
}

TEST(Match_tableTest, CompileReplacesThePreviousTable) {
    Match_table table;
    set_row(table, term("old"), {{1.0F, 7}});

    table.compile(Profiles());

    EXPECT_TRUE(table.empty());
    EXPECT_EQ(table.profile_end(), 0);
}

// Rows of up to 299 pairs fill several blocks.
TEST(Match_tableTest, AddedRowsKeepTheirPairsWhileOthersAreAddedAndReplaced) {
    std::mt19937 random(20261122);
    Match_table table;
    std::map<std::string, Pairs> expected;
    for (int i = 0; i < 2000; ++i) {
        const std::string word = "w" + std::to_string(random() % 500);
        Row row(random() % 300);
        Pairs& pairs = expected[word];
        pairs.clear();
        for (auto& pair : row) {
            pair = {static_cast<float>(random() % 100), static_cast<int>(random() % 100)};
            pairs.emplace_back(pair.m_weight, pair.m_iprofile);
        }
        set_row(table, term(word), row);
    }

    ASSERT_EQ(table.size(), expected.size());
    for (const auto& [word, pairs] : expected) {
        ASSERT_EQ(pairs_of(table, word.c_str()), pairs);
    }
    EXPECT_EQ(table.profile_end(), Match_table::kUnknown);
}

TEST(Match_tableTest, RowOfAnySizeIsAdded) {
    Match_table table;
    EXPECT_EQ(table.add(term("none"), 0).size(), 0U);
    EXPECT_EQ(table.add(term("many"), 1000000).size(), 1000000U);
    EXPECT_EQ(table.at(term("none")).size(), 0U);
    EXPECT_EQ(table.at(term("many")).size(), 1000000U);
}

TEST(Match_tableTest, ClearEmptiesTheTable) {
    Match_table table;
    set_row(table, term("x"), {{1.0F, 0}});

    table.clear();

    EXPECT_EQ(table.count(term("x")), 0U);
    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.begin(), table.end());
}

}  // namespace
