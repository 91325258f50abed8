#include "zandrel/statistics/Concept_order.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::string> ordered(const std::vector<std::string>& texts) {
    zandrel::concept_map<int> table;
    for (const std::string& text : texts) {
        table[Concept::insert_view(text)] = 0;
    }
    std::vector<std::string> result;
    for (const auto& [prefix, entry] : zandrel::detail::in_text_order(table)) {
        result.emplace_back(entry->first.view());
    }
    return result;
}

// Bytes that distinguish signed from unsigned order, and a zero byte from the end of a text.
std::string random_text(std::mt19937& random) {
    static constexpr char kBytes[] = {'\0', '\x01', 'a', '\x7f', '\x80', '\xff'};
    std::string text(random() % 20, '\0');
    for (char& byte : text) {
        // Mostly zero bytes, so that many texts have the same beginning.
        byte = random() % 4 == 0 ? kBytes[random() % sizeof kBytes] : '\0';
    }
    return text;
}

TEST(ConceptOrderTest, TextsAreOrderedByUnsignedBytesAndShorterTextsFirst) {
    const std::vector<std::string> expected = {"",          std::string(1, '\0'),
                                               "a",         std::string("a\0", 2),
                                               "a\x01",     "ab",
                                               "abcdefgh",  std::string("abcdefgh\0", 9),
                                               "abcdefghi", "abcdefgi",
                                               "b",         "\x80",
                                               "\xff"};
    std::vector<std::string> texts = expected;
    std::reverse(texts.begin(), texts.end());

    EXPECT_EQ(ordered(texts), expected);
}

TEST(ConceptOrderTest, OrderIsThatOfWholeTexts) {
    std::mt19937 random(7);
    std::vector<std::string> texts(2000);
    for (std::string& text : texts) {
        text = random_text(random);
    }
    const std::vector<std::string> result = ordered(texts);

    std::sort(texts.begin(), texts.end());  // char_traits compares bytes as unsigned
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    EXPECT_EQ(result, texts);
}

}  // namespace
