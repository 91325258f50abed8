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
#include "zandrel/classification/zeWorkflow.h"

#include <algorithm>
#include <cmath>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/Concept_order.h"

namespace {

using Concept_scores = std::vector<zeStat_matcher::Concept_score>;

// The path from one node to the root: its score, and its score without each concept.
struct Path {
    double score = 0.0;
    Concept_scores without;
};

// Computes the paths from nodes to the root for one message.
class Explanation {
public:
    Explanation(zePhysicalTree& tree, zeMsg& msg, Concept_scores& answer)
        : m_tree(tree), m_msg(msg), m_answer(answer) {}

    // A blocked path keeps the score that it has reached below the block, which can still be the
    // best. Its scores without a concept become 0.
    Path explain(zeNode* node) {
        Path path;
        if (node->m_parent == nullptr) {
            return path;
        }
        path.score = 1.0;
        const qtPtrLight<zeSml>& bag = m_msg.active_bag();
        // A classifier may have removed the bag when it was asked about an earlier node.
        ZANDREL_ASSERT(!bag.IsNull(), "concept_scores[i].size() == result_concept_scores.size()");
        for (const zeSml::Concept_info& entry : bag->m_concepts) {
            path.without.push_back({entry.m_concept, 1.0});
        }
        zeNode* child = node;
        for (zeNode* cur = child->m_parent; cur != nullptr; cur = cur->m_parent) {
            if (m_tree.is_cat_blocked(cur, child, m_msg)) {
                std::for_each(path.without.begin(), path.without.end(),
                              [](auto& line) { line.m_score = 0.0; });
                break;
            }
            if (cur->m_classifier_type == ZE_STAT) {
                multiply(path, cur, child);
            }
            child = cur;
        }
        return path;
    }

private:
    void multiply(Path& path, zeNode* cur, zeNode* child) {
        auto* const stat_matcher = dynamic_cast<zeStat_matcher*>(m_tree.get_classifier(cur));
        ZANDREL_ASSERT(stat_matcher != nullptr, "stat_matcher");
        path.score *= stat_matcher->classify_concepts(m_msg, child, m_answer);
        ZANDREL_ASSERT(path.without.size() == m_answer.size(),
                       "concept_scores[i].size() == result_concept_scores.size()");
        for (std::size_t k = 0; k < m_answer.size(); ++k) {
            path.without[k].m_score *= m_answer[k].m_score;
        }
    }

    zePhysicalTree& m_tree;
    zeMsg& m_msg;
    Concept_scores& m_answer;  // of the classifier asked last
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
    concept_scores.clear();
    concept_scores.reserve(msg.active_bag()->m_concepts.size());
    Explanation explanation(*tree, msg, concept_scores);
    std::vector<Path> paths;
    paths.reserve(nodes.size());
    for (zeNode* node : nodes) {
        paths.push_back(explanation.explain(node));
    }
    for (auto& line : concept_scores) {
        line.m_score = 0.0;
    }
    double best = 0.0;
    for (const Path& path : paths) {
        best = std::max(best, path.score);
        const std::size_t line_count = std::min(path.without.size(), concept_scores.size());
        for (std::size_t k = 0; k < line_count; ++k) {
            concept_scores[k].m_score =
                std::max(concept_scores[k].m_score, path.without[k].m_score);
        }
    }
    for (auto& line : concept_scores) {
        line.m_score = best - line.m_score;
    }
    std::sort(concept_scores.begin(), concept_scores.end(), greater_concept_scores);
}
