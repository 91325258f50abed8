#include "zandrel/knowledge/Tree_shape.h"

#include <cstddef>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace Zandrel {

namespace {

// Links between nodes that are numbered from 0.
class Links {
public:
    explicit Links(std::size_t node_count) : m_targets(node_count) {}

    void add(std::size_t from, std::size_t to) { m_targets[from].push_back(to); }

    // Each node with links is the target of at most one other, and no way leads back.
    bool are_those_of_trees() const {
        std::vector<std::size_t> sources(m_targets.size(), 0);
        for (const std::vector<std::size_t>& targets : m_targets) {
            for (const std::size_t target : targets) {
                ++sources[target];
            }
        }
        std::vector<std::size_t> waiting;
        for (std::size_t i = 0; i < m_targets.size(); ++i) {
            if (sources[i] == 0) {
                waiting.push_back(i);
            } else if (sources[i] > 1 && !m_targets[i].empty()) {
                return false;
            }
        }
        // With one source each, all that no top reaches goes round in circles.
        return count_reached(std::move(waiting), std::move(sources)) == m_targets.size();
    }

private:
    std::size_t count_reached(std::vector<std::size_t> waiting,
                              std::vector<std::size_t> sources) const {
        std::size_t reached = 0;
        while (!waiting.empty()) {
            const std::size_t node = waiting.back();
            waiting.pop_back();
            ++reached;
            for (const std::size_t target : m_targets[node]) {
                if (--sources[target] == 0) {
                    waiting.push_back(target);
                }
            }
        }
        return reached;
    }

    std::vector<std::vector<std::size_t>> m_targets;
};

// Gives each node its number.
template <class Key, class Hash>
class Numbers {
public:
    void add(Key key) { m_numbers.emplace(key, m_numbers.size()); }

    std::size_t size() const { return m_numbers.size(); }

    // Adds the link if both ends are known.
    void link(Links& links, Key from, Key to) const {
        const auto source = m_numbers.find(from);
        const auto target = m_numbers.find(to);
        if (source != m_numbers.end() && target != m_numbers.end()) {
            links.add(source->second, target->second);
        }
    }

private:
    hash_map<Key, std::size_t, Hash> m_numbers;
};

using Node_numbers = Numbers<const zeNode*, zePointer_hash>;
using Id_numbers = Numbers<unsigned int, std::hash<unsigned int>>;

// The children, and what the classifier yields beside them.
std::vector<zeNode*> nodes_below(const zeNode& node) {
    std::vector<zeNode*> below = node.m_children;
    if (node.m_classifier == nullptr) {
        return below;
    }
    std::vector<zeNode*> categories;
    node.m_classifier->get_all_categories(categories);
    hash_set<zeNode*, zePointer_hash> children(below.begin(), below.end());
    for (zeNode* const category : categories) {
        if (category != nullptr && children.insert(category).second) {
            below.push_back(category);
        }
    }
    return below;
}

void require_physical_tree(const zePhysicalTree& tree) {
    Node_numbers numbers;
    for (const auto& [id, node] : tree.m_nodes) {
        numbers.add(&node);
    }
    Links down(numbers.size());
    Links up(numbers.size());
    for (const auto& [id, node] : tree.m_nodes) {
        for (const zeNode* const child : nodes_below(node)) {
            numbers.link(down, &node, child);
        }
        numbers.link(up, node.m_parent, &node);
    }
    if (!down.are_those_of_trees()) {
        RaiseDamagedTree("children");
    }
    if (!up.are_those_of_trees()) {
        RaiseDamagedTree("parents");
    }
}

}  // namespace

void RequireTrees(const zeManager& manager) {
    require_physical_tree(*manager.m_physical_tree);
    RequireLogicalTree(*manager.m_logical_tree);
}

void RequireLogicalTree(const zeLogicalTree& tree) {
    Id_numbers numbers;
    hash_set<zeNode*, zePointer_hash> mirrored;
    for (const auto& [id, node] : tree.nodes) {
        numbers.add(id);
        if (node.physical_node != nullptr && !mirrored.insert(node.physical_node).second) {
            RaiseDamagedTree("mirrored nodes");
        }
    }
    Links down(numbers.size());
    Links up(numbers.size());
    for (const auto& [id, node] : tree.nodes) {
        for (const unsigned int child : node.children) {
            numbers.link(down, id, child);
        }
        numbers.link(up, node.parent, id);
    }
    if (!down.are_those_of_trees()) {
        RaiseDamagedTree("logical children");
    }
    if (!up.are_those_of_trees()) {
        RaiseDamagedTree("logical parents");
    }
}

void RaiseDamagedTree(const char* what) {
    throw qtX<zeManager>(4, "Knowledge tree is damaged", {what});
}

}  // namespace Zandrel
