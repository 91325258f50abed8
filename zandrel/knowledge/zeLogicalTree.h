// zeLogicalTree: the tree as a person edits it.
#ifndef ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_
#define ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_

#include <iosfwd>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Hio.h"

class BaseLPWrapper;
class Rule_checker;
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

// A rule of the tree.
struct ZANDREL_EXPORT RuleInfo {
    unsigned int id = 0;              // of the logical node that the rule selects
    Rule_checker* checker = nullptr;  // BORROWS. VALID UNTIL: the rule is changed or removed
    Concept top_category;             // see `GetAllRules`
};

// The user's model of a knowledge container, beside the physical tree that classification walks.
// zeLogicalTree.cpp shows both trees in a drawing. A zeManager makes a logical tree and owns it by
// a counted pointer.
//
// Every edit is first verified in full; a refused edit changes nothing. The edit then changes three
// sides: the logical tree, the physical tree, and the classifier that decides the node. This is the
// classifier of the node's real parent, the nearest node above it that has a classifier. Nodes
// between the two have no classifier: the nesting is only for the user.
//
// Errors: qtX<zeLogicalTree> with the codes and texts of docs/errors.md. If an edit fails inside a
// classifier, after it was verified, no side is restored. The assertions "clafer", "loc >= 0", "sw"
// and "from && to" fail only in a tree that is not sound, or for an unknown id.
// Threads: one at a time in the whole process. See zeManager.
class ZANDREL_EXPORT zeLogicalTree {
public:
    // Bits of the kinds of change, as `VerifyChange` returns them.
    static constexpr int kPhysicalChange = 1;   // work on the classifiers, or another name
    static constexpr int kAttributeChange = 2;  // category, attributes, threshold, notes
    // Returned by `VerifyMove` for a move between two places under one classifier without rules.
    static constexpr int kMoveOfLinks = 4;

    // BORROWS: `owner`, which must outlive this.
    explicit zeLogicalTree(zeManager* owner);
    zeLogicalTree(const zeLogicalTree&) = delete;
    zeLogicalTree& operator=(const zeLogicalTree&) = delete;
    ~zeLogicalTree();

    // Forgets all nodes and starts ids from 1 again. The physical side is not touched.
    void Clear();

    // Lookups.

    // The node with this id, or a node with id 0 if no node has it.  VALID UNTIL: the node is
    // deleted.
    const zeLogicalNode& GetNode(unsigned int id) const;
    // A pointer to the node with this id, or null if no node has it. A change through this pointer
    // changes no other side. The caller can change names and links, so from the first call until
    // `Clear` a search for a name is linear in the children, and a move is linear in the nodes of
    // both trees.
    zeLogicalNode* GetNodePtr(unsigned int id);
    // The node that mirrors a physical node, or a node with id 0 if no node does.
    const zeLogicalNode& FindCategory(zeNode* physical_node) const;
    // The position of the parent's child that mirrors a physical node; -1 if no child does.
    // COST: constant on average; the first time, and without such a child, linear in the children.
    int FindChild(const zeLogicalNode& parent, zeNode* physical_node) const;
    // The classifier of the nearest node that has one, from `id` itself upwards.
    // RAISES: the assertion "clafer" if no node on the way has a classifier.
    // VALID UNTIL: another classifier is fetched, if the number in memory is limited.
    zeClassifier* GetRealParent(unsigned int id) const;
    // Appends the nodes that would be categories of the node if it got a classifier: its children
    // and, below each child without a classifier, that child's children, and so on.
    void GatherSons(const zeLogicalNode* node, std::vector<zeLogicalNode*>& gathered) const;
    // Appends the node and, if it has no classifier, what `GatherSons` appends: the categories of
    // the classifier above that move along with the node.
    void GatherFatherAndSons(const zeLogicalNode* node,
                             std::vector<zeLogicalNode*>& gathered) const;
    // The nearest node with a classifier, from `id` itself upwards, or null.
    const zeLogicalNode* NearestClassifierNode(unsigned int id) const;
    // The node and all below it, parents before children. A node that is reached twice is in the
    // result once. If lists of children lead back, the nodes above `top` are left out.
    std::vector<zeLogicalNode*> Subtree(const zeLogicalNode& top) const;
    // Returns whether adding this node gives a classifier to its parent, a leaf.
    bool WillChangeParentToClassifier(const zeLogicalNode& node) const;

