// zeLogicalTree: the tree as a person edits it.
#ifndef ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_
#define ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_

#include <map>
#include <memory>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Hio.h"

class zeClassifier;
class zeManager;
class zeStat_matcher;
struct zeNode;

namespace zandrel::detail {

class Children_index;

}  // namespace zandrel::detail

// One node as its user sees it.
struct ZANDREL_EXPORT zeLogicalNode {
    unsigned int id = 0;           // from 1; 0 means no node
    unsigned char type = 0;        // ZE_LEAF, ZE_RULE or ZE_STAT
    unsigned char attributes = 0;  // bit 0 is NoScore; mirrored in the physical node
    double threshold = 0.0;        // mirrored in the physical node
    Concept category;              // mirrored as the physical node's name
    Concept name;                  // equal to `category` unless in 55 compatibility mode
    qtString rule;                 // selects the node in a rule classifier; empty otherwise
    qtString note1;                // free text of the user, stored and copied
    qtString note2;
    unsigned int parent = 0;             // id; 0 at the root
    std::vector<unsigned int> children;  // ids; their order has no meaning
    zeNode* physical_node = nullptr;     // BORROWS: the node that this one mirrors
};

// The user's model of a knowledge container, beside the physical tree that classification walks.
// A zeManager makes it and holds it by a counted pointer.
//
// Every edit is verified in full first; one that is refused changes nothing. It is then carried out
// on three sides: here, in the physical tree, and in the classifier that decides the node. That is
// the classifier of the node's real parent, the nearest node above it that has one: what stands
// between them is nested for the user's eye alone.
//
// Errors: qtX<zeLogicalTree> with the codes and texts of docs/errors.md. An edit that fails inside
// a classifier, after it was verified, leaves all sides as they stand. The assertions "clafer",
// "loc >= 0", "sw" and "from && to" mark states that a sound tree excludes.
// Threads: one at a time in the whole process. See zeManager.
class ZANDREL_EXPORT zeLogicalTree {
public:
    // What `VerifyChange` returns: bits of the kinds of change.
    static constexpr int kPhysicalChange = 1;   // work on the classifiers, or another name
    static constexpr int kAttributeChange = 2;  // category, attributes, threshold, notes
    // What `VerifyMove` returns for a move between two places under one statistical classifier.
    static constexpr int kMoveOfLinks = 4;

    // BORROWS: `owner`, which must outlive this.
    explicit zeLogicalTree(zeManager* owner);
    zeLogicalTree(const zeLogicalTree&) = delete;
    zeLogicalTree& operator=(const zeLogicalTree&) = delete;
    ~zeLogicalTree();

    // Forgets all nodes and starts ids anew. The physical side is not touched.
    void Clear();

    // Lookups.

    // The node of an id; one with id 0 if there is none.  VALID UNTIL: the node is deleted.
    const zeLogicalNode& GetNode(unsigned int id) const;
    // The same, or null. What is changed through it is changed on no other side. Names and links
    // can be changed through it, so from the first call until `Clear` a search for a name that is
    // not there is linear in the children, and a move is linear in the nodes of both trees.
    zeLogicalNode* GetNodePtr(unsigned int id);
    // The node that mirrors a physical node; one with id 0 if there is none.
    const zeLogicalNode& FindCategory(zeNode* physical_node) const;
    // The position among the parent's children of the one that mirrors a physical node; -1 if there
    // is none.  COST: constant on average; the first time, and without such a child, linear in the
    // children.
    int FindChild(const zeLogicalNode& parent, zeNode* physical_node) const;
    // The classifier of the nearest node that has one, from `id` itself upwards.
    // RAISES: the assertion "clafer" if there is none.
    zeClassifier* GetRealParent(unsigned int id) const;
    // Appends the categories that would fall to the node if it were a classifier: its children, and
    // theirs where a child has no classifier.
    void GatherSons(const zeLogicalNode* node, std::vector<zeLogicalNode*>& gathered) const;
    // Appends the node and, if it has no classifier, the same of each child: what moves along with
    // it in the classifier above.
    void GatherFatherAndSons(const zeLogicalNode* node,
                             std::vector<zeLogicalNode*>& gathered) const;
    // The nearest node with a classifier, from `id` itself upwards; null if there is none.
    const zeLogicalNode* NearestClassifierNode(unsigned int id) const;
    // The node and all below it, parents before children. A node that is reached twice is in it
    // once; if lists of children lead back, the nodes above `top` are left out.
    std::vector<zeLogicalNode*> Subtree(const zeLogicalNode& top) const;
    // Whether adding this node makes a classifier of the leaf that is its parent.
    bool WillChangeParentToClassifier(const zeLogicalNode& node) const;

    // Edits.

