// The rules for edits of zeLogicalTree. Their order is part of the interface: if an edit breaks
// several rules, the first one is reported. Example: adding a node without a category and with a
// rule below a statistical node raises 11 "Missing category name", not 7.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Classifier_type.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

using zandrel::detail::is_type_with_rules;
using zandrel::detail::is_type_without_rules;

using Arguments = std::vector<qtString>;

[[noreturn]] void refuse(int code, const qtString& text, const Arguments& arguments = {}) {
    throw qtX<zeLogicalTree>(code, text, arguments);
}

// Returns whether a classifier of this type can be made.
bool is_principal(unsigned int type) {
    return zandrel::detail::find_classifier_type(type) != nullptr;
}

bool is_known_type(unsigned int type) {
    return type == ZE_LEAF || is_principal(type);
}

bool has_physical_children(const zeLogicalNode& node) {
    return !node.physical_node->m_children.empty();
}

bool is_among_categories(zeClassifier& classifier, const Concept& name) {
    std::vector<zeNode*> used;
    classifier.get_all_categories(used);
    return std::any_of(used.begin(), used.end(), [&name](const zeNode* node) {
        return node != nullptr && node->m_concept == name;
    });
}

// REQUIRES: not "default", which is not an expression and would be refused.
void verify_syntax(const qtString& rule) {
    try {
        const Rule_checker compiled(rule);
    } catch (...) {
        refuse(18, "Syntax error in rule: " + rule, {rule});
    }
}

}  // namespace

void zeLogicalTree::VerifyNodeName(const zeLogicalNode& node) const {
    if (!manager->m_compat55) {
        if (node.name != node.category && node.name != Concept()) {
            refuse(8, "Avoid node names except in 55 compatibility mode", {node.name.text()});
        }
        return;
    }
    if (node.name == Concept()) {
        refuse(0, "Missing node name");
    }
    if (node.parent != 0 && FindChildByName(GetNode(node.parent), node.name) != nullptr) {
        refuse(10, node.name.text() + " : Node name already in use by a sibling node",
               {node.name.text()});
    }
}

// Usually few nodes have the name, so we ask the classifier whether it knows one of them. If the
// classifier has fewer categories than there are such nodes, we compare the names of its
// categories. Example: each of 1,000 groups with ten categories has a category "other". A new
// "other" is then compared with ten names, and not looked for among 1,000 nodes.
bool zeLogicalTree::HasCategory(zeClassifier& classifier, const Concept& name) const {
    const zePhysicalTree& tree = *manager->m_physical_tree;
    const std::vector<zeNode*>& leaves = tree.GetLeafNodes(name);
    const std::vector<zeNode*>& others = tree.GetInnerNodes(name);
    if (leaves.size() + others.size() > classifier.category_count()) {
        return is_among_categories(classifier, name);
    }
    const auto is_known = [&classifier](zeNode* node) { return classifier.knows(node); };
    return std::any_of(leaves.begin(), leaves.end(), is_known) ||
           std::any_of(others.begin(), others.end(), is_known);
}

void zeLogicalTree::VerifyCategoryName(const zeLogicalNode& node, bool check_used) const {
    if (node.category == Concept()) {
        refuse(11, "Missing category name");
    }
    if (check_used && node.parent != 0 && HasCategory(*GetRealParent(node.parent), node.category)) {
        refuse(2,
               node.category.text() +
                   " : Category name already in use under the current Principal node",
               {node.category.text()});
    }
}

void zeLogicalTree::VerifyRule(const zeLogicalNode& parent, const qtString& rule) const {
    if (rule != zandrel::kDefaultRule) {
        verify_syntax(rule);
        return;
    }
    // Only a switcher has a category for messages that no other rule selects.
    if (parent.id == 0 || parent.type != ZE_RULE) {
        return;
    }
    const auto* const sw = dynamic_cast<zeSwitcher*>(GetRealParent(parent.id));
    ZANDREL_ASSERT(sw != nullptr, "sw");
    if (sw->m_default != nullptr) {
        refuse(17, "OTHERWISE rule already exists in a sibling of the given node");
    }
}

void zeLogicalTree::VerifyCacheSize() const {
    if (manager->ReadOnDemand() == 1) {
        refuse(3, "KB can't be modified until cache size is increased from 1 to 2");
    }
}

void zeLogicalTree::VerifyAdd(const zeLogicalNode& node) const {
    VerifyNodeName(node);
    // A parent that gets a classifier with this edit has no other category yet.
    VerifyCategoryName(node, !WillChangeParentToClassifier(node));
    const zeLogicalNode& parent = GetNode(node.parent);
    if (parent.id == 0) {
        VerifyAddAtTop(node);
    } else {
        VerifyAddBelow(parent, node);
    }
}

void zeLogicalTree::VerifyAddAtTop(const zeLogicalNode& node) const {
    if (!nodes.empty()) {
        refuse(4, "More than one node under root");
    }
    if (!is_principal(node.type)) {
        refuse(5, "Non-Principal node under root");
    }
    if (!node.rule.empty()) {
        refuse(6, "No rule allowed in root node");
    }
}

// Only the direct parent counts. Each child of a rule node has a rule, and no child of a
// statistical node has one. A leaf takes a child with a rule only as its first child.
void zeLogicalTree::VerifyAddBelow(const zeLogicalNode& parent, const zeLogicalNode& node) const {
    const bool has_rule = !node.rule.empty();
    const bool takes_rule =
        is_type_with_rules(parent.type) || (parent.type == ZE_LEAF && parent.children.empty());
    if (has_rule ? !takes_rule : is_type_with_rules(parent.type)) {
        refuse(7, "Mixing rules and statistics on the same level");
    }
    if (has_rule) {
        VerifyRule(parent, node.rule);
    }
    // Checked here, because later the parent may already have got a classifier for the new node.
    if (!is_known_type(node.type)) {
        refuse(15, "Cannot switch node type");
    }
}

