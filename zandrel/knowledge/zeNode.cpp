#include "zandrel/knowledge/zeNode.h"

#include <algorithm>

#include "zandrel/knowledge/zeBase.h"

int zeNode::find_child(const zeNode* child) const {
    const auto found = std::find(m_children.begin(), m_children.end(), child);
    return found == m_children.end() ? -1 : static_cast<int>(found - m_children.begin());
}

bool zeNode::add_child(zeNode* child) {
    if (child == nullptr || find_child(child) >= 0) {
        return false;
    }
    m_children.push_back(child);
    child->m_parent = this;
    return true;
}

bool zeNode::remove_child(zeNode* child) {
    const auto found = std::find(m_children.begin(), m_children.end(), child);
    if (found == m_children.end()) {
        return false;
    }
    child->m_parent = nullptr;
    *found = m_children.back();
    m_children.pop_back();
    return true;
}

bool zeNode::replace_child(zeNode* old_child, zeNode* new_child) {
    return remove_child(old_child) && add_child(new_child);
}

void zeNode::remove_all_children() {
    for (zeNode* child : m_children) {
        child->m_parent = nullptr;
    }
    m_children.clear();
}

namespace {

// A walk changes no node, but what it gathers is there to be changed: nodes themselves are never
// const, since the tree's table holds them. A tree can be deep, so nothing recurs; and links that a
// damaged file has bent to a circle must not be followed for ever.
template <class Take>
void walk_subtree(const zeNode* top, hash_set<zeNode*, zePointer_hash>& seen, Take&& take) {
    std::vector<zeNode*> waiting = {const_cast<zeNode*>(top)};
    while (!waiting.empty()) {
        zeNode* const node = waiting.back();
        waiting.pop_back();
        if (seen.insert(node).second) {
            take(node);
            waiting.insert(waiting.end(), node->m_children.begin(), node->m_children.end());
        }
    }
}

}  // namespace

void zeNode::get_subtree(hash_set<zeNode*, zePointer_hash>& nodes) const {
    walk_subtree(this, nodes, [](zeNode*) {});
}

void zeNode::get_subtree_classifiers(hash_set<zeNode*, zePointer_hash>& nodes) const {
    hash_set<zeNode*, zePointer_hash> seen;
    walk_subtree(this, seen, [&nodes](zeNode* node) {
        if (node->m_classifier_id != 0) {
            nodes.insert(node);
        }
    });
}

const void* zeNode::identity() const noexcept {
    return m_classifier_type == ZE_LEAF ? m_concept.identity() : this;
}
