// The parts of a frozen tree: records without counts, the words of a container and of a call, and
// the index of rows.
#include "zandrel/frozen/Frozen_words.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/Uncounted_concept.h"
#include "zandrel/frozen/Call_words.h"
#include "zandrel/frozen/Frozen_call.h"
#include "zandrel/frozen/Row_index.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/match_rows.h"

namespace {

using zandrel::detail::Call_words;
using zandrel::detail::Frozen_call;
using zandrel::detail::Frozen_message;
using zandrel::detail::Frozen_words;
using zandrel::detail::Match_table;
using zandrel::detail::Row_index;
using zandrel::detail::Uncounted_concept;

Frozen_words::List list_of(const std::vector<std::string>& texts) {
    Frozen_words::List list;
    for (const std::string& text : texts) {
        list.try_emplace(term(text));
    }
    return list;
}

// Texts of all lengths from 1 to `count`, with bytes of all values.
std::vector<std::string> texts_of_lengths(std::size_t count) {
    std::vector<std::string> texts;
    for (std::size_t length = 1; length <= count; ++length) {
        texts.emplace_back(length, static_cast<char>(length));
    }
    return texts;
}

TEST(Frozen_wordsTest, EachWordIsFoundWithItsNumber) {
    const std::vector<std::string> texts = texts_of_lengths(600);
    const Frozen_words words(list_of(texts));
    EXPECT_EQ(words.size(), texts.size());
    for (std::uint32_t number = 0; number < texts.size(); ++number) {
        const Concept word = words.bind(term(texts[number]));
        EXPECT_EQ(word.view(), texts[number]);
        EXPECT_EQ(word.c_str()[texts[number].size()], '\0');
        EXPECT_EQ(word.hash(), term(texts[number]).hash());
        EXPECT_EQ(Uncounted_concept::number(word), number);
        EXPECT_NE(word, term(texts[number]));
    }
}

TEST(Frozen_wordsTest, UnknownWordIsNotFound) {
    const Frozen_words words(list_of({"ball", "goal"}));
    EXPECT_EQ(words.find("rose", Uncounted_concept::hash_of("rose")), nullptr);
    EXPECT_EQ(words.find("ball ", Uncounted_concept::hash_of("ball ")), nullptr);
    EXPECT_ASSERTS(words.bind(term("rose")), "is_frozen(word)");
}

TEST(Frozen_wordsTest, EmptyTableFindsNothing) {
    const Frozen_words none;
    const Frozen_words of_empty_list{Frozen_words::List()};
    for (const Frozen_words* const words : {&none, &of_empty_list}) {
        EXPECT_EQ(words->size(), 0U);
        EXPECT_EQ(words->find("ball", Uncounted_concept::hash_of("ball")), nullptr);
        words->prefetch_slot(7);
        words->prefetch_record(7);
    }
}

TEST(Frozen_wordsTest, EmptyTextRemainsTheEmptyConcept) {
    const Frozen_words words(list_of({"ball", "", "goal"}));
    EXPECT_EQ(words.size(), 2U);
    EXPECT_EQ(words.bind(Concept()), Concept());
    EXPECT_EQ(Uncounted_concept::number(Concept()), Uncounted_concept::kEmptyNumber);
    EXPECT_EQ(Uncounted_concept::number(words.bind(term("goal"))), 2U);
}

TEST(Frozen_wordsTest, HandlesAreNotInTheDictionary) {
    const Concept ball = term("ball");
    const std::size_t size = Concept::dictionary_size();
    const Frozen_words words(list_of({"ball"}));
    const std::vector<Concept> handles(1000, words.bind(ball));
    EXPECT_EQ(Concept::dictionary_size(), size);
    EXPECT_EQ(term("ball"), ball);
}

// Pairs of texts whose hashes are equal, found by trying.
constexpr const char* kEqualHashes[][2] = {{"c2323x", "c30080x"}, {"c29488x", "c64563x"}};

TEST(Frozen_wordsTest, KnownWordIsNotFoundByAnotherTextOfItsHash) {
    for (const auto& [one, other] : kEqualHashes) {
        const std::uint32_t hash = Uncounted_concept::hash_of(one);
        ASSERT_EQ(hash, Uncounted_concept::hash_of(other));
        const Frozen_words with_one(list_of({one}));
        EXPECT_NE(with_one.find(one, hash), nullptr);
        EXPECT_EQ(with_one.find(other, hash), nullptr);
        const Frozen_words with_both(list_of({one, other}));
        EXPECT_EQ(with_both.bind(term(one)).view(), one);
        EXPECT_EQ(with_both.bind(term(other)).view(), other);
    }
}

TEST(Call_wordsTest, WordsOfEqualHashesAreDifferent) {
    for (const auto& [one, other] : kEqualHashes) {
        const Frozen_words with_one(list_of({one}));
        const Frozen_words with_none(list_of({"ball"}));
        for (const Frozen_words* const known : {&with_one, &with_none}) {
            Frozen_call call;
            Frozen_message message(call, *known);
            const Concept first = message.word(one);
            const Concept second = message.word(other);
            EXPECT_EQ(first.view(), one);
            EXPECT_EQ(second.view(), other);
            EXPECT_EQ(message.word(one), first);
            EXPECT_EQ(message.word(other), second);
        }
    }
}

TEST(Call_wordsTest, EqualUnknownWordsHaveOneHandle) {
    const Frozen_words known(list_of({"ball"}));
    Frozen_call call;
    Frozen_message message(call, known);
    const std::vector<std::string_view> texts = {"rose", "ball", "rose", "", "ball", "tulip"};
    std::vector<Concept> words(texts.size());
    message.look_up(texts, words.data());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(words[i].view(), texts[i]);
    }
    EXPECT_EQ(words[0], words[2]);
    EXPECT_EQ(words[1], known.bind(term("ball")));
    EXPECT_EQ(words[1], words[4]);
    EXPECT_EQ(words[3], Concept());
    EXPECT_NE(words[0], words[5]);
    EXPECT_EQ(Uncounted_concept::number(words[0]), Uncounted_concept::kNoNumber);
    EXPECT_EQ(words[0].hash(), term("rose").hash());
}

