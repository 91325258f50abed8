// Path_explanation: the effect of each concept of a message on the scores of nodes.
// zeWorkflow_explain.cpp explains it, with an example.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_PATH_EXPLANATION_H_
#define ZANDREL_CLASSIFICATION_PATH_EXPLANATION_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"

namespace zandrel::detail {

// Returns the log odds of a score, in nats. A score that is nearer to 0 or 1 than 1e-6, or beyond
// them, counts as 1e-6 or 1 - 1e-6. So the result is between -13.82 and 13.82.
inline double log_odds_of(double score) noexcept {
    constexpr double kNearest = 1e-6;
    const double inside = std::clamp(score, kNearest, 1.0 - kNearest);
    return std::log(inside / (1.0 - inside));
}

// Computes the paths from nodes to the root for one message. `Classifiers` has access to the
// classifiers and the message:
// - is_blocked(parent, child): returns whether rules close the way to a child
// - explain(node, child, lines): explains the score of a child of a statistical node
template <class Classifiers>
class Path_explanation {
public:
    using Lines = std::vector<zeStat_matcher::Concept_score>;

    Path_explanation(Classifiers& classifiers, const zeMsg& msg, Lines& answer)
        : m_classifiers(classifiers), m_msg(msg), m_answer(answer) {}

    // Replaces the lines by the explanation of the best path of the nodes.
    void explain(const std::vector<zeNode*>& nodes) {
        explain_with(nodes, [](double score) { return score; });
    }

    // The same in log odds. A blocked path has the score 0, with each concept and without it, so no
    // concept has an effect on it.
    void explain_in_log_odds(const std::vector<zeNode*>& nodes) {
        m_blocked_path_has_score = false;
        explain_with(nodes, log_odds_of);
    }

private:
    // The path from one node to the root: its score, and its score without each concept.
    struct Path {
        double score = 0.0;
        Lines without;
    };

    // `scale`: from the score to the scale of the lines.
    template <class Scale>
    void explain_with(const std::vector<zeNode*>& nodes, const Scale& scale) {
        m_answer.clear();
        m_answer.reserve(m_msg.active_bag()->m_concepts.size());
        std::vector<Path> paths;
        paths.reserve(nodes.size());
        for (zeNode* node : nodes) {
            paths.push_back(path_of(node));
        }
        for (auto& line : m_answer) {
            line.m_score = 0.0;
        }
        double best = 0.0;
        for (const Path& path : paths) {
            best = std::max(best, path.score);
            const std::size_t line_count = std::min(path.without.size(), m_answer.size());
            for (std::size_t k = 0; k < line_count; ++k) {
                m_answer[k].m_score = std::max(m_answer[k].m_score, path.without[k].m_score);
            }
        }
        for (auto& line : m_answer) {
            line.m_score = scale(best) - scale(line.m_score);
        }
        std::sort(m_answer.begin(), m_answer.end(), greater_concept_scores);
    }

    // In the scale of scores, a blocked path keeps the score that it has reached below the block,
    // which can still be the best. Its scores without a concept become 0.
    Path path_of(zeNode* node) {
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
            if (m_classifiers.is_blocked(cur, child)) {
                std::for_each(path.without.begin(), path.without.end(),
                              [](auto& line) { line.m_score = 0.0; });
                path.score = m_blocked_path_has_score ? path.score : 0.0;
                break;
            }
            if (cur->m_classifier_type == ZE_STAT) {
                multiply(path, cur, child);
            }
            child = cur;
        }
        return path;
    }

    void multiply(Path& path, zeNode* cur, zeNode* child) {
        path.score *= m_classifiers.explain(cur, child, m_answer);
        ZANDREL_ASSERT(path.without.size() == m_answer.size(),
                       "concept_scores[i].size() == result_concept_scores.size()");
        for (std::size_t k = 0; k < m_answer.size(); ++k) {
            path.without[k].m_score *= m_answer[k].m_score;
        }
    }

    Classifiers& m_classifiers;
    const zeMsg& m_msg;
    Lines& m_answer;  // of the classifier asked last
    bool m_blocked_path_has_score = true;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_PATH_EXPLANATION_H_
