// zeLogicalTree: the tree as a person edits it.
#ifndef ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_
#define ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"

class zeClassifier;
class zeManager;
struct zeNode;

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
class ZANDREL_EXPORT zeLogicalTree {
public:
    // BORROWS: `owner`, which must outlive this.
    explicit zeLogicalTree(zeManager* owner);
    zeLogicalTree(const zeLogicalTree&) = delete;
    zeLogicalTree& operator=(const zeLogicalTree&) = delete;

    // Forgets all nodes and starts ids anew. The physical side is not touched.
    void Clear();

    // Mirrors a category that appeared on the physical side, as training makes it, below the node
    // at which `classifier` sits; without a classifier, or at a node that is not mirrored, the new
    // node has the parent 0. A node that is mirrored already is left as it is. Sets the manager's
    // modified flag; an exception changes nothing.
    // RAISES: the assertion "sw" for a rule node whose classifier is none of rules.
    void KCE_Add(zeNode* const& node, const zeClassifier* classifier);

    hash_map<unsigned int, zeLogicalNode> nodes;             // by id
    hash_map<zeNode*, unsigned int, zePointer_hash> finder;  // id of the node that mirrors it
    zeLogicalNode not_found_node;                            // answers for a missing id
    unsigned int next_id = 0;                                // the last id given
    zeManager* manager;

private:
    // The node that mirrors a physical one, or null.
    zeLogicalNode* FindMirror(zeNode* node);
    // Adds a node under the next id, below another one or none.
    void Insert(const zeLogicalNode& made, zeLogicalNode* above);
};

#endif  // ZANDREL_KNOWLEDGE_ZELOGICALTREE_H_
