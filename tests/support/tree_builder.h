// TreeBuilder: builds physical trees whose classifiers give the answers that the test sets.
#ifndef ZANDREL_TESTS_SUPPORT_TREE_BUILDER_H_
#define ZANDREL_TESTS_SUPPORT_TREE_BUILDER_H_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "tests/support/bags.h"
#include "tests/support/fake_classifier.h"

// Makes a tree step by step, in a manager of its own:
//
//     TreeBuilder tree;
//     zeNode* root = tree.Root("root");
//     zeNode* news = tree.Inner(root, "news", 0.5);
//     tree.Leaf(news, "sport", 0.5);
//
// All nodes are scored unless a test calls `NoScore`, and have the threshold 0.
class TreeBuilder {
public:
    // Makes the root, a statistical node.
    zeNode* Root(std::string_view name) {
        zeNode* const node = MakeInner(name);
        m_manager.m_root = node;
        return node;
    }

    // Makes the root a rule node. A test blocks its children through `blocked_children`.
    zeNode* RuleRoot(std::string_view name) {
        zeNode* const node = MakeInner(name, ZE_RULE);
        m_manager.m_root = node;
        return node;
    }

    // Adds a rule node. The parent's classifier answers it with the factor 1.
    zeNode* Rule(zeNode* parent, std::string_view name) {
        return Attach(parent, MakeInner(name, ZE_RULE), 1.0);
    }

    // Adds a statistical node. The parent's classifier answers it with this factor.
    zeNode* Inner(zeNode* parent, std::string_view name, double factor) {
        return Attach(parent, MakeInner(name), factor);
    }

    // Adds a leaf. The parent's classifier answers it with this factor.
    zeNode* Leaf(zeNode* parent, std::string_view name, double factor) {
        return Attach(parent, Tree().MakeNode(term(name), ZE_LEAF, 0, 0.0), factor);
    }

    // Makes a rule node block a child.
    void Block(zeNode* rule, zeNode* child) { Classifier(rule).blocked_children.insert(child); }

    // Makes a node's classifier answer any node, for example one that is not its child.
    void Answer(zeNode* from, zeNode* to, double factor) {
        Classifier(from).answers.push_back({to, factor});
    }

    void NoScore(zeNode* node) {
        node->m_flags = static_cast<unsigned char>(node->m_flags | zeNode::NoScore);
    }

    // Returns the classifier of an inner node.
    FakeClassifier& Classifier(zeNode* node) {
        return dynamic_cast<FakeClassifier&>(*Tree().get_classifier(node));
    }

    zeManager& Manager() { return m_manager; }

    zePhysicalTree& Tree() { return *m_manager.m_physical_tree; }

    // The names of the nodes whose classifiers were called, in the order of the calls.
    const std::vector<std::string>& Asked() const { return m_asked; }

private:
    zeNode* MakeInner(std::string_view name, unsigned int type = ZE_STAT) {
        zeNode* const node = Tree().MakeNode(term(name), ZE_LEAF, 0, 0.0);
        auto* const classifier = new FakeClassifier(&m_manager, node, type);
        classifier->on_classify = [this, node] { m_asked.push_back(node->m_concept.text().str()); };
        Tree().set_classifier(node, classifier);
        node->m_flags = 0;
        return node;
    }

    zeNode* Attach(zeNode* parent, zeNode* child, double factor) {
        parent->add_child(child);
        Answer(parent, child, factor);
        return child;
    }

    std::vector<std::string> m_asked;
    zeManager m_manager;
};

// A result as a test writes it: {"sport", 0.25}.
using Named_score = std::pair<std::string, double>;

// All results in their order, with each category once.
inline std::vector<Named_score> listing_of(zeResult_set& results) {
    if (!results.deduplicated) {
        results.eliminate_duplicated_results();
    }
    std::vector<Named_score> listing;
    for (int rank = 0; rank < results.count(); ++rank) {
        const zeResult& result = results.get_result(rank);
        listing.emplace_back(result.node->m_concept.text().str(), result.score);
    }
    return listing;
}

#endif  // ZANDREL_TESTS_SUPPORT_TREE_BUILDER_H_
