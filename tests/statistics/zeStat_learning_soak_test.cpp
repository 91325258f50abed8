// A model learns 200 bulks, each with words that it has never met. Neither its tables nor its
// memory may grow with the number of bulks.
#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/statistics/labelled_corpus.h"
#include "tests/support/allocation_meter.h"

namespace {

constexpr std::size_t kCategories = 4;
constexpr std::size_t kBulk = 100;    // messages
constexpr std::size_t kWords = 12;    // of weight 1 in each message
constexpr std::size_t kMostPs = 100;  // upper bound of a profile's concepts
constexpr double kLimit = 20.0;       // of a category of average size

class Soak {
public:
    // Half of a message's words are new. The others are from the twelve words of its category.
    void Learn() {
        std::vector<Slow_message> messages(kBulk);
        for (Slow_message& msg : messages) {
            const std::string cat = std::to_string(m_random() % kCategories);
            msg.cats = {cat};
            for (std::size_t word = 0; word < kWords / 2; ++word) {
                msg.bag["new" + std::to_string(++m_new_words)] = 1.0;
                msg.bag["own" + cat + "." + std::to_string((m_random() % 2) + 2 * word)] = 1.0;
            }
        }
        Small_corpus corpus;
        add_all(messages, m_labels, corpus);
        m_matcher.learn(corpus.view, true);
    }

    // Checks the bounds after a bulk.
    void ExpectBounded() const {
        std::size_t Ps = 0;
        for (const auto& profile : m_storage.m_profiles) {
            // A profile selects at most as many concepts as it keeps, so the upper bound applies to
            // all.
            EXPECT_LE(profile->m_Ps.size(), kMostPs);
            Ps += profile->m_Ps.size();
        }
        // Before a bulk the categories are reduced to limits. The sum of the limits is largest if
        // all are equal, since a square root is concave. Then each message of the bulk adds a
        // weight of 1, and its bag weighs 12. A concept without a profile stays only if its weight
        // is at least that of a concept seen once, so there are no more such concepts than the
        // weight of all bags.
        const double weight = kCategories * kLimit + kBulk;
        EXPECT_LE(m_storage.m_total_weight, weight * 1.000001);
        EXPECT_LE(m_storage.m_total_sml_weight, kWords * weight * 1.000001);
        EXPECT_LE(static_cast<double>(m_storage.m_concept_infos.size()),
                  static_cast<double>(Ps) + kWords * weight * 1.000001);
    }

private:
    static zeDefaults Settings() {
        zeDefaults settings;
        settings.profile_size = 30;
        settings.min_Ps_size = 50;
        settings.max_Ps_size = static_cast<int>(kMostPs);
        settings.num_slices = 3;
        settings.min_Rlimit = 1.0;
        settings.average_Rlimit = kLimit;
        settings.max_Rlimit = 1000.0;
        settings.weaken_small_cats_factor = 0.0;
        return settings;
    }

    std::mt19937 m_random{11};
    std::size_t m_new_words = 0;
    Labels m_labels;
    zeDefaults m_settings = Settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_matcher m_matcher{nullptr, nullptr, m_storage, false};
};

TEST(zeStatLearningSoakTest, NeitherTheModelNorItsMemoryGrowsWithTheNumberOfBulks) {
    Soak soak;
    std::size_t most_before = 0;
    std::size_t most_after = 0;
    for (int bulk = 1; bulk <= 200; ++bulk) {
        SCOPED_TRACE(bulk);
        soak.Learn();
        soak.ExpectBounded();
        if (bulk > 50) {
            std::size_t& most = bulk <= 100 ? most_before : most_after;
            most = std::max(most, held_bytes());
        }
    }

    // The second hundred bulks bring 60,000 new words, each of which would take about 100 bytes.
    EXPECT_GT(most_before, 50000U);
    EXPECT_LE(static_cast<double>(most_after), 1.1 * static_cast<double>(most_before));
}

}  // namespace
