// Copying a subtree into a zeLogicalTree, from this tree or another one.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <utility>

// A tree can be deep, so we use no recursion: nodes wait on a stack with the parent of their copy,
// the next one on top.
unsigned int zeLogicalTree::CopySubTree(const zeLogicalTree& source, unsigned int id,
                                        unsigned int parent, std::map<zeNode*, zeNode*>* node_map) {
    const unsigned int top = next_id + 1;
    std::vector<std::pair<unsigned int, unsigned int>> waiting = {{id, parent}};
    while (!waiting.empty()) {
        const auto [original_id, copy_parent] = waiting.back();
        waiting.pop_back();
        zeLogicalNode copy = source.GetNode(original_id);
        const std::vector<unsigned int> children = std::move(copy.children);
        copy.id = ++next_id;
        copy.children.clear();
        copy.parent = copy_parent;
        if (node_map != nullptr) {
            copy.physical_node = (*node_map)[copy.physical_node];
        }
        if (zeLogicalNode* const above = Find(copy_parent)) {
            above->children.push_back(copy.id);
        }
        AddFinder(nodes.insert_or_assign(copy.id, std::move(copy)).first->second);
        const unsigned int copy_id = next_id;
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            if (source.nodes.count(*child) != 0) {
                waiting.emplace_back(*child, copy_id);
            }
        }
    }
    return top;
}
