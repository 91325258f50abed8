#include "zandrel/messages/Concept_weights.h"

#include <cstddef>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

using zandrel::Concept_weights;

namespace {

using Model = std::map<std::string, double>;

Concept numbered(std::size_t number) {
    return Concept::insert("weighted " + std::to_string(number));
}

Model contents(const Concept_weights& weights) {
    Model model;
    for (const auto& [each, weight] : weights) {
        EXPECT_TRUE(model.emplace(each.view(), weight).second) << each.view();
        EXPECT_EQ(weights.at(each), weight);
    }
    EXPECT_EQ(model.size(), weights.size());
    return model;
}

TEST(ConceptWeightsTest, NewEntryHasWeightZero) {
    Concept_weights weights;

    EXPECT_EQ(weights[term("goal")], 0.0);
    EXPECT_EQ(weights.size(), 1U);
}

TEST(ConceptWeightsTest, AbsentConceptIsNotFound) {
    Concept_weights weights;
    weights[term("goal")] = 2.0;

    EXPECT_EQ(weights.find(term("match")), weights.end());
    const auto look_up_and_compare = [&weights] {
        try {
            weights.at(term("match"));
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "Concept_weights: no such concept");
            throw;
        }
    };
    EXPECT_THROW(look_up_and_compare(), std::out_of_range);
    EXPECT_EQ(weights.at(term("goal")), 2.0);
}

TEST(ConceptWeightsTest, MovedTableIsEmptyAndCanBeFilledAgain) {
    Concept_weights source;
    for (std::size_t i = 0; i < 200; ++i) {
        source[numbered(i)] = static_cast<double>(i);
    }
    const Model all = contents(source);

    Concept_weights target = std::move(source);
    EXPECT_EQ(contents(target), all);
    EXPECT_EQ(source.find(numbered(3)), source.end());
    source[numbered(3)] = 7.0;
    EXPECT_EQ(contents(source), (Model{{"weighted 3", 7.0}}));

    target = std::move(source);
    EXPECT_EQ(contents(target), (Model{{"weighted 3", 7.0}}));
    EXPECT_TRUE(source.empty());
    source[numbered(4)] = 1.0;
    EXPECT_EQ(contents(source), (Model{{"weighted 4", 1.0}}));
}

TEST(ConceptWeightsTest, EntriesAreInTheOrderOfAdding) {
    Concept_weights weights;
    for (std::size_t i = 0; i < 1000; ++i) {
        weights[numbered(i)] = static_cast<double>(i);
    }

    std::size_t next = 0;
    for (const auto& [each, weight] : weights) {
        ASSERT_EQ(each, numbered(next));
        ASSERT_EQ(weight, static_cast<double>(next));
        ++next;
    }
}

TEST(ConceptWeightsTest, EntriesBeforeClearAreNotFound) {
    Concept_weights weights;
    for (std::size_t i = 0; i < 1000; ++i) {
        weights[numbered(i)] = 1.0;
    }

    weights.clear();
    EXPECT_TRUE(weights.empty());
    weights[numbered(7)] += 2.0;

    EXPECT_EQ(contents(weights), (Model{{"weighted 7", 2.0}}));
}

TEST(ConceptWeightsTest, ClearedEntriesReleaseTheirConcepts) {
    const std::size_t before = Concept::dictionary_size();
    Concept_weights weights;
    weights[term("known to this table only")] = 1.0;
    EXPECT_EQ(Concept::dictionary_size(), before + 1);

    weights.clear();

    EXPECT_EQ(Concept::dictionary_size(), before);
}

// Copies and fillings of different sizes, erased entries and larger tables, compared with a
// std::map.
TEST(ConceptWeightsTest, RandomFillingsAgreeWithAStandardMap) {
    std::mt19937 random(13);
    Concept_weights weights;
    for (int filling = 0; filling < 200; ++filling) {
        Model model;
        const std::size_t most = filling % 10 == 0 ? 3000 : 100;
        for (std::size_t step = random() % most; step > 0; --step) {
            const Concept drawn = numbered(random() % most);
            const std::string text(drawn.view());
            if (random() % 4 != 0) {
                weights[drawn] += 1.5;
                model[text] += 1.5;
            } else if (const auto entry = weights.find(drawn); entry != weights.end()) {
                weights.erase(entry);
                ASSERT_EQ(model.erase(text), 1U);
            }
            if (random() % 500 == 0) {
                weights.rehash(random() % 2000);
            }
        }
        ASSERT_EQ(contents(weights), model) << filling;
        const Concept_weights copy = weights;
        weights.clear();
        ASSERT_EQ(contents(copy), model) << filling;
    }
}

}  // namespace
