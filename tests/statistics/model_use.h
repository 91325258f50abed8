// Uses a model that was read: classifies, explains, trains, learns and forgets. Damage may be
// refused with a documented error, but must have no other effect.
#ifndef ZANDREL_TESTS_STATISTICS_MODEL_USE_H_
#define ZANDREL_TESTS_STATISTICS_MODEL_USE_H_

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/small_model.h"

namespace model_use {

// The largest resolution with which the tests train. The size of histograms depends on the
// resolution.
constexpr int kAffordableResolution = 40;

// Runs a step. An error that settings of a damaged record can cause ends the step.
template <class Step>
void tolerate(Step step) {
    try {
        step();
    } catch (const qtX<zeSml>& raised) {
        EXPECT_STREQ(raised.what(), "Invalid clipping value");
    } catch (const qtxAssert& raised) {
        const std::string text = raised.what();
        EXPECT_TRUE(text == "geom_average" || text == "arithm_average") << text;
    }
}

inline void classify(zeStat_matcher& matcher, const Small_corpus& corpus) {
    for (const auto& msg : corpus.corpus.msgs) {
        tolerate([&] {
            zeResult_set results(0.0, -1);
            matcher.classify(*msg, results, 1.0, true);
            for (int rank = 0; rank < results.count(); ++rank) {
                EXPECT_GT(results.get_result(rank).score, 0.0);
            }
        });
    }
}

inline void explain(zeStat_matcher& matcher, const Small_corpus& corpus) {
    std::vector<zeNode*> cats;
    matcher.get_all_categories(cats);
    for (zeNode* cat : cats) {
        tolerate([&] {
            std::vector<zeStat_matcher::Concept_score> scores;
            matcher.classify_concepts(*corpus.corpus.msgs.front(), cat, scores);
            EXPECT_EQ(scores.size(), corpus.corpus.msgs.front()->active_bag()->m_concepts.size());
        });
    }
}

inline void train(zeStat_matcher& matcher, Small_corpus& corpus) {
    if (matcher.m_storage->m_likelihood_resolution > kAffordableResolution) {
        return;
    }
    tolerate([&] { matcher.train(corpus.view); });
    tolerate([&] { matcher.learn(corpus.view, true); });
    tolerate([&] { matcher.learn(corpus.view, false); });
}

// Clears the first, third, fifth category and so on, and deletes the others.
inline void forget(zeStat_matcher& matcher) {
    if (matcher.m_storage->m_likelihood_resolution > kAffordableResolution) {
        return;
    }
    std::vector<zeNode*> cats;
    matcher.get_all_categories(cats);
    bool is_cleared = false;
    for (zeNode* cat : cats) {
        is_cleared = !is_cleared;
        if (is_cleared) {
            matcher.clear_cat(cat, false, true);
        } else {
            matcher.m_node->add_child(cat);
            matcher.delete_cat(cat, true, true);
        }
    }
}

inline void all(zeStat_matcher& matcher, Small_corpus& corpus) {
    classify(matcher, corpus);
    explain(matcher, corpus);
    train(matcher, corpus);
    classify(matcher, corpus);
    forget(matcher);
    classify(matcher, corpus);
}

}  // namespace model_use

#endif  // ZANDREL_TESTS_STATISTICS_MODEL_USE_H_
