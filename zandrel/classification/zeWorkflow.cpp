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

#include <typeinfo>
#include <utility>

#include "zandrel/classification/Best_first.h"
#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

using zandrel::detail::Get_answers;
using zandrel::detail::Node_score;

unsigned int g_ClassifyCount = 0;

namespace {

// The classifiers of a tree, as Best_first wants them.
class Tree_classifiers {
public:
    Tree_classifiers(zePhysicalTree& tree, zeMsg& msg) : m_tree(tree), m_msg(msg) {}

    zeClassifier* find(zeNode* node) { return m_tree.get_classifier(node); }

    void answer(zeClassifier& classifier, double node_score, bool use_thresholds,
                zeResult_set& answers) {
        classifier.classify(m_msg, answers, node_score, use_thresholds);
    }

    // A class derived from zeStat_matcher may answer in another way.
    static bool knows_best(const zeClassifier& classifier) {
        return typeid(classifier) == typeid(zeStat_matcher);
    }

    Get_answers answer_best(zeClassifier& classifier, const Node_score& from,
                            zeResult_set& answers) {
        const qtPtrLight<zeSml>& bag = m_msg.active_bag();
        if (bag.IsNull()) {
            return {};
        }
        auto& matcher = static_cast<zeStat_matcher&>(classifier);
        zeStat_matcher::Sums sums = matcher.sum_up(*bag);
        matcher.add_best_answers(sums, answers);
        // The tree may move or drop a classifier when it is asked for another one, so we ask again.
        return [this, from, threshold = answers.threshold, kept = std::move(sums)] {
            zeResult_set all(threshold, -1);
            static_cast<zeStat_matcher*>(m_tree.get_classifier(from.node))
                ->add_answers(kept, all, from.score, false);
            return std::move(all.results);
        };
    }

    static void note_asked() { ++g_ClassifyCount; }

private:
    zePhysicalTree& m_tree;
    zeMsg& m_msg;
};

}  // namespace

zeWorkflow::zeWorkflow(zeManager* manager) : m_manager(manager), m_root(manager->m_root) {
    if (m_root == nullptr) {
        throw qtX<zeWorkflow>(0, "Root classifier does not exist");
    }
}

void zeWorkflow::classify(zeMsg& msg, zeResult_set& results, bool skip_no_score,
                          bool use_thresholds) {
    if (results.max_results == 0) {
        return;
    }
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    Tree_classifiers classifiers(*tree, msg);
    zandrel::detail::Best_first(classifiers, results, use_thresholds).walk(m_root, skip_no_score);
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
