// The edits of zeLogicalTree. Each one is verified first and then changes three sides: the logical
// nodes, the physical tree, and the classifiers. A category that a classifier gains or loses
// changes the classifier and the physical children together. zeLogicalTree.cpp has examples.
//
// If the number of classifiers in memory is limited, fetching one can delete another from memory.
// So no step keeps a pointer to a classifier while it fetches another: it keeps the node, and
// fetches the classifier again. Example with a limit of 1: MoveCategories fetches the first
// classifier and removes a category. It then fetches the second one, which releases the first, and
// adds the category.
//
// The container is marked as modified before its first change. If an edit then fails half-way, a
// flush also writes the nodes that the changed classifiers name.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Children_index.h"
#include "zandrel/knowledge/Classifier_type.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace {

using zandrel::detail::is_type_with_rules;

[[noreturn]] void refuse(int code, const qtString& text) {
    throw qtX<zeLogicalTree>(code, text);
}

}  // namespace

void zeLogicalTree::FixNodeName(zeLogicalNode& node) const {
    if (!manager->m_compat55 && node.name == Concept()) {
        node.name = node.category;
    }
}

unsigned int zeLogicalTree::AddLogicalNode(zeLogicalNode& node) {
    FixNodeName(node);
    VerifyAdd(node);
    if (node.parent != 0 && GetNode(node.parent).type == ZE_LEAF) {
        ChangeParentToClassifier(GetNode(node.parent), node);
    }
    manager->m_modified = true;
    node.physical_node = manager->m_physical_tree->MakeNode(node.category, node.type,
                                                            node.attributes, node.threshold);
    if (node.parent == 0) {
        next_id = 0;
        m_children->clear();
        manager->m_root = node.physical_node;
    } else {
        AddToClassifier(*GetRealParent(node.parent), node);
    }
    node.id = ++next_id;
    Enter(node);
    return node.id;
}

// Enters a node completely or, if memory runs out, not at all: a node that is entered in part would
// outlive its physical node.
void zeLogicalTree::Enter(const zeLogicalNode& node) {
    zeLogicalNode* const parent = Find(node.parent);
    zeLogicalNode& added = nodes.try_emplace(node.id, node).first->second;
    try {
        // A new node has no children, even if the caller's node was copied from one that has.
        added.children.clear();
        AddFinder(added);
        if (parent != nullptr) {
            parent->children.push_back(node.id);
        }
    } catch (...) {
        DelFinder(added);
        nodes.erase(node.id);
        throw;
    }
}

// A classifier that runs out of memory may have entered the category without making it a child. We
// drop the category then: the classifier would keep a pointer to a node that is deleted.
void zeLogicalTree::AddToClassifier(zeClassifier& classifier, const zeLogicalNode& node) {
    const bool was_known = classifier.knows(node.physical_node);
    try {
        classifier.add_category(node.physical_node, node.rule);
    } catch (...) {
        if (!was_known) {
            classifier.drop_category(node.physical_node);
        }
        throw;
    }
}

void zeLogicalTree::ChangeParentToClassifier(const zeLogicalNode& parent,
                                             const zeLogicalNode& child) {
    if (child.rule.empty() && parent.rule.empty()) {
        return;  // The child becomes a further category of the classifier above.
    }
    zeLogicalNode changed = parent;
    changed.type = zandrel::detail::type_for_first_child(!child.rule.empty());
    changed.attributes = static_cast<unsigned char>(changed.attributes | zeNode::NoScore);
    ChangeLogicalNode(changed);
}

void zeLogicalTree::ChangeNodeToLeaf(const zeLogicalNode& node) {
    if (node.parent == 0 || node.type == ZE_LEAF || !node.physical_node->m_children.empty()) {
        return;
    }
    zeLogicalNode changed = node;
    changed.type = ZE_LEAF;
    changed.attributes = static_cast<unsigned char>(changed.attributes & ~zeNode::NoScore);
    ChangeLogicalNode(changed);
}

