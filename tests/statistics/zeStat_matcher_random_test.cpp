// Compares matching with a slow and simple implementation, bit for bit. The random models vary the
// settings of matching, and also have values that training never gives.
#include "zandrel/statistics/zeStat_matcher.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"

namespace {

constexpr unsigned int kFirstSeed = 20261122;
constexpr unsigned int kModelCount = 3000;
constexpr double kUnbounded = std::numeric_limits<double>::infinity();
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

// The bits of a number. In this form NaN equals itself, and 0 differs from -0.
std::uint64_t bits_of(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

// A model with random settings, weights, tables and accumulators, and a bag to match.
class Random_matching {
public:
    explicit Random_matching(unsigned int seed) : m_random(seed) {
        add_profiles(1 + below(12));
        const std::vector<std::vector<zeStat_storage::Weight>> weights = random_weights();
        for (std::size_t i = 0; i < weights.size(); ++i) {
            storage.m_profiles[i]->m_weights = weights[i];
        }
        matcher = std::make_unique<zeStat_matcher>(nullptr, nullptr, storage, false);
        for (std::size_t i = 0; i < weights.size(); ++i) {
            for (const zeStat_storage::Weight& weight : weights[i]) {
                rows[weight.m_concept.text().str()].emplace_back(weight.m_value,
                                                                 static_cast<int>(i));
            }
        }
        make_stale();
        vary_tables();
        make_message();
    }

    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random);
    }

    bool one_of(std::size_t count) { return below(count) == 0; }

    // A random number from -2 to 2, or in one of four cases an element of `odd`.
    double number(const std::vector<double>& odd) {
        const double plain = std::uniform_real_distribution<double>(-2.0, 2.0)(m_random);
        return one_of(4) ? odd[below(odd.size())] : plain;
    }

    // The accumulators, so that both implementations can start from the same values.
    std::vector<double> accumulators() const {
        std::vector<double> values;
        for (const auto& profile : storage.m_profiles) {
            values.push_back(profile->m_match_value);
        }
        return values;
    }

    void set_accumulators(const std::vector<double>& values) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            storage.m_profiles[i]->m_match_value = values[i];
        }
    }

    std::vector<std::unique_ptr<zeNode>> nodes;
    zeDefaults settings = plain_settings();
    zeStat_storage storage{nullptr, settings};
    std::unique_ptr<zeStat_matcher> matcher;
    std::map<std::string, std::vector<std::pair<float, int>>> rows;  // of the table
    qtPtrLight<zeMsg> msg{new zeMsg};

