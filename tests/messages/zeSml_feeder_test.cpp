#include "zandrel/messages/zeSml_feeder.h"

#include <algorithm>
#include <ctime>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

namespace {

// The weight of an entry; -1000 if there is none. No test has a sum of -1000.
double weight_of(const zeSml_feeder& feeder, std::string_view text) {
    const auto entry = feeder.m_concepts.find(term(text));
    return entry == feeder.m_concepts.end() ? -1000.0 : entry->second;
}

TEST(zeSmlfeederTest, NewFeederIsEmpty) {
    const zeSml_feeder feeder;

    EXPECT_TRUE(feeder.m_concepts.empty());
    EXPECT_EQ(feeder.m_total_weight, 0.0);
}

TEST(zeSmlfeederTest, WeightsAreAddedToEntryAndTotal) {
    zeSml_feeder feeder;

    feeder.add_concept(term("goal"), 2.0);
    feeder.add_concept(term("match"), 0.5);
    feeder.add_concept(term("goal"), 1.25);

    EXPECT_EQ(feeder.m_concepts.size(), 2U);
    EXPECT_EQ(weight_of(feeder, "goal"), 3.25);
    EXPECT_EQ(weight_of(feeder, "match"), 0.5);
    EXPECT_EQ(feeder.m_total_weight, 3.75);
}

TEST(zeSmlfeederTest, EntriesOfWeightZeroAreKept) {
    zeSml_feeder feeder;

    feeder.add_concept(term("goal"), 2.0);
    feeder.add_concept(term("goal"), -2.0);

    EXPECT_EQ(weight_of(feeder, "goal"), 0.0);
    EXPECT_EQ(feeder.m_total_weight, 0.0);
}

TEST(zeSmlfeederTest, EmptyConceptIsAcceptedLikeAnyOther) {
    zeSml_feeder feeder;

    feeder.add_concept(Concept(), 1.5);

    EXPECT_EQ(weight_of(feeder, ""), 1.5);
}

TEST(zeSmlfeederTest, RemovalSubtractsTheWholeWeight) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}, {"match", 4.0}, {"goal", 1.0}});

    EXPECT_TRUE(feeder.remove_concept(term("goal")));

    EXPECT_EQ(feeder.m_concepts.size(), 1U);
    EXPECT_EQ(weight_of(feeder, "match"), 4.0);
    EXPECT_EQ(feeder.m_total_weight, 4.0);
}

TEST(zeSmlfeederTest, RemovalByAReferenceIntoTheTableWorks) {
    zeSml_feeder feeder = make_feeder({{"held by the table alone", 2.0}});

    EXPECT_TRUE(feeder.remove_concept(feeder.m_concepts.begin()->first));

    EXPECT_TRUE(feeder.m_concepts.empty());
    EXPECT_EQ(feeder.m_total_weight, 0.0);
}

TEST(zeSmlfeederTest, RemovalOfAbsentConceptChangesNothing) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}});

    EXPECT_FALSE(feeder.remove_concept(term("match")));

    EXPECT_EQ(weight_of(feeder, "goal"), 2.0);
    EXPECT_EQ(feeder.m_total_weight, 2.0);
}

TEST(zeSmlfeederTest, ConceptIsRemovedOnlyOnce) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}});

    EXPECT_TRUE(feeder.remove_concept(term("goal")));
    EXPECT_FALSE(feeder.remove_concept(term("goal")));

    EXPECT_EQ(feeder.m_total_weight, 0.0);
}

TEST(zeSmlfeederTest, SharedAndNewConceptsAreCombined) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}, {"match", 1.0}});
    const zeSml_feeder other = make_feeder({{"match", 0.5}, {"team", 4.0}});

    feeder.combine(other);

    EXPECT_EQ(feeder.m_concepts.size(), 3U);
    EXPECT_EQ(weight_of(feeder, "goal"), 2.0);
    EXPECT_EQ(weight_of(feeder, "match"), 1.5);
    EXPECT_EQ(weight_of(feeder, "team"), 4.0);
    EXPECT_EQ(feeder.m_total_weight, 7.5);
}

TEST(zeSmlfeederTest, CombinationDoesNotChangeTheOtherFeeder) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}});
    const zeSml_feeder other = make_feeder({{"match", 0.5}});

    feeder.combine(other);

    EXPECT_EQ(other.m_concepts.size(), 1U);
    EXPECT_EQ(weight_of(other, "match"), 0.5);
    EXPECT_EQ(other.m_total_weight, 0.5);
}

TEST(zeSmlfeederTest, CombinationWithEmptyFeederChangesNothing) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}});

    feeder.combine(zeSml_feeder());

    EXPECT_EQ(feeder.m_concepts.size(), 1U);
    EXPECT_EQ(weight_of(feeder, "goal"), 2.0);
    EXPECT_EQ(feeder.m_total_weight, 2.0);
}

TEST(zeSmlfeederTest, CombinationUsesEntriesAndNotTheTotal) {
    zeSml_feeder feeder;
    zeSml_feeder other = make_feeder({{"goal", 2.0}});
    other.m_total_weight = 100.0;

    feeder.combine(other);

    EXPECT_EQ(feeder.m_total_weight, 2.0);
}

TEST(zeSmlfeederTest, CombinationWithItselfDoubles) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}, {"match", 0.5}});

    feeder.combine(feeder);

    EXPECT_EQ(feeder.m_concepts.size(), 2U);
    EXPECT_EQ(weight_of(feeder, "goal"), 4.0);
    EXPECT_EQ(weight_of(feeder, "match"), 1.0);
    EXPECT_EQ(feeder.m_total_weight, 5.0);
}

TEST(zeSmlfeederTest, ClearEmptiesTableAndTotal) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}, {"match", 0.5}});

    feeder.clear();

    EXPECT_TRUE(feeder.m_concepts.empty());
    EXPECT_EQ(feeder.m_total_weight, 0.0);
}

// A short text after a long one must cost only its own size. So the table for 100,000 concepts is
// not cleared as a whole.
TEST(zeSmlfeederTest, ShortTextAfterLongOneCostsOnlyItsOwnSize) {
    const auto clears = [](zeSml_feeder& feeder) {
        const std::clock_t begin = std::clock();
        for (int i = 0; i < 1000; ++i) {
            feeder.add_concept(term("goal"), 1.0);
            feeder.clear();
        }
        return std::clock() - begin;
    };
    zeSml_feeder small;
    zeSml_feeder large;
    for (int i = 0; i < 100000; ++i) {
        large.add_concept(term("long " + std::to_string(i)), 1.0);
    }
    large.clear();
    std::clock_t of_small = clears(small);
    std::clock_t of_large = clears(large);
    for (int i = 0; i < 5; ++i) {
        of_small = std::min(of_small, clears(small));
        of_large = std::min(of_large, clears(large));
    }

    // Touching 100,000 slots a thousand times takes at least 20 ms; the rest takes less than 1 ms.
    EXPECT_LT(of_large, of_small * 5 + CLOCKS_PER_SEC / 200);
}

TEST(zeSmlfeederTest, ClearedFeederCanBeFilledAgain) {
    zeSml_feeder feeder = make_feeder({{"goal", 2.0}});
    feeder.clear();

    feeder.add_concept(term("goal"), 0.5);

    EXPECT_EQ(weight_of(feeder, "goal"), 0.5);
    EXPECT_EQ(feeder.m_total_weight, 0.5);
}

}  // namespace
