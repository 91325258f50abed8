// Shared by the tests of the physical tree: a tree of leaves and of nodes with fake classifiers.
#ifndef ZANDREL_TESTS_KNOWLEDGE_PHYSICAL_TREE_FIXTURE_H_
#define ZANDREL_TESTS_KNOWLEDGE_PHYSICAL_TREE_FIXTURE_H_

#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/fake_classifier.h"

inline constexpr unsigned char kNoFlags = 0;
inline constexpr unsigned char kNoScore = zeNode::NoScore;
inline constexpr unsigned char kJunk = zeNode::Junk;

class zePhysicalTreeTest : public testing::Test {
protected:
    zeNode* Leaf(std::string_view name) { return tree.MakeNode(term(name), ZE_LEAF, 0, 0.0); }

    // A node with a fake classifier. The tree sets its flags.
    zeNode* Inner(std::string_view name, unsigned int type = ZE_STAT) {
        zeNode* const node = Leaf(name);
        tree.set_classifier(node, new FakeClassifier(&manager, node, type));
        return node;
    }

    FakeClassifier& Fake(zeNode* node) {
        return dynamic_cast<FakeClassifier&>(*node->m_classifier);
    }

    bool IsRegistered(unsigned int id) const { return manager.m_objects.count(id) != 0; }

    zeManager manager;
    zePhysicalTree& tree = *manager.m_physical_tree;
};

#endif  // ZANDREL_TESTS_KNOWLEDGE_PHYSICAL_TREE_FIXTURE_H_
