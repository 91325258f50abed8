// Likelihood_comparison: trains the library and Slow_likelihood with the same random corpora and
// settings, and compares everything that they compute.
#ifndef ZANDREL_TESTS_STATISTICS_LIKELIHOOD_COMPARISON_H_
#define ZANDREL_TESTS_STATISTICS_LIKELIHOOD_COMPARISON_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/statistics/random_corpus.h"
#include "tests/statistics/slow_likelihood.h"
#include "tests/statistics/slow_messages.h"
#include "tests/support/bags.h"
#include "tests/support/small_model.h"

namespace likelihood_comparison {

// Takes one of the values by the number's remainder. The quotient is left for the other settings.
template <class Value, std::size_t kCount>
Value chosen(unsigned int& number, const std::array<Value, kCount>& values) {
    const Value value = values[number % kCount];
    number /= kCount;
    return value;
}

// The number of combinations of the settings below.
constexpr unsigned int kCombinations = 2 * 5 * 2 * 2 * 3 * 2 * 2 * 4 * 2;

inline zeDefaults combination(unsigned int number) {
    constexpr std::array<bool, 2> kOffOn = {false, true};
    zeDefaults settings = plain_settings();
    settings.use_likelihood_in_train = true;
    settings.activation_inside = 2;
    settings.activation_outside = 1;
    settings.activation_total = 3;
    settings.use_omit_method = chosen(number, kOffOn);
    settings.num_slices = chosen(number, std::array<int, 5>{0, 1, 2, 3, 10});
    settings.use_new_ZC = chosen(number, kOffOn);
    settings.use_normalization = chosen(number, kOffOn);
    // -1 means no suppression.
    const int threshold = chosen(number, std::array<int, 3>{-1, 0, 100});
    settings.suppress_M = threshold >= 0;
    settings.suppress_M_threshold = threshold >= 0 ? threshold : 0;
    settings.clip_value = chosen(number, std::array<double, 2>{0.0, 3.0});
    settings.likelihood_resolution = chosen(number, std::array<int, 2>{1, 3});
    settings.profile_size = chosen(number, std::array<int, 4>{1, 4, 12, 1000});
    settings.use_likelihood_in_match = chosen(number, kOffOn);
    return settings;
}

// A random corpus. Each category whose name begins with "rare" has one message, of weight 0.3, 1/3,
// 1 or 2.5. Some bags are empty and some missing, and some weights are not finite.
inline std::vector<Slow_message> messages_of(unsigned int seed) {
    std::vector<Slow_message> messages = Random_corpus(seed).Messages(36);
    for (std::size_t i = 0; i < messages.size(); ++i) {
        if (i % 9 == 4) {
            messages[i].cats.push_back("rare" + std::to_string(i));
        }
        if (i % 12 == 7) {
            messages[i].bag.clear();
            messages[i].has_bag = i % 24 == 7;
        }
    }
    return with_spoilt(messages);
}

}  // namespace likelihood_comparison

// A model and its second implementation, which train two batches. The second batch may be matched
// with a matcher that was made from the model after the first batch.
class Likelihood_comparison {
public:
    explicit Likelihood_comparison(const zeDefaults& settings)
        : m_settings(settings), m_slow(settings), m_storage(nullptr, m_settings) {}

    void Run(unsigned int seed) {
        Train(likelihood_comparison::messages_of(2 * seed), false);
        Train(likelihood_comparison::messages_of(2 * seed + 1), true);
    }

private:
    // The two implementations sum tables in different orders.
    static constexpr double kTolerance = 1e-12;

    void Train(const std::vector<Slow_message>& messages, bool is_given) {
        SCOPED_TRACE(is_given ? "second batch" : "first batch");
        Small_corpus corpus;
        for (const Slow_message& msg : messages) {
            m_adder.AddTo(corpus, msg);
        }
        zeStat_trainer trainer(m_storage);
        std::optional<zeStat_matcher> given;
        std::optional<Slow_likelihood::Matcher> slow_given;
        if (is_given) {
            trainer.m_matcher = &given.emplace(nullptr, nullptr, m_storage, false);
            slow_given = m_slow.MakeMatcher();
        }

        trainer.train(corpus.view, false);
        m_slow.Train(messages, slow_given);

        ExpectEqualModels();
        zeStat_matcher matcher(nullptr, nullptr, m_storage, false);
        const Slow_likelihood::Matcher slow_matcher = m_slow.MakeMatcher();
        ExpectEqualAverages(matcher);
        for (std::size_t i = 0; i < messages.size(); ++i) {
            if (messages[i].has_bag && Slow_trainer::IsFinite(messages[i])) {
                SCOPED_TRACE(testing::Message() << "message " << i);
                ExpectEqualScores(matcher, *corpus.corpus.msgs[i],
                                  m_slow.Scores(messages[i], slow_matcher));
            }
        }
    }