private:
    void add_profiles(std::size_t count) {
        storage.m_num_msgs = 8;
        storage.m_clip_value = number({0.0, 0.0, 3.0, kUnbounded});
        storage.m_clip_value = std::abs(storage.m_clip_value);
        storage.m_use_train_likelihood = !one_of(4);
        storage.m_use_likelihood_in_match = !one_of(4);
        storage.m_activation_inside = static_cast<int>(below(3));
        storage.m_activation_outside = static_cast<int>(below(3));
        storage.m_activation_total = one_of(8) ? 9 : 0;
        for (std::size_t i = 0; i < count; ++i) {
            nodes.push_back(std::make_unique<zeNode>(term("n" + std::to_string(i))));
            nodes.back()->m_threshold = one_of(3) ? number({0.0}) : 0.0;
            bool added = false;
            storage.get_or_add_profile(nodes.back().get(), added);
            zeStat_storage::Profile& profile = *storage.m_profiles.back();
            profile.m_num_msgs = one_of(3) ? static_cast<int>(below(9)) : 3;
            profile.m_M = one_of(3) ? 0.0 : number({-0.0, kUnbounded, -kUnbounded, kNoNumber});
            profile.m_likelihood_age = one_of(2) ? 1000 : static_cast<int>(below(1000));
            profile.m_match_value =
                one_of(2) ? 0.0 : number({-0.0, kUnbounded, -kUnbounded, kNoNumber});
        }
    }

    std::vector<std::vector<zeStat_storage::Weight>> random_weights() {
        std::vector<std::vector<zeStat_storage::Weight>> weights(storage.m_profiles.size());
        // At least one weight, so that feeding selects no features.
        weights[0].push_back({term("always"), 1.0F});
        for (auto& of_profile : weights) {
            for (const char* const word : {"a", "b", "c", "d"}) {
                if (one_of(3)) {
                    of_profile.push_back(
                        {term(word), static_cast<float>(number({0.0, kUnbounded}))});
                }
            }
        }
        return weights;
    }

    // Makes changes that may happen between two feeds.
    void make_stale() {
        if (one_of(3)) {
            storage.m_profiles[below(storage.m_profiles.size())]->m_M = number({0.0, kNoNumber});
        }
        if (one_of(4)) {
            auto deleted = static_cast<int>(below(storage.m_profiles.size()));
            storage.delete_profile(deleted);
        }
        if (one_of(6) && storage.profile_count() > 0) {
            storage.m_profiles[below(storage.m_profiles.size())]->m_node = nullptr;
        }
        if (one_of(8)) {
            bool added = false;
            nodes.push_back(std::make_unique<zeNode>(term("new")));
            storage.get_or_add_profile(nodes.back().get(), added);
            storage.m_profiles.back()->m_num_msgs = 3;
        }
    }

    void vary_tables() {
        for (const auto& profile : storage.m_profiles) {
            for (double& entry : profile->m_likelihood) {
                entry = number({0.0, 1.0, kUnbounded});
            }
        }
        for (double& entry : matcher->m_avg_likelihood) {
            entry = number({0.0, 1.0});
        }
    }

    void make_message() {
        zeSml_feeder feeder;
        for (const char* const word : {"a", "b", "c", "d", "unknown"}) {
            if (!one_of(3)) {
                feeder.add_concept(term(word), std::abs(number({7.0, 0.0})));
            }
        }
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, one_of(3) ? 1.5 : 0.0));
        if (one_of(6)) {
            msg->smls[0]->m_total_weight = number({0.0, -0.0, kUnbounded, kNoNumber});
        }
        if (one_of(8) && !msg->smls[0]->m_concepts.empty()) {
            msg->smls[0]->m_concepts[0].m_weight = number({kUnbounded, kNoNumber});
        }
        msg->weight = number({1.0, 1.0});
    }

    std::mt19937 m_random;
};

// Computes the formulas category by category.
class Slow_matcher {
public:
    explicit Slow_matcher(const Random_matching& matching)
        : m_rows(matching.rows),
          m_storage(matching.storage),
          m_average(matching.matcher->m_avg_likelihood),
          m_bag(zeSml::get_clipped_sml(matching.msg->smls[0], matching.storage.m_clip_value)) {}

    zeSml& bag() const { return *m_bag; }

    double weight(const Concept& word, int iprofile) const {
        const auto row = m_rows.find(word.text().str());
        if (row != m_rows.end()) {
            for (const auto& [value, profile] : row->second) {
                if (profile == iprofile) {
                    return static_cast<double>(value);
                }
            }
        }
        return kNoNumber;  // no pair
    }

    bool has_weight(const Concept& word, int iprofile) const {
        const auto row = m_rows.find(word.text().str());
        return row != m_rows.end() &&
               std::any_of(row->second.begin(), row->second.end(),
                           [iprofile](const auto& pair) { return pair.second == iprofile; });
    }

    double sum(int iprofile) const {
        double sum = m_storage.profile(iprofile).m_match_value;
        for (const zeSml::Concept_info& entry : m_bag->m_concepts) {
            if (has_weight(entry.m_concept, iprofile)) {
                sum += weight(entry.m_concept, iprofile) * entry.m_weight;
            }
        }
        return sum;
    }

