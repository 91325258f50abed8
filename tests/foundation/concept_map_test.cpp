#include "zandrel/foundation/concept_map.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

using zandrel::concept_map;

namespace {

using Numbers = concept_map<int>;

std::vector<Concept> numbered_concepts(int count) {
    std::vector<Concept> concepts;
    for (int number = 0; number < count; ++number) {
        concepts.push_back(term("concept_map " + std::to_string(number)));
    }
    return concepts;
}

// The entries in the order of iteration.
std::vector<std::pair<std::string, int>> walk_of(const Numbers& table) {
    std::vector<std::pair<std::string, int>> walk;
    for (const auto& [known, number] : table) {
        walk.emplace_back(known.view(), number);
    }
    return walk;
}

using Walk = std::vector<std::pair<std::string, int>>;

TEST(conceptmapTest, NewTableIsEmpty) {
    Numbers table;

    EXPECT_TRUE(table.empty());
    EXPECT_EQ(table.size(), 0U);
    EXPECT_EQ(table.begin(), table.end());
    EXPECT_EQ(table.find(term("a")), table.end());
    EXPECT_EQ(table.position_limit(), 0U);
    EXPECT_EQ(table.erase(term("a")), 0U);
}

TEST(conceptmapTest, NewEntryHasTheValueOfANewObject) {
    Numbers table;

    const auto [entry, is_new] = table.try_emplace(term("a"));

    EXPECT_TRUE(is_new);
    EXPECT_EQ(entry->first, term("a"));
    EXPECT_EQ(entry->second, 0);
}

TEST(conceptmapTest, EnteringAKnownConceptKeepsItsValue) {
    Numbers table;
    table[term("a")] = 7;

    const auto [entry, is_new] = table.try_emplace(term("a"));

    EXPECT_FALSE(is_new);
    EXPECT_EQ(entry->second, 7);
    EXPECT_EQ(table.size(), 1U);
}

TEST(conceptmapTest, EmptyTextIsAConceptLikeOthers) {
    Numbers table;
    table[Concept()] = 3;

    EXPECT_EQ(table.at(term("")), 3);
}

TEST(conceptmapTest, WalkFollowsTheOrderOfFirstEntry) {
    Numbers table;
    table[term("b")] = 1;
    table[term("c")] = 2;
    table[term("a")] = 3;
    table[term("c")] = 4;

    EXPECT_EQ(walk_of(table), (Walk{{"b", 1}, {"c", 4}, {"a", 3}}));
}

TEST(conceptmapTest, ErasedEntryIsInNoLookUpAndNoWalk) {
    Numbers table;
    table[term("a")] = 1;
    table[term("b")] = 2;
    table[term("c")] = 3;

    EXPECT_EQ(table.erase(term("b")), 1U);

    EXPECT_EQ(table.size(), 2U);
    EXPECT_FALSE(table.contains(term("b")));
    EXPECT_EQ(table.count(term("b")), 0U);
    EXPECT_EQ(table.find(term("b")), table.end());
    EXPECT_EQ(table.at_position(1), table.end());
    EXPECT_EQ(table.find(term("b"), 1), table.end());
    EXPECT_EQ(walk_of(table), (Walk{{"a", 1}, {"c", 3}}));
    EXPECT_EQ(table.erase(term("b")), 0U);
}

TEST(conceptmapTest, ErasedEntryReturnsInItsPlaceWithTheValueOfANewObject) {
    Numbers table;
    table[term("a")] = 1;
    table[term("b")] = 2;
    table.erase(term("a"));

    const auto [entry, is_new] = table.try_emplace(term("a"));

    EXPECT_TRUE(is_new);
    EXPECT_EQ(entry->second, 0);
    EXPECT_EQ(table.position(entry), 0U);
    EXPECT_EQ(table.size(), 2U);
    EXPECT_EQ(walk_of(table), (Walk{{"a", 0}, {"b", 2}}));
}

TEST(conceptmapTest, ErasureFreesTheMemoryOfTheValue) {
    concept_map<std::vector<int>> table;
    table[term("a")].assign(1000, 1);
    const std::vector<int>& value = table.at(term("a"));

    table.erase(term("a"));

    EXPECT_EQ(value.capacity(), 0U);
}

TEST(conceptmapTest, TableOfOnlyErasedEntriesIsWalkedAsEmpty) {
    Numbers table;
    for (const Concept& each : numbered_concepts(200)) {
        table[each] = 1;
        table.erase(each);
    }

    EXPECT_TRUE(table.empty());
    EXPECT_EQ(table.begin(), table.end());
    EXPECT_EQ(table.position_limit(), 200U);
}

TEST(conceptmapTest, EntriesKeepAddressAndPositionWhileOthersAreAddedAndErased) {
    const std::vector<Concept> concepts = numbered_concepts(20000);
    Numbers table;
    table[term("kept")] = 1;
    const auto kept = table.find(term("kept"));
    const int* const value = &kept->second;

    for (std::size_t number = 0; number < concepts.size(); ++number) {
        table[concepts[number]] = 2;
        if (number % 3 == 0) {
            table.erase(concepts[number / 2]);
        }
    }

    EXPECT_EQ(table.find(term("kept")), kept);
    EXPECT_EQ(&table.find(term("kept"))->second, value);
    EXPECT_EQ(table.position(kept), 0U);
    EXPECT_EQ(*value, 1);
}

TEST(conceptmapTest, PositionsCountEntriesFrom0) {
    const std::vector<Concept> concepts = numbered_concepts(1000);
    Numbers table;

    for (std::size_t number = 0; number < concepts.size(); ++number) {
        const auto [entry, is_new] = table.try_emplace(concepts[number]);
        ASSERT_EQ(table.position(entry), number);
    }

    for (std::size_t number = 0; number < concepts.size(); ++number) {
        const auto entry = table.at_position(static_cast<Numbers::Position>(number));
        ASSERT_EQ(entry->first, concepts[number]);
    }
    EXPECT_EQ(table.at_position(1000), table.end());
}

TEST(conceptmapTest, AnyGuessOfThePositionFindsTheSameEntry) {
    Numbers table;
    for (const char* const text : {"a", "b", "c"}) {
        table[term(text)] = text[0];
    }

    for (const Numbers::Position guess : {0U, 1U, 2U, 3U, 0xffffffffU}) {
        EXPECT_EQ(table.find(term("b"), guess)->second, 'b') << guess;
        EXPECT_EQ(std::as_const(table).find(term("b"), guess)->second, 'b') << guess;
        EXPECT_EQ(table.find(term("d"), guess), table.end()) << guess;
        EXPECT_FALSE(table.try_emplace(term("b"), guess).second) << guess;
    }
    EXPECT_EQ(table.size(), 3U);
}

TEST(conceptmapTest, GuessOfAnErasedEntryRestoresIt) {
    Numbers table;
    table[term("a")] = 1;
    table.erase(term("a"));

    EXPECT_TRUE(table.try_emplace(term("a"), 0).second);
    EXPECT_EQ(table.position_limit(), 1U);
}

TEST(conceptmapTest, AtOfAnUnknownConceptIsRefused) {
    Numbers table;

    const auto look_up_and_compare = [&table] {
        try {
            table.at(term("a"));
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "concept_map: no entry of this concept");
            throw;
        }
    };