void zeLogicalTree::ChangeLogicalNode(const zeLogicalNode& wanted) {
    if (VerifyChange(wanted) == 0) {
        return;
    }
    manager->m_modified = true;
    zeLogicalNode& node = *Find(wanted.id);
    if (wanted.type != node.type) {
        ChangeClassifier(node, wanted.type);
    }
    ChangeFields(node, wanted);
    if (!node.rule.empty() && wanted.rule != node.rule) {
        node.rule = wanted.rule;
        GetRealParent(node.parent)->change_category_rule(node.physical_node, node.rule);
    }
}

// Either the old or the new type is ZE_LEAF. Only a classifier without rules takes over the sons of
// a leaf, or has sons that can move up: a node with rules changes its type only if it has no
// children.
void zeLogicalTree::ChangeClassifier(zeLogicalNode& node, unsigned char type) {
    std::vector<zeLogicalNode*> sons;
    if (type == ZE_LEAF) {
        if (!is_type_with_rules(node.type)) {
            GatherSons(&node, sons);
        }
        if (!sons.empty()) {
            MoveCategories(RealParentNode(node.id), RealParentNode(node.parent), sons);
        }
        manager->DelClassifier(node.physical_node);
    } else {
        RepairLeaf(node);
        manager->AddClassifier(node.physical_node, type);
        if (!is_type_with_rules(type)) {
            GatherSons(&node, sons);
        }
        if (!sons.empty()) {
            MoveCategories(RealParentNode(node.parent), node.physical_node, sons);
        }
    }
    node.type = type;
}

void zeLogicalTree::ChangeFields(zeLogicalNode& node, const zeLogicalNode& wanted) {
    const Concept old_name = node.name;
    if (manager->m_compat55) {
        node.name = wanted.name;
    }
    if (wanted.category != node.category) {
        manager->m_physical_tree->SetName(node.physical_node, wanted.category);
        node.category = wanted.category;
        if (!manager->m_compat55) {
            node.name = wanted.category;
        }
    }
    if (node.name != old_name) {
        m_children->renamed(node, old_name);
    }
    // Written at every change, since a change of type has set or cleared NoScore in the physical
    // node.
    node.physical_node->m_flags = wanted.attributes;
    node.attributes = wanted.attributes;
    node.physical_node->m_threshold = wanted.threshold;
    node.threshold = wanted.threshold;
    node.note2 = wanted.note2;
    node.note1 = wanted.note1;
}

void zeLogicalTree::ChangeRootType(int type) {
    zeLogicalNode* const root = Find(zandrel::kRootId);
    if (root == nullptr || root->type == type) {
        return;
    }
    if (zandrel::detail::find_classifier_type(static_cast<unsigned int>(type)) == nullptr) {
        refuse(16, "Invalid new root type");
    }
    if (!root->children.empty()) {
        refuse(16, "Cannot change root type");
    }
    manager->m_modified = true;
    manager->DelClassifier(root->physical_node);
    manager->AddClassifier(root->physical_node, static_cast<unsigned int>(type));
    root->type = static_cast<unsigned char>(type);
    root->physical_node->m_flags = root->attributes;
}

void zeLogicalTree::MoveSons(zeClassifier* from, zeClassifier* to,
                             const std::vector<zeLogicalNode*>& sons) {
    if (sons.empty()) {
        return;
    }
    ZANDREL_ASSERT(from != nullptr && to != nullptr, "from && to");
    MoveCategories(from->m_node, to->m_node, sons);
}

void zeLogicalTree::MoveCategories(zeNode* from, zeNode* to,
                                   const std::vector<zeLogicalNode*>& sons) {
    ZANDREL_ASSERT(!ClassifierOf(from).has_rules() && !ClassifierOf(to).has_rules(), "from && to");
    for (const zeLogicalNode* const son : sons) {
        ClassifierOf(from).remove_category(son->physical_node, true);
        AddToClassifier(ClassifierOf(to), *son);
    }
    ClassifierOf(from).rebuild_table();
}

void zeLogicalTree::PhysicalDelete(const zeLogicalNode& node, bool remove_concepts) {
    if (node.parent == 0) {
        refuse(12, "Cannot delete top node");
    }
    GetRealParent(node.parent);  // raises before anything changes
    zeNode* const above = RealParentNode(node.parent);
    std::vector<zeLogicalNode*> gathered;
    GatherFatherAndSons(&node, gathered);
    for (zeLogicalNode* const each : gathered) {
        LeaveHolder(each->physical_node, above);
        ClassifierOf(above).remove_category(each->physical_node, remove_concepts);
    }
    ClassifierOf(above).rebuild_table();
}

