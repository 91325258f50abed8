// The edits of zeLogicalTree, on its three sides: the nodes here, the physical tree, and the
// classifiers.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Children_index.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

[[noreturn]] void refuse(int code, const qtString& text) {
    throw qtX<zeLogicalTree>(code, text);
}

unsigned char with_no_score(unsigned char attributes) {
    return static_cast<unsigned char>(attributes | zeNode::NoScore);
}

using Node_set = hash_set<zeNode*, zePointer_hash>;

// Those of the nodes that the classifier knows, or that hang in it.
std::vector<zeNode*> held_by(zeClassifier& classifier, const Node_set& nodes) {
    std::vector<zeNode*> candidates;
    classifier.get_all_categories(candidates);
    if (classifier.m_node != nullptr) {
        const std::vector<zeNode*>& children = classifier.m_node->m_children;
        candidates.insert(candidates.end(), children.begin(), children.end());
    }
    Node_set held;
    for (zeNode* const node : candidates) {
        if (nodes.count(node) != 0) {
            held.insert(node);
        }
    }
    return Zandrel::in_id_order(held);
}

unsigned char without_no_score(unsigned char attributes) {
    return static_cast<unsigned char>(attributes & ~zeNode::NoScore);
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
    manager->m_modified = true;
    return node.id;
}