    // Edits.

    // Adds a node under `node.parent`, which is 0 for the root. Returns its id, and stores the id
    // and `physical_node` in `node`. The new node has no children, whatever `node` has. RAISES:
    // "clafer" for an unknown parent. COST: as VerifyCategoryName.
    unsigned int AddLogicalNode(zeLogicalNode& node);
    // Deletes a node with all below it. With `remove_concepts` a statistical classifier removes
    // the counts of the categories from its table of all concepts.
    // COST: linear in the concepts of the classifier above, which selects its features again.
    void DelLogicalNode(unsigned int id, bool remove_concepts);
    // Moves a node, with all below it, under another parent. The new parent may not be below the
    // node in either tree, whether we follow the lists of children or the parents that nodes name.
    // COST: linear in the nodes below it and in the depth; between two classifiers also the cost of
    // deleting and adding.
    void MoveLogicalNode(unsigned int id, unsigned int new_parent);
    // Gives the node of the same id the type, name, category, attributes, threshold, notes and rule
    // of `node`. Every change also writes attributes and threshold to the physical node. A type
    // that is neither ZE_LEAF nor the type of a classifier is refused like any switch of type that
    // is not allowed. So is the change of a leaf with children to a rule node, since the children
    // have no rules.
    void ChangeLogicalNode(const zeLogicalNode& node);
    // Replaces the root's classifier by one of another type. Nothing happens without a root, or if
    // the root has this type already.
    // RAISES: 16 "Invalid new root type" for a type that no classifier has; 16 "Cannot change root
    // type" if the root has children.
    void ChangeRootType(int type);

    // Functions that mirror a change of the physical side.

    // Adds a node that mirrors a physical node, under the node of `classifier`. Without a
    // classifier, or if its node is not mirrored, the new node has no parent. If the physical node
    // is mirrored already, nothing happens.
    void KCE_Add(zeNode* const& node, const zeClassifier* classifier);
    // Deletes one node and its physical node; pointers of other physical nodes and classifiers to
    // it are removed. Its children are appended to the parent's children, but their own `parent`
    // still names the deleted id. Nothing happens to an unknown node or the root.
    // RAISES: the assertion "loc >= 0" if the node is not in its parent's children, for example
    // since its parent was deleted in this way; nothing has changed then. In cached form the errors
    // of fetching and writing classifiers; the node remains, without its classifier.
    void KCE_Delete(zeNode* const& node);
    // Copies the physical node's attributes.
    void KCE_ChangeAttr(zeNode*& node);
    // Stores a rule. No classifier is touched.
    void KCE_ChangeRule(zeNode* const& node, const qtString& rule);

    // The checks of the edits. They change nothing. A broken rule raises an exception. The rules
    // are checked in a fixed order, so if several are broken, the same one is reported every time.

    void VerifyAdd(const zeLogicalNode& node) const;
    // Returns the bits of the kinds of change, or 0 if nothing differs.
    int VerifyChange(const zeLogicalNode& node) const;
    // Returns kMoveOfLinks or 0.
    int VerifyMove(unsigned int id, unsigned int new_parent) const;
    // Checks that no son has the name of a category of `target`.
    void VerifyMoveSons(zeStat_matcher* target, std::vector<zeLogicalNode*>& sons) const;
    // `parent`: the parent of the node that would have the rule.
    void VerifyRule(const zeLogicalNode& parent, const qtString& rule) const;
    void VerifyNodeName(const zeLogicalNode& node) const;
    // With `check_used`, also checks that no category of the real parent has this name.
    // COST: linear in the nodes of this name, or in the categories of that classifier if these are
    // fewer.
    void VerifyCategoryName(const zeLogicalNode& node, bool check_used) const;
    // Checks that two classifiers can be in memory at once.
    void VerifyCacheSize() const;
    // Return whether at most one leaf, or no leaf, has the category. No edit calls them.
    bool VerifyUniqueLeafCategory(const Concept& category) const;
    bool VerifyUnusedLeafCategory(const Concept& category) const;

