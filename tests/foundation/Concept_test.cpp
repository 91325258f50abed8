#include "zandrel/foundation/Concept.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtString.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

// Handles in static objects are made before `main` and destroyed after it.
const Concept s_static_concept = Concept::insert("held by a static object");
const Concept s_static_default;
std::vector<Concept> s_static_list = {Concept::insert("first of a static list"), Concept()};

qtString of_byte(int value) {
    const char byte = static_cast<char>(static_cast<unsigned char>(value));
    return {&byte, 1};
}

std::vector<Concept> insert_numbered(int count) {
    std::vector<Concept> concepts;
    for (int number = 0; number < count; ++number) {
        concepts.push_back(Concept::insert("numbered " + std::to_string(number)));
    }
    return concepts;
}

TEST(ConceptTest, EqualTextsShareOneRecord) {
    const Concept first = Concept::insert("concept");
    const Concept second = Concept::insert(qtString("con") + "cept");

    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first != second);
    EXPECT_EQ(first.identity(), second.identity());
    EXPECT_EQ(first.c_str(), second.c_str());  // the same address
}

TEST(ConceptTest, DifferentTextsHaveDifferentRecords) {
    const Concept first = Concept::insert("concept");
    const Concept second = Concept::insert("concepts");

    EXPECT_FALSE(first == second);
    EXPECT_TRUE(first != second);
    EXPECT_NE(first.identity(), second.identity());
}

TEST(ConceptTest, TextIsReturned) {
    const Concept made = Concept::insert("naïve");

    EXPECT_EQ(made.text(), "naïve");
    EXPECT_EQ(made.view(), "naïve");
    EXPECT_STREQ(made.c_str(), "naïve");
    EXPECT_FALSE(made.empty());
}

TEST(ConceptTest, ViewsWithoutAZeroByteAtTheEndAreInserted) {
    const std::string_view text = "concepts";

    const Concept made = Concept::insert_view(text.substr(0, 7));

    EXPECT_EQ(made, Concept::insert("concept"));
    EXPECT_STREQ(made.c_str(), "concept");
}

TEST(ConceptTest, AllSingleByteTextsAreDifferent) {
    std::vector<Concept> concepts;
    std::set<const void*> identities;
    for (int byte = 0; byte <= UCHAR_MAX; ++byte) {
        concepts.push_back(Concept::insert(of_byte(byte)));
        identities.insert(concepts.back().identity());
    }

    EXPECT_EQ(identities.size(), 256U);
    for (int byte = 0; byte <= UCHAR_MAX; ++byte) {
        SCOPED_TRACE(byte);
        const Concept& made = concepts[static_cast<std::size_t>(byte)];
        EXPECT_EQ(made.text(), of_byte(byte));
        EXPECT_EQ(made, Concept::insert(of_byte(byte)));
        EXPECT_FALSE(made.empty());
    }
}

TEST(ConceptTest, AllSingleByteTextsAreOrderedAsUnsigned) {
    for (int left = 0; left <= UCHAR_MAX; ++left) {
        const Concept left_concept = Concept::insert(of_byte(left));
        for (int right = 0; right <= UCHAR_MAX; ++right) {
            ASSERT_EQ(left_concept < Concept::insert(of_byte(right)), left < right)
                << left << " and " << right;
        }
    }
}

TEST(ConceptTest, TextsWithZeroBytesAreDifferent) {
    const Concept plain = Concept::insert("a");
    const Concept with_end = Concept::insert(qtString("a\0", 2));
    const Concept with_b = Concept::insert(qtString("a\0b", 3));
    const Concept with_c = Concept::insert(qtString("a\0c", 3));

    EXPECT_NE(plain, with_end);
    EXPECT_NE(with_b, with_c);
    EXPECT_EQ(with_b.view(), std::string_view("a\0b", 3));
    EXPECT_EQ(with_b, Concept::insert(qtString("a\0b", 3)));
    EXPECT_TRUE(plain < with_end && with_end < with_b && with_b < with_c);
}