    double score(int iprofile, double sum) const {
        const zeStat_storage::Profile& profile = m_storage.profile(iprofile);
        const int inside = profile.m_num_msgs;
        const int outside = m_storage.m_num_msgs - inside;
        if (inside == 0 || inside < m_storage.m_activation_inside ||
            outside < m_storage.m_activation_outside ||
            m_storage.m_num_msgs < m_storage.m_activation_total || m_bag->m_total_weight == 0.0) {
            return 0.0;
        }
        if (m_storage.profile_count() == 1 || outside == 0) {
            return 1.0;
        }
        constexpr double pi = 3.141592653589793;
        const double raw = std::atan(pi * (sum / m_bag->m_total_weight + profile.m_M)) / pi + 0.5;
        const double score = corrected(profile, raw);
        return score > 0.0 ? std::min(score, 1.0) : 0.0;
    }

private:
    double corrected(const zeStat_storage::Profile& profile, double raw) const {
        if (!m_storage.m_use_likelihood_in_match || !m_storage.m_use_train_likelihood) {
            return raw;
        }
        const double count = m_storage.profile_count();
        const int age = profile.m_likelihood_age;
        const double w = age < 1000 ? count / (age + count) : 0.0;
        return 0.99 * (w * value(m_average, raw) + (1 - w) * value(profile.m_likelihood, raw)) +
               0.01 * raw;
    }

    static double value(const std::array<double, 30>& table, double score) {
        const double bin = std::floor(score * 30 - 0.5);
        if (std::isnan(bin) || bin < 0) {
            return 2 * table[0] * score * 30;
        }
        if (bin >= 29) {
            return table[29];
        }
        const auto i = static_cast<std::size_t>(bin);
        return table[i] + (table[i + 1] - table[i]) * (30 * score - bin - 0.5);
    }

    const std::map<std::string, std::vector<std::pair<float, int>>>& m_rows;
    const zeStat_storage& m_storage;
    const std::array<double, 30>& m_average;
    qtPtrLight<zeSml> m_bag;
};

using Bits_by_node = std::vector<std::pair<const zeNode*, std::uint64_t>>;

Bits_by_node slow_results(Random_matching& matching, const zeResult_set& wanted, double node_score,
                          bool use_thresholds) {
    const Slow_matcher slow(matching);
    Bits_by_node results;
    for (int iprofile = 0; iprofile < matching.storage.profile_count(); ++iprofile) {
        const double score = slow.score(iprofile, slow.sum(iprofile));
        const zeNode* const node = matching.storage.profile(iprofile).m_node;
        if (node != nullptr && wanted.accepts(score) &&
            !(use_thresholds && node_score * score < node->m_threshold)) {
            results.emplace_back(node, bits_of(score));
        }
    }
    return results;
}

TEST(zeStatMatcherRandomTest, ClassifyingGivesTheBitsOfTheFormulas) {
    std::size_t result_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kModelCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_matching matching(seed);
        zeResult_set results(matching.number({0.0, -1.0}), -1);
        const double node_score = matching.number({1.0});
        const bool use_thresholds = matching.one_of(2);
        const Bits_by_node expected = slow_results(matching, results, node_score, use_thresholds);

        matching.matcher->classify(*matching.msg, results, node_score, use_thresholds);

        Bits_by_node found;
        for (const zeResult& result : results.results) {
            found.emplace_back(result.node, bits_of(result.score));
        }
        ASSERT_EQ(found, expected);
        for (const double accumulator : matching.accumulators()) {
            ASSERT_EQ(accumulator, 0.0);
        }
        result_count += expected.size();
    }
    EXPECT_GT(result_count, kModelCount);
}

