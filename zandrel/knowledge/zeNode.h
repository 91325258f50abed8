// zeNode: one node of the physical tree.
#ifndef ZANDREL_KNOWLEDGE_ZENODE_H_
#define ZANDREL_KNOWLEDGE_ZENODE_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"

class zeClassifier;
struct zeNode;

namespace zandrel::detail {

// The index of a long list of children: the place of each child. Finding a child with it takes
// constant time on average.
//
// The list is public and may have changed. So `find` first enters the children that were appended,
// and compares a place that it has found with the list. It makes the index again if the list became
// shorter, or if its first or its last indexed child has changed.
class ZANDREL_EXPORT Child_places {
public:
    Child_places();
    ~Child_places();
    // A copied node will have another list. Its index is made when it is needed.
    Child_places(const Child_places& other);
    Child_places& operator=(const Child_places& other);

    // Returns the first place of `child` in `children`; -1 if it is not among them.
    int find(const std::vector<zeNode*>& children, const zeNode* child);
    // Call it after a child was removed and the last child took its place.
    void removed(const std::vector<zeNode*>& children, const zeNode* child, std::size_t place);
    void clear();

private:
    struct Index;

    bool is_brought_up_to_date(const std::vector<zeNode*>& children);

    std::unique_ptr<Index> m_index;  // null until a long list is searched
};

}  // namespace zandrel::detail

// A category or an inner node. zePhysicalTree makes and owns it, and all other pointers to nodes
// are borrowed. Its address does not change as long as the node is in the tree.
struct ZANDREL_EXPORT zeNode {
    // Bits of `m_flags`.
    static constexpr unsigned char NoScore = 1;  // not a result where only scored nodes are wanted
    static constexpr unsigned char Junk = 2;     // a category that learning's averages leave out

    explicit zeNode(const Concept& name) : m_concept(name) {}

    // Returns the index of a child, -1 if it is not a child.  COST: constant on average, also for
    // the next three operations; the first search in a long list is linear.
    int find_child(const zeNode* child) const;
    // Appends a child and sets its parent. Returns false and changes nothing if `child` is null or
    // is a child already.
    bool add_child(zeNode* child);
    // Unlinks a child. The last child moves into its place. Returns false if it is not a child.
    bool remove_child(zeNode* child);
    // Calls `remove_child`, then `add_child`: the new child is the last. Returns false if either
    // fails; if only the second fails, the old child remains removed.
    bool replace_child(zeNode* old_child, zeNode* new_child);
    // Unlinks all children; they remain in the tree's table.
    void remove_all_children();

    // Adds this node and all below it to `nodes`. Nodes that are in `nodes` already do not end the
    // walk.
    void get_subtree(hash_set<zeNode*, zePointer_hash>& nodes) const;
    // Does the same for those nodes of the subtree that have a classifier, in memory or not.
    void get_subtree_classifiers(hash_set<zeNode*, zePointer_hash>& nodes) const;

    // Two nodes with equal identities are one result. The identity of a leaf is its concept, so two
    // leaves of one category count once. The identity of an inner node is the node itself.
    const void* identity() const noexcept;

    bool is_no_score() const noexcept { return (m_flags & NoScore) != 0; }

    unsigned int m_node_id = 0;            // key in the tree, from 1
    Concept m_concept;                     // name of the category or of the inner node
    zeClassifier* m_classifier = nullptr;  // BORROWS: null also when it is merely not in memory
    unsigned int m_classifier_id = 0;      // object id of the node's classifier; 0 for none
    unsigned char m_classifier_type = 0;   // ZE_LEAF, ZE_RULE or ZE_STAT
    unsigned char m_flags = 0;
    double m_threshold = 0.0;    // least score at which a walk enters a child of this node
    zeNode* m_parent = nullptr;  // null at the root
    // In the order of adding, changed by removals. A program may append to the list or clear it. To
    // replace a child it must use the operations above; they would not find the new child
    // otherwise.
    std::vector<zeNode*> m_children;

private:
    mutable zandrel::detail::Child_places m_places;
};

namespace zandrel::detail {

// Returns whether the node's classifier can be asked without fetching it from a file.
inline bool is_in_memory(const zeNode& node) noexcept {
    return node.m_classifier != nullptr;
}

// How records refer to a node: its id, 0 for null.
inline unsigned int reference_to(const zeNode* node) noexcept {
    return node == nullptr ? 0 : node->m_node_id;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_ZENODE_H_
