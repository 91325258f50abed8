#include "zandrel/statistics/Text_ranks.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

namespace {

using Table = zandrel::concept_map<int>;
using Ranks = zandrel::detail::Text_ranks<int>;
using List = std::vector<std::string>;

Table table_of(const List& texts) {
    Table table;
    for (const std::string& text : texts) {
        table[term(text)] = static_cast<int>(text.size());
    }
    return table;
}

List in_order_of(const Table& ranked, const Table& table) {
    List texts;
    for (const auto* const entry : Ranks(ranked, [](const auto&) {}).in_order(table)) {
        texts.emplace_back(entry->first.view());
        EXPECT_EQ(entry->second, static_cast<int>(entry->first.view().size()));
    }
    return texts;
}

TEST(TextRanksTest, EntriesAreReturnedInTheOrderOfTheirTexts) {
    List shown;

    const Table table = table_of({"soup", "goal", "price", "\xff", "goals"});
    const Ranks ranks(table,
                      [&shown](const auto& entry) { shown.emplace_back(entry.first.view()); });

    EXPECT_EQ(shown, (List{"goal", "goals", "price", "soup", "\xff"}));
}

TEST(TextRanksTest, AnotherTableIsSorted) {
    const Table ranked = table_of({"soup", "goal", "price"});

    EXPECT_EQ(in_order_of(ranked, table_of({"soup", "price"})), (List{"price", "soup"}));
    EXPECT_EQ(in_order_of(ranked, table_of({})), List{});
}

TEST(TextRanksTest, TableWithAConceptWithoutARankIsSorted) {
    const Table ranked = table_of({"soup", "goal"});

    EXPECT_EQ(in_order_of(ranked, table_of({"soup", "new", "goal"})),
              (List{"goal", "new", "soup"}));
}

TEST(TextRanksTest, ErasedEntriesAreLeftOut) {
    Table ranked = table_of({"soup", "goal", "price", "bank"});
    Table table = table_of({"soup", "price", "bank", "goal"});
    ranked.erase(term("goal"));
    table.erase(term("goal"));
    table.erase(term("soup"));

    EXPECT_EQ(in_order_of(ranked, table), (List{"bank", "price"}));
}

TEST(TextRanksTest, RandomTablesAreSorted) {
    std::mt19937 random(7);
    for (int round = 0; round < 100; ++round) {
        List all;
        List some;
        for (int i = 0; i < 60; ++i) {
            all.push_back((random() % 2 == 0 ? "long common " : "") + std::to_string(random()));
            if (random() % 3 == 0) {
                some.push_back(all.back());
            }
        }
        std::shuffle(all.begin(), all.end(), random);
        const List found = in_order_of(table_of(all), table_of(some));
        std::sort(some.begin(), some.end());
        EXPECT_EQ(found, some);
    }
}

}  // namespace