void zeLogicalTree::RemoveFromParent(const zeLogicalNode& node) {
    if (node.parent == 0) {
        return;
    }
    const int loc = FindChild(GetNode(node.parent), node.physical_node);
    ZANDREL_ASSERT(loc >= 0, "loc >= 0");
    const auto place = static_cast<std::size_t>(loc);
    zeLogicalNode& parent = *Find(node.parent);
    parent.children[place] = parent.children.back();
    parent.children.pop_back();
    m_children->removed(parent, node, place);
}

// Children are deleted before their parent, the first child first.
void zeLogicalTree::RecursiveNodeDelete(zeLogicalNode& node, bool remove) {
    std::vector<zeLogicalNode*> deleted = Subtree(node);
    std::reverse(deleted.begin(), deleted.end());
    if (remove) {
        RemoveFromParent(node);
    }
    Detach(deleted);
    for (zeLogicalNode* const each : deleted) {
        DelFinder(*each);
        manager->m_physical_tree->DeleteCat(each->physical_node);
        m_children->forget(each->id);
        nodes.erase(each->id);
    }
}

void zeLogicalTree::DelLogicalNode(unsigned int id, bool remove_concepts) {
    zeLogicalNode* const node = Find(id);
    if (node == nullptr || node->parent == 0) {
        refuse(12, "Cannot delete top node");
    }
    // PhysicalDelete fetches the classifier above. We look for its node before anything changes.
    ZANDREL_ASSERT(RealParentNode(node->parent) != nullptr, "clafer");
    manager->m_modified = true;
    DeleteClassifiersBelow(*node);
    const unsigned int parent = node->parent;
    PhysicalDelete(*node, remove_concepts);
    RecursiveNodeDelete(*node, true);
    ChangeNodeToLeaf(GetNode(parent));
}

// Physically, the nodes below a leaf are its siblings, children of the classifier above. So we look
// for classifiers below each of them.
void zeLogicalTree::DeleteClassifiersBelow(const zeLogicalNode& node) {
    hash_set<zeNode*, zePointer_hash> classifiers(zandrel::kInitialBuckets);
    std::vector<zeLogicalNode*> gathered;
    GatherFatherAndSons(&node, gathered);
    for (const zeLogicalNode* const each : gathered) {
        each->physical_node->get_subtree_classifiers(classifiers);
    }
    classifiers.insert(node.physical_node);
    // Each classifier's node becomes a leaf and is appended to the list of its category. The order
    // of this list must be the same in every run.
    for (zeNode* const each : zandrel::detail::in_id_order(classifiers)) {
        manager->DelClassifier(each);
    }
}

void zeLogicalTree::MoveLogicalNode(unsigned int id, unsigned int new_parent) {
    const int kind = VerifyMove(id, new_parent);
    zeLogicalNode& node = *Find(id);
    zeLogicalNode& target = *Find(new_parent);
    if (kind == kMoveOfLinks) {
        manager->m_modified = true;
        Relink(node, target);
        return;
    }
    GetRealParent(node.parent);  // raises if the node has no real parent, before anything changes
    manager->m_modified = true;
    if (target.type == ZE_LEAF) {
        ChangeParentToClassifier(target, node);
    }
    GetRealParent(new_parent);  // raises before the node leaves its classifier
    zeNode* const to = RealParentNode(new_parent);
    std::vector<zeLogicalNode*> gathered;
    GatherFatherAndSons(&node, gathered);
    PhysicalDelete(node, true);
    zeClassifier& classifier = ClassifierOf(to);
    for (zeLogicalNode* const each : gathered) {
        AddToClassifier(classifier, *each);
    }
    const unsigned int old_parent = node.parent;
    Relink(node, target);
    ChangeNodeToLeaf(GetNode(old_parent));
}

void zeLogicalTree::Relink(zeLogicalNode& node, zeLogicalNode& new_parent) {
    RemoveFromParent(node);
    new_parent.children.push_back(node.id);
    node.parent = new_parent.id;
}