// More words than the first table has slots, words that are longer than a chunk, and more bytes
// than a chunk has. Then the same again after `clear`.
TEST(Call_wordsTest, ManyAndLongWordsAreFoundAgain) {
    const Frozen_words known(list_of({"ball"}));
    Call_words words;
    for (int round = 0; round < 3; ++round) {
        std::vector<std::string> texts = {std::string(70000, 'a'), std::string(200000, 'b')};
        for (int i = 0; i < 20000; ++i) {
            texts.push_back("word " + std::to_string(i * (round + 1)));
        }
        const std::vector<std::string_view> views(texts.begin(), texts.end());
        std::vector<Concept> first(views.size());
        words.look_up(known, views, first.data());
        std::vector<Concept> second(views.size());
        words.look_up(known, views, second.data());
        EXPECT_EQ(first, second);
        for (std::size_t i = 0; i < views.size(); ++i) {
            ASSERT_EQ(first[i].view(), views[i]);
        }
        first.clear();
        second.clear();
        words.clear();
    }
}

TEST(Call_wordsTest, WordsOfTheMessageBeforeAreForgotten) {
    const Frozen_words known(list_of({"ball"}));
    Frozen_call call;
    for (int i = 0; i < 1000; ++i) {
        const std::string text = "unknown " + std::to_string(i % 7);
        Frozen_message message(call, known);
        EXPECT_TRUE(message.feeder().m_concepts.empty());
        message.feeder().add_concept(message.word(text), 1.0);
        message.take_bag();
        ASSERT_EQ(message.msg().smls[0]->m_concepts.size(), 1U);
        EXPECT_EQ(message.msg().smls[0]->m_concepts[0].m_concept.view(), text);
        EXPECT_EQ(message.msg().smls[0]->m_total_weight, 1.0);
    }
}

