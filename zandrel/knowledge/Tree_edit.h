// Tree_edit: a planned edit of a tree, and whether a compact container allows it.
#ifndef ZANDREL_KNOWLEDGE_TREE_EDIT_H_
#define ZANDREL_KNOWLEDGE_TREE_EDIT_H_

#include "zandrel/export.h"
#include "zandrel/knowledge/zeLogicalTree.h"

class zeManager;

namespace zandrel {

// An edit of the tree that a program plans: an operation of zeLogicalTree and its arguments.
struct Tree_edit {
    enum class Kind {
        Add,     // AddLogicalNode(node)
        Delete,  // DelLogicalNode(node.id, ...)
        Move,    // MoveLogicalNode(node.id, new_parent)
        Change,  // ChangeLogicalNode(node)
    };

    Kind kind = Kind::Change;
    zeLogicalNode node;           // of a move and a deletion only the id counts
    unsigned int new_parent = 0;  // of a move only
};

// Returns whether the container can carry out the edit and still classify as before. A compact
// container has no statistics. A statistical classifier that gains or loses a category selects its
// features anew, finds none, and then scores all texts alike. Such an edit is not allowed, unless
// it deletes the classifier as well. A container that is not compact allows every edit.
//
// The library carries out an edit without asking this function: the program asks it first. The
// answer says nothing about the rules of VerifyAdd, VerifyMove and VerifyChange, which the edit
// itself checks. ChangeRootType is always allowed, since the root then has no children.
// A statistical classifier that was never trained counts like the others.
// COST: linear in the nodes that the edit moves or deletes, in the classifiers and, if more than 64
// nodes are deleted, in the categories of all classifiers.
ZANDREL_EXPORT bool allows_edit(const zeManager& manager, const Tree_edit& edit);

}  // namespace zandrel

#endif  // ZANDREL_KNOWLEDGE_TREE_EDIT_H_
