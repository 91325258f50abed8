// Tree_shape: whether the trees of a container are trees.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
#define ZANDREL_KNOWLEDGE_TREE_SHAPE_H_

class zeLogicalTree;
class zeManager;
struct zeNode;

namespace Zandrel {

// Holds what every walk relies on, since the links that a damaged file has bent to a circle would
// hold it for ever, and ways that part and meet again would take it exponential time:
// - from no node there is a way back to it: not over children and the categories of classifiers,
//   and not over parents;
// - a node is once at most a child, but for a leaf, which several classifiers may have learned;
// - a node that has any of these itself is one of a single other node;
// - no two logical nodes mirror the same node, and none an empty one;
// - nothing is above the root.
// Classifiers count as far as they are in memory.
// RAISES: qtX<zeManager> 4 "Knowledge tree is damaged" (argument: what is wrong).
// COST: linear in the nodes and links.
void RequireTrees(const zeManager& manager);
// The same of the logical tree alone.
void RequireLogicalTree(const zeLogicalTree& tree);

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

// Holds what a record's last id leaves for new ones, since they are not given again from 1 on.
// RAISES: the same.
void RequireRoomForIds(unsigned int last_id);

// RAISES: the same.
[[noreturn]] void RaiseDamagedTree(const char* what);

}  // namespace Zandrel

#endif  // ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
