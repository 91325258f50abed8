// Compares distribution over random trees with a simple implementation. It is recursive where the
// engine uses stacks, and it searches the whole view for each message.
#include "zandrel/classification/zeWorkflow.h"

#include <cstddef>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/support/distribution.h"

namespace {

// A random tree with random blocked children, and messages with random categories.
class Random_case {
public:
    explicit Random_case(unsigned int seed) : m_random(seed) {
        m_inner.push_back(Draw(2) == 0 ? tree.Root("0") : tree.RuleRoot("0"));
        for (int i = 1; i < 30; ++i) {
            zeNode* const parent = m_inner[Draw(m_inner.size())];
            const std::string name = std::to_string(i);
            const std::size_t kind = Draw(4);
            zeNode* const node = kind == 0   ? tree.Inner(parent, name, 1.0)
                                 : kind == 1 ? tree.Rule(parent, name)
                                             : tree.Leaf(parent, name, 1.0);
            (kind < 2 ? m_inner : m_leaves).push_back(node);
            if (parent->m_classifier_type == ZE_RULE && Draw(4) == 0) {
                tree.Block(parent, node);
            }
        }
        for (int i = 0; i < 20; ++i) {
            std::vector<zeNode*> cats(Draw(4));
            for (zeNode*& cat : cats) {
                cat = m_leaves[Draw(m_leaves.size())];
            }
            corpus.add(MessageBuilder(), cats);
        }
    }

    TreeBuilder tree;
    Small_corpus corpus;

private:
    std::size_t Draw(std::size_t count) { return m_random() % count; }

    std::mt19937 m_random;
    std::vector<zeNode*> m_inner;
    std::vector<zeNode*> m_leaves;
};

class Plain_distribution {
public:
    Plain_distribution(TreeBuilder& tree, bool propagates)
        : m_tree(tree), m_propagates(propagates) {}

    Routed_by_name distribute(const zeCorpus_view& view) {
        for (const zeCorpus_view::Msg& entry : view.msgs) {
            std::set<zeNode*> rules;
            for (zeNode* cat : entry.cats) {
                go_up(cat->m_parent, cat, entry.index, rules);
            }
            for (zeNode* rule : rules) {
                go_down(rule, entry.index);
            }
        }
        return m_views;
    }

private:
    bool is_closed(zeNode* parent, zeNode* child) {
        return parent->m_classifier_type == ZE_RULE &&
               m_tree.Classifier(parent).blocked_children.count(child) != 0;
    }

    bool go_up(zeNode* node, zeNode* child, int id, std::set<zeNode*>& rules) {
        const bool is_open = !is_closed(node, child) &&
                             (node->m_parent == nullptr || go_up(node->m_parent, node, id, rules));
        if (is_open && node->m_classifier_type == ZE_STAT) {
            std::vector<std::string>& labels = at(node, id);
            const std::string name = child->m_concept.text().str();
            if (std::find(labels.begin(), labels.end(), name) == labels.end()) {
                labels.push_back(name);
            }
        } else if (is_open && m_propagates) {
            rules.insert(node);
        }
        return is_open;
    }

    bool is_dead_end(zeNode* parent, zeNode* child) {
        if (is_closed(parent, child)) {
            return true;
        }
        bool all_are = !child->m_children.empty();
        for (zeNode* grandchild : child->m_children) {
            all_are = all_are && is_dead_end(child, grandchild);
        }
        return all_are;
    }

    void go_down(zeNode* node, int id) {
        for (zeNode* child : node->m_children) {
            if (is_dead_end(node, child)) {
                continue;
            }
            if (child->m_classifier_type == ZE_STAT) {
                at(child, id);
            } else if (child->m_classifier_type == ZE_RULE) {
                go_down(child, id);
            }
        }
    }

    std::vector<std::string>& at(zeNode* node, int id) {
        std::vector<Routed>& view = m_views[node->m_concept.text().str()];
        for (Routed& routed : view) {
            if (routed.first == id) {
                return routed.second;
            }
        }
        return view.emplace_back(id, std::vector<std::string>()).second;
    }

    TreeBuilder& m_tree;
    bool m_propagates;
    Routed_by_name m_views;
};

TEST(zeWorkflowDistributeRandomTest, RandomTreesAreDistributedLikeBySimpleImplementation) {
    std::size_t view_count = 0;
    for (unsigned int seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        Random_case made(seed);
        const bool propagates = seed % 3 != 0;
        made.tree.Manager().m_config.full_propogation = propagates;
        zeWorkflow::Distribution distribution;

        zeWorkflow(&made.tree.Manager()).distribute_corpus(distribution, made.corpus.view, false);

        Plain_distribution plain(made.tree, propagates);
        const Routed_by_name expected = plain.distribute(made.corpus.view);
        ASSERT_EQ(listing_of(distribution), expected);
        view_count += expected.size();
    }
    EXPECT_GT(view_count, 500U);  // enough trees are not blocked near the root
}

}  // namespace
