// zeClassifier: what sits at an inner node and chooses among its children.
#ifndef ZANDREL_CLASSIFICATION_ZECLASSIFIER_H_
#define ZANDREL_CLASSIFICATION_ZECLASSIFIER_H_

#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/knowledge/zeBase.h"

class zeMsg;
class zeResult_set;
struct zeNode;

// The interface of classifiers. The manager's registry owns them; a node borrows its own.
class ZANDREL_EXPORT zeClassifier : public zeBase {
public:
    ~zeClassifier() override;

    // ZE_RULE or ZE_STAT.
    unsigned int GetType() const override = 0;
    // Writes the id and the id of the node, 0 without one.
    void Dump(Hio<HSegment>& io) const override;

    // Adds (child, factor) to `results` for each child that it selects; the walk multiplies the
    // factor by the node's score. A factor goes in only if `results` accepts it.
    // `node_score`: the score that the walk has reached at this node.
    // `use_thresholds`: apply the nodes' own thresholds, as the kind of classifier does.
    virtual void classify(zeMsg& msg, zeResult_set& results, double node_score,
                          bool use_thresholds) = 0;
    // Whether the way from here to a child is closed for this message. It is open by default.
    virtual bool is_cat_blocked(zeNode* const& child, zeMsg& msg);
    // Appends the nodes that this classifier can yield.
    virtual void get_all_categories(std::vector<zeNode*>& cats) = 0;
    // Rewrites every node pointer held through the map, after a subtree has been copied. A pointer
    // missing from the map becomes null, and the map gains it.
    virtual void global_replace(std::map<zeNode*, zeNode*>& replacement) = 0;

    zeNode* m_node;  // BORROWS: the node at which it sits; null for a temporary classifier

protected:
    zeClassifier(zeManager* manager, zeNode* node) : zeBase(manager), m_node(node) {}
};

#endif  // ZANDREL_CLASSIFICATION_ZECLASSIFIER_H_
