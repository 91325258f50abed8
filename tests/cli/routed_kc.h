// Routed_kc: a container whose tree a test builds: rule nodes, statistical nodes with given scores,
// and leaves.
#ifndef ZANDREL_TESTS_CLI_ROUTED_KC_H_
#define ZANDREL_TESTS_CLI_ROUTED_KC_H_

#include <string_view>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/logical_tree.h"
#include "tests/support/small_model.h"

// A category has the raw score atan(pi * x) / pi + 0.5, where x is the sum of its weights for the
// concepts of the bag, divided by the total weight of the bag, plus its additive term. So these
// additive terms give a text without learned words the scores 3/4, 1/2 and 1/4, since the arc
// tangent of 1 is pi / 4.
constexpr double kOneOverPi = 0.318309886183790671538;
constexpr double kThreeQuarters = kOneOverPi;
constexpr double kHalf = 0.0;
constexpr double kOneQuarter = -kOneOverPi;

class Routed_kc {
public:
    explicit Routed_kc(unsigned int root_type) : m_manager(new zeManager) {
        m_manager->m_defaults = plain_settings();
        root = Add(0, "root", root_type);
    }

    // Adds a node, marked NoScore unless it is a leaf, and returns its id.
    unsigned int Add(unsigned int parent, std::string_view name, unsigned int type = ZE_LEAF,
                     const qtString& rule = "", double threshold = 0.0) {
        zeLogicalNode node = node_to_add(parent, name, rule, type);
        node.attributes = type == ZE_LEAF ? 0 : zeNode::NoScore;
        node.threshold = threshold;
        return m_manager->m_logical_tree->AddLogicalNode(node);
    }

    // Gives the physical node of a leaf another category. Edits of the tree refuse two leaves of
    // one category below one classifier, but files of earlier versions may have them.
    void SetCategory(unsigned int id, std::string_view category) {
        m_manager->m_physical_tree->SetName(Node(id), term(category));
    }

    // Adds a node below a statistical node, and gives its category one message and this additive
    // term.
    unsigned int AddLearned(unsigned int parent, std::string_view name, double additive_term,
                            unsigned int type = ZE_LEAF) {
        const unsigned int id = Add(parent, name, type);
        Learn(parent, id, additive_term);
        return id;
    }

    // Gives a category of a statistical node one message and an additive term.
    void Learn(unsigned int parent, unsigned int id, double additive_term) {
        zeStat_storage::Profile& profile = ProfileOf(parent, id);
        profile.m_num_msgs = 1;
        profile.m_M = additive_term;
        Storage(parent).m_num_msgs = 1000;  // more than any category has
    }

    // Gives a category a weight for a word, and compiles the table.
    void Weigh(unsigned int parent, unsigned int id, std::string_view word, float weight) {
        ProfileOf(parent, id).m_weights = {{term(word), weight}};
        Matcher(parent).feed(Storage(parent), true);
    }

    zeNode* Node(unsigned int id) const {
        return m_manager->m_logical_tree->GetNode(id).physical_node;
    }

    void Score(unsigned int id) { Node(id)->m_flags = 0; }

    zeManager& Manager() { return *m_manager; }

    const qtPtrLight<zeManager>& Pointer() const { return m_manager; }

    zeStat_matcher& Matcher(unsigned int id) {
        return dynamic_cast<zeStat_matcher&>(*m_manager->m_physical_tree->get_classifier(Node(id)));
    }

    zeStat_storage& Storage(unsigned int id) { return *Matcher(id).m_storage; }

    unsigned int root;

private:
    zeStat_storage::Profile& ProfileOf(unsigned int parent, unsigned int id) {
        zeStat_storage& storage = Storage(parent);
        return storage.profile(storage.get_profile(Node(id)));
    }

    qtPtrLight<zeManager> m_manager;
};

#endif  // ZANDREL_TESTS_CLI_ROUTED_KC_H_