// In the whole or, if memory runs out, not at all: a node that is half known would outlive its
// physical node.
void zeLogicalTree::Enter(const zeLogicalNode& node) {
    zeLogicalNode* const parent = Find(node.parent);
    zeLogicalNode& added = nodes.try_emplace(node.id, node).first->second;
    try {
        // A new node has no children, whatever the caller's copy comes from.
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

// A classifier that runs out of memory may have entered the category without linking it. It must
// not know a node that no link leads back from.
void zeLogicalTree::AddToClassifier(zeClassifier& classifier, zeLogicalNode& node) {
    const bool was_known = IsKnown(classifier, node.physical_node);
    try {
        if (classifier.GetType() == ZE_RULE) {
            dynamic_cast<zeSwitcher&>(classifier).add_rule(node.physical_node, node.rule);
        } else {
            dynamic_cast<zeStat_matcher&>(classifier).add_cat(node.physical_node);
        }
    } catch (...) {
        if (!was_known) {
            Forget(classifier, node.physical_node);
        }
        throw;
    }
}

bool zeLogicalTree::IsKnown(zeClassifier& classifier, zeNode* category) {
    if (const auto* const matcher = dynamic_cast<zeStat_matcher*>(&classifier)) {
        return !matcher->m_storage->end(matcher->m_storage->get_profile(category));
    }
    const auto* const switcher = dynamic_cast<zeSwitcher*>(&classifier);
    return switcher != nullptr &&
           (switcher->m_default == category || switcher->m_rules.count(category) != 0);
}

void zeLogicalTree::Forget(zeClassifier& classifier, zeNode* category) {
    if (auto* const matcher = dynamic_cast<zeStat_matcher*>(&classifier)) {
        int iprofile = matcher->m_storage->get_profile(category);
        if (!matcher->m_storage->end(iprofile)) {
            matcher->m_storage->delete_profile(iprofile);
        }
    } else {
        TakeFromClassifier(classifier, category, true);
    }
}

void zeLogicalTree::ChangeParentToClassifier(const zeLogicalNode& parent,
                                             const zeLogicalNode& child) {
    if (child.rule.empty() && parent.rule.empty()) {
        return;  // The child becomes a further category of the classifier above.
    }
    zeLogicalNode changed = parent;
    changed.type = child.rule.empty() ? ZE_STAT : ZE_RULE;
    changed.attributes = with_no_score(changed.attributes);
    ChangeLogicalNode(changed);
}

void zeLogicalTree::ChangeNodeToLeaf(const zeLogicalNode& node) {
    if (node.parent == 0 || node.type == ZE_LEAF || !node.physical_node->m_children.empty()) {
        return;
    }
    zeLogicalNode changed = node;
    changed.type = ZE_LEAF;
    changed.attributes = without_no_score(changed.attributes);
    ChangeLogicalNode(changed);
}

void zeLogicalTree::ChangeLogicalNode(const zeLogicalNode& wanted) {
    if (VerifyChange(wanted) == 0) {
        return;
    }
    zeLogicalNode& node = *Find(wanted.id);
    if (wanted.type != node.type) {
        ChangeClassifier(node, wanted.type);
    }
    ChangeFields(node, wanted);
    if (!node.rule.empty() && wanted.rule != node.rule) {
        ChangeRule(node, wanted.rule);
    }
    manager->m_modified = true;
}

void zeLogicalTree::ChangeClassifier(zeLogicalNode& node, unsigned char type) {
    std::vector<zeLogicalNode*> sons;
    if (node.type == ZE_LEAF) {
        // There is one if an edit failed half-way or the file was damaged.
        manager->DelClassifier(node.physical_node);
        LeaveOtherClassifiers(node);
    }
    if (node.type == ZE_STAT) {
        GatherSons(&node, sons);
        if (!sons.empty()) {
            auto* const from = dynamic_cast<zeStat_matcher*>(GetRealParent(node.id));
            MoveSons(from, dynamic_cast<zeStat_matcher*>(GetRealParent(node.parent)), sons);
        }
        manager->DelClassifier(node.physical_node);
    } else if (type == ZE_STAT) {
        zeClassifier* const made = manager->AddClassifier(node.physical_node, ZE_STAT);
        GatherSons(&node, sons);
        if (!sons.empty()) {
            MoveSons(dynamic_cast<zeStat_matcher*>(GetRealParent(node.parent)),
                     dynamic_cast<zeStat_matcher*>(made), sons);
        }
    } else if (type == ZE_LEAF) {
        manager->DelClassifier(node.physical_node);
    } else {
        manager->AddClassifier(node.physical_node, ZE_RULE);
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
    // Written in any case: a change of type has set or cleared NoScore on the physical side.
    node.physical_node->m_flags = wanted.attributes;
    node.attributes = wanted.attributes;
    node.physical_node->m_threshold = wanted.threshold;
    node.threshold = wanted.threshold;
    node.note2 = wanted.note2;
    node.note1 = wanted.note1;
}

void zeLogicalTree::ChangeRule(zeLogicalNode& node, const qtString& rule) {
    node.rule = rule;
    auto* const sw = dynamic_cast<zeSwitcher*>(GetRealParent(node.parent));
    ZANDREL_ASSERT(sw != nullptr, "sw");
    sw->change_rule(node.physical_node, rule);
}

void zeLogicalTree::ChangeRootType(int type) {
    zeLogicalNode* const root = Find(zandrel::kRootId);
    if (root == nullptr || root->type == type) {
        return;
    }
    if (type != ZE_RULE && type != ZE_STAT) {
        refuse(16, "Invalid new root type");
    }
    if (!root->children.empty()) {
        refuse(16, "Cannot change root type");
    }
    manager->DelClassifier(root->physical_node);
    manager->AddClassifier(root->physical_node, static_cast<unsigned int>(type));
    root->type = static_cast<unsigned char>(type);
    root->physical_node->m_flags = root->attributes;
    manager->m_modified = true;
}

void zeLogicalTree::MoveSons(zeStat_matcher* from, zeStat_matcher* to,
                             const std::vector<zeLogicalNode*>& sons) {
    if (sons.empty()) {
        return;
    }
    ZANDREL_ASSERT(from != nullptr && to != nullptr, "from && to");
    for (zeLogicalNode* const son : sons) {
        from->delete_cat(son->physical_node, false, true);
        AddToClassifier(*to, *son);
    }
    from->feed(*from->m_storage, true);
}

void zeLogicalTree::PhysicalDelete(const zeLogicalNode& node, bool remove_concepts) {
    if (node.parent == 0) {
        refuse(12, "Cannot delete top node");
    }
    zeClassifier* const above = GetRealParent(node.parent);
    std::vector<zeLogicalNode*> gathered;
    GatherFatherAndSons(&node, gathered);
    for (zeLogicalNode* const each : gathered) {
        LeaveHolder(each->physical_node, above);
        TakeFromClassifier(*above, each->physical_node, remove_concepts);
    }
    FeedAgain(*above);
}

// A node may hang in another classifier than the one that decides it: the children of a leaf that
// has become a rule node stay in the classifier above, and an edit that failed half-way may have
// left one. What keeps a pointer to a node must lose it before the node moves or goes.
void zeLogicalTree::LeaveHolder(zeNode* node, const zeClassifier* decider) {
    zeNode* const holder = node->m_parent;
    if (holder == nullptr) {
        return;
    }
    zeClassifier* const other = manager->m_physical_tree->get_classifier(holder);
    if (decider != nullptr && other == decider) {
        return;
    }
    if (other != nullptr && IsKnown(*other, node)) {
        TakeFromClassifier(*other, node, true);
        FeedAgain(*other);
    }
    holder->remove_child(node);
}

// A classifier can know a node that does not hang in it, from training or from a damaged file, and
// a node can hang in several. So all are asked, once for all nodes that go.
void zeLogicalTree::LeaveClassifiers(const std::vector<zeNode*>& leaving, const zeClassifier* but) {
    // Asking each classifier for each node of a large subtree would take their product.
    constexpr std::size_t kFewNodes = 64;
    const bool are_many = leaving.size() > kFewNodes;
    const Node_set many(leaving.begin(), are_many ? leaving.end() : leaving.begin());
    for (const auto& [id, object] : manager->m_objects) {
        if (object->GetType() == kStorageObjectType) {
            continue;  // Every second object is one, and a cast costs more than this question.
        }
        auto* const classifier = dynamic_cast<zeClassifier*>(object);
        if (classifier != nullptr && classifier != but) {
            LeaveClassifier(*classifier, are_many ? held_by(*classifier, many) : leaving);
        }
    }
}

void zeLogicalTree::LeaveClassifier(zeClassifier& classifier, const std::vector<zeNode*>& leaving) {
    for (zeNode* const node : leaving) {
        if (IsKnown(classifier, node)) {
            Forget(classifier, node);
            FeedAgain(classifier);
        }
        if (classifier.m_node != nullptr) {
            classifier.m_node->remove_child(node);
        }
    }
}

// Several classifiers may have learned a leaf, but a node with a classifier has one way to it.
void zeLogicalTree::LeaveOtherClassifiers(const zeLogicalNode& leaf) {
    const zeLogicalNode* const above = NearestClassifierNode(leaf.parent);
    zeNode* const holder = above == nullptr ? nullptr : above->physical_node;
    if (holder == nullptr || holder->find_child(leaf.physical_node) < 0) {
        return;
    }
    LeaveClassifiers({leaf.physical_node}, holder->m_classifier);
    leaf.physical_node->m_parent = holder;
}

// A statistical classifier selects its features anew for the categories that it has left.
void zeLogicalTree::FeedAgain(zeClassifier& classifier) {
    if (auto* const matcher = dynamic_cast<zeStat_matcher*>(&classifier)) {
        matcher->feed(*matcher->m_storage, true);
    }
}

void zeLogicalTree::TakeFromClassifier(zeClassifier& classifier, zeNode* category,
                                       bool remove_concepts) {
    if (auto* const matcher = dynamic_cast<zeStat_matcher*>(&classifier)) {
        matcher->delete_cat(category, false, remove_concepts);
    } else if (auto* const switcher = dynamic_cast<zeSwitcher*>(&classifier)) {
        switcher->m_dirty = true;
        if (switcher->m_node != nullptr) {
            switcher->m_node->remove_child(category);
        }
        if (category == switcher->m_default) {
            switcher->m_default = nullptr;
        } else {
            switcher->m_rules.erase(category);
        }
    }
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

// Children go before their parent, in their order. A tree can be deep, so nothing recurs.
void zeLogicalTree::RecursiveNodeDelete(zeLogicalNode& node, bool remove) {
    std::vector<zeLogicalNode*> parents_first;
    std::vector<zeLogicalNode*> waiting = {&node};
    while (!waiting.empty()) {
        zeLogicalNode* const next = waiting.back();
        waiting.pop_back();
        parents_first.push_back(next);
        for (const unsigned int child : next->children) {
            if (zeLogicalNode* const found = Find(child)) {
                waiting.push_back(found);
            }
        }
    }
    if (remove) {
        RemoveFromParent(node);
    }
    std::vector<zeNode*> leaving;
    leaving.reserve(parents_first.size());
    for (auto each = parents_first.rbegin(); each != parents_first.rend(); ++each) {
        // In a sound tree both have been seen to, unless a caller of KCE_Delete has not.
        manager->DelClassifier((*each)->physical_node);
        LeaveHolder((*each)->physical_node, nullptr);
        leaving.push_back((*each)->physical_node);
    }
    LeaveClassifiers(leaving, nullptr);
    std::for_each(parents_first.rbegin(), parents_first.rend(),
                  [this](zeLogicalNode* each) { EraseNode(*each); });
}

void zeLogicalTree::EraseNode(zeLogicalNode& node) {
    DelFinder(node);
    manager->m_physical_tree->DeleteCat(node.physical_node);
    m_children->forget(node.id);
    nodes.erase(node.id);
}

void zeLogicalTree::DelLogicalNode(unsigned int id, bool remove_concepts) {
    zeLogicalNode* const node = Find(id);
    if (node == nullptr || node->parent == 0) {
        refuse(12, "Cannot delete top node");
    }
    DeleteClassifiersBelow(*node);
    const unsigned int parent = node->parent;
    PhysicalDelete(*node, remove_concepts);
    RecursiveNodeDelete(*node, true);
    ChangeNodeToLeaf(GetNode(parent));
    manager->m_modified = true;
}

// What stands below a leaf hangs physically beside it, in the classifier above: so the walk begins
// at each of these nodes.
void zeLogicalTree::DeleteClassifiersBelow(const zeLogicalNode& node) {
    hash_set<zeNode*, zePointer_hash> classifiers(kInitialBuckets);
    std::vector<zeLogicalNode*> gathered;
    GatherFatherAndSons(&node, gathered);
    for (const zeLogicalNode* const each : gathered) {
        each->physical_node->get_subtree_classifiers(classifiers);
    }
    classifiers.insert(node.physical_node);
    // What becomes a leaf enters a list, whose order shall be the same in every run.
    for (zeNode* const each : Zandrel::in_id_order(classifiers)) {
        manager->DelClassifier(each);
    }
}

void zeLogicalTree::MoveLogicalNode(unsigned int id, unsigned int new_parent) {
    const int kind = VerifyMove(id, new_parent);
    zeLogicalNode& node = *Find(id);
    zeLogicalNode& target = *Find(new_parent);
    if (kind == kMoveOfLinks) {
        Relink(node, target);
        manager->m_modified = true;
        return;
    }
    GetRealParent(node.parent);  // RAISES: where there is none, before anything changes
    if (target.type == ZE_LEAF) {
        ChangeParentToClassifier(target, node);
    }
    zeClassifier& classifier = *GetRealParent(new_parent);
    std::vector<zeLogicalNode*> gathered;
    GatherFatherAndSons(&node, gathered);
    PhysicalDelete(node, true);
    for (zeLogicalNode* const each : gathered) {
        AddToClassifier(classifier, *each);
    }
    const unsigned int old_parent = node.parent;
    Relink(node, target);
    ChangeNodeToLeaf(GetNode(old_parent));
    manager->m_modified = true;
}

void zeLogicalTree::Relink(zeLogicalNode& node, zeLogicalNode& new_parent) {
    RemoveFromParent(node);
    new_parent.children.push_back(node.id);
    node.parent = new_parent.id;
}