    EXPECT_THROW(look_up_and_compare(), std::out_of_range);
}

TEST(conceptmapTest, CompactionClosesTheGapsAndKeepsTheOrder) {
    const std::vector<Concept> concepts = numbered_concepts(1000);
    Numbers table;
    for (int number = 0; number < 1000; ++number) {
        table[concepts[static_cast<std::size_t>(number)]] = number;
    }
    erase_if(table, [](const auto& entry) { return entry.second % 10 != 3; });

    table.compact();

    EXPECT_EQ(table.position_limit(), 100U);
    ASSERT_EQ(table.size(), 100U);
    int expected = 3;
    for (const auto& [known, number] : table) {
        ASSERT_EQ(number, expected);
        ASSERT_EQ(table.find(known)->second, expected);
        expected += 10;
    }
    EXPECT_FALSE(table.contains(concepts[4]));
    table[concepts[4]] = 1;
    EXPECT_EQ(table.position(table.find(concepts[4])), 100U);
}

TEST(conceptmapTest, CompactionWithoutErasedEntriesMovesNothing) {
    Numbers table;
    table[term("a")] = 1;
    const int* const value = &table.at(term("a"));

    table.compact();

    EXPECT_EQ(&table.at(term("a")), value);
}

TEST(conceptmapTest, CompactionOfOnlyErasedEntriesLeavesAnEmptyTable) {
    Numbers table;
    for (const Concept& each : numbered_concepts(100)) {
        table[each] = 1;
        table.erase(each);
    }

    table.compact();

    EXPECT_EQ(table.position_limit(), 0U);
    EXPECT_EQ(table.begin(), table.end());
    table[term("a")] = 5;
    EXPECT_EQ(walk_of(table), (Walk{{"a", 5}}));
}

