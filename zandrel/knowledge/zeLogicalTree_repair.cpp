// Repairs of disagreements that an edit of zeLogicalTree finds, before it moves or deletes a node.
//
// In a sound tree only the classifier of the real parent knows a node, and only the real parent's
// physical node lists it as a child. An edit only has to remove the node there. In the states below
// another object also points at the node. Its pointer would dangle, so every such pointer is
// removed first.
//
// If the number of classifiers in memory is limited, most of them are only in the file. Asking each
// one would read the whole file at each edit. So a classifier that is not in memory is fetched only
// if its node lists the leaving node as a child: before a classifier leaves memory, the categories
// that it knows become children of its node (zePhysicalTree::release_classifier).
//
// 1. A leaf has a classifier (RepairLeaf). A change of a leaf to a statistical node made the
//    classifier and then failed in MoveSons, for example without memory; or the record of a file
//    has the type 0 for the logical node and the type 2 for its physical node.
// 2. A node is a child of a node whose classifier does not decide it (LeaveHolder). A move of
//    nested leaves failed when some of them were in the new classifier already and the links were
//    still the old ones; or a file lists the physical node below another node than its logical
//    parent.
// 3. A classifier knows a node that is not its child (LeaveClassifiers). Training was interrupted
//    between the profiles and `feed`; or a file names the node in the record of a foreign
//    classifier.
// 4. Several classifiers know a leaf (LeaveClassifiers, RepairLeaf). Training the root without its
//    subtree gives its classifier every leaf that is a label of a message, also leaves of
//    classifiers below. This is no damage as long as the node is a leaf.
// 5. A node lists a child that its classifier does not know (leave_classifier). A file lists a
//    child without a profile or a rule; or a program called zeNode::add_child.
// 6. KCE_Delete deletes a node that the parent's classifier still knows, or that still has its own
//    classifier (Detach): the caller has changed the physical side only in part.
// 7. The lists of children lead back to a node (Subtree). Only a program can link nodes so, since
//    reading a file refuses it.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace {

using Node_set = hash_set<zeNode*, zePointer_hash>;

// Returns the elements of `nodes` that the classifier knows or that are children of its node.
std::vector<zeNode*> held_by(zeClassifier& classifier, const Node_set& nodes) {
    std::vector<zeNode*> candidates;
    classifier.get_all_categories(candidates);
    if (classifier.m_node != nullptr) {
        const std::vector<zeNode*>& children = classifier.m_node->m_children;
        candidates.insert(candidates.end(), children.begin(), children.end());
    }
    Node_set held;
    for (zeNode* const node : candidates) {
        if (nodes.count(node) != 0) {
            held.insert(node);
        }
    }
    return zandrel::detail::in_id_order(held);
}

void leave_classifier(zeClassifier& classifier, const std::vector<zeNode*>& leaving) {
    for (zeNode* const node : leaving) {
        if (classifier.knows(node)) {
            classifier.drop_category(node);
            classifier.rebuild_table();
        }
        if (classifier.m_node != nullptr) {
            classifier.m_node->remove_child(node);
        }
    }
}

// Nodes that leave classifiers.
class Leaving_nodes {
public:
    explicit Leaving_nodes(const std::vector<zeNode*>& nodes)
        : m_nodes(nodes),
          m_are_many(nodes.size() > kFewNodes),
          m_set(nodes.begin(), m_are_many ? nodes.end() : nodes.begin()) {}

    // Returns whether one of them is a child of `lister`.
    bool are_listed_by(const zeNode& lister) const {
        if (m_are_many) {
            return std::any_of(lister.m_children.begin(), lister.m_children.end(),
                               [this](zeNode* child) { return m_set.count(child) != 0; });
        }
        return std::any_of(m_nodes.begin(), m_nodes.end(),
                           [&lister](zeNode* node) { return lister.find_child(node) >= 0; });
    }

    // Removes them from a classifier, and from the children of its node.
    void remove_from(zeClassifier& classifier) const {
        leave_classifier(classifier, m_are_many ? held_by(classifier, m_set) : m_nodes);
    }

private:
    // Asking each classifier for each node costs the product of their numbers. For more nodes than
    // this, it is faster to gather all nodes that a classifier knows.
    static constexpr std::size_t kFewNodes = 64;