    void ExpectEqualModels() {
        EXPECT_EQ(m_storage.m_use_likelihood_in_match, m_settings.use_likelihood_in_match);
        EXPECT_EQ(m_storage.m_activation_inside, m_settings.activation_inside);
        EXPECT_EQ(m_storage.m_num_msgs, m_slow.model.msgs);
        EXPECT_EQ(m_storage.m_total_weight, m_slow.model.total_weight);
        EXPECT_EQ(m_storage.m_total_sml_weight, m_slow.model.total_bags);
        EXPECT_EQ(m_storage.m_concept_infos.size(), m_slow.model.infos.size());
        for (const auto& [text, expected] : m_slow.model.infos) {
            EXPECT_EQ(info_of(m_storage, text).m_weight, expected.weight) << text;
            EXPECT_EQ(info_of(m_storage, text).m_rate, expected.rate) << text;
            EXPECT_EQ(info_of(m_storage, text).m_num_Ps, expected.profiles) << text;
        }
        ASSERT_EQ(m_storage.m_profiles.size(), m_slow.model.profiles.size());
        for (std::size_t i = 0; i < m_slow.model.profiles.size(); ++i) {
            SCOPED_TRACE(m_slow.model.profiles[i].name);
            ExpectEqualProfiles(m_slow.model.profiles[i], *m_storage.m_profiles[i]);
        }
    }

    void ExpectEqualProfiles(const Slow_trainer::Profile& expected,
                             const zeStat_storage::Profile& profile) {
        EXPECT_EQ(profile.m_node->m_concept.view(), expected.name);
        EXPECT_EQ(profile.m_weight, expected.weight);
        EXPECT_EQ(profile.m_num_msgs, expected.msgs);
        EXPECT_EQ(profile.m_M, expected.M);
        EXPECT_EQ(profile.m_Ps.size(), expected.concepts.size());
        for (const auto& [text, weight] : expected.concepts) {
            EXPECT_EQ(profile.m_Ps.at(term(text)).m_weight, weight) << text;
        }
        const Slow_likelihood::Histogram& histogram = m_slow.HistogramOf(expected.name);
        EXPECT_EQ(profile.m_likelihood_age, histogram.age);
        EXPECT_EQ(profile.m_match_value, histogram.accumulator);
        ASSERT_EQ(profile.m_bins.size(), histogram.total.size());
        for (std::size_t i = 0; i < histogram.total.size(); ++i) {
            EXPECT_EQ(profile.m_bins[i].m_total, histogram.total[i]) << i;
            EXPECT_EQ(profile.m_bins[i].m_relevant, histogram.relevant[i]) << i;
        }
        for (std::size_t i = 0; i < histogram.table.size(); ++i) {
            EXPECT_NEAR(profile.m_likelihood[i], histogram.table[i], kTolerance) << i;
        }
    }

    void ExpectEqualAverages(const zeStat_matcher& matcher) {
        for (std::size_t i = 0; i < matcher.m_avg_likelihood.size(); ++i) {
            EXPECT_NEAR(matcher.m_avg_likelihood[i], m_slow.Average(i), kTolerance) << i;
        }
    }

    void ExpectEqualScores(zeStat_matcher& matcher, const zeMsg& msg,
                           const std::vector<double>& expected) {
        const qtPtrLight<zeSml> view =
            zeSml::get_clipped_sml(msg.active_bag(), m_storage.m_clip_value);
        matcher.classify_sml(*view);
        for (int i = 0; i < m_storage.profile_count(); ++i) {
            EXPECT_NEAR(matcher.adjust_match_value(*view, i), expected[static_cast<std::size_t>(i)],
                        kTolerance)
                << i;
        }
    }

    zeDefaults m_settings;
    Slow_likelihood m_slow;
    Slow_messages m_adder;
    zeStat_storage m_storage;
};

#endif  // ZANDREL_TESTS_STATISTICS_LIKELIHOOD_COMPARISON_H_
