// in_id_order, ids_in_order: walk tables of nodes in an order that is the same in every run.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_NODE_ORDER_H_
#define ZANDREL_KNOWLEDGE_NODE_ORDER_H_

#include <algorithm>
#include <utility>
#include <vector>

#include "zandrel/knowledge/zeNode.h"

namespace zandrel::detail {

inline zeNode* node_of(zeNode* element) noexcept {
    return element;
}

template <class Value>
zeNode* node_of(const std::pair<zeNode* const, Value>& element) noexcept {
    return element.first;
}

// Returns the nodes that are the elements or the keys of a hash table, by ascending id. Null
// comes first. The table is keyed by addresses, so its own order differs from run to run, and no
// result may depend on it.
template <class Table>
std::vector<zeNode*> in_id_order(const Table& table) {
    std::vector<zeNode*> nodes;
    nodes.reserve(table.size());
    for (const auto& element : table) {
        nodes.push_back(node_of(element));
    }
    std::sort(nodes.begin(), nodes.end(), [](const zeNode* left, const zeNode* right) {
        return right != nullptr && (left == nullptr || left->m_node_id < right->m_node_id);
    });
    return nodes;
}

// Returns the keys of a table of nodes by id, ascending.
template <class Table>
std::vector<unsigned int> ids_in_order(const Table& nodes) {
    std::vector<unsigned int> ids;
    ids.reserve(nodes.size());
    for (const auto& [id, node] : nodes) {
        ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_NODE_ORDER_H_