// An answer may be missing only if its score is clearly below the greatest.
TEST(zeStatMatcherRandomTest, BestAnswersContainEachAnswerThatMayBeTheBest) {
    std::size_t excluded_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kModelCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_matching matching(seed);
        zeResult_set best(matching.number({0.0, -1.0}), -1);
        const Bits_by_node all = slow_results(matching, best, 1.0, false);

        matching.matcher->add_best_answers(matching.matcher->sum_up(*matching.msg->smls[0]), best);

        double greatest = 0.0;
        for (const auto& [node, bits] : all) {
            greatest = std::max(greatest, std::bit_cast<double>(bits));
        }
        Bits_by_node found;
        for (const zeResult& result : best.results) {
            found.emplace_back(result.node, bits_of(result.score));
        }
        for (const auto& answer : all) {
            const bool is_found = std::find(found.begin(), found.end(), answer) != found.end();
            ASSERT_TRUE(is_found || std::bit_cast<double>(answer.second) < greatest - 1e-9);
            excluded_count += is_found ? 0 : 1;
        }
        for (const auto& answer : found) {
            ASSERT_NE(std::find(all.begin(), all.end(), answer), all.end());
        }
    }
    EXPECT_GT(excluded_count, kModelCount / 4);
}

TEST(zeStatMatcherRandomTest, SingleStepsGiveTheBitsOfTheFormulas) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kModelCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_matching matching(seed);
        const Slow_matcher slow(matching);
        std::vector<double> sums;
        for (int iprofile = 0; iprofile < matching.storage.profile_count(); ++iprofile) {
            sums.push_back(slow.sum(iprofile));
        }
        zeSml& bag = slow.bag();

        matching.matcher->classify_sml(bag);

        for (int iprofile = 0; iprofile < matching.storage.profile_count(); ++iprofile) {
            const double sum = sums[static_cast<std::size_t>(iprofile)];
            ASSERT_EQ(bits_of(matching.storage.profile(iprofile).m_match_value), bits_of(sum));
            ASSERT_EQ(bits_of(matching.matcher->adjust_match_value(bag, iprofile)),
                      bits_of(slow.score(iprofile, sum)));
            ASSERT_EQ(bits_of(matching.storage.profile(iprofile).m_match_value), bits_of(0.0));
        }
    }
}

// A sum of doubles depends on the order of the additions: the prior comes first, then the profiles.
TEST(zeStatMatcherRandomTest, AverageTableGivesTheBitsOfTheFormula) {
    std::mt19937 random(kFirstSeed);
    std::uniform_real_distribution<double> likelihood(0.0, 1.0);
    zeDefaults settings = plain_settings();
    zeStat_storage storage(nullptr, settings);
    storage.m_use_train_likelihood = true;
    std::vector<std::unique_ptr<zeNode>> nodes;
    for (const int age : {7, 1000, 0, 30, 411}) {
        bool added = false;
        nodes.push_back(std::make_unique<zeNode>(term("n" + std::to_string(age))));
        storage.get_or_add_profile(nodes.back().get(), added);
        storage.m_profiles.back()->m_likelihood_age = age;
    }
    zeStat_matcher matcher(nullptr, nullptr, storage, false);

    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        for (const auto& profile : storage.m_profiles) {
            for (double& value : profile->m_likelihood) {
                value = likelihood(random);
            }
        }

        matcher.build_avg_likelihood();

        for (std::size_t bin = 0; bin < matcher.m_avg_likelihood.size(); ++bin) {
            double sum = 30.0 * (static_cast<double>(bin) + 0.5) / 30.0;
            double count = 30.0;
            for (const auto& profile : storage.m_profiles) {
                sum += profile->m_likelihood_age * profile->m_likelihood[bin];
                count += profile->m_likelihood_age;
            }
            ASSERT_EQ(bits_of(matcher.m_avg_likelihood[bin]), bits_of(sum / count)) << bin;
        }
    }
}

