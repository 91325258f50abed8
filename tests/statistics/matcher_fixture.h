// Shared by the tests of the matcher: a small model whose weights the test writes.
#ifndef ZANDREL_TESTS_STATISTICS_MATCHER_FIXTURE_H_
#define ZANDREL_TESTS_STATISTICS_MATCHER_FIXTURE_H_

#include <cstddef>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/persistence/zeDefaults.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"

// Two categories with 2 of 4 messages each, and a matcher at a root without children. The concept x
// has the weight 1 for a and -1 for b; y has 2 for b only.
class zeStatMatcherTest : public testing::Test {
protected:
    zeStatMatcherTest() {
        bool added = false;
        m_storage.get_or_add_profile(&m_a, added);
        m_storage.get_or_add_profile(&m_b, added);
        m_storage.m_num_msgs = 4;
        for (const int iprofile : {0, 1}) {
            m_storage.profile(iprofile).m_num_msgs = 2;
        }
        GiveWeights();
        m_matcher.feed(m_storage, false);
    }

    void GiveWeights() {
        m_storage.profile(0).m_weights = {{term("x"), 1.0F}};
        m_storage.profile(1).m_weights = {{term("y"), 2.0F}, {term("x"), -1.0F}};
    }

    // Turns on the correction by likelihood, with tables whose bins all differ.
    void UseLikelihood() {
        m_storage.m_use_train_likelihood = true;
        m_storage.m_use_likelihood_in_match = true;
        for (std::size_t i = 0; i < 30; ++i) {
            m_storage.profile(0).m_likelihood[i] = static_cast<double>(i + 1) / 32;
            m_matcher.m_avg_likelihood[i] = static_cast<double>((i + 1) * (i + 1)) / 1024;
        }
    }

    double& Accumulator(int iprofile) { return m_storage.profile(iprofile).m_match_value; }

    double Score(zeSml& sml, int iprofile) { return m_matcher.adjust_match_value(sml, iprofile); }

    zeResult_set Classify(const MessageBuilder& msg, double threshold = 0.0) {
        zeResult_set results(threshold, -1);
        m_matcher.classify(*msg.make(), results, 1.0, false);
        return results;
    }

    zeNode m_root{term("root")};
    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_matcher m_matcher{nullptr, &m_root, m_storage, false};
};

#endif  // ZANDREL_TESTS_STATISTICS_MATCHER_FIXTURE_H_