TEST(ConceptTest, OrderIsThatOfTheTexts) {
    const char* const texts[] = {"", "A", "AA", "B", "a", "aa", "ab", "b", "\x7f", "\x80", "\xff"};
    std::vector<Concept> sorted;
    for (const char* text : texts) {
        sorted.push_back(Concept::insert(text));
    }
    // The order in which the records were made must not matter.
    std::vector<Concept> shuffled(sorted.rbegin(), sorted.rend());

    std::sort(shuffled.begin(), shuffled.end());

    EXPECT_EQ(shuffled, sorted);
}

TEST(ConceptTest, ConceptIsNotLessThanItself) {
    const Concept made = Concept::insert("same");

    EXPECT_FALSE(made < Concept::insert("same"));
}

TEST(ConceptTest, RecordIsRemovedWithItsLastHandle) {
    const std::size_t before = Concept::dictionary_size();
    {
        const Concept first = Concept::insert("seen in this test alone");
        EXPECT_EQ(Concept::dictionary_size(), before + 1);
        {
            const Concept second = first;
            const Concept third = Concept::insert("seen in this test alone");
            EXPECT_EQ(Concept::dictionary_size(), before + 1);
        }
        EXPECT_EQ(Concept::dictionary_size(), before + 1);
        EXPECT_EQ(first.text(), "seen in this test alone");
    }
    EXPECT_EQ(Concept::dictionary_size(), before);
}

TEST(ConceptTest, RecordIsRemovedWhenItsLastHandleIsAssigned) {
    const std::size_t before = Concept::dictionary_size();
    Concept held = Concept::insert("to be replaced");

    held = Concept();

    EXPECT_EQ(Concept::dictionary_size(), before);
    EXPECT_TRUE(held.empty());
}

TEST(ConceptTest, TextCanBeInsertedAgainAfterItsRecordWasRemoved) {
    { const Concept first = Concept::insert("comes back"); }
    const Concept second = Concept::insert("comes back");

    EXPECT_EQ(second.text(), "comes back");
    EXPECT_EQ(second, Concept::insert("comes back"));
}

TEST(ConceptTest, DefaultHandleIsTheEmptyText) {
    const Concept none;

    EXPECT_TRUE(none.empty());
    EXPECT_EQ(none.text(), "");
    EXPECT_STREQ(none.c_str(), "");
    EXPECT_EQ(none, Concept::insert(""));
    EXPECT_EQ(none.identity(), Concept::insert(qtString()).identity());
    EXPECT_EQ(none, Concept::insert_view(std::string_view()));
}

TEST(ConceptTest, EmptyTextIsNeitherCountedNorRemoved) {
    const std::size_t before = Concept::dictionary_size();

    for (int round = 0; round < 100; ++round) {
        const Concept made = Concept::insert("");
        const Concept copy = made;
        EXPECT_EQ(Concept::dictionary_size(), before);
    }

    EXPECT_EQ(Concept::dictionary_size(), before);
    EXPECT_EQ(Concept::insert(""), Concept());
}

TEST(ConceptTest, EmptyTextIsLessThanAnyOther) {
    EXPECT_TRUE(Concept() < Concept::insert(qtString("\0", 1)));
    EXPECT_FALSE(Concept::insert(qtString("\0", 1)) < Concept());
    EXPECT_FALSE(Concept() < Concept());
}

TEST(ConceptTest, CopiesOutliveTheirSource) {
    Concept copy;
    {
        const Concept source = Concept::insert("source");
        copy = source;
        EXPECT_EQ(source, copy);
    }

    EXPECT_EQ(copy.text(), "source");
}

TEST(ConceptTest, MovedFromHandleIsUsable) {
    Concept source = Concept::insert("moved");

    const Concept target = std::move(source);
    source = Concept::insert("anew");

    EXPECT_EQ(target.text(), "moved");
    EXPECT_EQ(source.text(), "anew");
}

TEST(ConceptTest, MovingLeavesEmptyText) {
    Concept source = Concept::insert("moved");

    const Concept target(std::move(source));

    EXPECT_EQ(target.text(), "moved");
    EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move): its state is promised
}

TEST(ConceptTest, MoveAssignmentRemovesNoRecordInUse) {
    const std::size_t before = Concept::dictionary_size();
    {
        Concept target = Concept::insert("old target");
        Concept source = Concept::insert("new target");

        target = std::move(source);

        EXPECT_EQ(target.text(), "new target");
    }
    EXPECT_EQ(Concept::dictionary_size(), before);
}