TEST(conceptmapTest, CompactionReleasesTheTextsOfErasedEntries) {
    const std::size_t before = Concept::dictionary_size();
    Numbers table;
    table[term("concept_map: erased later")] = 1;
    table[term("concept_map: kept")] = 1;
    table.erase(term("concept_map: erased later"));
    ASSERT_EQ(Concept::dictionary_size(), before + 2);

    table.compact();

    EXPECT_EQ(Concept::dictionary_size(), before + 1);
}

TEST(conceptmapTest, ClearRemovesEntriesAndKeepsOnlyASmallIndex) {
    const std::size_t before = Concept::dictionary_size();
    Numbers table(100);
    table[term("concept_map: cleared")] = 1;

    table.clear();

    EXPECT_TRUE(table.empty());
    EXPECT_EQ(table.bucket_count(), 128U);
    EXPECT_EQ(table.position_limit(), 0U);
    EXPECT_EQ(Concept::dictionary_size(), before);
    table[term("a")] = 2;
    EXPECT_EQ(walk_of(table), (Walk{{"a", 2}}));

    table.rehash(1000);
    table.clear();

    EXPECT_EQ(table.bucket_count(), 0U);
    EXPECT_FALSE(table.contains(term("a")));
}

TEST(conceptmapTest, AnnouncingConceptsAndPositionsChangesNothing) {
    Numbers table;
    table.prefetch_slot(term("a"));
    table.prefetch_entry(term("a"));
    table.prefetch(0);
    EXPECT_TRUE(table.empty());
    table[term("a")] = 1;
    table[term("b")] = 2;
    table.erase(term("b"));

    for (const char* const text : {"a", "b", "c"}) {
        table.prefetch_slot(term(text));
        table.prefetch_entry(term(text));
    }
    for (const Numbers::Position position : {0U, 1U, 2U, 0xffffffffU}) {
        table.prefetch(position);
    }

    EXPECT_EQ(walk_of(table), Walk({{"a", 1}}));
    EXPECT_EQ(table.position_limit(), 2U);
}

// The 100 entries are in chunks of 16, 32 and 64 places. Of each chunk, `announce` gets all entries
// but the first 16, erased ones too.
TEST(conceptmapTest, EachLiveEntryIsVisitedInOrderAfterItWasAnnounced) {
    Numbers table;
    const std::vector<Concept> concepts = numbered_concepts(100);
    for (int number = 0; number < 100; ++number) {
        table[concepts[static_cast<std::size_t>(number)]] = number;
    }
    table.erase(concepts[3]);
    table.erase(concepts[99]);
    std::vector<Concept> announced;
    std::vector<int> visited;

    table.for_each([&](const Numbers::value_type& entry) { announced.push_back(entry.first); },
                   [&](const Numbers::value_type& entry) {
                       const auto place = static_cast<std::size_t>(entry.second);
                       const bool is_early = place < 32 || (place >= 48 && place < 64);
                       EXPECT_NE(is_early, std::count(announced.begin(), announced.end(),
                                                      concepts[place]) == 1)
                           << place;
                       visited.push_back(entry.second);
                   });

    std::vector<int> expected(99);
    std::iota(expected.begin(), expected.end(), 0);
    expected.erase(expected.begin() + 3);
    EXPECT_EQ(visited, expected);
    EXPECT_EQ(announced.size(), 16U + 36U);  // of 32 and of 52 entries of a chunk
}

TEST(conceptmapTest, EntryOf32BytesIsInOneCacheLine) {
    struct Three {
        double numbers[3] = {};
    };

    concept_map<Three> table;

    for (const Concept& each : numbered_concepts(100)) {
        const auto entry = table.try_emplace(each).first;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&*entry) % 32, 0U);
    }
}

TEST(conceptmapTest, IndexHasTheRequestedNumberOfSlots) {
    Numbers table(100);
    EXPECT_EQ(table.bucket_count(), 128U);

    table.rehash(1000);
    EXPECT_EQ(table.bucket_count(), 1024U);

    table.rehash(10);
    EXPECT_EQ(table.bucket_count(), 1024U);
}

TEST(conceptmapTest, RoomForMoreEntriesThanPositionsIsRefused) {
    Numbers table;
    table[term("a")] = 1;

    const auto reserve_and_compare = [&table] {
        try {
            table.reserve(1700000000);
        } catch (const std::length_error& error) {
            EXPECT_STREQ(error.what(), "concept_map: too many entries");
            throw;
        }
    };

    EXPECT_THROW(reserve_and_compare(), std::length_error);
    EXPECT_EQ(table.at(term("a")), 1);
}

