// zeSwitcher: the rule classifier.
#ifndef ZANDREL_CLASSIFICATION_ZESWITCHER_H_
#define ZANDREL_CLASSIFICATION_ZESWITCHER_H_

#include <cstddef>
#include <map>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtString.h"

// Routes a message to the children of its node by one rule for each child. All rules are
// evaluated, so several children can be selected. One child can be the default, which is selected
// if no rule fires. The rule text "default", which is never parsed, makes a child the default.
//
// zeManager::AddClassifier makes it and the manager's registry owns it. It owns its rules and
// borrows the nodes. It is always in memory.
//
// Errors: qtX<zeSwitcher>, with two arguments: the names of `m_node` and of the child. The
// operations that raise it need a switcher that has a node, and a child that is not null.
// Threads: as zePhysicalTree.
class ZANDREL_EXPORT zeSwitcher : public zeClassifier {
public:
    // Without rules and without a default.  BORROWS: `node`.
    zeSwitcher(zeManager* manager, zeNode* node);
    ~zeSwitcher() override;

    unsigned int GetType() const override { return ZE_RULE; }

    // Writes the id, the node, the default and the rules. A node is written as its id, and null as
    // 0.
    void Dump(Hio<HSegment>& io) const override;
    // Reads what follows the node in a record: the default, which is not linked, and the rules,
    // each by `add_rule`.
    // RAISES: what the stream and `add_rule` raise; the assertion "cat" for a rule whose child the
    // tree does not have. The rules that were read before remain.
    void Load(Hio<HSegment>& io);

    // Gives a child its rule and links it under the node.
    // RAISES: 0 "Category already exists in classifier"; 1 "Default already exists in classifier";
    // what the parser raises. Nothing has changed then.
    // COST: parses the text once; and that of zeNode::add_child.
    void add_rule(zeNode*& cat, const qtString& text);
    // Gives a child another rule; the child moves to the end of the node's children. A text that
    // `add_rule` refuses leaves the child without a rule and unlinked: check it beforehand.
    // RAISES: 2 "Category not found in classifier", changing nothing; what `add_rule` raises.
    void change_rule(zeNode*& cat, const qtString& text);
    // Returns the text of the rule of a child: "default" for the default, and the empty text for a
    // child without a rule.
    qtString get_rule(zeNode* const& cat) const;

    // Adds each child whose rule fires, with the rule's value, if `results` accepts it. Adds the
    // default with 1.0 if no rule fires and the threshold of `results` is at most 1. A rule fires
    // if its value is above 0; with `use_thresholds`, if its value is at least the threshold of
    // `m_node`, whatever the score of that node. If `results` refuses the value of a rule that
    // fires, the default is not added either. A rule that lost its child in `global_replace` adds
    // nothing, and counts as fired.
    // REQUIRES: `m_node` is not null if `use_thresholds`.
    // COST: one evaluation for each rule; allocates only for the results.
    void classify(zeMsg& msg, zeResult_set& results, double node_score,
                  bool use_thresholds) override;
    // A child with a rule is blocked unless the value of the rule is above 0. The default is
    // blocked if the value of any rule is above 0. A child that has no rule and is not the default
    // is always blocked. The rules are evaluated with the score 1.0, and thresholds do not count.
    // COST: one evaluation; for the default, up to one for each rule. No allocation.
    bool is_cat_blocked(zeNode* const& child, zeMsg& msg) override;
    // Appends the children with rules, in no defined order, then the default.
    void get_all_categories(std::vector<zeNode*>& cats) override;
    // As zeClassifier::global_replace. Copies each rule, and a copy loses the second forms of its
    // concepts (zeConceptInDoc::m_processed). `m_dirty` does not change. If several rules lose
    // their children, the one of the child with the highest id remains, under null.
    void global_replace(std::map<zeNode*, zeNode*>& replacement) override;

    // The functions for edits. A switcher derives nothing from its rules, so rebuild_table does
    // nothing.
    bool has_rules() const override { return true; }

    std::size_t category_count() const override { return m_rules.size(); }

    bool knows(zeNode* category) const override;
    void add_category(zeNode* category, const qtString& rule) override;
    void change_category_rule(zeNode* category, const qtString& rule) override;
    void remove_category(zeNode* category, bool remove_concepts) override;
    // Also removes the category from the node's children.
    void drop_category(zeNode* category) override;

    void rebuild_table() override {}

    hash_map<zeNode*, Rule_checker, zePointer_hash> m_rules;  // by child; not the default
    zeNode* m_default = nullptr;                              // BORROWS: the default child, or null

private:
    bool has_rule(zeNode* cat) const;
    std::vector<qtString> names_of(const zeNode* cat) const;
};

#endif  // ZANDREL_CLASSIFICATION_ZESWITCHER_H_
