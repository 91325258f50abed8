// No result may depend on the order of a hash table: the same messages give the same model, bit for
// bit, whatever happened to the tables before.
#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/statistics/random_corpus.h"
#include "tests/statistics/slow_messages.h"
#include "tests/support/bags.h"
#include "tests/support/small_model.h"

namespace {

// Events before and while the model is made that could change the order of its tables.
struct History {
    const char* name;
    bool reverses_feeders;  // concepts are added to the feeders in reverse order
    bool interns_ahead;     // the dictionary already has all texts, and others, in reverse order
    std::size_t feeder_buckets;   // requested
    std::size_t concept_buckets;  // requested for the table of all concepts and for the profiles
    bool erases_others;           // the table of all concepts had other concepts before
};

constexpr std::array<History, 5> kHistories = {{
    {"plain", false, false, 100, 100, false},
    {"reversed", true, false, 100, 100, false},
    {"interned ahead", false, true, 1009, 100, false},
    {"many buckets", true, true, 7, 20011, false},
    {"others erased", false, true, 100, 3, true},
}};

// The features, additive terms and scores of a model.
struct Outcome {
    std::vector<std::vector<std::pair<std::string, float>>> weights;   // by profile, in order
    std::vector<double> terms;                                         // m_M of each profile
    std::vector<std::vector<std::tuple<std::string, double>>> scores;  // by message
    std::vector<std::string> walk;  // the order in the table of all concepts; may differ
};

class Model {
public:
    Model(const History& history, const zeDefaults& settings)
        : m_history(history), m_settings(settings), m_storage(nullptr, m_settings) {
        if (m_history.interns_ahead) {
            Intern();
        }
        m_storage.m_concept_infos.rehash(m_history.concept_buckets);
        if (m_history.erases_others) {
            FillAndErase();
        }
    }

    Outcome Run(const std::vector<Slow_message>& messages) {
        for (const Slow_message& msg : messages) {
            Add(msg);
        }
        zeStat_trainer trainer(m_storage);
        trainer.train(m_corpus.view, false);
        for (const auto& profile : m_storage.m_profiles) {
            profile->m_Ps.rehash(m_history.concept_buckets);
        }
        trainer.calculate_feature_selection();
        Outcome outcome;
        for (const auto& profile : m_storage.m_profiles) {
            auto& weights = outcome.weights.emplace_back();
            for (const zeStat_storage::Weight& weight : profile->m_weights) {
                weights.emplace_back(weight.m_concept.view(), weight.m_value);
            }
            outcome.terms.push_back(profile->m_M);
        }
        for (const auto& [known, info] : m_storage.m_concept_infos) {
            outcome.walk.emplace_back(known.view());
        }
        zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
        for (const auto& msg : m_corpus.corpus.msgs) {
            outcome.scores.push_back(Classify(matcher, *msg));
        }
        return outcome;
    }

private:
    void Intern() {
        for (int i = 3000; i >= 0; --i) {
            m_interned.push_back(term("other" + std::to_string(i)));
        }
        for (const char* const stem : {"all", "3", "2", "1", "0"}) {
            for (int i = 11; i >= 0; --i) {
                const std::string word = "w" + std::string(stem) + std::to_string(i);
                for (const std::string& text : {word, word + "x", "v" + word}) {
                    m_interned.push_back(term(text));
                }
            }
        }
    }

    void FillAndErase() {
        for (const Concept& other : m_interned) {
            bool added = false;
            m_storage.get_or_add_concept_info(other, added);
        }
        for (const Concept& other : m_interned) {
            m_storage.m_concept_infos.erase(other);
        }
    }

    void Add(const Slow_message& msg) {
        std::vector<std::pair<std::string, double>> entries(msg.bag.begin(), msg.bag.end());
        if (m_history.reverses_feeders) {
            std::reverse(entries.begin(), entries.end());
        }
        zeSml_feeder feeder;
        feeder.m_concepts.rehash(m_history.feeder_buckets);
        for (const auto& [text, weight] : entries) {
            // Thirds, so that the sums depend on their order.
            feeder.add_concept(term(text), weight / 3.0);
        }
        m_adder.AddTo(m_corpus, msg, feeder);
    }

