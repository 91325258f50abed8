// The best-first walk of a message down the tree.
#include "zandrel/classification/zeWorkflow.h"

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

// Whether the set has all the results that its caller wants, duplicates not counted.
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
    Walk(zeMsg& msg, const zeResult_set& results, bool use_thresholds)
        : m_msg(msg),
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
    // The classifier if it is to be asked for its best answers first, else null. A class derived
    // from zeStat_matcher may answer in another way. Products with a score near 0 could be equal
    // after rounding although the answers differ.
    zeStat_matcher* best_first(zeClassifier& classifier, const Node_score& from) const {
        constexpr double kLeastScore = 1e-100;
        const bool may_ask = m_wants_best_only && from.score > kLeastScore &&
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
        zandrel::detail::Get_answers get_all = [&matcher, from, threshold = answers.threshold,
                                                kept = std::move(sums)] {
            zeResult_set all(threshold, -1);
            matcher.add_answers(kept, all, from.score, false);
            return std::move(all.results);
        };
        frontier.push_answers(from, answers, m_threshold, std::move(get_all));
    }

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
    Walk walk(msg, results, use_thresholds);
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
