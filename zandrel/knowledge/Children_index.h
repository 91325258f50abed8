// Children_index: finds a child of a logical node by its name or id without a search.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_CHILDREN_INDEX_H_
#define ZANDREL_KNOWLEDGE_CHILDREN_INDEX_H_

#include <cstddef>
#include <optional>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/zeLogicalTree.h"

namespace zandrel::detail {

// The places of children in the lists of a zeLogicalTree. A long list gets its index when it is
// searched for the first time. The tree reports removals and new names. The lists are public, so a
// search first adds the children that were appended, and compares its answer with the list.
//
// An index is made again if the list became shorter, or if the child at the last indexed place is
// not in the index. If there is no memory for an index, the list is searched. Errors: none.
class Children_index {
public:
    // BORROWS: the nodes, which must outlive this.
    explicit Children_index(const hash_map<unsigned int, zeLogicalNode>& nodes) : m_nodes(nodes) {}

    // Returns the place of the first child with that name, or of the child with that id, or nothing
    // if no child has it. With `may_be_renamed` a program may have changed names without a report,
    // so the list is searched.
    std::optional<std::size_t> find_name(const zeLogicalNode& parent, const Concept& name,
                                         bool may_be_renamed);
    std::optional<std::size_t> find_id(const zeLogicalNode& parent, unsigned int id);

    // Call it after a child was removed from the list and the last child took its place.
    void removed(const zeLogicalNode& parent, const zeLogicalNode& child, std::size_t place);
    // Call it after a child got another name. If its parent does not exist, any list may have the
    // child, so all indexes are forgotten.
    void renamed(const zeLogicalNode& child, const Concept& old_name);

    void forget(unsigned int parent) { m_lists.erase(parent); }

    void clear() { m_lists.clear(); }

private:
    // The index of the first `size` children. Several children can have one name.
    struct Places {
        hash_map<unsigned int, std::size_t> by_id;
        // The id of the child with the name; 0 if several children have or had it.
        hash_map<Concept, unsigned int, ConceptHash> by_name;
        std::size_t size = 0;
        bool has_child_twice = false;
    };

    Places* places_of(const zeLogicalNode& parent);
    void take_in(const zeLogicalNode& parent, Places& places) const;
    static void enter_name(const Concept& name, unsigned int id, Places& places);
    std::optional<std::size_t> search_name(const zeLogicalNode& parent, const Concept& name) const;

    const hash_map<unsigned int, zeLogicalNode>& m_nodes;
    hash_map<unsigned int, Places> m_lists;  // by the id of the parent
};

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_CHILDREN_INDEX_H_