    // Paths: names from the root down, joined by "/". In a name, "/" and "\" have a "\" before
    // them.

    // Replaces `parts` by the names of a path. Empty ones are dropped.
    static void BreakPath(const qtString& path, std::vector<qtString>& parts);
    // The node of a path, or a node with id 0 if the path leads to no node.  COST: linear in its
    // parts; the first time also in the children on the way.
    const zeLogicalNode& FindNodeByPath(const qtString& path) const;
    // Does the same for the first `count` parts. If there are fewer parts, no node is found.
    const zeLogicalNode& FindNodeByPath(const std::vector<qtString>& parts, int count) const;
    // Replaces `path` by the path of a node. It is empty for an unknown id, and for a node whose
    // parents a program has linked to a circle: no path leads to it.
    void GetNodePath(unsigned int id, qtString& path) const;

    // Rules. Only ProcessConceptRules changes anything, and it changes only second forms of
    // concepts, so the container is not marked as modified.

    // Appends each rule of the tree; a node's rules come before those below it. A default has no
    // rule. If the root is a rule node, the top category of a rule is the name of the child of the
    // root that is above the rule's node. It is empty for the rules of these children themselves,
    // and "None" under any other root.  RAISES: the assertion "sw" if a rule node has no rule
    // classifier; the list then has the rules of the nodes before it.
    void GetAllRules(std::vector<RuleInfo>& rules) const;
    // Does the same for a node and all nodes below it. `top`: the top category of the node's own
    // rules. Below, an empty top category is replaced by the name of the node's child on the way. A
    // node that is reached twice, in a tree that a program has linked to a circle, is looked at
    // once.
    void RecursiveGetAllRules(const zeLogicalNode& node, Concept top,
                              std::vector<RuleInfo>& rules) const;
    // Replaces `nvps` by the keys that rules read, each with the letter of its datatype, as in
    // `$key(n)`: 'n' a number, 's' a text, '?' a test of existence. `id`: of the node whose rule is
    // read; 0 means the rules of all nodes. A default reads no key. If rules read a key with
    // different datatypes, the rule of the greatest id counts; in one rule, the last place of the
    // key. Meanwhile `RuleParser::verification_func` is a function of the library. It is null
    // afterwards, whatever it was before.
    // RAISES: what the parser raises for a wrong rule. Edits refuse such a rule, but KCE_ChangeRule
    // stores it. `nvps` then has the keys of the rules before it, and the function remains set: it
    // lets each key pass and stores nothing. Set it to null.
    // COST: parses each rule.
    void GetRuleNvps(std::map<qtString, char>& nvps, unsigned int id) const;
    // Adds the concepts of all rules, as they are written, to `concepts`. With `phrases_only` only
    // those that have a blank or an underscore.
    // RAISES: as GetAllRules.
    void CollectWordRules(std::set<Concept>& concepts, bool phrases_only) const;
    // A function of the caller's language processing, which gives a rule's word the form that bags
    // have: (the caller's argument, the word, the form to set, the rule's top category). The form
    // is empty before the call; empty means no other form.
    using Concept_processor = void (*)(BaseLPWrapper*, const Concept&, Concept&, const Concept&);
    // Gives each concept of each rule the second form that the function sets
    // (zeConceptInDoc::m_processed). A form that equals the concept is no other form. Returns
    // whether a second form has changed. Files do not have second forms, and a rule that is changed
    // or copied loses them: call this again then.
    // REQUIRES: nothing is being classified.
    // RAISES: as GetAllRules, and what the function raises; earlier concepts then have their forms.
    bool ProcessConceptRules(Concept_processor process, BaseLPWrapper* wrapper) const;
    // Writes the path and the text of each rule that has concepts, and the concepts that have a
    // second form, with that form. zeLogicalTree_queries.cpp has an example.
    // RAISES: as GetAllRules.
    void PrintConceptRules(std::ostream& out) const;

    // Copies.

    // Copies a node of `source`, which may be another tree, with all below it, under the node of id
    // `parent`, 0 for none, and returns the id of the copy. The new ids continue after `next_id`,
    // parents before their children. With `node_map`, each copy mirrors the physical node to which
    // the original's is mapped. A physical node that is not in the map becomes null and is added to
    // the map. No classifier is touched.
    // REQUIRES: `parent` is neither `id` nor below it in the same tree, and no list of children
    // below `id` leads back.
    unsigned int CopySubTree(const zeLogicalTree& source, unsigned int id, unsigned int parent,
                             std::map<zeNode*, zeNode*>* node_map);

