// The functions by which zeLogicalTree follows changes of the physical tree, such as categories
// that training has added. They change only the logical tree, except for KCE_Delete: it also
// deletes the physical node with its classifier, and removes the node from other classifiers.
#include "zandrel/knowledge/zeLogicalTree.h"

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

void zeLogicalTree::KCE_Add(zeNode* const& node, const zeClassifier* classifier) {
    if (finder.count(node) != 0) {
        return;
    }
    zeLogicalNode added;
    added.physical_node = node;
    added.type = node->m_classifier_type;
    added.attributes = node->m_flags;
    added.threshold = node->m_threshold;
    added.category = node->m_concept;
    added.name = node->m_concept;
    const zeLogicalNode& parent =
        classifier == nullptr ? not_found_node : FindCategory(classifier->m_node);
    added.parent = parent.id;
    if (parent.type == ZE_RULE) {
        const auto* const sw = dynamic_cast<zeSwitcher*>(
            manager->m_physical_tree->get_classifier(parent.physical_node));
        ZANDREL_ASSERT(sw != nullptr, "sw");
        added.rule = sw->get_rule(node);
    }
    added.id = ++next_id;
    Enter(added);
    manager->m_modified = true;
}

void zeLogicalTree::KCE_Delete(zeNode* const& node) {
    zeLogicalNode* const deleted = Find(FindCategory(node).id);
    if (deleted == nullptr || node == manager->m_root) {
        return;
    }
    // The children of a node that is in no list would be lost, so we check this before any change.
    ZANDREL_ASSERT(deleted->parent == 0 || FindChild(GetNode(deleted->parent), node) >= 0,
                   "loc >= 0");
    manager->m_modified = true;
    if (zeLogicalNode* const parent = Find(deleted->parent)) {
        parent->children.insert(parent->children.end(), deleted->children.begin(),
                                deleted->children.end());
    }
    deleted->children.clear();
    RecursiveNodeDelete(*deleted, true);
}

void zeLogicalTree::KCE_ChangeAttr(zeNode*& node) {
    if (zeLogicalNode* const changed = Find(FindCategory(node).id)) {
        changed->attributes = node->m_flags;
        manager->m_modified = true;
    }
}

void zeLogicalTree::KCE_ChangeRule(zeNode* const& node, const qtString& rule) {
    if (zeLogicalNode* const changed = Find(FindCategory(node).id)) {
        changed->rule = rule;
        manager->m_modified = true;
    }
}
