// The best-first walk of a message down the tree.
//
// The frontier contains the nodes that were found and not yet searched, each with the product of
// the factors on the way to it. A step takes the best node out. The node becomes a result, its
// classifier gives factors to the children, and the children enter the frontier. As long as no
// factor is above 1, no node that is found later is better than the one that was taken. So the walk
// may end when it has enough results, or when the best node is below the threshold. (A rule may
// have a value above 1. Its child can then be better than results that were added before.)
//
// Example. A set with the threshold 0.3 and without a limit; inner nodes are marked NoScore, and
// `skip_no_score` leaves them out of the results. The message contains "alarm".
//
//     root (statistical)
//       sport (statistical)
//         football
//         tennis
//       news (rules)
//         urgent     rule: "alarm"
//         calm       rule: default
//       travel
//
//     taken            result   its classifier's factors          frontier afterwards
//     root      1.0    no       sport 0.9, news 0.5               sport 0.9, news 0.5
//     sport     0.9    no       football 0.6, tennis 0.4          football 0.54, news 0.5,
//                                                                 tennis 0.36
//     football  0.54   first                                      news 0.5, tennis 0.36
//     news      0.5    no       urgent 1.0                        urgent 0.5, tennis 0.36
//     urgent    0.5    second                                     tennis 0.36
//     tennis    0.36   third                                      empty: the walk ends
//
// The root's classifier would give travel the factor 0.2. Each classifier gets a set with the
// threshold 0.3 divided by the score of its node, since a lower factor cannot lead to a product of
// 0.3: at the root 0.3, so travel is left out, at sport 0.33 and at news 0.6. The default calm is
// not reached, since the rule of urgent fires. If two results are wanted, the walk ends with urgent
// and never takes tennis.
//
// A node's own threshold also counts: if sport had the threshold 0.4, tennis with 0.36 would not
// enter the frontier. Frontier.cpp explains how the frontier avoids sorting.
#include "zandrel/classification/zeWorkflow.h"

#include <cmath>
#include <typeinfo>
#include <utility>

#include "zandrel/classification/Frontier.h"
#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

using zandrel::detail::Node_score;

unsigned int g_ClassifyCount = 0;

namespace {

// Returns whether the set has all the results that its caller wants. Duplicates do not count.
bool is_full(zeResult_set& results, int wanted) {
    if (wanted < 0 || results.count() < wanted) {
        return false;
    }
    if (!results.deduplicated) {
        results.eliminate_duplicated_results();
    }
    return results.count() >= wanted;
}

// One walk of one message.
class Walk {
public:
    Walk(zePhysicalTree& tree, zeMsg& msg, const zeResult_set& results, bool use_thresholds)
        : m_tree(tree),
          m_msg(msg),
          m_threshold(results.threshold),
          m_use_thresholds(use_thresholds),
          m_wants_best_only(results.max_results == 1 && !use_thresholds) {}

    void expand(zeClassifier& classifier, const Node_score& from) {
        // A factor below this could not reach the threshold after multiplication.
        zeResult_set answers(m_threshold / from.score, -1);
        if (zeStat_matcher* const matcher = best_first(classifier, from)) {
            push_best(*matcher, from, answers);
        } else {
            classifier.classify(m_msg, answers, from.score, m_use_thresholds);
            frontier.push_answers(from, answers, m_threshold);
        }
        ++g_ClassifyCount;
    }

    zandrel::detail::Frontier frontier;

private:
    // Returns the classifier if we may ask it for only its best answers first, otherwise null.
    // A class derived from zeStat_matcher may answer in another way. The products of different
    // answers must be different too: at a score near 0 they could be equal after rounding, and an
    // infinite score, such as the value of a rule, makes all of them infinite.
    zeStat_matcher* best_first(zeClassifier& classifier, const Node_score& from) const {
        constexpr double kLeastScore = 1e-100;
        const bool may_ask = m_wants_best_only && from.score > kLeastScore &&
                             std::isfinite(from.score) &&
                             typeid(classifier) == typeid(zeStat_matcher);
        return may_ask ? static_cast<zeStat_matcher*>(&classifier) : nullptr;
    }

    void push_best(zeStat_matcher& matcher, const Node_score& from, zeResult_set& answers) {
        const qtPtrLight<zeSml>& bag = m_msg.active_bag();
        if (bag.IsNull()) {
            return;
        }
        zeStat_matcher::Sums sums = matcher.sum_up(*bag);
        matcher.add_best_answers(sums, answers);
        // The tree may move or drop a classifier when it is asked for another one, so we ask again.
        zandrel::detail::Get_answers get_all = [this, from, threshold = answers.threshold,
                                                kept = std::move(sums)] {
            zeResult_set all(threshold, -1);
            static_cast<zeStat_matcher*>(m_tree.get_classifier(from.node))
                ->add_answers(kept, all, from.score, false);
            return std::move(all.results);
        };
        frontier.push_answers(from, answers, m_threshold, std::move(get_all));
    }

    zePhysicalTree& m_tree;
    zeMsg& m_msg;
    double m_threshold;
    bool m_use_thresholds;
    bool m_wants_best_only;
};

}  // namespace

zeWorkflow::zeWorkflow(zeManager* manager) : m_manager(manager), m_root(manager->m_root) {
    if (m_root == nullptr) {
        throw qtX<zeWorkflow>(0, "Root classifier does not exist");
    }
}

void zeWorkflow::classify(zeMsg& msg, zeResult_set& results, bool skip_no_score,
                          bool use_thresholds) {
    const double threshold = results.threshold;
    const int wanted = results.max_results;
    if (wanted == 0) {
        return;
    }
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    Walk walk(*tree, msg, results, use_thresholds);
    walk.frontier.push({m_root, 1.0});
    while (const Node_score* const next = walk.frontier.best()) {
        const Node_score best = *next;
        zeClassifier* const classifier = tree->get_classifier(best.node);
        if (best.score == 0.0 || best.score < threshold) {
            return;
        }
        walk.frontier.pop();
        if (!skip_no_score || !best.node->is_no_score()) {
            if (results.accepts(best.score)) {
                results.add(best.node, best.score);
            }
            if (is_full(results, wanted)) {
                return;
            }
        }
        if (classifier != nullptr) {
            walk.expand(*classifier, best);
        }
    }
}

std::vector<Node_stack_elem> zeWorkflow::start_node(zeNode* node) {
    zeNode* const start = node == nullptr ? m_root : node;
    std::vector<Node_stack_elem> stack;
    if (start != nullptr) {
        stack.push_back({start, 0, false});
    }
    return stack;
}

void zeWorkflow::next(std::vector<Node_stack_elem>& stack) {
    while (!stack.empty()) {
        Node_stack_elem& top = stack.back();
        if (!top.started) {
            top.started = true;
            top.next_child = 0;
        }
        if (top.next_child < top.node->m_children.size()) {
            zeNode* const child = top.node->m_children[top.next_child++];
            stack.push_back({child, 0, false});
            return;
        }
        stack.pop_back();
    }
}
