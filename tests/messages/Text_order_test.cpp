#include "zandrel/messages/Text_order.h"

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using zandrel::detail::first_bytes;

namespace {

std::vector<std::string> sorted_by_keys(const std::vector<Concept>& concepts) {
    std::vector<zandrel::detail::Text_key> keys;
    for (const Concept& each : concepts) {
        keys.push_back(zandrel::detail::text_key(each, keys.size()));
    }
    zandrel::detail::sort_by_text(keys);
    std::vector<std::string> texts;
    for (const zandrel::detail::Text_key& key : keys) {
        texts.emplace_back(concepts[key.index].view());
    }
    return texts;
}

// std::string compares bytes as unsigned, and a text is less than its continuation. So sorting
// strings gives the expected order by other code.
void expect_sorted(std::vector<std::string> texts) {
    std::vector<Concept> concepts;
    for (const std::string& text : texts) {
        concepts.push_back(Concept::insert_view(text));
    }
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(sorted_by_keys(concepts), texts);
}

TEST(TextOrderTest, FirstBytesAreTheTextFromTheHighestBitsDown) {
    EXPECT_EQ(first_bytes(""), 0U);
    EXPECT_EQ(first_bytes("a"), 0x6100000000000000U);
    EXPECT_EQ(first_bytes("ab\xFF"), 0x6162FF0000000000U);
    EXPECT_EQ(first_bytes("abcd"), 0x6162636400000000U);
    EXPECT_EQ(first_bytes("abcde"), 0x6162636465000000U);
    EXPECT_EQ(first_bytes("abcdefg"), 0x6162636465666700U);
    EXPECT_EQ(first_bytes("abcdefgh"), 0x6162636465666768U);
    EXPECT_EQ(first_bytes("abcdefghi"), 0x6162636465666768U);
}

TEST(TextOrderTest, TextIsLessThanItsContinuation) {
    expect_sorted({"communication", "communicate", "communi", "communicat", "commun", ""});
    expect_sorted({std::string("a\0b", 3), "a", std::string("a\0", 2), std::string("a\0\0", 3)});
}

TEST(TextOrderTest, BytesAreUnsigned) {
    expect_sorted({"\xFF", "a", "\x80z", "\x7F"});
}

// The lists give buckets of all kinds: many keys that share none, some or all of the first eight
// bytes.
TEST(TextOrderTest, RandomListsAgreeWithAStandardSort) {
    std::mt19937 random(11);
    for (const std::string_view prefix : {"", "a", "seven b", "a common beginning "}) {
        for (const std::size_t count : {1U, 31U, 32U, 33U, 300U, 5000U}) {
            SCOPED_TRACE(std::string(prefix) + std::to_string(count));
            std::vector<std::string> texts;
            for (std::size_t i = 0; i < count; ++i) {
                std::string text(prefix);
                for (std::size_t length = random() % 12; length > 0; --length) {
                    text +=
                        static_cast<char>(random() % 4 == 0 ? random() % 256 : 'a' + random() % 3);
                }
                texts.push_back(text);
            }
            expect_sorted(texts);
        }
    }
}

}  // namespace
