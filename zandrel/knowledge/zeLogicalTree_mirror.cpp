// The operations that mirror a change of the physical side in the logical tree.
#include "zandrel/knowledge/zeLogicalTree.h"

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

namespace {

// The rule by which a rule node's classifier selects the child.
qtString rule_in(const zeClassifier* classifier, zeNode* child) {
    const auto* const sw = dynamic_cast<const zeSwitcher*>(classifier);
    ZANDREL_ASSERT(sw != nullptr, "sw");
    return sw->get_rule(child);
}

}  // namespace

void zeLogicalTree::KCE_Add(zeNode* const& node, const zeClassifier* classifier) {
    if (FindMirror(node) != nullptr) {
        return;
    }
    zeLogicalNode made;
    made.id = next_id + 1;
    made.type = node->m_classifier_type;
    made.attributes = node->m_flags;
    made.category = node->m_concept;
    made.name = node->m_concept;
    made.physical_node = node;
    zeLogicalNode* const above = classifier == nullptr ? nullptr : FindMirror(classifier->m_node);
    if (above != nullptr) {
        made.parent = above->id;
        made.rule = above->type == ZE_RULE ? rule_in(classifier, node) : qtString();
    }
    Insert(made, above);
    manager->m_modified = true;
}

void zeLogicalTree::Insert(const zeLogicalNode& made, zeLogicalNode* above) {
    if (above != nullptr) {
        above->children.push_back(made.id);
    }
    try {
        nodes.insert_or_assign(made.id, made);
        finder[made.physical_node] = made.id;
    } catch (...) {
        nodes.erase(made.id);
        if (above != nullptr) {
            above->children.pop_back();
        }
        throw;
    }
    next_id = made.id;
}

zeLogicalNode* zeLogicalTree::FindMirror(zeNode* node) {
    const auto mirrored = finder.find(node);
    const auto found = mirrored == finder.end() ? nodes.end() : nodes.find(mirrored->second);
    return found == nodes.end() ? nullptr : &found->second;
}
