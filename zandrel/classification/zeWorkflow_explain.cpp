// The answer to "why this category": what each concept of a message adds to a result.
//
// Each statistical classifier on the way from a node to the root gives two things: the factor of
// the child on the way, and the factor that the child would have without each concept. Along a path
// the factors are multiplied, as in the walk. If several nodes are explained, the best path counts,
// for the score and for each concept separately. A concept adds the best score with all concepts
// minus the best score without this concept.
//
// Example with one node, football, and the concepts "goal" and "rain":
//
//                            factor   without "goal"   without "rain"
//     root   for sport       0.9      0.3              0.9
//     sport  for football    0.6      0.2              0.8
//     product                0.54     0.06             0.72
//
// "goal" adds 0.54 - 0.06 = 0.48. "rain" adds 0.54 - 0.72 = -0.18: it speaks against football.
//
// The differences of two strong words of a certain answer are both nearly 0: without one of them
// the score falls from 0.998 to 0.997. So there is a second scale, the log odds log(p / (1 - p)).
// If the factors above are raw, "goal" adds 0.160 - (-2.752) = 2.912 and "rain" adds
// 0.160 - 0.944 = -0.784.
#include "zandrel/classification/zeWorkflow.h"

#include <cmath>

#include "zandrel/classification/Path_explanation.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Concept_order.h"

namespace {

using Concept_scores = std::vector<zeStat_matcher::Concept_score>;

// The classifiers of a tree, as Path_explanation wants them.
class Explaining_classifiers {
public:
    // `uses_tables`: likelihood tables correct the factors.
    Explaining_classifiers(zePhysicalTree& tree, zeMsg& msg, bool uses_tables)
        : m_tree(tree), m_msg(msg), m_uses_tables(uses_tables) {}

    bool is_blocked(zeNode* parent, zeNode* child) {
        return m_tree.is_cat_blocked(parent, child, m_msg);
    }

    double explain(zeNode* node, zeNode* child, Concept_scores& lines) {
        auto* const stat_matcher = dynamic_cast<zeStat_matcher*>(m_tree.get_classifier(node));
        ZANDREL_ASSERT(stat_matcher != nullptr, "stat_matcher");
        return stat_matcher->classify_concepts(m_msg, child, lines, m_uses_tables);
    }

private:
    zePhysicalTree& m_tree;
    zeMsg& m_msg;
    bool m_uses_tables;
};

}  // namespace

bool greater_concept_scores(const zeStat_matcher::Concept_score& left,
                            const zeStat_matcher::Concept_score& right) {
    const double left_size = zandrel::detail::comparable(std::abs(left.m_score));
    const double right_size = zandrel::detail::comparable(std::abs(right.m_score));
    return left_size > right_size || (left_size == right_size && right.m_concept < left.m_concept);
}

void zeWorkflow::classify_concepts(zeMsg& msg, const std::vector<zeNode*>& nodes,
                                   Concept_scores& concept_scores) {
    if (msg.active_bag().IsNull()) {
        return;
    }
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    Explaining_classifiers classifiers(*tree, msg, true);
    zandrel::detail::Path_explanation(classifiers, msg, concept_scores).explain(nodes);
}

void zeWorkflow::classify_concepts_in_log_odds(zeMsg& msg, const std::vector<zeNode*>& nodes,
                                               Concept_scores& log_odds) {
    if (msg.active_bag().IsNull()) {
        return;
    }
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    Explaining_classifiers classifiers(*tree, msg, false);
    zandrel::detail::Path_explanation(classifiers, msg, log_odds).explain_in_log_odds(nodes);
}