    const std::vector<zeNode*>& m_nodes;
    bool m_are_many;
    Node_set m_set;  // empty for few nodes
};

}  // namespace

void zeLogicalTree::RepairLeaf(const zeLogicalNode& leaf) {
    manager->DelClassifier(leaf.physical_node);
    const zeLogicalNode* const above = NearestClassifierNode(leaf.parent);
    zeNode* const holder = above == nullptr ? nullptr : above->physical_node;
    if (holder == nullptr || holder->find_child(leaf.physical_node) < 0) {
        return;
    }
    LeaveClassifiers({leaf.physical_node}, holder);
    leaf.physical_node->m_parent = holder;
}

void zeLogicalTree::LeaveHolder(zeNode* node, const zeNode* decider) {
    zeNode* const holder = node->m_parent;
    if (holder == nullptr || holder == decider) {
        return;
    }
    zeClassifier* const other = manager->m_physical_tree->get_classifier(holder);
    if (other != nullptr && other->knows(node)) {
        other->remove_category(node, true);
        other->rebuild_table();
    }
    holder->remove_child(node);
}

// No pointer leads from a node to the classifiers that know it. So we ask all classifiers that may
// know it, once for all nodes.
void zeLogicalTree::LeaveClassifiers(const std::vector<zeNode*>& leaving, const zeNode* but) {
    const Leaving_nodes leaving_nodes(leaving);
    std::vector<zeNode*> listers;
    for (zeNode* const node : manager->m_physical_tree->GetClassifierNodes()) {
        if (node == but) {
            continue;
        }
        if (zandrel::detail::is_in_memory(*node)) {
            // This does not count as a use of the cache.
            leaving_nodes.remove_from(*node->m_classifier);
        } else if (leaving_nodes.are_listed_by(*node)) {
            listers.push_back(node);
        }
    }
    // Each of them may release a classifier from memory, so we fetch them last.
    for (zeNode* const node : listers) {
        if (zeClassifier* const classifier = manager->m_physical_tree->get_classifier(node)) {
            leaving_nodes.remove_from(*classifier);
        }
    }
}

void zeLogicalTree::Detach(const std::vector<zeLogicalNode*>& deleted) {
    std::vector<zeNode*> leaving;
    leaving.reserve(deleted.size());
    for (const zeLogicalNode* const each : deleted) {
        manager->DelClassifier(each->physical_node);
        LeaveHolder(each->physical_node, nullptr);
        leaving.push_back(each->physical_node);
    }
    LeaveClassifiers(leaving, nullptr);
}

// Appends `top`, and the nodes below it that are not in `seen`: parents before children, each node
// once. Adds them all to `seen`. Returns false if a list of children names a node that is in `seen`
// already.
bool zeLogicalTree::WalkDown(const zeLogicalNode& top, hash_set<unsigned int>& seen,
                             std::vector<zeLogicalNode*>& parents_first) const {
    bool is_tree = true;
    std::vector<zeLogicalNode*> waiting = {const_cast<zeLogicalNode*>(&top)};
    seen.insert(top.id);
    while (!waiting.empty()) {
        zeLogicalNode* const next = waiting.back();
        waiting.pop_back();
        parents_first.push_back(next);
        for (const unsigned int child : next->children) {
            zeLogicalNode* const found = Find(child);
            if (found != nullptr && seen.insert(child).second) {
                waiting.push_back(found);
            } else {
                is_tree = is_tree && found == nullptr;
            }
        }
    }
    return is_tree;
}

// If the lists lead back to a node, they can lead to the root and so to the whole tree. The nodes
// above `top` are therefore left out. Example: the root lists a, a lists b, and b lists the root.
// The subtree of a is then a and b.
std::vector<zeLogicalNode*> zeLogicalTree::Subtree(const zeLogicalNode& top) const {
    std::vector<zeLogicalNode*> parents_first;
    hash_set<unsigned int> seen;
    if (!WalkDown(top, seen, parents_first)) {
        seen.clear();
        const zeLogicalNode* above = Find(top.parent);
        while (above != nullptr && seen.insert(above->id).second) {
            above = Find(above->parent);
        }
        parents_first.clear();
        WalkDown(top, seen, parents_first);
    }
    return parents_first;
}