    // Adds a node under `node.parent`, 0 for the root, and returns its id, which is stored in it
    // with `physical_node`. It starts without children, whatever `node` has.
    // RAISES: "clafer" for an unknown parent.
    // COST: as VerifyCategoryName.
    unsigned int AddLogicalNode(zeLogicalNode& node);
    // Deletes a node with all below it. With `remove_concepts` a statistical classifier forgets
    // what the categories brought to its table of all concepts.
    // COST: linear in the concepts of the classifier above, which selects its features anew.
    void DelLogicalNode(unsigned int id, bool remove_concepts);
    // Moves a node, with all below it, under another parent. That may not be below the node, in
    // either tree, by the lists of children or by the parents that nodes name.
    // COST: linear in the nodes below it and in the depth, and between two classifiers that of
    // deleting and adding as well.
    void MoveLogicalNode(unsigned int id, unsigned int new_parent);
    // Gives the node of the same id the type, name, category, attributes, threshold, notes and rule
    // of `node`. Attributes and threshold are written to the physical node at every change. A type
    // that no classifier has is refused as a switch of type, and so is a rule node in place of a
    // leaf with children: they have no rules.
    void ChangeLogicalNode(const zeLogicalNode& node);
    // Replaces the root's classifier by one of the other kind, while the root has no children.
    void ChangeRootType(int type);

    // Mirrors of what has happened on the physical side.

    // Adds the node that mirrors a physical node, under the node of `classifier`. Without one, or
    // where that node is not mirrored, it has no parent. Nothing happens to a node that is mirrored
    // already.
    void KCE_Add(zeNode* const& node, const zeClassifier* classifier);
    // Deletes a node alone, with its physical node, which what still points at it there forgets.
    // Its children go to the parent's children; their own `parent` still names the deleted id.
    // Nothing happens to an unknown node or the root.
    void KCE_Delete(zeNode* const& node);
    // Takes over the physical node's attributes.
    void KCE_ChangeAttr(zeNode*& node);
    // Stores a rule. No classifier is touched.
    void KCE_ChangeRule(zeNode* const& node, const qtString& rule);

    // What each edit verifies. Nothing changes; a broken rule raises, in the order in which the
    // rules stand, so that of several the same one is told every time.

    void VerifyAdd(const zeLogicalNode& node) const;
    // Bits of the kinds of change; 0 if nothing differs.
    int VerifyChange(const zeLogicalNode& node) const;
    // kMoveOfLinks or 0.
    int VerifyMove(unsigned int id, unsigned int new_parent) const;
    // That no son has the name of a category that `target` has.
    void VerifyMoveSons(zeStat_matcher* target, std::vector<zeLogicalNode*>& sons) const;
    // `parent`: of the node that would have the rule.
    void VerifyRule(const zeLogicalNode& parent, const qtString& rule) const;
    void VerifyNodeName(const zeLogicalNode& node) const;
    // With `check_used`, that no category of the real parent has this name.
    // COST: linear in the nodes of this name, or in the categories of that classifier if these are
    // fewer.
    void VerifyCategoryName(const zeLogicalNode& node, bool check_used) const;
    // That two classifiers can be in memory at once.
    void VerifyCacheSize() const;
    // Whether at most one leaf, or none, has the category. No edit asks.
    bool VerifyUniqueLeafCategory(const Concept& category) const;
    bool VerifyUnusedLeafCategory(const Concept& category) const;

    // Paths: names from the root down, joined by "/". In a name, "/" and "\" have a "\" before
    // them.

    // Replaces `parts` by the names of a path. Empty ones are dropped.
    static void BreakPath(const qtString& path, std::vector<qtString>& parts);
    // The node of a path; one with id 0 if there is none.  COST: linear in its parts; the first
    // time in the children on the way as well.
    const zeLogicalNode& FindNodeByPath(const qtString& path) const;
    // The same for the first `count` parts. A count above their number finds nothing.
    const zeLogicalNode& FindNodeByPath(const std::vector<qtString>& parts, int count) const;
    // Replaces `path` by that of a node; by the empty text for an unknown id, and for a node whose
    // parents a program has linked to a circle: no path leads to it.
    void GetNodePath(unsigned int id, qtString& path) const;

    // Copies.

    // Copies a node of `source`, which may be another tree, with all below it, under the node of id
    // `parent`, 0 for none, and returns the id of its copy. Ids go on from `next_id`, parents
    // before their children. With `node_map` the copies mirror the nodes that it maps theirs to;
    // what it lacks becomes null, and it gains that. No classifier is touched. REQUIRES: `parent`
    // is neither `id` nor below it in the same tree, and no list of children below `id` leads back.
    unsigned int CopySubTree(const zeLogicalTree& source, unsigned int id, unsigned int parent,
                             std::map<zeNode*, zeNode*>* node_map);

    // The record.