TEST(Frozen_callTest, NextMessageIsEmpty) {
    const Frozen_words known(list_of({"ball"}));
    Frozen_call call;
    {
        Frozen_message message(call, known);
        const qtPtrLight<zeMsg> msg = MessageBuilder()
                                          .bag({{"rose", 2.0}}, 1.5)
                                          .bag_at(4, {{"ball", 2.0}})
                                          .active(4)
                                          .weight(3.0)
                                          .make();
        msg->add_value("size", mlMessageConverter::kInteger, "7");
        message.copy(*msg);
        EXPECT_EQ(message.msg().active_sml, 4U);
        EXPECT_EQ(message.msg().weight, 3.0);
        EXPECT_EQ(message.msg().smls[0]->m_clip_value, 1.5);
        EXPECT_EQ(*message.msg().get_raw_value(message.word("size")), "7");
    }
    Frozen_message message(call, known);
    EXPECT_TRUE(message.msg().active_bag().IsNull());
    EXPECT_TRUE(message.msg().smls[4].IsNull());
    EXPECT_TRUE(message.msg().nvps.empty());
    EXPECT_EQ(message.msg().active_sml, 0U);
    EXPECT_EQ(message.msg().weight, 1.0);
    message.take_bag();
    EXPECT_TRUE(message.msg().active_bag()->m_concepts.empty());
    EXPECT_EQ(message.msg().active_bag()->m_clip_value, 0.0);
}

TEST(Frozen_callTest, SettingsOfABagDoNotReachTheNextMessage) {
    const Frozen_words known(list_of({"ball"}));
    Frozen_call call;
    {
        Frozen_message message(call, known);
        message.take_bag();
        message.msg().smls[0]->m_clip_value = 2.0;
        message.msg().smls[0]->m_is_new = false;
    }
    Frozen_message message(call, known);
    message.feeder().add_concept(message.word("ball"), 5.0);
    message.take_bag();
    const zeSml& bag = *message.msg().smls[0];
    EXPECT_EQ(bag.m_clip_value, 0.0);
    EXPECT_TRUE(bag.m_is_new);
    ASSERT_EQ(bag.m_concepts.size(), 1U);
    EXPECT_EQ(bag.m_concepts[0].m_weight, 5.0);
    EXPECT_EQ(bag.m_total_weight, 5.0);
}

TEST(Frozen_callTest, BagOfAnotherSlotRemains) {
    const Frozen_words known(list_of({"ball"}));
    Frozen_call call;
    for (int round = 0; round < 2; ++round) {
        Frozen_message message(call, known);
        message.feeder().add_concept(message.word("ball"), 2.0);
        message.take_bag();
        message.msg().smls[2] = message.msg().smls[0];
        message.feeder().add_concept(message.word("rose"), 1.0);
        message.take_bag();
        ASSERT_EQ(message.msg().smls[2]->m_concepts.size(), 1U);
        EXPECT_EQ(message.msg().smls[2]->m_concepts[0].m_concept.view(), "ball");
        ASSERT_EQ(message.msg().smls[0]->m_concepts.size(), 1U);
        EXPECT_EQ(message.msg().smls[0]->m_concepts[0].m_concept.view(), "rose");
    }
}

// The rows of a table are those of the first list, and the words have the numbers of the second.
void expect_rows(const std::vector<std::string>& in_table, const std::vector<std::string>& all) {
    Match_table table;
    for (std::size_t i = 0; i < in_table.size(); ++i) {
        set_row(table, term(in_table[i]), {{1.0F, static_cast<int>(i)}});
    }
    const Frozen_words::List words = list_of(all);
    const Row_index index(table, words);
    for (const auto& [word, unused] : words) {
        const auto number =
            word.empty() ? Uncounted_concept::kEmptyNumber : words.position(words.find(word));
        const Row_index::Pairs* const row = index.find(number);
        const Row expected = row_of(table, word);
        ASSERT_EQ(row != nullptr, !expected.empty()) << word.view();
        if (row != nullptr) {
            ASSERT_EQ(row->size(), 1U);
            EXPECT_EQ(row->begin()->m_iprofile, expected[0].m_iprofile);
        }
    }
    EXPECT_EQ(index.find(Uncounted_concept::kNoNumber), nullptr);
    EXPECT_EQ(index.find(static_cast<std::uint32_t>(all.size())), nullptr);
    EXPECT_EQ(index.find(static_cast<std::uint32_t>(all.size()) + 1000), nullptr);
}

