// Learns a file sorted by label, and the same file shuffled. In either order the model stays within
// its bounds and distinguishes its categories.
#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/statistics/labelled_corpus.h"

namespace {

constexpr std::size_t kCategories = 4;
constexpr std::size_t kBulk = 20;
constexpr int kMostMessages = 30;

// Each message has four words that are drawn from its category's ten words, and three that are
// drawn from 200 words that all categories share. A word may be drawn more than once.
std::vector<Slow_message> sorted_file(std::size_t msgs_per_category, unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<Slow_message> messages;
    for (std::size_t cat = 0; cat < kCategories; ++cat) {
        for (std::size_t i = 0; i < msgs_per_category; ++i) {
            Slow_message& msg = messages.emplace_back();
            msg.cats = {"c" + std::to_string(cat)};
            for (int word = 0; word < 4; ++word) {
                msg.bag["own" + std::to_string(cat) + "." + std::to_string(random() % 10)] += 1.0;
            }
            for (int word = 0; word < 3; ++word) {
                msg.bag["shared" + std::to_string(random() % 200)] += 1.0;
            }
        }
    }
    return messages;
}

std::vector<Slow_message> shuffled(std::vector<Slow_message> messages) {
    std::mt19937 random(7);
    for (std::size_t i = messages.size(); i > 1; --i) {
        std::swap(messages[i - 1], messages[random() % i]);
    }
    return messages;
}

class zeStatLearningTest : public testing::TestWithParam<bool> {
protected:
    zeStatLearningTest() {
        for (std::size_t cat = 0; cat < kCategories; ++cat) {
            zeNode* node = m_labels.node("c" + std::to_string(cat));
            zeStat_diet_learner(m_storage).add_cat(node);
        }
    }

    static zeDefaults Settings() {
        zeDefaults settings = plain_settings();
        settings.profile_size = 15;
        settings.min_Ps_size = 15;
        settings.max_Ps_size = kMostMessages;
        settings.min_Rlimit = 5.0;
        settings.average_Rlimit = 20.0;
        settings.max_Rlimit = 40.0;
        return settings;
    }

    std::vector<Slow_message> File() const {
        const std::vector<Slow_message> messages = sorted_file(100, 1);
        return GetParam() ? shuffled(messages) : messages;
    }

    void Learn(const std::vector<Slow_message>& messages) {
        Small_corpus corpus;
        add_all(messages, m_labels, corpus);
        m_matcher.learn(corpus.view, true);
        for (const auto& profile : m_storage.m_profiles) {
            // A profile selects at most 15 concepts, so the upper bound applies to all.
            EXPECT_LE(profile->m_Ps.size(), static_cast<std::size_t>(kMostMessages));
        }
    }

    void LearnInBulks(const std::vector<Slow_message>& messages) {
        for (std::size_t start = 0; start < messages.size(); start += kBulk) {
            const auto from = messages.begin() + static_cast<std::ptrdiff_t>(start);
            Learn({from, from + static_cast<std::ptrdiff_t>(kBulk)});
        }
    }

    // The share of new messages, of the last `categories` categories, whose own category is ranked
    // first.
    double Accuracy(std::size_t categories = kCategories) {
        std::vector<Slow_message> messages = sorted_file(50, 2);
        messages.erase(messages.begin(),
                       messages.end() - 50 * static_cast<std::ptrdiff_t>(categories));
        int right = 0;
        for (const Slow_message& msg : messages) {
            zeResult_set results(0.0, 1);
            m_matcher.classify(*make_msg(msg), results, 1.0, false);
            right +=
                results.count() == 1 && results.get_result(0).node->m_concept.view() == msg.cats[0]
                    ? 1
                    : 0;
        }
        return static_cast<double>(right) / static_cast<double>(messages.size());
    }

    Labels m_labels;
    zeDefaults m_settings = Settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_matcher m_matcher{nullptr, nullptr, m_storage, false};
};

// A message has four words drawn from the ten words of its category, and words of no other
// category; a profile keeps 15 words. A message has three words drawn from the 200 shared words, so
// a shared word is rare in every category, and its weight is small beside four words that are
// always right. One mistake in twenty is far more than we expect.
constexpr double kLeastAccuracy = 0.95;

TEST_P(zeStatLearningTest, CategoriesLearnedInOneBatchAreDistinguished) {
    Learn(File());

    EXPECT_GE(Accuracy(), kLeastAccuracy);
}

// No average is above the 100 messages of a category. So a limit is at least 400 times the square
// root of a hundredth of the size, which is above every size below 1600. So no category is reduced,
// and nothing is forgotten.
TEST_P(zeStatLearningTest, CategoriesLearnedSlowlyInBulksAreDistinguished) {
    m_storage.m_max_Rlimit = 400.0;
    m_storage.m_average_Rlimit = 400.0;

    LearnInBulks(File());

    EXPECT_GE(Accuracy(), kLeastAccuracy);
}

// Here each bulk weighs as much as an average category. So in a sorted file the first categories
// are forgotten. The last category has the last 100 messages, whose weight is above that of the old
// ones.
TEST_P(zeStatLearningTest, CategoriesLearnedLastInBulksAreDistinguished) {
    LearnInBulks(File());

    EXPECT_GE(Accuracy(1), kLeastAccuracy);
}

INSTANTIATE_TEST_SUITE_P(Orders, zeStatLearningTest, testing::Bool(), [](const auto& order) {
    return order.param ? "Shuffled" : "SortedByLabel";
});

}  // namespace
