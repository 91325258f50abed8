// Compares learning over random corpora with a second, slow implementation, bit for bit after every
// batch. Also checks that no model depends on the order of a hash table.
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/statistics/labelled_corpus.h"
#include "tests/statistics/random_corpus.h"
#include "tests/statistics/slow_learner.h"
#include "tests/support/repetitions.h"
#include "tests/support/small_model.h"

namespace {

constexpr unsigned int kLearningCombinations = 512;

struct Learning_combination {
    zeDefaults settings;
    bool is_geometric = false;
    std::set<std::string> junk;
};

// The bits of the number choose the settings. All bounds are so small that they take effect.
Learning_combination learning_combination(unsigned int number) {
    Learning_combination made;
    made.settings = plain_settings();
    made.settings.learn_speed_scale = (number & 1U) != 0 ? 1 : 0;
    made.settings.clip_value = (number & 2U) != 0 ? 3.0 : 0.0;
    made.settings.weaken_small_cats_factor = (number & 4U) != 0 ? 0.75 : 0.0;
    made.is_geometric = (number & 8U) != 0;
    made.settings.delete_P_factor = (number & 16U) != 0 ? 0.0 : 1.1;
    made.settings.P_life_expectancy = (number & 32U) != 0 ? 6 : 0;
    if ((number & 64U) != 0) {
        made.junk = {"c1", "c3"};
    }
    made.settings.use_new_ZC = (number & 128U) != 0;
    const bool is_roomy = (number & 256U) != 0;
    made.settings.profile_size = is_roomy ? 200 : 3;
    made.settings.min_Ps_size = is_roomy ? 4 : 5;
    made.settings.max_Ps_size = is_roomy ? 9 : 8;
    made.settings.min_Rlimit = 2.0;
    made.settings.average_Rlimit = 5.0;
    made.settings.max_Rlimit = 8.0;
    return made;
}

// Random messages. Some have an empty bag, and some a weight that is not finite.
std::vector<Slow_message> batch_of(Random_corpus& corpus, std::size_t count) {
    std::vector<Slow_message> messages = corpus.Messages(count);
    for (std::size_t i = 5; i < messages.size(); i += 9) {
        messages[i].bag.clear();
    }
    return with_spoilt(messages);
}

class zeStatLearningModelTest : public testing::TestWithParam<unsigned int> {
protected:
    ~zeStatLearningModelTest() override { g_use_geom_average = false; }

    // Learns six batches. The second and the fifth batch are not the first of their run. After the
    // third and after the fourth a category is forgotten.
    void Compare(const Learning_combination& made) {
        g_use_geom_average = made.is_geometric;
        Slow_learner slow(made.settings, made.is_geometric, made.junk);
        Labels labels;
        for (const std::string& name : made.junk) {
            labels.node(name)->m_flags = zeNode::Junk;
        }
        zeDefaults settings = made.settings;
        zeStat_storage storage(nullptr, settings);
        Random_corpus random(GetParam());
        for (int round = 1; round <= 6 && !HasFailure(); ++round) {
            SCOPED_TRACE(testing::Message() << "round " << round);
            std::vector<Slow_message> messages = batch_of(random, 18);
            if (round == 4) {
                // A bag that needs more sub-bulks than there are messages.
                messages.front().bag["heavy"] = 1e5;
            }
            const bool first = round != 2 && round != 5;
            Small_corpus corpus;
            add_all(messages, labels, corpus);
            zeStat_diet_learner learner(storage);

            slow.Learn(messages, first);
            learner.learn(corpus.view, first);
            ExpectEqual(slow, storage);
            if (round == 3 || round == 4) {
                Forget(slow, learner, labels, round == 4);
                ExpectEqual(slow, storage);
            }
        }
        m_tally = slow.tally;
    }

    static void Forget(Slow_learner& slow, zeStat_diet_learner& learner, Labels& labels,
                       bool deletes) {
        const bool remove_concepts = (GetParam() & 1U) != 0;
        const std::string name = slow.model.profiles.at(deletes ? 0 : 1).name;
        zeNode* node = labels.node(name);
        slow.Forget(name, remove_concepts, deletes);
        EXPECT_TRUE(deletes ? learner.delete_cat(node, remove_concepts)
                            : learner.clear_cat(node, remove_concepts));
    }