TEST(Row_indexTest, RowsAreFoundByNumber) {
    const std::vector<std::string> all = texts_of_lengths(300);
    expect_rows({}, all);
    expect_rows(all, all);  // all rows are dense
    expect_rows({all.begin(), all.begin() + 100}, all);
    expect_rows({all.begin() + 1, all.end()}, all);
    expect_rows({all[299]}, all);
    expect_rows({all[0], all[63], all[64], all[127], all[128], all[130]}, all);
    expect_rows({all[70], all[5], all[4], all[69]}, all);
}

std::vector<std::string> numbered_words(std::size_t count) {
    std::vector<std::string> words;
    for (std::size_t i = 0; i < count; ++i) {
        words.push_back("n" + std::to_string(i));
    }
    return words;
}

TEST(Row_indexTest, RowsOfASparseTableAreFoundByNumber) {
    const std::vector<std::string> all = numbered_words(5000);
    expect_rows({all[0]}, all);
    expect_rows({all[4999]}, all);
    expect_rows({all[0], all[1], all[2], all[4000]}, all);
    expect_rows({all[4095], all[4096]}, all);
    expect_rows({all[100], all[250], all[700]}, all);
    // Most rows in one part.
    std::vector<std::string> rows(all.begin() + 3000, all.begin() + 3040);
    rows.push_back(all[0]);
    rows.push_back(all[4998]);
    expect_rows(rows, all);
    // From few rows to so many that blocks are smaller.
    for (const std::size_t distance : {997U, 313U, 71U, 40U, 30U, 20U, 9U, 2U}) {
        rows.clear();
        for (std::size_t i = distance / 2; i < all.size(); i += distance) {
            rows.push_back(all[i]);
        }
        expect_rows(rows, all);
    }
}

// A table with rows for the numbers `distance - 1`, `2 * distance - 1` and so on.
std::size_t memory_of_rows(std::size_t row_count, std::size_t distance) {
    const std::vector<std::string> all = numbered_words(row_count * distance);
    Match_table table;
    for (std::size_t i = distance - 1; i < all.size(); i += distance) {
        set_row(table, term(all[i]), {{1.0F, 0}});
    }
    return Row_index(table, list_of(all)).memory_use();
}

TEST(Row_indexTest, EachTableHasTheFormThatTakesLessMemory) {
    constexpr std::size_t kRow = 16;
    constexpr std::size_t kBlock = 16;
    EXPECT_EQ(memory_of_rows(300, 1), 300 * kRow);
    // The last number is 2,999, so there are 47 blocks of 64 numbers.
    EXPECT_EQ(memory_of_rows(300, 10), 300 * kRow + 47 * kBlock);
    // The last number is 19,999. Parts of 64 numbers would be 313, more than rows. So there are 157
    // parts of 128 numbers, and 158 starts. Blocks would take 5,008 bytes.
    EXPECT_EQ(memory_of_rows(200, 100), 200 * kRow + (200 + 158) * 4);
}

TEST(Row_indexTest, EmptyTextHasItsRow) {
    expect_rows({"a", "", "n900"}, [] {
        std::vector<std::string> all = numbered_words(1000);
        all.insert(all.begin(), "a");
        all.emplace_back();
        return all;
    }());
    expect_rows({"ball", "", "goal"}, {"ball", "", "goal", "rose"});
    expect_rows({"ball"}, {"ball", "", "goal", "rose"});
    expect_rows({"", "rose"}, {"ball", "goal", "rose", ""});
}

}  // namespace
