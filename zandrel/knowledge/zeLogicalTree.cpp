// Explains the two trees of a container, and defines the lookups of zeLogicalTree.
//
// A person edits the logical tree; classification walks the physical tree. Each logical node
// mirrors one physical node. The trees differ where a leaf has children: such nodes are nested only
// for the person. Physically they are siblings, children of the nearest node above that has a
// classifier, the "real parent".
//
// Example. The root has a statistical classifier, mail has rules; the numbers are the ids:
//
//     logical tree                          physical tree
//
//     1 root (ZE_STAT)                      1 root (zeStat_matcher)
//     |                                     |
//     +-- 2 sport (ZE_LEAF)                 +-- 2 sport
//     |   |                                 +-- 3 football
//     |   +-- 3 football (ZE_LEAF)          +-- 4 tennis
//     |   +-- 4 tennis (ZE_LEAF)            |
//     |                                     |
//     +-- 5 mail (ZE_RULE)                  +-- 5 mail (zeSwitcher)
//         |                                     |
//         +-- 6 spam  rule: "offer"             +-- 6 spam
//         +-- 7 rest  rule: default             +-- 7 rest
//
// The real parent of football is the root: sport, its parent, is a leaf. So the root's classifier
// decides between four categories: sport, football, tennis and mail. `GatherSons` of sport gives
// football and tennis; `GatherFatherAndSons` of sport gives all three.
//
// How edits of this tree change the physical tree:
//
// - Move football from sport to the root: only logical links change, since the same classifier
//   decides before and after (kMoveOfLinks).
// - Change sport to ZE_STAT: sport gets a classifier. Football and tennis leave the root's
//   classifier and enter the new one. Physically, the root then has the children sport and mail,
//   and sport has football and tennis.
// - Delete sport: football and tennis are deleted with it, and all three leave the root's
//   classifier.
// - Add a node without a rule below tennis: it becomes a fifth category of the root's classifier.
// - Add a node with a rule below tennis: tennis first becomes a rule node, and the new node becomes
//   the first child of its switcher.
//
// The two ids of a node need not be equal: a subtree that is written as a container of its own gets
// new logical ids and keeps its physical ids. `physical_node` leads from a logical node to its
// physical node, and `finder` leads back.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <utility>

#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/Children_index.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

zeLogicalTree::zeLogicalTree(zeManager* owner)
    : nodes(zandrel::kInitialBuckets),
      finder(zandrel::kInitialBuckets),
      manager(owner),
      m_children(std::make_unique<zandrel::detail::Children_index>(nodes)) {}

zeLogicalTree::~zeLogicalTree() = default;

void zeLogicalTree::Clear() {
    nodes.clear();
    finder.clear();
    m_children->clear();
    m_is_exposed = false;
    next_id = 0;
}

// Lookups of a constant tree return nodes that its users may change, so we remove the const here.
zeLogicalNode* zeLogicalTree::Find(unsigned int id) const {
    const auto entry = nodes.find(id);
    return entry == nodes.end() ? nullptr : const_cast<zeLogicalNode*>(&entry->second);
}

const zeLogicalNode& zeLogicalTree::GetNode(unsigned int id) const {
    const zeLogicalNode* const node = Find(id);
    return node == nullptr ? not_found_node : *node;
}

zeLogicalNode* zeLogicalTree::GetNodePtr(unsigned int id) {
    m_is_exposed = true;
    return Find(id);
}

const zeLogicalNode& zeLogicalTree::FindCategory(zeNode* physical_node) const {
    const auto entry = finder.find(physical_node);
    return entry == finder.end() ? not_found_node : GetNode(entry->second);
}

int zeLogicalTree::FindChild(const zeLogicalNode& parent, zeNode* physical_node) const {
    const zeLogicalNode& mirror = FindCategory(physical_node);
    const auto place = m_children->find_id(parent, mirror.id);
    if (place && mirror.physical_node == physical_node) {
        return static_cast<int>(*place);
    }
    for (std::size_t i = 0; i < parent.children.size(); ++i) {
        const zeLogicalNode* const child = Find(parent.children[i]);
        if (child != nullptr && child->physical_node == physical_node) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

const zeLogicalNode* zeLogicalTree::NearestClassifierNode(unsigned int id) const {
    const zeLogicalNode* node = Find(id);
    // If the way up is longer than the number of nodes, a program has linked the nodes to a circle.
    std::size_t left = nodes.size();
    while (node != nullptr && node->type == ZE_LEAF) {
        node = left-- == 0 ? nullptr : Find(node->parent);
    }
    return node;
}

zeClassifier* zeLogicalTree::GetRealParent(unsigned int id) const {
    return &ClassifierOf(RealParentNode(id));
}

zeNode* zeLogicalTree::RealParentNode(unsigned int id) const {
    const zeLogicalNode* const node = NearestClassifierNode(id);
    return node == nullptr ? nullptr : node->physical_node;
}

zeClassifier& zeLogicalTree::ClassifierOf(zeNode* node) const {
    zeClassifier* const clafer =
        node == nullptr ? nullptr : manager->m_physical_tree->get_classifier(node);
    ZANDREL_ASSERT(clafer != nullptr, "clafer");
    return *clafer;
}

// Leaves can be nested deeply, so we use no recursion: nodes wait on a stack, the next one on top.
void zeLogicalTree::GatherSons(const zeLogicalNode* node,
                               std::vector<zeLogicalNode*>& gathered) const {
    std::vector<unsigned int> waiting(node->children.rbegin(), node->children.rend());
    // More nodes than the tree has can be gathered only if a program has linked children to a
    // circle.
    const std::size_t most = gathered.size() + nodes.size();
    while (!waiting.empty() && gathered.size() < most) {
        zeLogicalNode* const son = Find(waiting.back());
        waiting.pop_back();
        if (son == nullptr) {
            continue;
        }
        gathered.push_back(son);
        if (son->type == ZE_LEAF) {
            waiting.insert(waiting.end(), son->children.rbegin(), son->children.rend());
        }
    }
}

void zeLogicalTree::GatherFatherAndSons(const zeLogicalNode* node,
                                        std::vector<zeLogicalNode*>& gathered) const {
    gathered.push_back(const_cast<zeLogicalNode*>(node));
    if (node->type == ZE_LEAF) {
        GatherSons(node, gathered);
    }
}

bool zeLogicalTree::WillChangeParentToClassifier(const zeLogicalNode& node) const {
    const zeLogicalNode* const parent = Find(node.parent);
    return parent != nullptr && parent->type == ZE_LEAF &&
           (!node.rule.empty() || !parent->rule.empty());
}

void zeLogicalTree::AddFinder(const zeLogicalNode& node) {
    finder[node.physical_node] = node.id;
}

void zeLogicalTree::DelFinder(const zeLogicalNode& node) {
    finder.erase(node.physical_node);
}
