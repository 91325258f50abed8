// The order in which concepts are collected must not influence a bag, not even its last bit.
#include "zandrel/messages/zeSml.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bags.h"

namespace {

constexpr int kWordCount = 300;

struct Word {
    std::string text;
    double weight;
};

// Weights whose sum depends on the order: tenths, and numbers so large that the low bits of the
// tenths are lost in the sum.
std::vector<Word> words() {
    std::vector<Word> all;
    for (int number = 0; number < kWordCount; ++number) {
        const double weight = number % 10 == 0 ? 1e9 / (number + 1) : 0.1 * (number + 1);
        all.push_back({"word " + std::to_string(number * 7919 % 10007), weight});
    }
    return all;
}

// The sum in text order, by other code than that of a bag.
double total_in_text_order(const std::vector<Word>& all, double clip_value) {
    std::map<std::string, double> sorted;
    for (const Word& word : all) {
        sorted[word.text] = clip_value == 0.0 ? word.weight : std::min(word.weight, clip_value);
    }
    return std::accumulate(sorted.begin(), sorted.end(), 0.0,
                           [](double sum, const auto& word) { return sum + word.second; });
}

void add(zeSml_feeder& feeder, const std::vector<Word>& all) {
    for (const Word& word : all) {
        feeder.add_concept(term(word.text), word.weight);
    }
}

// Adds words, and between them adds and removes others, so that the tables grow and chain
// differently.
void add_with_detours(zeSml_feeder& feeder, const std::vector<Word>& all, std::mt19937& random) {
    std::vector<Concept> passing;
    for (const Word& word : all) {
        for (auto count = random() % 10; count > 0; --count) {
            passing.push_back(term("passing " + std::to_string(passing.size())));
            feeder.add_concept(passing.back(), 0.3);
        }
        if (random() % 4 == 0) {
            feeder.add_concept(term(word.text), 17.7);
            feeder.remove_concept(term(word.text));
        }
        feeder.add_concept(term(word.text), word.weight);
    }
    std::shuffle(passing.begin(), passing.end(), random);
    for (const Concept& removed : passing) {
        feeder.remove_concept(removed);
    }
}

class zeSmlOrderTest : public testing::TestWithParam<double> {
protected:
    // Checks that the bags are equal, and that their totals have the same bits.
    static void expect_same(const zeSml& bag, const zeSml& expected) {
        ASSERT_EQ(bag.m_total_weight, expected.m_total_weight);
        ASSERT_TRUE(bag == expected);
    }

    std::mt19937 m_random{20240229};
};

TEST_P(zeSmlOrderTest, SumOfTheseWeightsDependsOnTheOrder) {
    std::vector<Word> all = words();
    std::map<double, int> totals;
    for (int round = 0; round < 50; ++round) {
        std::shuffle(all.begin(), all.end(), m_random);
        double total = 0.0;
        for (const Word& word : all) {
            total += GetParam() == 0.0 ? word.weight : std::min(word.weight, GetParam());
        }
        ++totals[total];
    }

    EXPECT_GT(totals.size(), 1U);
}

TEST_P(zeSmlOrderTest, TotalIsSummedInTextOrder) {
    zeSml_feeder feeder;
    add(feeder, words());

    EXPECT_EQ(zeSml(feeder, GetParam()).m_total_weight, total_in_text_order(words(), GetParam()));
}

TEST_P(zeSmlOrderTest, OrderOfAddingDoesNotChangeTheBag) {
    std::vector<Word> all = words();
    zeSml_feeder first;
    add(first, all);
    const zeSml expected(first, GetParam());

    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        std::shuffle(all.begin(), all.end(), m_random);
        zeSml_feeder feeder;
        add(feeder, all);
        expect_same(zeSml(feeder, GetParam()), expected);
    }
}

TEST_P(zeSmlOrderTest, HistoryOfTheFeederDoesNotChangeTheBag) {
    std::vector<Word> all = words();
    zeSml_feeder first;
    add(first, all);
    const zeSml expected(first, GetParam());

    for (int round = 0; round < 50; ++round) {
        SCOPED_TRACE(round);
        std::shuffle(all.begin(), all.end(), m_random);
        zeSml_feeder feeder;
        add_with_detours(feeder, all, m_random);
        expect_same(zeSml(feeder, GetParam()), expected);
    }
}

TEST_P(zeSmlOrderTest, ReuseOfTheFeederDoesNotChangeTheBag) {
    std::vector<Word> all = words();
    zeSml_feeder first;
    add(first, all);
    const zeSml expected(first, GetParam());

    zeSml_feeder reused;
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        std::shuffle(all.begin(), all.end(), m_random);
        reused.clear();
        add_with_detours(reused, all, m_random);
        expect_same(zeSml(reused, GetParam()), expected);
    }
}

TEST_P(zeSmlOrderTest, OrderOfCombiningDoesNotChangeTheBag) {
    std::vector<Word> all = words();
    zeSml_feeder whole;
    add(whole, all);
    const zeSml expected(whole, GetParam());

    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        std::shuffle(all.begin(), all.end(), m_random);
        const auto middle = all.begin() + 1 + static_cast<std::ptrdiff_t>(m_random() % 298);
        zeSml_feeder front;
        zeSml_feeder back;
        add(front, {all.begin(), middle});
        add(back, {middle, all.end()});
        back.combine(front);
        expect_same(zeSml(back, GetParam()), expected);
    }
}

TEST_P(zeSmlOrderTest, ViewsOfTheSameContentsAreEqual) {
    std::vector<Word> all = words();
    zeSml_feeder first;
    add(first, all);
    const qtPtrLight<zeSml> source(new zeSml(first, GetParam()));
    const qtPtrLight<zeSml> expected = zeSml::get_clipped_sml(source, 1.7);

    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        std::shuffle(all.begin(), all.end(), m_random);
        zeSml_feeder feeder;
        add(feeder, all);
        const qtPtrLight<zeSml> bag(new zeSml(feeder, GetParam()));
        expect_same(*zeSml::get_clipped_sml(bag, 1.7), *expected);
    }
}

// The tests run without a ceiling and with one.
INSTANTIATE_TEST_SUITE_P(Free, zeSmlOrderTest, testing::Values(0.0));
INSTANTIATE_TEST_SUITE_P(Held, zeSmlOrderTest, testing::Values(7.3));

}  // namespace