    // Writes the nodes by ascending id. With the id of a node other than the root, which has 1,
    // writes that node and all below it as a tree of its own, with ids of its own.
    void Dump(Hio<HSegment>& io, unsigned int top) const;
    // Reads nodes, beside those that the tree has; the physical tree is there already. A node whose
    // physical node is missing gets one, which stands in no tree. The form is that of the manager's
    // version. Node names that differ from their categories set the manager's 55 compatibility
    // mode.
    // RAISES: what the stream raises; qtX<zeManager> 4 "Knowledge tree is damaged". What was read
    // before stays.
    void Load(Hio<HSegment>& io);

    // Steps of the edits.

    // Gives a node without a name that of its category, where the two may not differ.
    void FixNodeName(zeLogicalNode& node) const;
    // Makes a leaf with a parent of a classifier node that has lost its last child.
    void ChangeNodeToLeaf(const zeLogicalNode& node);
    // Makes a rule node of a leaf that gets a child with a rule, and a statistical node of a leaf
    // with a rule that gets one without.
    void ChangeParentToClassifier(const zeLogicalNode& parent, const zeLogicalNode& child);
    // Takes a node out of its parent's children. The last child moves into its place.
    void RemoveFromParent(const zeLogicalNode& node);
    // Takes a node out of the classifier that decides it, and leaves the trees.
    void PhysicalDelete(const zeLogicalNode& node, bool remove_concepts);
    // Deletes a node with all below it in both trees. With `remove` it is also removed from its
    // parent's children. If a program has linked nodes to a circle, each node that the lists of
    // children lead to is deleted once, except for the nodes above `node`.
    void RecursiveNodeDelete(zeLogicalNode& node, bool remove);
    // Moves categories from one classifier without rules to another. What was learned of them is
    // lost.
    void MoveSons(zeClassifier* from, zeClassifier* to, const std::vector<zeLogicalNode*>& sons);
    void AddFinder(const zeLogicalNode& node);
    void DelFinder(const zeLogicalNode& node);

    hash_map<unsigned int, zeLogicalNode> nodes;             // by id
    hash_map<zeNode*, unsigned int, zePointer_hash> finder;  // id of the node that mirrors it
    zeLogicalNode not_found_node;                            // answers for a missing id
    unsigned int next_id = 0;                                // the last id given
    zeManager* manager;

private:
    zeLogicalNode* Find(unsigned int id) const;
    const zeLogicalNode* FindChildByName(const zeLogicalNode& parent, const Concept& name) const;

    void ChangeClassifier(zeLogicalNode& node, unsigned char type);
    void ChangeFields(zeLogicalNode& node, const zeLogicalNode& wanted);
    void ChangeRule(zeLogicalNode& node, const qtString& rule);
    void AddToClassifier(zeClassifier& classifier, const zeLogicalNode& node);
    bool HasCategory(zeClassifier& classifier, const Concept& name) const;
    void Enter(const zeLogicalNode& node);
    void DeleteClassifiersBelow(const zeLogicalNode& node);
    void EraseNode(zeLogicalNode& node);
    void Relink(zeLogicalNode& node, zeLogicalNode& new_parent);

    // Repairs. zeLogicalTree_repair.cpp describes the states.

    // Prepares a leaf for a classifier: deletes one that it has already, and takes it out of all
    // classifiers but the one above.
    void RepairLeaf(const zeLogicalNode& leaf);
    // Takes a node out of the classifier of its physical parent if that is another than `decider`.
    void LeaveHolder(zeNode* node, const zeClassifier* decider);
    // Takes nodes out of all classifiers, except for `but`, which may be null.
    void LeaveClassifiers(const std::vector<zeNode*>& leaving, const zeClassifier* but);
    // Removes every pointer to the physical nodes, and their classifiers.
    void Detach(const std::vector<zeLogicalNode*>& deleted);
    bool WalkDown(const zeLogicalNode& top, hash_set<unsigned int>& seen,
                  std::vector<zeLogicalNode*>& parents_first) const;

    unsigned int ReadNode(Hio<HSegment>& io);
    zeNode* NodeOf(unsigned int physical_id, const zeLogicalNode& node);
    zeNode* DetachedNode(unsigned int id, const zeLogicalNode& node);
    void FindNodesOfV1();

    void VerifyAddAtTop(const zeLogicalNode& node) const;
    void VerifyAddBelow(const zeLogicalNode& parent, const zeLogicalNode& node) const;
    void VerifyTypeChange(const zeLogicalNode& from, unsigned char type) const;
    // VerifyMoveSons for any classifier without rules.
    void VerifyMerge(zeClassifier* target, const std::vector<zeLogicalNode*>& sons) const;
    void VerifyNotBelow(const zeLogicalNode& target, const zeLogicalNode& node) const;

    std::unique_ptr<zandrel::detail::Children_index> m_children;  // a cache
    bool m_is_exposed = false;  // A program has got a node that it may change.
};

#endif  // ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_
