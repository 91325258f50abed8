// What zeLogicalTree knows without changing anything.
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

// The nodes that a constant tree gathers are its own, which its users may change.
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
    // A way up that is longer than the number of nodes is a circle, which a program has linked.
    std::size_t left = nodes.size();
    while (node != nullptr && node->type == ZE_LEAF) {
        node = left-- == 0 ? nullptr : Find(node->parent);
    }
    return node;
}

zeClassifier* zeLogicalTree::GetRealParent(unsigned int id) const {
    const zeLogicalNode* const node = NearestClassifierNode(id);
    zeClassifier* const clafer =
        node == nullptr ? nullptr : manager->m_physical_tree->get_classifier(node->physical_node);
    ZANDREL_ASSERT(clafer != nullptr, "clafer");
    return clafer;
}

// Nested leaves can be deep, so nothing here recurs: nodes wait on a stack, the next one on top.
void zeLogicalTree::GatherSons(const zeLogicalNode* node,
                               std::vector<zeLogicalNode*>& gathered) const {
    std::vector<unsigned int> waiting(node->children.rbegin(), node->children.rend());
    // Only children that a program has linked to a circle are more than there are nodes.
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