TEST(zeStatMatcherRandomTest, ExplainingGivesTheBitsOfTheFormulas) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kModelCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_matching matching(seed);
        if (matching.storage.profile_count() == 0) {
            continue;
        }
        zeNode* category = matching.storage.m_profile_index.begin()->first;
        const int iprofile = matching.storage.get_profile(category);
        const Slow_matcher slow(matching);
        const double sum = slow.sum(iprofile);
        const double score = slow.score(iprofile, sum);
        std::vector<zeStat_matcher::Concept_score> lines;

        ASSERT_EQ(bits_of(matching.matcher->classify_concepts(*matching.msg, category, lines)),
                  bits_of(score));

        ASSERT_EQ(lines.size(), slow.bag().m_concepts.size());
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const zeSml::Concept_info& entry = slow.bag().m_concepts[i];
            const double without =
                slow.has_weight(entry.m_concept, iprofile)
                    ? slow.score(iprofile,
                                 sum - entry.m_weight * slow.weight(entry.m_concept, iprofile))
                    : score;
            ASSERT_EQ(lines[i].m_concept, entry.m_concept);
            ASSERT_EQ(bits_of(lines[i].m_score), bits_of(without));
        }
        ASSERT_EQ(matching.storage.profile(iprofile).m_match_value, 0.0);
    }
}

// The labels of a message: none, some or many.
std::vector<zeNode*> random_labels(Random_matching& matching) {
    std::vector<zeNode*> labels;
    const std::size_t percentage = matching.below(3) * 45;
    for (const auto& node : matching.nodes) {
        if (matching.below(100) < percentage) {
            labels.push_back(node.get());
        }
    }
    return labels;
}

bool is_finite(const zeMsg& msg) {
    const zeSml& bag = *msg.smls[0];
    return std::isfinite(msg.weight) && std::isfinite(bag.m_total_weight) &&
           std::all_of(bag.m_concepts.begin(), bag.m_concepts.end(),
                       [](const auto& entry) { return std::isfinite(entry.m_weight); });
}

TEST(zeStatMatcherRandomTest, HistogramStepEntersTheScoresOfTheFormulas) {
    std::size_t entered_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kModelCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_matching matching(seed);
        const std::vector<zeNode*> labels = random_labels(matching);
        Small_corpus corpus;
        corpus.add(matching.msg, labels);
        const bool counts = is_finite(*matching.msg);
        const Slow_matcher slow(matching);
        std::vector<std::tuple<bool, double, double>> expected;
        for (int iprofile = 0; iprofile < matching.storage.profile_count(); ++iprofile) {
            const zeStat_storage::Profile& profile = matching.storage.profile(iprofile);
            const double sum = slow.sum(iprofile);
            expected.emplace_back(counts && profile.m_num_msgs > 0 && profile.m_num_msgs != 8, sum,
                                  slow.score(iprofile, sum));
        }
        const std::vector<double> before = matching.accumulators();

        matching.matcher->classify(*matching.msg, corpus.view, corpus.view.msgs.cbegin());

        for (std::size_t i = 0; i < expected.size(); ++i) {
            const auto& [takes_part, sum, score] = expected[i];
            const zeStat_storage::Profile& profile = *matching.storage.m_profiles[i];
            const double left = counts ? (takes_part ? 0.0 : sum) : before[i];
            ASSERT_EQ(profile.m_match_value == left,
                      !std::isnan(left));  // the sign of 0 may differ
            const bool is_relevant =
                std::find(labels.begin(), labels.end(), profile.m_node) != labels.end();
            const auto bin = static_cast<std::size_t>(std::min(29.0, score * 30));
            for (std::size_t j = 0; j < profile.m_bins.size(); ++j) {
                const double total = takes_part && j == bin ? matching.msg->weight : 0.0;
                ASSERT_EQ(profile.m_bins[j].m_total, total);
                ASSERT_EQ(profile.m_bins[j].m_relevant, is_relevant ? total : 0.0);
            }
            entered_count += takes_part ? 1 : 0;
        }
    }
    EXPECT_GT(entered_count, kModelCount);
}

}  // namespace
