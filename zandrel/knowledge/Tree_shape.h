// Tree_shape: whether the trees of a container are trees.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
#define ZANDREL_KNOWLEDGE_TREE_SHAPE_H_

class zeLogicalTree;
class zeManager;

namespace Zandrel {

// Holds what every walk relies on, since the links that a damaged file has bent to a circle would
// hold it for ever, and ways that part and meet again would take it exponential time:
// - from no node there is a way back to it: not over children and the categories of classifiers,
//   and not over parents;
// - a node that has any of these itself is one of a single other node;
// - no two logical nodes mirror the same node.
// Classifiers count as far as they are in memory.
// RAISES: qtX<zeManager> 4 "Knowledge tree is damaged" (argument: what is wrong).
// COST: linear in the nodes and links.
void RequireTrees(const zeManager& manager);
// The same of the logical tree alone.
void RequireLogicalTree(const zeLogicalTree& tree);

// RAISES: the same.
[[noreturn]] void RaiseDamagedTree(const char* what);

}  // namespace Zandrel

#endif  // ZANDREL_KNOWLEDGE_TREE_SHAPE_H_
