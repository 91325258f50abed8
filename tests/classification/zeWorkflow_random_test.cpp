// Compares the walk of the workflow with a slow and simple one, in random trees with random
// answers.
#include "zandrel/classification/zeWorkflow.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/messages/zeMsg.h"

#include "tests/support/tree_builder.h"

namespace {

constexpr unsigned int kFirstSeed = 20240601;
constexpr unsigned int kTreeCount = 2000;
constexpr std::size_t kGreatestDepth = 4;

// A result with the node's id instead of the node.
using Ranked = std::pair<unsigned int, double>;

// A tree of two to four levels. It uses few names, so categories repeat. All factors are multiples
// of 1/8, so scores are often equal and products are exact.
class Random_walk {
public:
    explicit Random_walk(unsigned int seed) : m_random(seed) {
        m_levels.push_back({tree.Root(name())});
        vary(m_levels[0][0]);
        const std::size_t depth = 1 + below(kGreatestDepth - 1);
        for (std::size_t level = 0; level < depth; ++level) {
            m_levels.emplace_back();
            for (zeNode* const parent : m_levels[level]) {
                add_children(parent, level + 1);
            }
        }
        add_second_ways();
        threshold = static_cast<double>(below(17)) / 64;
        skips_no_score = below(2) == 0;
    }

    TreeBuilder tree;
    double threshold;
    bool skips_no_score;

private:
    std::size_t below(std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(m_random);
    }

    double eighths(std::size_t end) { return static_cast<double>(below(end)) / 8; }

    // The higher of two random values, so that many paths reach the lowest level.
    double factor() { return std::max(eighths(9), eighths(9)); }

    std::string name() { return std::vector<std::string>{"a", "b", "ab", "\xC3"}[below(4)]; }

    void vary(zeNode* node) {
        if (below(3) == 0) {
            tree.NoScore(node);
        }
        if (below(3) == 0) {
            node->m_threshold = eighths(4);
        }
    }

    void add_children(zeNode* parent, std::size_t level) {
        tree.Classifier(parent).ignores_threshold = below(2) == 0;
        const std::size_t child_count = below(6);
        for (std::size_t i = 0; i < child_count; ++i) {
            if (below(2) == 0) {
                m_levels[level].push_back(tree.Inner(parent, name(), factor()));
                vary(m_levels[level].back());
            } else {
                m_leaves.push_back(tree.Leaf(parent, name(), factor()));
                vary(m_leaves.back());
            }
        }
    }

    // Adds answers of classifiers about nodes that may not be their children: about leaves
    // anywhere, and about inner nodes of the next level.
    void add_second_ways() {
        for (std::size_t level = 0; level < m_levels.size(); ++level) {
            for (zeNode* const from : m_levels[level]) {
                if (!m_leaves.empty() && below(3) == 0) {
                    tree.Answer(from, m_leaves[below(m_leaves.size())], factor());
                }
                if (level + 1 < m_levels.size() && !m_levels[level + 1].empty() && below(3) == 0) {
                    const std::vector<zeNode*>& lower = m_levels[level + 1];
                    tree.Answer(from, lower[below(lower.size())], factor());
                }
            }
        }
    }

    std::mt19937 m_random;
    std::vector<std::vector<zeNode*>> m_levels;  // inner nodes
    std::vector<zeNode*> m_leaves;
};

// Follows every path to its end, and only then removes duplicates and sorts. If one classifier
// answers a category several times, only the best answer counts.
class Slow_walk {
public:
    explicit Slow_walk(Random_walk& tree) : m_tree(tree) {
        follow(tree.tree.Manager().m_root, 1.0);
    }

    std::vector<Ranked> results() const {
        std::vector<zeResult> ranked = best_of_each_category(m_found);
        std::sort(ranked.begin(), ranked.end(), comes_first);
        std::vector<Ranked> results;
        for (const zeResult& result : ranked) {
            results.emplace_back(result.node->m_node_id, result.score);
        }
        return results;
    }

private:
    static std::string category_of(const zeNode& node) {
        return node.m_classifier == nullptr ? "leaf " + node.m_concept.text().str()
                                            : "node " + std::to_string(node.m_node_id);
    }

    static bool beats(const zeResult& left, const zeResult& right) {
        return left.score > right.score ||
               (left.score == right.score && left.node->m_node_id < right.node->m_node_id);
    }

    static bool comes_first(const zeResult& left, const zeResult& right) {
        const std::string left_name = left.node->m_concept.text().str();
        const std::string right_name = right.node->m_concept.text().str();
        if (left.score != right.score) {
            return left.score > right.score;
        }
        return left_name != right_name ? left_name > right_name
                                       : left.node->m_node_id < right.node->m_node_id;
    }

    static std::vector<zeResult> best_of_each_category(const std::vector<zeResult>& all) {
        std::map<std::string, zeResult> best;
        for (const zeResult& result : all) {
            const auto [entry, is_new] = best.emplace(category_of(*result.node), result);
            if (!is_new && beats(result, entry->second)) {
                entry->second = result;
            }
        }
        std::vector<zeResult> kept;
        for (const auto& [category, result] : best) {
            kept.push_back(result);
        }
        return kept;
    }

    void follow(zeNode* node, double score) {
        if (!m_tree.skips_no_score || (node->m_flags & zeNode::NoScore) == 0) {
            m_found.push_back({node, score});
        }
        if (node->m_classifier == nullptr) {
            return;
        }
        for (const zeResult& answer : best_of_each_category(m_tree.tree.Classifier(node).answers)) {
            const double product = score * answer.score;
            if (product > 0 && product >= m_tree.threshold && product >= node->m_threshold) {
                follow(answer.node, product);
            }
        }
    }

    Random_walk& m_tree;
    std::vector<zeResult> m_found;
};

std::vector<Ranked> walk(Random_walk& tree, int max_results) {
    zeMsg msg;
    zeResult_set results(tree.threshold, max_results);
    tree.tree.Manager().GetWorkflow()->classify(msg, results, tree.skips_no_score, false);
    results.eliminate_duplicated_results();
    std::vector<Ranked> ranked;
    for (int rank = 0; rank < results.count(); ++rank) {
        const zeResult& result = results.get_result(rank);
        ranked.emplace_back(result.node->m_node_id, result.score);
    }
    return ranked;
}

std::vector<double> scores_of(const std::vector<Ranked>& results) {
    std::vector<double> scores;
    for (const Ranked& result : results) {
        scores.push_back(result.second);
    }
    return scores;
}

TEST(zeWorkflowRandomTest, ResultsEqualThoseOfFollowingEveryPath) {
    std::size_t result_count = 0;
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_walk tree(seed);
        const std::vector<Ranked> expected = Slow_walk(tree).results();

        ASSERT_EQ(walk(tree, -1), expected);

        result_count += expected.size();
    }
    // The trees must have several results on average, or the test would show little.
    EXPECT_GT(result_count, 3 * kTreeCount);
}

// If several results at the limit have the same score, the order of the walk decides which of them
// is kept. So only the scores are compared.
TEST(zeWorkflowRandomTest, LimitKeepsTheBestScores) {
    for (unsigned int seed = kFirstSeed; seed < kFirstSeed + kTreeCount; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Random_walk tree(seed);
        std::vector<double> best = scores_of(Slow_walk(tree).results());
        const int limit = static_cast<int>(seed % 5) + 1;
        best.resize(std::min(best.size(), static_cast<std::size_t>(limit)));

        ASSERT_EQ(scores_of(walk(tree, limit)), best);
    }
}

}  // namespace