    static void ExpectEqual(const Slow_learner& slow, zeStat_storage& storage) {
        EXPECT_EQ(storage.m_num_msgs, slow.model.msgs);
        EXPECT_EQ(storage.m_total_weight, slow.model.total_weight);
        EXPECT_EQ(storage.m_total_msg_weight, slow.model.total_msg_weight);
        EXPECT_EQ(storage.m_total_sml_weight, slow.model.total_bags);
        ASSERT_EQ(storage.m_concept_infos.size(), slow.model.infos.size());
        for (const auto& [text, expected] : slow.model.infos) {
            const zeStat_storage::Concept_info& info = info_of(storage, text);
            EXPECT_EQ(info.m_weight, expected.weight) << text;
            EXPECT_EQ(info.m_rate, expected.rate) << text;
            EXPECT_EQ(info.m_num_Ps, expected.profiles) << text;
        }
        ASSERT_EQ(storage.m_profiles.size(), slow.model.profiles.size());
        for (int i = 0; i < storage.profile_count(); ++i) {
            const auto& expected = slow.model.profiles[static_cast<std::size_t>(i)];
            SCOPED_TRACE(expected.name);
            ExpectEqualTotals(expected, storage.profile(i));
            ExpectEqualConcepts(expected, slow, storage.profile(i));
        }
    }

    static void ExpectEqualTotals(const Slow_trainer::Profile& expected,
                                  const zeStat_storage::Profile& profile) {
        EXPECT_EQ(profile.m_node->m_concept.view(), expected.name);
        EXPECT_EQ(profile.m_weight, expected.weight);
        EXPECT_EQ(profile.m_msg_weight, expected.msg_weight);
        EXPECT_EQ(profile.m_num_msgs, expected.msgs);
        EXPECT_EQ(profile.m_M, expected.M);
    }

    static void ExpectEqualConcepts(const Slow_trainer::Profile& expected, const Slow_learner& slow,
                                    zeStat_storage::Profile& profile) {
        std::vector<std::pair<std::string, float>> weights;
        for (const zeStat_storage::Weight& weight : profile.m_weights) {
            weights.emplace_back(weight.m_concept.view(), weight.m_value);
        }
        EXPECT_EQ(weights, expected.weights);
        ASSERT_EQ(profile.m_Ps.size(), expected.concepts.size());
        std::set<std::string> selected;
        for (const auto& [text, value] : expected.weights) {
            selected.insert(text);
        }
        for (const auto& [text, weight] : expected.concepts) {
            const zeStat_storage::P& P = profile.m_Ps.at(term(text));
            EXPECT_EQ(P.m_weight, weight) << text;
            EXPECT_EQ(P.m_life, slow.lives.at(expected.name).at(text)) << text;
            EXPECT_EQ(P.m_selected == profile.m_selection_mark, selected.count(text) == 1) << text;
        }
    }

    Slow_learner::Tally m_tally;
};

TEST_P(zeStatLearningModelTest, ResultEqualsTheSlowLearner) {
    for (unsigned int number = 0; number < kLearningCombinations; ++number) {
        SCOPED_TRACE(testing::Message() << "seed " << GetParam() << ", combination " << number);
        Compare(learning_combination(number));
        if (HasFailure()) {
            return;
        }
    }
}

// The comparison shows little unless the bounds take effect in it.
TEST_P(zeStatLearningModelTest, TightBoundsTakeEffect) {
    Compare(learning_combination(1));

    EXPECT_GT(m_tally.sub_bulks, 12);
    EXPECT_GT(m_tally.spared_bulks, 10);
    EXPECT_EQ(m_tally.spoilt, 6 * 7);
    EXPECT_GT(m_tally.cut_profiles, 4);
    EXPECT_GT(m_tally.bounded, 20);
    EXPECT_GT(m_tally.swept, 0);
}

TEST_P(zeStatLearningModelTest, DietRemovesConceptsOfAnyWeightWithoutAFactor) {
    Compare(learning_combination(16));

    EXPECT_GT(m_tally.dieted, 20);
}

INSTANTIATE_TEST_SUITE_P(Seeds, zeStatLearningModelTest, testing::Range(1U, 5U),
                         testing::PrintToStringParamName());

// Determinism, with likelihood tables.

// The totals, concepts, tables, histograms and scores of a model.
struct Model_state {
    bool operator==(const Model_state& other) const = default;