    // Import of another container. docs/decisions/imports.md has the reasons.

    // Checks that `source` can be imported into this container.
    // RAISES: 1 "No input found" (argument: the empty text) for null, for this tree's own manager,
    // and for a source whose root has no classifier or no children; qtX<zeManager> 4 for a source
    // that could not be written; 20 "Cannot merge a compact container with a full one"; what
    // zeManager::GetRootClassifier raises. No tree changes.
    void VerifyImport(zeManager* source) const;
    // Moves the content of `source` under the node `id`: all nodes, the classifiers and what they
    // have learned. The copy of the source's root becomes a child of the node and a category of the
    // classifier that decides there: with the rule "1.0" in a rule classifier, and as a category
    // that has learned nothing in a statistical one. The logical copy keeps the rule that the
    // source's root had. A leaf becomes a rule node if the source's root has a rule; otherwise a
    // leaf with a rule becomes a statistical node, and any other leaf remains one. If the source is
    // in 55 compatibility mode, this container is afterwards, too. Names are not checked: see
    // VerifyCategoryName. Imported rules have no second forms: see ProcessConceptRules.
    // After success the source is empty, as after zeManager::Release. A source in cached form that
    // was opened for writing is flushed first; its file is not changed any more.
    // RAISES: what VerifyImport and zeManager::ImportKC raise; "clafer" for an unknown id; what
    // VerifyChange raises for the change of a leaf. The trees and classifiers are then as before,
    // except that a leaf remains a classifier if changing it back fails. See ImportKC for the
    // source.
    void ImportTree(zeManager* source, unsigned int id, CTProgress* progress);

    // The record.

    // Writes the nodes by ascending id. With the id of a node other than the root, which has 1,
    // writes that node and all below it as a tree of its own, with ids of its own.
    void Dump(Hio<HSegment>& io, unsigned int top) const;
    // Reads nodes and adds them to those that the tree has. A node replaces one of the same id. The
    // physical tree must have been read. A node whose physical node is missing gets a new one,
    // which is in no tree. The manager's version decides the format. Node names that differ from
    // their categories set the manager's 55 compatibility mode.
    // RAISES: what the stream raises; qtX<zeManager> 4 "Knowledge tree is damaged". The nodes read
    // before remain.
    void Load(Hio<HSegment>& io);

    // The text form: one line for each node, parents before their children. docs/formats/tree.md
    // describes it. Thresholds, notes and trained statistics are not in it.

    // Writes the whole tree, replacing the file. White space in names and rules is written as
    // blanks. An empty tree gives an empty file.
    // RAISES: 0 "Can't open file " and the path; 0 "Can't write file " and the path, if only a part
    // was written (argument of both: the path).
    void DumpText(const qtString& path) const;
    // Adds the nodes of a file to the tree, which should be empty: otherwise the first line is
    // refused. Empty lines are skipped. A name that differs from its category switches the manager
    // to 55 compatibility mode. The rule "default" is refused; see zandrel::Tree_text for another
    // treatment. The ids begin at 1.
    // RAISES: 0 "Can't open file " and the path (argument: the path); what
    // zandrel::Tree_text::AddLine raises for the first bad line. The nodes of the lines before it
    // remain.
    void LoadText(const qtString& path);
    // Writes a node and all nodes below it, as zandrel::Tree_text::Write. Nothing recurses: a deep
    // tree needs no deep stack.
    void RecursiveWriteText(std::basic_fstream<char>& out, unsigned int id, int level) const;
    // The text in brackets, with a blank for each white space byte.
    qtString PutString(const qtString& text) const;
    // The text in the brackets of a field.
    // RAISES: 1 the field and " : invalid input string" (argument: the field), without brackets.
    qtString GetString(const qtString& field) const;

    // Steps of the edits.