TEST(conceptmapTest, ReservedIndexDoesNotGrowBeforeThatManyEntries) {
    const std::vector<Concept> concepts = numbered_concepts(1000);
    Numbers table;
    table.reserve(1000);
    const std::size_t slots = table.bucket_count();

    for (const Concept& each : concepts) {
        table[each] = 1;
    }

    EXPECT_EQ(table.bucket_count(), slots);
}

TEST(conceptmapTest, AtMostThreeQuartersOfTheSlotsAreUsed) {
    Numbers table;
    for (const Concept& each : numbered_concepts(5000)) {
        table[each] = 1;
        ASSERT_LE(table.size() * 4, table.bucket_count() * 3);
    }
}

TEST(conceptmapTest, SwapAndMoveTransferAllEntries) {
    Numbers left;
    Numbers right;
    left[term("a")] = 1;
    right[term("b")] = 2;
    right[term("c")] = 3;

    swap(left, right);
    EXPECT_EQ(walk_of(left), (Walk{{"b", 2}, {"c", 3}}));
    EXPECT_EQ(walk_of(right), (Walk{{"a", 1}}));

    Numbers moved(std::move(left));
    EXPECT_EQ(walk_of(moved), (Walk{{"b", 2}, {"c", 3}}));
    right = std::move(moved);
    EXPECT_EQ(walk_of(right), (Walk{{"b", 2}, {"c", 3}}));
    EXPECT_EQ(right.at(term("c")), 3);
}

// Compares with the standard table in long random sequences of insertions, erasures, look-ups,
// compactions and growth.
class Random_operations {
public:
    explicit Random_operations(unsigned int seed) : m_random(seed) {}

    void Run(int step_count) {
        for (int step = 0; step < step_count; ++step) {
            Step();
            ASSERT_EQ(m_table.size(), m_expected.size());
            if (step % 500 == 0) {
                ASSERT_NO_FATAL_FAILURE(Compare());
            }
        }
        ASSERT_NO_FATAL_FAILURE(Compare());
    }

private:
    // A random number from 0 to `limit` - 1.
    unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_random() % limit); }

    const Concept& AnyConcept() { return m_concepts[m_random() % m_concepts.size()]; }

    void Step() {
        const Concept& any = AnyConcept();
        const unsigned int choice = Below(1000);
        if (choice < 500) {
            const int value = static_cast<int>(Below(1000));
            const bool is_new = m_expected.count(any) == 0;
            const Numbers::Position guess = Below(2000);
            auto [entry, added] = m_table.try_emplace(any, guess);
            EXPECT_EQ(added, is_new);
            EXPECT_EQ(entry->second, m_expected[any]);
            entry->second = value;
            m_expected[any] = value;
        } else if (choice < 700) {
            EXPECT_EQ(m_table.erase(any), m_expected.erase(any));
        } else if (choice < 990) {
            const auto found = m_table.find(any, Below(2000));
            ASSERT_EQ(found != m_table.end(), m_expected.count(any) == 1);
            if (found != m_table.end()) {
                EXPECT_EQ(found->second, m_expected.at(any));
            }
        } else if (choice < 997) {
            const int least = static_cast<int>(Below(1000));
            const auto goes = [least](const auto& entry) { return entry.second < least; };
            EXPECT_EQ(erase_if(m_table, goes), std::erase_if(m_expected, goes));
        } else if (choice < 999) {
            m_table.compact();
            EXPECT_EQ(m_table.position_limit(), m_expected.size());
        } else {
            m_table.rehash(Below(5000));
        }
    }

    void Compare() {
        std::size_t walked = 0;
        for (auto entry = m_table.begin(); entry != m_table.end(); ++entry) {
            ASSERT_EQ(m_expected.count(entry->first), 1U);
            ASSERT_EQ(m_expected.at(entry->first), entry->second);
            ASSERT_EQ(m_table.at_position(m_table.position(entry)), entry);
            ++walked;
        }
        ASSERT_EQ(walked, m_expected.size());
        for (const Concept& each : m_concepts) {
            ASSERT_EQ(m_table.count(each), m_expected.count(each));
        }
    }

    std::mt19937 m_random;
    std::vector<Concept> m_concepts = numbered_concepts(1500);
    Numbers m_table;
    std::unordered_map<Concept, int, ConceptHash> m_expected;
};

TEST(conceptmapTest, RandomOperationsGiveTheResultsOfTheStandardTable) {
    for (unsigned int seed = 1; seed <= 5; ++seed) {
        Random_operations operations(seed);
        ASSERT_NO_FATAL_FAILURE(operations.Run(20000)) << seed;
    }
}

}  // namespace
