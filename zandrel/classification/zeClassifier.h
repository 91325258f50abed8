// zeClassifier: the object at an inner node that chooses among the node's children.
#ifndef ZANDREL_CLASSIFICATION_ZECLASSIFIER_H_
#define ZANDREL_CLASSIFICATION_ZECLASSIFIER_H_

#include <cstddef>
#include <map>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/knowledge/zeBase.h"

class zeMsg;
class zeResult_set;
struct zeNode;

// The interface of classifiers. The manager's registry owns them; a node borrows its own.
class ZANDREL_EXPORT zeClassifier : public zeBase {
public:
    ~zeClassifier() override;

    // A type of Classifier_type.cpp: ZE_RULE or ZE_STAT.
    unsigned int GetType() const override = 0;
    // Writes the id of the classifier and the id of its node, or 0 if it has no node.
    void Dump(Hio<HSegment>& io) const override;

    // Adds (child, factor) to `results` for each child that it selects; the walk multiplies the
    // factor by the node's score. A factor is added only if `results` accepts it.
    // `node_score`: the score that the walk has reached at this node.
    // `use_thresholds`: also apply the nodes' own thresholds, in the way of the class.
    virtual void classify(zeMsg& msg, zeResult_set& results, double node_score,
                          bool use_thresholds) = 0;
    // Returns whether the way from the node to a child is closed for this message. The default is
    // false: every way is open.
    virtual bool is_cat_blocked(zeNode* const& child, zeMsg& msg);
    // Appends the nodes that this classifier can select.
    virtual void get_all_categories(std::vector<zeNode*>& cats) = 0;
    // Replaces each node pointer of the classifier by its entry in the map, after a subtree was
    // copied. A pointer that is not in the map becomes null and is added to the map.
    virtual void global_replace(std::map<zeNode*, zeNode*>& replacement) = 0;

    // The functions that an edit of the tree needs. Only the logical tree calls them: its edits and
    // their verification, and zandrel::allows_edit, which predicts an edit. All are pure: the
    // compiler then demands an answer from each new class, and no class is left out silently.

    // Returns whether rules select the categories. If not, the classifier has learned them, a
    // category is added without a rule, and categories can move to another classifier without
    // rules.
    virtual bool has_rules() const = 0;
    // The approximate number of categories. The tree uses it only to choose the shorter of two
    // searches.
    virtual std::size_t category_count() const = 0;
    // Returns whether the node is one of the categories.
    virtual bool knows(zeNode* category) const = 0;
    // Adds a category and makes it a child of the node. `rule` is empty if there are no rules.
    // RAISES: an error of the class, for example if the category is known. The category may have
    // been added without becoming a child; `drop_category` then removes it.
    virtual void add_category(zeNode* category, const qtString& rule) = 0;
    // Gives a known category another rule.
    // RAISES: the assertion "sw" without rules; what the class raises for the rule.
    virtual void change_category_rule(zeNode* category, const qtString& rule) = 0;
    // Removes a category, also from the node's children. With `remove_concepts`, its counts are
    // also removed from the table of all concepts.
    // RAISES: an error of the class, for example if it does not know the category.
    virtual void remove_category(zeNode* category, bool remove_concepts) = 0;
    // Removes what the classifier itself keeps of a category, if it knows the category. For
    // repairs: the category need not be a child.
    virtual void drop_category(zeNode* category) = 0;
    // Builds again what the class derives from its categories, after some were removed.
    virtual void rebuild_table() = 0;

    // Returns whether the record in the file, if there is one, differs from the classifier. The base
    // returns `m_dirty`.
    virtual bool is_changed() const noexcept;
    // Call it after the record was written to the container's own file.
    virtual void set_written() noexcept;

    zeNode* m_node;  // BORROWS: the node that it belongs to; null for a temporary classifier

protected:
    zeClassifier(zeManager* manager, zeNode* node) : zeBase(manager), m_node(node) {}
};

#endif  // ZANDREL_CLASSIFICATION_ZECLASSIFIER_H_
