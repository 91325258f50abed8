// zePhysicalTree: the tree that classification walks.
#ifndef ZANDREL_KNOWLEDGE_ZEPHYSICALTREE_H_
#define ZANDREL_KNOWLEDGE_ZEPHYSICALTREE_H_

#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/storage/Hio.h"

class zeIO;
class zeManager;
class zeMsg;

// The nodes of a knowledge container by id, the leaf nodes of each category, and the access to the
// classifier of a node. zeLogicalTree.cpp shows this tree and the logical tree in a drawing. A
// zeManager makes a physical tree and owns it by a counted pointer.
//
// The tree owns the nodes. The manager's registry owns the classifiers. Erasing a node frees
// neither its children nor its classifier. Node ids are not used again until `Clear`.
//
// Errors: see `MakeNode` and `Load`. Releasing or deleting the classifier of a node that has none
// does nothing.
// Threads: one at a time in the whole process, classification included. See zeManager.
class ZANDREL_EXPORT zePhysicalTree {
public:
    // BORROWS: `manager`, which must outlive this.
    explicit zePhysicalTree(zeManager* manager);
    zePhysicalTree(const zePhysicalTree&) = delete;
    zePhysicalTree& operator=(const zePhysicalTree&) = delete;

    // The node with this id, or null. No node has the id 0.
    zeNode* GetNode(unsigned int id);
    // The leaf nodes of a category; an empty list if no leaf has the category.
    // VALID UNTIL: a leaf of this category is added or removed.
    const std::vector<zeNode*>& GetLeafNodes(const Concept& category) const;
    // Makes a node with the next id, and its classifier unless the type is ZE_LEAF. The caller
    // links it to its parent and children. If the classifier cannot be made, no node is added.
    // RAISES: what zeManager::AddClassifier raises; the assertion "pp.second" if a node has the
    // next id already.
    zeNode* MakeNode(const Concept& name, unsigned int type, unsigned int flags, double threshold);
    // The nodes of this name that are not leaves; an empty list if there is none.
    // VALID UNTIL: such a node is added or removed.
    const std::vector<zeNode*>& GetInnerNodes(const Concept& name) const;
    // Enters a leaf in the list of its category; nothing prevents a second entry.
    void AddFinder(zeNode* node);
    // Removes a leaf from that list. The last entry moves into its place.
    void DelFinder(zeNode* node);

    // The node's classifier, or null if the node has no classifier. All code gets classifiers by
    // this function, since a classifier may not be in memory. In a container in cached form the
    // call may read this classifier from the file, and write and release another one.
    // VALID UNTIL: in cached form, `zeIO::ReadOnDemand` other statistical classifiers were fetched.
    // RAISES: what zeIO::LoadFromCache and zeIO::TouchCache raise.
    zeClassifier* get_classifier(zeNode* node);
    // Deletes the node's classifier from memory, after writing it to `io` if it has changes and
    // `io` is not null. `m_classifier_id` of the node does not change, so that the classifier can
    // be read again.
    // RAISES: what zeIO::DumpObject raises. The classifier is then still in memory.
    void release_classifier(zeNode* node, zeIO* io);
    // Gives the node a classifier and the type of this classifier; for null, no classifier and the
    // type ZE_LEAF.
    // RAISES: what zeIO::TouchCache raises, after the node got the classifier.
    void set_classifier(zeNode* node, zeClassifier* classifier);
    // Deletes the node's classifier for good, in cached form also its item in the file, and makes
    // the node a leaf without children. Nothing happens to a node without a classifier.
    // RAISES: what get_classifier and zeIO::DeleteItem raise. Nothing has changed then.
    void delete_classifier(zeNode* node);
    // Returns whether the way from `parent` to `child` is closed for this message. Below a leaf it
    // is always closed, below a statistical node never.
    bool is_cat_blocked(zeNode* parent, zeNode* child, zeMsg& msg);

    // Renames a node, and moves it to the list of its new name.
    void SetName(zeNode* node, const Concept& name);
    // Changes a node's type. If the type is new, a node that becomes a leaf loses NoScore, and any
    // other node gets it.
    void ChangeType(zeNode* node, unsigned int type);
    // Erases a node. Children that it still has lose their parent.
    // REQUIRES: no other node has it as a child, and no classifier has it as its node.
    void DeleteCat(zeNode* node);
    // Copies a subtree, which may be another tree's, under new ids and without classifiers;
    // records each copy in `mapping` and returns the copy of `source`. If memory runs out, the
    // nodes copied so far remain, linked to each other.  REQUIRES: no list of children leads back.
    zeNode* CopySubTree(zeNode* source, zeNode* new_parent, std::map<zeNode*, zeNode*>& mapping);
    // Forgets all nodes and starts ids from 1 again. Classifiers are not touched.
    void Clear();

    // The record. It contains no classifiers, and nodes are read without them.

    // Writes the node and all below it, by ascending id, and all leaves that their classifiers
    // know, even if they are not below the node. Null writes no node. Empty nodes with id 0, which
    // Load makes, are left out, and so are references to children that are not written. A parent
    // that is not written is named only in the record of a subtree.
    void Dump(Hio<HSegment>& io, zeNode* top) const;
    // Reads nodes and adds them to those that the tree has. A reference to a node that is not in
    // the record makes an empty node with id 0. The manager's version decides the format. RAISES:
    // what the stream raises; qtX<zeManager> 4 "Knowledge tree is damaged". The nodes read before
    // remain.
    void Load(Hio<HSegment>& io);
    // In records of version 1 a reference is a concept. Returns the node that the concept means
    // under a given parent, or null. `parent` may be null. A leaf that had several parents becomes
    // one node for each parent for which this function is called.
    zeNode* ConvertV1(const Concept& category, zeNode* parent);

    hash_map<unsigned int, zeNode> m_nodes;  // by id; an element never changes its address
    using Nodes_by_name = hash_map<Concept, std::vector<zeNode*>, ConceptHash>;

    Nodes_by_name m_finder;  // leaves of each category
    unsigned int m_last_node_id = 0;
    zeManager* m_manager;
    // The targets of references in records of version 1, filled when such a record is read: nodes
    // by concept, and for each leaf with several parents its first node and a place for each copy.
    hash_map<Concept, zeNode*, ConceptHash> m_v1_nodes;
    hash_map<Concept, std::vector<zeNode*>, ConceptHash> m_v1_pending;

private:
    unsigned int NextNodeId();
    zeNode* CopyNode(const zeNode& source, zeNode* new_parent);
    void EnterName(zeNode* node);
    void LeaveName(zeNode* node);

    using Concepts_by_id = std::map<unsigned int, std::vector<Concept>>;

    zeNode* refer_to(unsigned int id);
    zeNode* read_node(Hio<HSegment>& io);
    zeNode* read_node_v1(Hio<HSegment>& io, std::vector<Concept>& children,
                         std::vector<Concept>& parents);
    zeNode* enter(zeNode&& read);
    void load_v1(Hio<HSegment>& io);
    void link_v1(const Concepts_by_id& children, const Concepts_by_id& parents);
    zeNode* copy_v1_leaf(const zeNode& leaf, zeNode* parent);

    Nodes_by_name m_inner_nodes;  // nodes that are not leaves
};

// The number of uses of a classifier that was not in memory, and of one that was, in containers in
// cached form. They count in the whole process and are never reset by the library.
extern ZANDREL_EXPORT unsigned int g_MissedCacheCount;
extern ZANDREL_EXPORT unsigned int g_HitCacheCount;

#endif  // ZANDREL_KNOWLEDGE_ZEPHYSICALTREE_H_
