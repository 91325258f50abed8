// The children of a node. The destructor takes the descendants apart one by one: if each node
// destroyed its own children, a tree of 100,000 levels would need as many calls on the stack.
#include "zandrel/export/kb/HierarchicalMapingNode.h"

#include <iterator>
#include <utility>

HierarchicalMapingNode::HierarchicalMapingNode(const qtString& node_name) : name(node_name) {}

HierarchicalMapingNode::~HierarchicalMapingNode() {
    std::vector<std::unique_ptr<HierarchicalMapingNode>> doomed = std::move(m_children);
    while (!doomed.empty()) {
        const std::unique_ptr<HierarchicalMapingNode> node = std::move(doomed.back());
        doomed.pop_back();
        auto& below = node->m_children;
        doomed.insert(doomed.end(), std::make_move_iterator(below.begin()),
                      std::make_move_iterator(below.end()));
        below.clear();
    }
}

HierarchicalMapingNode* HierarchicalMapingNode::AddChild(const qtString& child_name) {
    auto child = std::make_unique<HierarchicalMapingNode>(child_name);
    if (!m_names.insert(child_name).second) {
        return nullptr;
    }
    return m_children.emplace_back(std::move(child)).get();
}
