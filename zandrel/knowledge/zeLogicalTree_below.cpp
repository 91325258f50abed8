// Decides whether a node of a zeLogicalTree is below another one, even if the links disagree: a
// move below the node itself would make a circle. First we collect everything below the node, then
// we climb from the target of the move and look whether we meet one of the collected nodes.
#include "zandrel/knowledge/zeLogicalTree.h"

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace {

// One node and all nodes below it, in both trees. A node is below each node that lists it as a
// child, below the parent that it names, and below everything that its mirror is below.
//
// In a sound tree the lists of children lead to all these nodes. In trees that a program has linked
// by hand, a node may name a parent that does not list it. Only a look at all nodes finds each of
// them, so we do that only if a program may have changed links. If there is such a node, we index
// all nodes by parent. Otherwise the climb from the target over the named parents is enough.
class Nodes_below {
public:
    Nodes_below(const zeLogicalTree& tree, const zeLogicalNode& top, bool may_be_unlisted)
        : m_tree(tree), m_physical_tree(*tree.manager->m_physical_tree) {
        enter(&top);
        follow_links();
        if (may_be_unlisted && enter_unlisted()) {
            index_by_parent();
            follow_links();
        }
    }

    // Returns true if `node`, the parent that it names, or a node further up in either tree is one
    // of the collected nodes.
    bool contain_any_of_way_up(const zeLogicalNode& node) const {
        hash_set<unsigned int> seen;
        hash_set<const zeNode*, zePointer_hash> seen_physical;
        std::vector<const zeLogicalNode*> waiting = {&node};
        std::vector<zeNode*> waiting_physical;
        while (!waiting.empty() || !waiting_physical.empty()) {
            if (!waiting.empty()) {
                const zeLogicalNode& next = *waiting.back();
                waiting.pop_back();
                if (m_ids.count(next.id) != 0) {
                    return true;
                }
                if (next.id != 0 && seen.insert(next.id).second) {
                    waiting.push_back(&m_tree.GetNode(next.parent));
                    waiting_physical.push_back(next.physical_node);
                }
            } else {
                zeNode* const next = waiting_physical.back();
                waiting_physical.pop_back();
                if (m_physical.count(next) != 0) {
                    return true;
                }
                if (next != nullptr && seen_physical.insert(next).second) {
                    waiting.push_back(&m_tree.FindCategory(next));
                    waiting_physical.push_back(next->m_parent);
                }
            }
        }
        return false;
    }

private:
    // A node is entered once, so circles end.
    bool enter(const zeLogicalNode* node) {
        const bool is_new = node->id != 0 && m_ids.insert(node->id).second;
        if (is_new) {
            m_waiting.push_back(node);
        }
        return is_new;
    }

    bool enter(zeNode* node) {
        const bool is_new = node != nullptr && m_physical.insert(node).second;
        if (is_new) {
            m_waiting_physical.push_back(node);
        }
        return is_new;
    }

    void follow_links() {
        while (!m_waiting.empty() || !m_waiting_physical.empty()) {
            if (!m_waiting.empty()) {
                const zeLogicalNode* const node = m_waiting.back();
                m_waiting.pop_back();
                enter_below(*node);
            } else {
                zeNode* const node = m_waiting_physical.back();
                m_waiting_physical.pop_back();
                enter_below(node);
            }
        }
    }

    void enter_below(const zeLogicalNode& node) {
        for (const unsigned int child : node.children) {
            enter(&m_tree.GetNode(child));
        }
        const auto named = m_by_parent.find(node.id);
        if (named != m_by_parent.end()) {
            for (const zeLogicalNode* const child : named->second) {
                enter(child);
            }
        }
        enter(node.physical_node);
    }

    void enter_below(zeNode* node) {
        for (zeNode* const child : node->m_children) {
            enter(child);
        }
        const auto named = m_by_physical_parent.find(node);
        if (named != m_by_physical_parent.end()) {
            for (zeNode* const child : named->second) {
                enter(child);
            }
        }
        enter(&m_tree.FindCategory(node));
    }

    // Enters nodes that name a parent which we have reached and which does not list them. Returns
    // whether there was one.  COST: linear in the nodes of both trees.
    bool enter_unlisted() {
        bool is_any = false;
        for (const auto& [id, node] : m_tree.nodes) {
            is_any = (m_ids.count(node.parent) != 0 && enter(&node)) || is_any;
        }
        for (auto& [id, node] : m_physical_tree.m_nodes) {
            is_any = (m_physical.count(node.m_parent) != 0 && enter(&node)) || is_any;
        }
        return is_any;
    }

    void index_by_parent() {
        for (const auto& [id, node] : m_tree.nodes) {
            m_by_parent[node.parent].push_back(&node);
        }
        for (auto& [id, node] : m_physical_tree.m_nodes) {
            m_by_physical_parent[node.m_parent].push_back(&node);
        }
    }

    const zeLogicalTree& m_tree;
    zePhysicalTree& m_physical_tree;
    hash_set<unsigned int> m_ids;
    hash_set<zeNode*, zePointer_hash> m_physical;
    std::vector<const zeLogicalNode*> m_waiting;
    std::vector<zeNode*> m_waiting_physical;
    hash_map<unsigned int, std::vector<const zeLogicalNode*>> m_by_parent;
    hash_map<zeNode*, std::vector<zeNode*>, zePointer_hash> m_by_physical_parent;
};

}  // namespace

void zeLogicalTree::VerifyNotBelow(const zeLogicalNode& target, const zeLogicalNode& node) const {
    const Nodes_below below(*this, node, m_is_exposed);
    if (below.contain_any_of_way_up(target)) {
        throw qtX<zeLogicalTree>(19, "Cannot move the node down");
    }
}
