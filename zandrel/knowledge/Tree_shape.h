// Tree_shape: checks that the links of a container form two trees, and repairs some links.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
#define ZANDREL_KNOWLEDGE_TREE_SHAPE_H_

#include <vector>

class zeClassifier;
class zeLogicalTree;
class zeManager;
struct zeNode;

namespace zandrel::detail {

// Checks that the links form trees, so that every walk ends, and that a file with the ids and
// thresholds could be read. Tree_shape.cpp has the list of invariants. The categories of a
// classifier are checked only if it is in memory; the others are checked by RequireCategories when
// they are fetched.
// RAISES: qtX<zeManager> 4 "Knowledge tree is damaged" (argument: what is wrong).
// COST: linear in the nodes and links.
void RequireTrees(const zeManager& manager);
// Does the same for the logical tree only.
void RequireLogicalTree(const zeLogicalTree& tree);

// Checks a classifier that was fetched from a file after the trees were checked: each category is a
// child of its node, or a leaf without children. Otherwise a way down could lead back.
// RAISES: the same.   COST: linear in the categories.
void RequireCategories(const zeNode& node, zeClassifier& classifier);

// Returns the children, and then the loose leaves: categories of the classifier that are leaves but
// no children, for example after an interrupted training. A classifier that is not in memory counts
// as one without loose leaves.
std::vector<zeNode*> ChildrenAndLooseLeaves(const zeNode& node);

// Makes the loose leaves children of the node. After a classifier has left memory, only the lists
// of children lead to it. Returns whether there was a loose leaf.
bool AdoptLooseLeaves(zeNode& node);

// Makes the two directions of the links agree in trees that were just read. The lists of children
// decide. If several lists contain a leaf, it gets the parent that it names; but a parent below the
// root is preferred. A node that is in no list is added at the end of the list of the parent that
// it names. If a logical node names a node that the tree lacks, the link is removed, since its id
// would be given to another node. An empty node that nothing refers to is removed too.
// RAISES: the same.   COST: linear in the nodes and links, except for the sorting of ids.
void MendLinks(zeManager& manager);

// Returns whether the node is only a placeholder for a node that other nodes refer to and that has
// no record.
bool IsPlaceholder(const zeNode& node);

// Checks that a record's last id leaves room for new ids: they continue after it.
// RAISES: the same.
void RequireRoomForIds(unsigned int last_id);

// RAISES: the same.
[[noreturn]] void RaiseDamagedTree(const char* what);

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