    // Gives a node without a name the name of its category, except in 55 compatibility mode.
    void FixNodeName(zeLogicalNode& node) const;
    // Turns a classifier node other than the root into a leaf if it has lost its last child.
    void ChangeNodeToLeaf(const zeLogicalNode& node);
    // Turns a leaf into a rule node if it gets a child with a rule. Turns a leaf with a rule into a
    // statistical node if it gets a child without a rule.
    void ChangeParentToClassifier(const zeLogicalNode& parent, const zeLogicalNode& child);
    // Removes a node from its parent's children. The last child moves into its place.
    void RemoveFromParent(const zeLogicalNode& node);
    // Removes a node, and the categories nested below it, from the classifier that decides them.
    // The nodes are not deleted.
    void PhysicalDelete(const zeLogicalNode& node, bool remove_concepts);
    // Deletes a node with all below it in both trees. With `remove` it is also removed from its
    // parent's children. If a program has linked nodes to a circle, each node that the lists of
    // children lead to is deleted once, except for the nodes above `node`.
    void RecursiveNodeDelete(zeLogicalNode& node, bool remove);
    // Moves categories from one classifier without rules to another. Their statistics are lost.
    // REQUIRES: both are in memory at once.
    void MoveSons(zeClassifier* from, zeClassifier* to, const std::vector<zeLogicalNode*>& sons);
    void AddFinder(const zeLogicalNode& node);
    void DelFinder(const zeLogicalNode& node);

    hash_map<unsigned int, zeLogicalNode> nodes;             // by id
    hash_map<zeNode*, unsigned int, zePointer_hash> finder;  // id of the node that mirrors it
    zeLogicalNode not_found_node;                            // returned for a missing id
    unsigned int next_id = 0;                                // the last id given
    zeManager* manager;

private:
    zeLogicalNode* Find(unsigned int id) const;
    const zeLogicalNode* FindChildByName(const zeLogicalNode& parent, const Concept& name) const;

    void AppendRules(const zeLogicalNode& node, const Concept& top,
                     std::vector<RuleInfo>& rules) const;

    void ChangeClassifier(zeLogicalNode& node, unsigned char type);
    void ChangeFields(zeLogicalNode& node, const zeLogicalNode& wanted);
    // The physical node of the nearest node that has a classifier, from `id` itself upwards, or
    // null. The classifier is not fetched.
    zeNode* RealParentNode(unsigned int id) const;
    // RAISES: the assertion "clafer" for null and for a node without a classifier.
    // VALID UNTIL: as GetRealParent.
    zeClassifier& ClassifierOf(zeNode* node) const;
    // Does the same as MoveSons, for the classifiers of two nodes. One is in memory at a time, if
    // only one may be.
    void MoveCategories(zeNode* from, zeNode* to, const std::vector<zeLogicalNode*>& sons);
    void AddToClassifier(zeClassifier& classifier, const zeLogicalNode& node);
    bool HasCategory(zeClassifier& classifier, const Concept& name) const;
    void Enter(const zeLogicalNode& node);
    void DeleteClassifiersBelow(const zeLogicalNode& node);
    void Relink(zeLogicalNode& node, zeLogicalNode& new_parent);
    void RestoreLeaf(const zeLogicalNode& leaf) noexcept;

    // Repairs. zeLogicalTree_repair.cpp describes the states.

    // Prepares a leaf for a new classifier: deletes a classifier that it has already, and removes
    // it from all classifiers except for the one above.
    void RepairLeaf(const zeLogicalNode& leaf);
    // Removes a node from its physical parent and that parent's classifier, unless this parent is
    // `decider`, which may be null.
    void LeaveHolder(zeNode* node, const zeNode* decider);
    // Removes nodes from all classifiers, except for that of `but`, which may be null.
    void LeaveClassifiers(const std::vector<zeNode*>& leaving, const zeNode* but);
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
    // Does the same as VerifyMoveSons, for any classifier without rules.
    void VerifyMerge(zeClassifier* target, const std::vector<zeLogicalNode*>& sons) const;
    void VerifyNotBelow(const zeLogicalNode& target, const zeLogicalNode& node) const;

    std::unique_ptr<zandrel::detail::Children_index> m_children;  // a cache
    bool m_is_exposed = false;  // GetNodePtr was called, so a program may change nodes
};

#endif  // ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_