void zeLogicalTree::VerifyMoveSons(zeStat_matcher* target,
                                   std::vector<zeLogicalNode*>& sons) const {
    VerifyMerge(target, sons);
}

void zeLogicalTree::VerifyMerge(zeClassifier* target,
                                const std::vector<zeLogicalNode*>& sons) const {
    if (sons.empty()) {
        return;
    }
    VerifyCacheSize();
    std::vector<zeNode*> used;
    target->get_all_categories(used);
    hash_set<Concept, ConceptHash> names;
    for (const zeNode* const node : used) {
        if (node != nullptr) {
            names.insert(node->m_concept);
        }
    }
    for (const zeLogicalNode* const son : sons) {
        if (names.count(son->category) != 0) {
            refuse(2, "Cannot merge classifiers: duplicate category: " + son->category.text(),
                   {son->category.text()});
        }
    }
}

int zeLogicalTree::VerifyMove(unsigned int id, unsigned int new_parent) const {
    const zeLogicalNode* const node = Find(id);
    const zeLogicalNode* const target = Find(new_parent);
    if (id == new_parent || node == nullptr || target == nullptr || node->parent == 0 ||
        node->parent == new_parent) {
        refuse(19, "Invalid move");
    }
    VerifyNotBelow(*target, *node);
    zeLogicalNode moved = *node;
    moved.parent = new_parent;
    VerifyNodeName(moved);
    const zeLogicalNode* const from = NearestClassifierNode(node->parent);
    const zeLogicalNode* const to = NearestClassifierNode(new_parent);
    if (from == to && to != nullptr && is_type_without_rules(to->type)) {
        return kMoveOfLinks;
    }
    VerifyCacheSize();
    VerifyCategoryName(moved, !WillChangeParentToClassifier(moved));
    if (target->type == ZE_LEAF && target->children.empty()) {
        return 0;
    }
    const bool has_rule = !node->rule.empty();
    zeClassifier* const classifier = GetRealParent(new_parent);
    if (!classifier->has_rules() && node->type == ZE_LEAF && !has_rule) {
        std::vector<zeLogicalNode*> sons;
        GatherSons(node, sons);
        VerifyMerge(classifier, sons);
    }
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): GetRealParent has found its classifier.
    if (has_rule ? is_type_without_rules(to->type) : is_type_with_rules(to->type)) {
        refuse(7, "Mixing rules and statistics on the same level");
    }
    if (node->rule == zandrel::kDefaultRule) {
        VerifyRule(*target, node->rule);  // Any other rule moves as it is.
    }
    return 0;
}

int zeLogicalTree::VerifyChange(const zeLogicalNode& node) const {
    const zeLogicalNode* const old = Find(node.id);
    if (old == nullptr) {
        refuse(14, "Cannot change node: invalid node id");
    }
    if (node.parent != old->parent) {
        refuse(13, "Cannot change parent");
    }
    if (node.physical_node != old->physical_node) {
        refuse(14, "Cannot change category pointer");
    }
    int changes = 0;
    if (node.name != old->name) {
        VerifyNodeName(node);
        changes |= kPhysicalChange;
    }
    if (node.category != old->category) {
        VerifyCategoryName(node, true);
        changes |= kAttributeChange;
    }
    if (node.attributes != old->attributes || node.threshold != old->threshold ||
        node.note2 != old->note2 || node.note1 != old->note1) {
        changes |= kAttributeChange;
    }
    if (node.rule.empty() != old->rule.empty()) {
        refuse(15, "Cannot switch node type");
    }
    if (node.rule != old->rule) {
        VerifyRule(GetNode(old->parent), node.rule);
        changes |= kPhysicalChange;
    }
    if (node.type != old->type) {
        VerifyTypeChange(*old, node.type);
        changes |= kPhysicalChange;
    }
    return changes;
}

void zeLogicalTree::VerifyTypeChange(const zeLogicalNode& from, unsigned char type) const {
    // No classifier can be made for an unknown type.
    if ((from.type != ZE_LEAF && type != ZE_LEAF) || !is_known_type(type)) {
        refuse(15, "Cannot switch node type");
    }
    if (from.parent == 0) {
        refuse(16, "Cannot change root node type");
    }
    // A classifier with rules takes only children with rules; these children would remain in the
    // classifier above.
    if (is_type_with_rules(type) && (!from.children.empty() || has_physical_children(from))) {
        refuse(15, "Cannot switch node type");
    }
    if (!has_physical_children(from)) {
        return;
    }
    if (is_type_with_rules(from.type)) {
        refuse(15, "Cannot change the type of a rule node with children");
    }
    if (from.type == ZE_LEAF) {
        VerifyCacheSize();  // The children can move to the new classifier.
        return;
    }
    // The children can only move up into a classifier without rules.
    zeClassifier* const above = GetRealParent(from.parent);
    if (above->has_rules()) {
        refuse(15, "Cannot switch node type");
    }
    std::vector<zeLogicalNode*> sons;
    GatherSons(&from, sons);
    VerifyMerge(above, sons);
}

bool zeLogicalTree::VerifyUniqueLeafCategory(const Concept& category) const {
    return manager->m_physical_tree->GetLeafNodes(category).size() < 2;
}

bool zeLogicalTree::VerifyUnusedLeafCategory(const Concept& category) const {
    return manager->m_physical_tree->GetLeafNodes(category).empty();
}
