// Compares counting and selection over random corpora with a second, slow implementation, bit for
// bit and with every combination of the settings involved.
#include "zandrel/statistics/zeStat_trainer.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/statistics/zeStat_storage.h"

#include "tests/statistics/random_corpus.h"
#include "tests/statistics/slow_messages.h"
#include "tests/statistics/slow_trainer.h"
#include "tests/support/small_model.h"

namespace {

constexpr unsigned int kSettingCombinations = 64;

struct Setting_combination {
    zeDefaults settings;
    bool is_positive;
};

// The bits of the number choose the settings.
Setting_combination combination(unsigned int number, int profile_size) {
    Setting_combination made = {plain_settings(), (number & 1U) != 0};
    made.settings.use_new_ZC = (number & 2U) != 0;
    made.settings.use_normalization = (number & 4U) != 0;
    made.settings.suppress_M = (number & 8U) != 0;
    made.settings.suppress_M_threshold = (number & 16U) != 0 ? 100 : 0;
    made.settings.clip_value = (number & 32U) != 0 ? 3.0 : 0.0;
    made.settings.profile_size = profile_size;
    return made;
}

class zeStatTrainerModelTest : public testing::TestWithParam<unsigned int> {
protected:
    ~zeStatTrainerModelTest() override { g_use_positive_method = false; }

    // The change of the model between counting and selection.
    enum class Between { kNothing, kWalksFar, kScaled };

    // Trains both and compares them.
    void Compare(const Setting_combination& made, Between between) {
        Slow_trainer slow(made.settings, made.is_positive);
        g_use_positive_method = made.is_positive;
        zeDefaults settings = made.settings;
        zeStat_storage storage(nullptr, settings);
        zeStat_trainer trainer(storage);
        Small_corpus corpus;
        for (const Slow_message& msg : m_messages) {
            slow.Count(msg);
            m_adder.AddTo(corpus, msg);
        }

        trainer.train(corpus.view, false);
        ExpectEqualCounts(slow, storage);
        if (between == Between::kWalksFar) {
            // With this size the library sorts as few candidates as possible in advance, so a
            // selection needs candidates beyond the sorted ones.
            storage.m_profile_size = 0;
        } else if (between == Between::kScaled) {
            Scale(slow, storage);
        }
        for (int round = 0; round < 2; ++round) {
            slow.Select();
            trainer.calculate_feature_selection();
            ExpectEqualSelections(slow, storage);
        }
    }

    // Makes the totals of weights differ from those of messages, as learning does.
    static void Scale(Slow_trainer& slow, zeStat_storage& storage) {
        slow.total_weight *= 0.75;
        storage.m_total_weight *= 0.75;
        for (std::size_t i = 0; i < slow.profiles.size(); ++i) {
            const double factor = 0.5 + 0.125 * static_cast<double>(i);
            slow.profiles[i].weight *= factor;
            storage.m_profiles[i]->m_weight *= factor;
        }
    }

    static void ExpectEqualCounts(const Slow_trainer& slow, zeStat_storage& storage) {
        EXPECT_EQ(storage.m_num_msgs, slow.msgs);
        EXPECT_EQ(storage.m_total_weight, slow.total_weight);
        EXPECT_EQ(storage.m_total_msg_weight, slow.total_msg_weight);
        EXPECT_EQ(storage.m_total_sml_weight, slow.total_bags);
        ASSERT_EQ(storage.m_concept_infos.size(), slow.infos.size());
        for (const auto& [text, expected] : slow.infos) {
            const zeStat_storage::Concept_info& info = info_of(storage, text);
            EXPECT_EQ(info.m_weight, expected.weight) << text;
            EXPECT_EQ(info.m_rate, expected.rate) << text;
            EXPECT_EQ(info.m_num_Ps, expected.profiles) << text;
        }
        ASSERT_EQ(storage.m_profiles.size(), slow.profiles.size());
        for (int i = 0; i < storage.profile_count(); ++i) {
            ExpectEqualProfile(slow.profiles[static_cast<std::size_t>(i)], storage, i);
        }
    }

    static void ExpectEqualProfile(const Slow_trainer::Profile& expected, zeStat_storage& storage,
                                   int iprofile) {
        const zeStat_storage::Profile& profile = storage.profile(iprofile);
        EXPECT_EQ(profile.m_node->m_concept.view(), expected.name);
        EXPECT_EQ(profile.m_weight, expected.weight);
        EXPECT_EQ(profile.m_msg_weight, expected.msg_weight);
        EXPECT_EQ(profile.m_num_msgs, expected.msgs);
        ASSERT_EQ(profile.m_Ps.size(), expected.concepts.size());
        for (const auto& [text, weight] : expected.concepts) {
            EXPECT_EQ(P_of(storage, iprofile, text).m_weight, weight) << text;
        }
    }

    static void ExpectEqualSelections(const Slow_trainer& slow, zeStat_storage& storage) {
        for (std::size_t i = 0; i < slow.profiles.size(); ++i) {
            SCOPED_TRACE(slow.profiles[i].name);
            const zeStat_storage::Profile& profile = *storage.m_profiles[i];
            std::vector<std::pair<std::string, float>> weights;
            for (const zeStat_storage::Weight& weight : profile.m_weights) {
                weights.emplace_back(weight.m_concept.view(), weight.m_value);
            }
            EXPECT_EQ(profile.m_M, slow.profiles[i].M);
            EXPECT_THAT(weights, testing::ElementsAreArray(slow.profiles[i].weights));
        }
    }

    std::vector<Slow_message> m_messages = with_spoilt(Random_corpus(GetParam()).Messages(40));
    Slow_messages m_adder;
};

TEST_P(zeStatTrainerModelTest, ResultEqualsTheSlowTrainer) {
    for (const int profile_size : {1, 4, 12, 1000}) {
        for (unsigned int number = 0; number < kSettingCombinations; ++number) {
            for (const Between between :
                 {Between::kNothing, Between::kWalksFar, Between::kScaled}) {
                SCOPED_TRACE(testing::Message() << "seed " << GetParam() << ", profile size "
                                                << profile_size << ", combination " << number
                                                << ", between " << static_cast<int>(between));
                Compare(combination(number, profile_size), between);
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, zeStatTrainerModelTest, testing::Range(1U, 4U),
                         testing::PrintToStringParamName());

// The comparison shows something only if these cases occur in the corpora.
TEST(RandomCorpusTest, SmallProfilesRefuseConceptsAndMissingConceptsAreTaken) {
    int full = 0;
    int outside = 0;
    for (unsigned int seed = 1; seed < 9; ++seed) {
        Slow_trainer slow(combination(6, 12).settings, false);
        for (const Slow_message& msg : Random_corpus(seed).Messages(40)) {
            slow.Count(msg);
        }
        slow.Select();
        for (const Slow_trainer::Profile& profile : slow.profiles) {
            full += profile.weights.size() == 12 ? 1 : 0;
            for (const auto& [text, weight] : profile.weights) {
                outside += profile.concepts.count(text) == 0 ? 1 : 0;
            }
        }
    }

    EXPECT_GT(full, 20);
    EXPECT_GT(outside, 20);
}

}  // namespace
