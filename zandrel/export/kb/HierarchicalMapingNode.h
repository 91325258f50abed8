// HierarchicalMapingNode: a node of the tree of a knowledge base of version 5.
#ifndef ZANDREL_EXPORT_KB_HIERARCHICALMAPINGNODE_H_
#define ZANDREL_EXPORT_KB_HIERARCHICALMAPINGNODE_H_

#include <memory>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"

// A node with a name. A child of a rule node has a rule, and a child of a statistical node has a
// profile. A node owns its children, which keep their addresses.
class ZANDREL_EXPORT HierarchicalMapingNode {
public:
    static constexpr int kNoProfile = -1;

    explicit HierarchicalMapingNode(const qtString& node_name);
    HierarchicalMapingNode(const HierarchicalMapingNode&) = delete;
    HierarchicalMapingNode& operator=(const HierarchicalMapingNode&) = delete;
    // Does not recurse, so the tree may have any depth.
    ~HierarchicalMapingNode();

    // Appends a child and returns it. Returns null and changes nothing if there is a child of this
    // name.  COST: constant on average.
    HierarchicalMapingNode* AddChild(const qtString& child_name);

    const std::vector<std::unique_ptr<HierarchicalMapingNode>>& children() const noexcept {
        return m_children;
    }

    const qtString name;
    qtString rule;             // empty: none
    int profile = kNoProfile;  // index in BaseProfilesGroup::profiles

private:
    std::vector<std::unique_ptr<HierarchicalMapingNode>> m_children;
    hash_set<qtString> m_names;  // of the children
};

#endif  // ZANDREL_EXPORT_KB_HIERARCHICALMAPINGNODE_H_