    static std::vector<std::tuple<std::string, double>> Classify(zeStat_matcher& matcher,
                                                                 zeMsg& msg) {
        zeResult_set results(0.0, -1);
        matcher.classify(msg, results, 1.0, false);
        std::vector<std::tuple<std::string, double>> scores;
        for (const zeResult& result : results.results) {
            scores.emplace_back(result.node->m_concept.view(), result.score);
        }
        return scores;
    }

    const History& m_history;
    zeDefaults m_settings;
    std::vector<Concept> m_interned;
    Slow_messages m_adder;
    zeStat_storage m_storage;
    Small_corpus m_corpus;
};

// Each word becomes three words of the same weight. So scores are equal, and texts must decide.
std::vector<Slow_message> with_ties(std::vector<Slow_message> messages) {
    for (Slow_message& msg : messages) {
        const std::map<std::string, double> words = msg.bag;
        for (const auto& [text, weight] : words) {
            msg.bag[text + "x"] = weight;
            msg.bag["v" + text] = weight;
        }
    }
    return messages;
}

// The settings of a model other than the size of its profiles.
struct Method {
    const char* name;
    bool use_new_ZC;
    bool suppress_M;
    bool is_positive;
    double clip_value;
};

constexpr std::array<Method, 7> kMethods = {{
    {"old treatment", false, false, false, 0.0},
    {"old treatment, suppressing", false, true, false, 0.0},
    {"new treatment", true, false, false, 0.0},
    {"new treatment, suppressing", true, true, false, 0.0},
    {"new treatment under a ceiling", true, true, false, 3.0},
    {"positive method", false, true, true, 0.0},
    {"positive method under a ceiling", true, false, true, 3.0},
}};

zeDefaults settings_for(int profile_size, const Method& method) {
    zeDefaults settings = plain_settings();
    settings.profile_size = profile_size;
    settings.use_new_ZC = method.use_new_ZC;
    settings.suppress_M = method.suppress_M;
    settings.clip_value = method.clip_value;
    return settings;
}

class zeStatDeterminismTest : public testing::TestWithParam<Method> {
protected:
    zeStatDeterminismTest() { g_use_positive_method = GetParam().is_positive; }

    ~zeStatDeterminismTest() override { g_use_positive_method = false; }
};

TEST_P(zeStatDeterminismTest, HistoryOfTheTablesDoesNotChangeTheModel) {
    for (unsigned int seed = 1; seed <= 3; ++seed) {
        const std::vector<Slow_message> messages = with_ties(Random_corpus(seed).Messages(60));
        for (const int profile_size : {1, 4, 10, 1000}) {
            const zeDefaults settings = settings_for(profile_size, GetParam());
            const Outcome plain = Model(kHistories[0], settings).Run(messages);
            for (const History& history : kHistories) {
                SCOPED_TRACE(testing::Message()
                             << GetParam().name << ", " << history.name << ", seed " << seed
                             << ", profile size " << profile_size);

                const Outcome other = Model(history, settings).Run(messages);

                ASSERT_EQ(other.weights, plain.weights);
                ASSERT_EQ(other.terms, plain.terms);
                ASSERT_EQ(other.scores, plain.scores);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, zeStatDeterminismTest, testing::ValuesIn(kMethods));

// The comparisons prove something only if the tables really have different orders. Entries that
// were erased before change the order; the number of buckets does not.
TEST(TableHistoryTest, EntriesErasedBeforeChangeTheOrderOfTheTables) {
    const std::vector<Slow_message> messages = with_ties(Random_corpus(1).Messages(60));
    const zeDefaults settings = settings_for(10, kMethods[3]);
    const Outcome plain = Model(kHistories[0], settings).Run(messages);

    const Outcome buckets = Model(kHistories[3], settings).Run(messages);
    const Outcome erased = Model(kHistories[4], settings).Run(messages);

    EXPECT_EQ(buckets.walk, plain.walk);
    EXPECT_NE(erased.walk, plain.walk);
    EXPECT_THAT(erased.walk, testing::UnorderedElementsAreArray(plain.walk));
}

}  // namespace
