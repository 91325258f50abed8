// Counting is reversible. If messages are added and removed again, each time in random order, the
// model is as before. All weights and totals are powers of two, so every share and every sum is
// exact, and we compare all bits.
#include "zandrel/statistics/zeStat_trainer.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/messages/zeSml_feeder.h"

#include "tests/support/small_model.h"

namespace {

constexpr std::size_t kStayingCount = 12;
constexpr std::size_t kPassingCount = 20;
constexpr int kCategoryCount = 4;

// Everything that counting changes and removing restores, by text and by category.
struct Snapshot {
    bool operator==(const Snapshot& other) const = default;

    std::vector<double> totals;
    std::map<std::string, std::vector<double>> infos;  // weight, rate, number of Ps
    std::map<int, std::vector<double>> profiles;       // weights and messages
    std::map<int, std::map<std::string, double>> Ps;   // weight of each concept
};

Snapshot snapshot_of(const zeStat_storage& storage) {
    Snapshot result;
    result.totals = {storage.m_total_sml_weight, storage.m_total_weight, storage.m_total_msg_weight,
                     static_cast<double>(storage.m_num_msgs)};
    for (const auto& [concept_key, info] : storage.m_concept_infos) {
        result.infos[concept_key.text().str()] = {info.m_weight, info.m_rate,
                                                  static_cast<double>(info.m_num_Ps)};
    }
    for (int i = 0; i < storage.profile_count(); ++i) {
        const zeStat_storage::Profile& profile = storage.profile(i);
        if (profile.m_num_msgs == 0) {
            EXPECT_TRUE(profile.m_Ps.empty());
            continue;  // A profile that became empty remains.
        }
        result.profiles[i] = {profile.m_weight, profile.m_msg_weight,
                              static_cast<double>(profile.m_num_msgs)};
        for (const auto& [concept_key, P] : profile.m_Ps) {
            result.Ps[i][concept_key.text().str()] = P.m_weight;
        }
    }
    return result;
}

class zeStattrainerReversalTest : public testing::TestWithParam<unsigned int> {
protected:
    zeStattrainerReversalTest() : m_random(GetParam()) {
        for (int i = 0; i < kCategoryCount; ++i) {
            m_categories.emplace_back(term("category" + std::to_string(i)));
        }
        for (std::size_t i = 0; i < kStayingCount + kPassingCount; ++i) {
            AddRandomMessage();
        }
    }

    // Four concepts of the weights 1, 1, 2 and 4; their sum is 8.
    void AddRandomMessage() {
        std::vector<int> words(16);
        std::iota(words.begin(), words.end(), 0);
        std::shuffle(words.begin(), words.end(), m_random);
        zeSml_feeder feeder;
        for (std::size_t i = 0; i < 4; ++i) {
            feeder.add_concept(term("word" + std::to_string(words[i])),
                               i == 0 ? 1.0 : 1U << (i - 1));
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        msg->weight = std::vector<double>{0.5, 1.0, 2.0}[m_random() % 3];
        std::vector<zeNode*> cats;
        for (zeNode& category : m_categories) {
            if (m_random() % 3 == 0) {
                cats.push_back(&category);
            }
        }
        m_corpus.add(msg, cats);
    }

    std::vector<unsigned int> Shuffled(std::size_t first, std::size_t count) {
        std::vector<unsigned int> indices(count);
        std::iota(indices.begin(), indices.end(), static_cast<unsigned int>(first));
        std::shuffle(indices.begin(), indices.end(), m_random);
        return indices;
    }

    std::mt19937 m_random;
    std::vector<zeNode> m_categories;
    Small_corpus m_corpus;
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
};

TEST_P(zeStattrainerReversalTest, RemovingInAnyOrderUndoesAddingInAnyOrder) {
    zeStat_trainer trainer(m_storage);
    trainer.m_view = &m_corpus.view;
    trainer.calculate_corpus(Shuffled(0, kStayingCount), false);
    const Snapshot before = snapshot_of(m_storage);

    trainer.calculate_corpus(Shuffled(kStayingCount, kPassingCount), false);
    EXPECT_FALSE(snapshot_of(m_storage) == before);
    trainer.calculate_corpus(Shuffled(kStayingCount, kPassingCount), true);

    EXPECT_TRUE(snapshot_of(m_storage) == before) << "seed " << GetParam();
}

TEST_P(zeStattrainerReversalTest, RemovingEverythingLeavesEmptyProfiles) {
    zeStat_trainer trainer(m_storage);
    trainer.m_view = &m_corpus.view;
    trainer.calculate_corpus(Shuffled(0, kStayingCount), false);
    const int profile_count = m_storage.profile_count();

    trainer.calculate_corpus(Shuffled(0, kStayingCount), true);

    const Snapshot after = snapshot_of(m_storage);
    EXPECT_EQ(after.totals, (std::vector<double>{0.0, 0.0, 0.0, 0.0})) << "seed " << GetParam();
    EXPECT_TRUE(after.infos.empty());
    EXPECT_TRUE(after.profiles.empty());
    EXPECT_EQ(m_storage.profile_count(), profile_count);
}

TEST_P(zeStattrainerReversalTest, RemovingKeepsTheLifeThatAddingRenewed) {
    m_storage.m_P_life_expectancy = 7;
    zeStat_trainer trainer(m_storage);
    trainer.m_view = &m_corpus.view;
    trainer.calculate_corpus(Shuffled(0, kStayingCount), false);
    m_storage.m_P_life_expectancy = 9;

    trainer.calculate_corpus(Shuffled(0, kStayingCount), false);
    trainer.calculate_corpus(Shuffled(0, kStayingCount), true);

    for (const auto& profile : m_storage.m_profiles) {
        for (const auto& [concept_key, P] : profile->m_Ps) {
            EXPECT_EQ(P.m_life, 9) << "seed " << GetParam();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, zeStattrainerReversalTest, testing::Range(1U, 21U));

}  // namespace
