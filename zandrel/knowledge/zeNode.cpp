// The children of a node, with an index for long lists, and the walk over a subtree.
#include "zandrel/knowledge/zeNode.h"

#include <algorithm>
#include <new>

#include "zandrel/knowledge/zeBase.h"

namespace zandrel::detail {

namespace {

// A list of this length or shorter is searched without an index: that is as fast and needs no
// memory.
constexpr std::size_t kFewChildren = 16;

int place_by_search(const std::vector<zeNode*>& children, const zeNode* child) {
    const auto found = std::find(children.begin(), children.end(), child);
    return found == children.end() ? -1 : static_cast<int>(found - children.begin());
}

}  // namespace

// The places of the first `size` children. In a damaged file a list can have a child twice. Such a
// list is searched instead.
struct Child_places::Index {
    bool agrees_with(const std::vector<zeNode*>& children) const {
        return size <= children.size() &&
               (size == 0 || (is_at(children, 0) && is_at(children, size - 1)));
    }

    bool is_at(const std::vector<zeNode*>& children, std::size_t place) const {
        const auto entry = places.find(children[place]);
        return entry != places.end() && entry->second == place;
    }

    void take_in(const std::vector<zeNode*>& children) {
        for (; size < children.size() && !has_child_twice; ++size) {
            has_child_twice = !places.emplace(children[size], size).second;
        }
    }

    hash_map<const zeNode*, std::size_t, zePointer_hash> places;
    std::size_t size = 0;
    bool has_child_twice = false;
};

Child_places::Child_places() = default;
Child_places::~Child_places() = default;

Child_places::Child_places(const Child_places& /*other*/) {}

Child_places& Child_places::operator=(const Child_places& /*other*/) {
    clear();
    return *this;
}

void Child_places::clear() {
    m_index.reset();
}

int Child_places::find(const std::vector<zeNode*>& children, const zeNode* child) {
    if (children.size() <= kFewChildren) {
        return place_by_search(children, child);
    }
    if (!is_brought_up_to_date(children)) {
        return place_by_search(children, child);
    }
    const auto entry = m_index->places.find(child);
    if (entry == m_index->places.end()) {
        return -1;
    }
    if (children[entry->second] == child) {
        return static_cast<int>(entry->second);
    }
    clear();  // The list was changed by hand.
    return place_by_search(children, child);
}

// Returns false if the list has to be searched, for example without memory for an index: removing a
// child has to succeed even then.
bool Child_places::is_brought_up_to_date(const std::vector<zeNode*>& children) {
    try {
        if (m_index == nullptr || !m_index->agrees_with(children)) {
            m_index = std::make_unique<Index>();
        }
        m_index->take_in(children);
    } catch (const std::bad_alloc&) {
        clear();
    }
    return m_index != nullptr && !m_index->has_child_twice;
}

void Child_places::removed(const std::vector<zeNode*>& children, const zeNode* child,
                           std::size_t place) {
    if (m_index == nullptr) {
        return;
    }
    if (m_index->has_child_twice || m_index->size != children.size() + 1) {
        clear();
        return;
    }
    m_index->places.erase(child);
    m_index->size = children.size();
    if (place < children.size()) {
        m_index->places.find(children[place])->second = place;
    }
}

}  // namespace zandrel::detail

int zeNode::find_child(const zeNode* child) const {
    return m_places.find(m_children, child);
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
    const int found = find_child(child);
    if (found < 0) {
        return false;
    }
    const auto place = static_cast<std::size_t>(found);
    child->m_parent = nullptr;
    m_children[place] = m_children.back();
    m_children.pop_back();
    m_places.removed(m_children, child, place);
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
    m_places.clear();
}

namespace {

// The walk changes no node, but its callers may change the nodes that it gathers. The const_cast is
// allowed, since the nodes in the tree's table are not const. A tree can be deep, so we use no
// recursion. Each node is visited once, so the walk ends even if a damaged file has a circle.
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
    hash_set<zeNode*, zePointer_hash> seen;
    walk_subtree(this, seen, [&nodes](zeNode* node) { nodes.insert(node); });
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
