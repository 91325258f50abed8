#include "zandrel/statistics/Concept_row.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

namespace {

using zandrel::detail::Concept_row;

// Concepts of the given texts, and a row with these concepts in the same order.
struct Row_of_terms {
    explicit Row_of_terms(const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            concepts.push_back(term(text));
            row.add(concepts.back());
        }
    }

    // Looks up each text of a list, and returns the texts of the concepts that were found.
    std::vector<std::string> taken(const std::vector<std::string>& texts) {
        std::vector<std::string> found;
        row.rewind();
        for (const std::string& text : texts) {
            found.emplace_back(row.take(text).view());
        }
        return found;
    }

    std::deque<Concept> concepts;  // a deque, so that addresses do not change
    Concept_row row;
};

using List = std::vector<std::string>;

TEST(ConceptRowTest, EachTextOfAnOrderedListFindsItsConcept) {
    Row_of_terms row({"a", "b", "c", "d", "e", "f", "g", "h"});

    for (const List& list : {List{"c", "g"}, List{"a", "b", "c", "d", "e", "f", "g", "h"},
                             List{"h"}, List{"a", "h"}, List{}}) {
        EXPECT_EQ(row.taken(list), list);
    }
}

// The first eight bytes are compared as a number, then the whole texts.
TEST(ConceptRowTest, TextsOfTheSameBeginningAreDistinguished) {
    Row_of_terms row({"beginning", "beginning of", "beginning of all", "beginnings"});
    const List list = {"beginnin", "beginning of", "beginning of al", "beginnings"};

    EXPECT_EQ(row.taken(list), list);
}

TEST(ConceptRowTest, MissingTextsAndUnorderedListsAreHandled) {
    Row_of_terms row({"b", "d", "f"});
    const List list = {"", "a", "c", "f", "g", "b", "d", "d", "\xff"};

    EXPECT_EQ(row.taken(list), list);
    EXPECT_EQ(Row_of_terms({}).taken(list), list);
    EXPECT_EQ(Row_of_terms({"f", "d", "b"}).taken(list), list);
}

TEST(ConceptRowTest, RandomListsAreFound) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        List all;
        List some;
        for (std::size_t i = 0; i < 100; ++i) {
            // The numbers are different, so no text occurs twice.
            const std::string text = (i % 3 == 0 ? "long common " : "m") + std::to_string(100 + i);
            if (random() % 4 != 0) {
                all.push_back(text);
            }
            if (random() % 5 == 0) {
                some.push_back(text);
            }
        }
        std::sort(all.begin(), all.end());
        std::sort(some.begin(), some.end());
        EXPECT_EQ(Row_of_terms(all).taken(some), some);
    }
}

}  // namespace
