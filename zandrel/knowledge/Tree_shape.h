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
// decide, and where several have a leaf, the parent that it names, but one below the root before
// others; a node that none has goes to the end of that of the parent that it names. What a logical
// node names and the tree lacks is dropped: its id would be given to another node. So is an empty
// node to which nothing refers any more. RAISES: the same. COST: linear in the nodes and links, but
// for the sorting of ids.
void MendLinks(zeManager& manager);

// Whether a node only takes the place of one that no record has, for the sake of what refers to it.
bool IsPlaceholder(const zeNode& node);

// Holds what a record's last id leaves for new ones, since they are not given again from 1 on.
// RAISES: the same.
void RequireRoomForIds(unsigned int last_id);

// RAISES: the same.
[[noreturn]] void RaiseDamagedTree(const char* what);

}  // namespace Zandrel

#endif  // ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