TEST(ConceptTest, SelfAssignmentKeepsLastHandle) {
    const std::size_t before = Concept::dictionary_size();
    Concept made = Concept::insert("assigned to itself");
    Concept& same = made;

    made = same;
    EXPECT_EQ(made.text(), "assigned to itself");

    made = std::move(same);
    EXPECT_EQ(made.text(), "assigned to itself");
    EXPECT_EQ(Concept::dictionary_size(), before + 1);
}

TEST(ConceptTest, SwapsRecords) {
    Concept first = Concept::insert("first");
    Concept second = Concept::insert("second");

    first.swap(second);

    EXPECT_EQ(first.text(), "second");
    EXPECT_EQ(second.text(), "first");
}

TEST(ConceptTest, EqualTextsHaveTheSameHash) {
    const Concept first = Concept::insert("hashed");
    const Concept second = Concept::insert("hashed");

    EXPECT_EQ(first.hash(), second.hash());
    EXPECT_EQ(ConceptHash()(first), first.hash());
}

TEST(ConceptTest, HashIsTheSameWhenTheRecordIsMadeAgain) {
    std::uint32_t first_hash = 0;
    { first_hash = Concept::insert("made twice").hash(); }

    EXPECT_EQ(Concept::insert("made twice").hash(), first_hash);
}

TEST(ConceptTest, BytesAfterAZeroByteAreHashedToo) {
    EXPECT_NE(Concept::insert(qtString("a\0b", 3)).hash(),
              Concept::insert(qtString("a\0c", 3)).hash());
}

TEST(ConceptTest, SimilarTextsHaveDifferentHashes) {
    std::unordered_set<std::uint32_t> low_parts;
    for (int number = 0; number < 1000; ++number) {
        low_parts.insert(Concept::insert("word" + std::to_string(number)).hash() & 1023U);
    }

    // 1000 random values hit about 640 of 1024 places. A poor hash hits far fewer.
    EXPECT_GT(low_parts.size(), 550U);
}

TEST(ConceptTest, GrowthKeepsIdentities) {
    constexpr int kCount = 50000;  // many times the initial number of buckets
    const std::size_t before = Concept::dictionary_size();
    std::vector<const void*> identities;

    std::vector<Concept> concepts;
    for (int number = 0; number < kCount; ++number) {
        concepts.push_back(Concept::insert("numbered " + std::to_string(number)));
        identities.push_back(concepts.back().identity());
    }

    EXPECT_EQ(Concept::dictionary_size(), before + kCount);
    for (std::size_t number = 0; number < identities.size(); ++number) {
        const Concept again = Concept::insert("numbered " + std::to_string(number));
        ASSERT_EQ(again.identity(), identities[number]) << number;
        ASSERT_EQ(again.text(), "numbered " + std::to_string(number));
    }
    EXPECT_EQ(Concept::dictionary_size(), before + kCount);
    concepts.clear();
    EXPECT_EQ(Concept::dictionary_size(), before);
}

TEST(ConceptTest, RecordsAreRemovedInAnyOrder) {
    constexpr int kCount = 5000;
    const std::size_t before = Concept::dictionary_size();
    std::vector<Concept> concepts = insert_numbered(kCount);

    for (std::size_t number = 0; number < concepts.size(); number += 2) {
        concepts[number] = Concept();
    }

    EXPECT_EQ(Concept::dictionary_size(), before + kCount / 2);
    for (std::size_t number = 1; number < concepts.size(); number += 2) {
        ASSERT_EQ(concepts[number], Concept::insert("numbered " + std::to_string(number)));
    }
}

TEST(ConceptTest, LongTextsAreStored) {
    const std::string text(1000000, 'x');

    const Concept made = Concept::insert(text);

    EXPECT_EQ(made.view().size(), 1000000U);
    EXPECT_EQ(made.view(), text);
    EXPECT_NE(made, Concept::insert(text + "y"));
}

