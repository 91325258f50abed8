// Best_first: the walk of a message down the tree. zeWorkflow.cpp explains it, with an example.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_BEST_FIRST_H_
#define ZANDREL_CLASSIFICATION_BEST_FIRST_H_

#include <cmath>
#include <utility>

#include "zandrel/classification/Frontier.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"

namespace zandrel::detail {

// Returns whether the set has all the results that its caller wants. Duplicates do not count.
inline bool is_full(zeResult_set& results, int wanted) {
    if (wanted < 0 || results.count() < wanted) {
        return false;
    }
    if (!results.deduplicated) {
        results.eliminate_duplicated_results();
    }
    return results.count() >= wanted;
}

// One walk of one message. `Classifiers` has access to the classifiers and the message:
// - find(node): returns a pointer to the classifier of a node, null for none
// - answer(classifier, node_score, use_thresholds, answers): adds all answers
// - knows_best(classifier): returns whether the classifier can give only its best answers first
// - answer_best(classifier, from, answers): adds these, and returns a function that gets all
//   answers; returns no function, and adds nothing, if the message has no bag
// - note_asked(): called for each classifier that was asked
template <class Classifiers>
class Best_first {
public:
    // `results`: has threshold and limit of the walk.
    Best_first(Classifiers& classifiers, zeResult_set& results, bool use_thresholds)
        : m_classifiers(classifiers),
          m_results(results),
          m_threshold(results.threshold),
          m_wanted(results.max_results),
          m_use_thresholds(use_thresholds),
          m_wants_best_only(results.max_results == 1 && !use_thresholds) {}

    // Adds the results of the walk that begins at `root`.
    void walk(zeNode* root, bool skip_no_score) {
        m_frontier.push({root, 1.0});
        while (const Node_score* const next = m_frontier.best()) {
            const Node_score best = *next;
            const auto classifier = m_classifiers.find(best.node);
            if (best.score == 0.0 || best.score < m_threshold) {
                return;
            }
            m_frontier.pop();
            if (!skip_no_score || !best.node->is_no_score()) {
                if (m_results.accepts(best.score)) {
                    m_results.add(best.node, best.score);
                }
                if (is_full(m_results, m_wanted)) {
                    return;
                }
            }
            if (classifier != nullptr) {
                expand(*classifier, best);
            }
        }
    }

private:
    template <class Classifier>
    void expand(Classifier& classifier, const Node_score& from) {
        // A factor below this could not reach the threshold after multiplication.
        zeResult_set answers(m_threshold / from.score, -1);
        if (may_ask_best(from) && m_classifiers.knows_best(classifier)) {
            Get_answers get_all = m_classifiers.answer_best(classifier, from, answers);
            if (get_all) {
                m_frontier.push_answers(from, answers, m_threshold, std::move(get_all));
            }
        } else {
            m_classifiers.answer(classifier, from.score, m_use_thresholds, answers);
            m_frontier.push_answers(from, answers, m_threshold);
        }
        m_classifiers.note_asked();
    }

    // Returns whether we may ask for only the best answers first. The products of different
    // answers must be different too: at a score near 0 they could be equal after rounding, and an
    // infinite score, such as the value of a rule, makes all of them infinite.
    bool may_ask_best(const Node_score& from) const {
        constexpr double kLeastScore = 1e-100;
        return m_wants_best_only && from.score > kLeastScore && std::isfinite(from.score);
    }

    Classifiers& m_classifiers;
    zeResult_set& m_results;
    double m_threshold;
    int m_wanted;
    bool m_use_thresholds;
    bool m_wants_best_only;
    Frontier m_frontier;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_BEST_FIRST_H_