    std::vector<double> numbers;  // totals, tables and histograms
    std::map<std::string, std::tuple<double, double, int>> infos;
    std::vector<std::map<std::string, std::tuple<double, int, bool>>> concepts;
    std::vector<double> scores;
};

// Events before and while the model is made that could change the order of its tables.
struct Table_history {
    Feeding feeding;
    std::size_t buckets;  // requested for the tables before each batch
    bool interns_ahead;   // the dictionary already has another 2000 texts
};

Model_state state_of(zeStat_storage& storage) {
    Model_state state;
    state.numbers = {storage.m_total_weight, storage.m_total_msg_weight, storage.m_total_sml_weight,
                     static_cast<double>(storage.m_num_msgs)};
    for (const auto& [word, info] : storage.m_concept_infos) {
        state.infos[std::string(word.view())] = {info.m_weight, info.m_rate, info.m_num_Ps};
    }
    for (const auto& profile : storage.m_profiles) {
        for (const double number : {profile->m_weight, profile->m_msg_weight, profile->m_M,
                                    static_cast<double>(profile->m_num_msgs),
                                    static_cast<double>(profile->m_likelihood_age)}) {
            state.numbers.push_back(number);
        }
        state.numbers.insert(state.numbers.end(), profile->m_likelihood.begin(),
                             profile->m_likelihood.end());
        for (const zeStat_storage::Result_bin& bin : profile->m_bins) {
            state.numbers.push_back(bin.m_relevant);
            state.numbers.push_back(bin.m_total);
        }
        auto& concepts = state.concepts.emplace_back();
        for (const auto& [word, P] : profile->m_Ps) {
            concepts[std::string(word.view())] = {P.m_weight, P.m_life,
                                                  P.m_selected == profile->m_selection_mark};
        }
    }
    return state;
}

Model_state learn_with(const Table_history& history, unsigned int seed, unsigned int number) {
    std::vector<Concept> interned;
    for (int i = 0; history.interns_ahead && i < 2000; ++i) {
        interned.push_back(term("other" + std::to_string(i)));
    }
    zeDefaults settings = learning_combination(number).settings;
    settings.use_likelihood_in_train = true;
    settings.use_likelihood_in_match = true;
    settings.num_slices = 3;
    Labels labels;
    zeStat_storage storage(nullptr, settings);
    zeStat_matcher matcher(nullptr, nullptr, storage, false);
    Random_corpus random(seed);
    std::vector<Slow_message> messages;
    for (int round = 0; round < 5; ++round) {
        storage.m_concept_infos.rehash(history.buckets);
        for (const auto& profile : storage.m_profiles) {
            profile->m_Ps.rehash(history.buckets);
        }
        messages = batch_of(random, 24);
        Small_corpus corpus;
        add_all(messages, labels, corpus, history.feeding);
        matcher.learn(corpus.view, round != 3);
    }
    Model_state state = state_of(storage);
    for (const Slow_message& msg : messages) {
        zeResult_set results(0.0, -1);
        matcher.classify(*make_msg(msg, history.feeding), results, 1.0, false);
        for (const zeResult& result : results.results) {
            state.scores.push_back(result.score);
        }
    }
    return state;
}

TEST(zeStatLearningDeterminismTest, SameMessagesGiveTheSameModelForAnyHistoryOfTheTables) {
    for (unsigned int seed = 1; seed <= zandrel_tests::repetitions(3); ++seed) {
        for (unsigned int number = 0; number < kLearningCombinations; number += 37) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", combination " << number);
            const Model_state plain = learn_with({{}, 100, false}, seed, number);
            ASSERT_FALSE(plain.scores.empty());

            EXPECT_TRUE(learn_with({{}, 100, false}, seed, number) == plain);
            EXPECT_TRUE(learn_with({{true, 0}, 100, true}, seed, number) == plain);
            EXPECT_TRUE(learn_with({{true, 1009}, 20011, true}, seed, number) == plain);
        }
    }
}

}  // namespace