// Texts of all lengths that the hash treats in different ways, and texts around the size from which
// blocks come from the heap.
TEST(ConceptTest, TextsOfAllLengthsAreDifferent) {
    std::vector<Concept> concepts;
    for (std::size_t length = 1; length <= 300; ++length) {
        for (const char last : {'x', 'y'}) {
            concepts.push_back(Concept::insert(std::string(length - 1, 'x') + last));
        }
        concepts.push_back(Concept::insert("z" + std::string(length, 'x')));
    }

    for (std::size_t length = 1; length <= 300; ++length) {
        const std::size_t first = 3 * (length - 1);
        ASSERT_EQ(concepts[first].view(), std::string(length, 'x'));
        ASSERT_EQ(concepts[first + 1].view(), std::string(length - 1, 'x') + 'y');
        ASSERT_EQ(concepts[first + 2].view(), "z" + std::string(length, 'x'));
        ASSERT_EQ(concepts[first], Concept::insert(std::string(length, 'x')));
    }
}

// A removal moves the slots of other records in the dictionary's table. So each record must still
// be found after each removal.
TEST(ConceptTest, RandomInsertionsAndRemovalsAgreeWithAListOfTheTexts) {
    const std::size_t before = Concept::dictionary_size();
    {
        std::vector<Concept> held(700);
        std::unordered_set<std::string> texts;
        std::mt19937 random(3);
        for (int step = 0; step < 30000; ++step) {
            const std::size_t number = random() % held.size();
            const std::string text = "random " + std::to_string(number);
            const bool is_held = !held[number].empty();
            held[number] = is_held ? Concept() : Concept::insert(text);
            is_held ? static_cast<void>(texts.erase(text)) : static_cast<void>(texts.insert(text));
            ASSERT_EQ(Concept::dictionary_size(), before + texts.size());
            const std::size_t other = random() % held.size();
            ASSERT_TRUE(held[other].empty() ||
                        held[other] == Concept::insert("random " + std::to_string(other)));
        }
    }
    EXPECT_EQ(Concept::dictionary_size(), before);
}

TEST(ConceptTest, InsertionOfManyTextsGivesEachItsOwnHandle) {
    for (const std::size_t count : {0U, 1U, 15U, 16U, 17U, 1000U}) {
        SCOPED_TRACE(count);
        std::vector<std::string> texts;
        for (std::size_t i = 0; i < count; ++i) {  // known and new texts, repeated and empty ones
            texts.push_back(i % 7 == 0 ? "" : "many " + std::to_string(i * i % 400));
        }
        const std::vector<std::string_view> views(texts.begin(), texts.end());
        std::vector<Concept> concepts(count);

        Concept::insert_views(views, concepts.data());

        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(concepts[i].view(), texts[i]);
            ASSERT_EQ(concepts[i], Concept::insert_view(texts[i]));
        }
    }
}

TEST(ConceptTest, ReserveKeepsIdentities) {
    const std::size_t before = Concept::dictionary_size();
    const std::vector<Concept> concepts = insert_numbered(100);

    Concept::reserve(100000);

    EXPECT_EQ(Concept::dictionary_size(), before + 100);
    EXPECT_EQ(insert_numbered(100), concepts);
}

// A count that has reached its greatest value may be too small, so it no longer decreases. We
// cannot make four billion handles here, so we write the count, which is before the text.
TEST(ConceptTest, RecordWithGreatestCountIsNeverRemoved) {
    const std::size_t before = Concept::dictionary_size();
    {
        const Concept made = Concept::insert("counted to the end");
        const std::uint32_t almost_all = 0xFFFFFFFE;
        std::memcpy(const_cast<char*>(made.c_str()) - sizeof almost_all, &almost_all,
                    sizeof almost_all);
        const Concept last_counted = made;
        const Concept not_counted = made;
        EXPECT_EQ(last_counted, not_counted);
    }

    EXPECT_EQ(Concept::dictionary_size(), before + 1);
    EXPECT_EQ(Concept::insert("counted to the end").text(), "counted to the end");
    EXPECT_EQ(Concept::dictionary_size(), before + 1);
}

TEST(ConceptTest, StaticObjectsMayHaveHandles) {
    EXPECT_EQ(s_static_concept, Concept::insert("held by a static object"));
    EXPECT_EQ(s_static_default, Concept());
    EXPECT_EQ(s_static_list[0].text(), "first of a static list");
    EXPECT_EQ(s_static_list[1], Concept());
}

TEST(ConceptTest, HandleIsOneWordWide) {
    EXPECT_EQ(sizeof(Concept), sizeof(void*));
}

}  // namespace
