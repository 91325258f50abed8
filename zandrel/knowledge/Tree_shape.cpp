#include "zandrel/knowledge/Tree_shape.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/hash_map.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
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

// Whether a node may stand in a second list of children: only a leaf may, in that of a classifier,
// which forgets it when it goes. Before they are read, classifiers are known by their ids.
bool may_share(const zePhysicalTree& tree, const zeNode& lister, const zeNode& child) {
    const bool are_read = !tree.m_manager->m_objects.empty();
    const bool is_classifier =
        are_read ? lister.m_classifier != nullptr : lister.m_classifier_id != 0;
    return is_classifier && child.m_classifier_type == ZE_LEAF && child.m_children.empty();
}

// Whether the lists of children are such that a node which goes can be taken out of all of them.
void require_places(const zePhysicalTree& tree) {
    hash_map<const zeNode*, const zeNode*, zePointer_hash> listers;
    for (const auto& [id, node] : tree.m_nodes) {
        for (const zeNode* const child : node.m_children) {
            if (IsPlaceholder(*child)) {
                continue;
            }
            const auto [place, is_first] = listers.emplace(child, &node);
            const zeNode* const before = std::exchange(place->second, &node);
            if (!is_first && (before == &node || !may_share(tree, *before, *child) ||
                              !may_share(tree, node, *child))) {
                RaiseDamagedTree("children");
            }
        }
    }
}

void require_physical_tree(const zePhysicalTree& tree) {
    require_places(tree);
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

// What is above the root would never be walked; and who deletes a node below leaves no root behind.
void require_root(const zeManager& manager) {
    zeNode* const root = manager.m_root;
    if (root != nullptr &&
        (root->m_parent != nullptr || manager.m_logical_tree->FindCategory(root).parent != 0)) {
        RaiseDamagedTree("root");
    }
}

// A node without an id is as good as missing, since nothing can refer to it.
void empty_placeholders(zePhysicalTree& tree) {
    for (auto& [id, node] : tree.m_nodes) {
        if (IsPlaceholder(node)) {
            node = zeNode(Concept());
        }
    }
}

std::vector<zeNode*> nodes_in_order(zePhysicalTree& tree) {
    std::vector<zeNode*> nodes;
    nodes.reserve(tree.m_nodes.size());
    for (auto& [id, node] : tree.m_nodes) {
        nodes.push_back(&node);
    }
    std::sort(nodes.begin(), nodes.end(), [](const zeNode* left, const zeNode* right) {
        return left->m_node_id < right->m_node_id;
    });
    return nodes;
}

// A leaf in several lists has a parent below the root, if there is one: what is not below the root
// is not written again, and the leaf would have another parent after the next reading.
void prefer_parents_below_root(zeManager& manager,
                               const hash_set<const zeNode*, zePointer_hash>& shared) {
    if (shared.empty() || manager.m_root == nullptr) {
        return;
    }
    hash_set<zeNode*, zePointer_hash> below_root;
    manager.m_root->get_subtree(below_root);
    for (zeNode* const node : Zandrel::in_id_order(below_root)) {
        for (zeNode* const child : node->m_children) {
            if (shared.count(child) != 0 && below_root.count(child->m_parent) == 0) {
                child->m_parent = node;
            }
        }
    }
}

void mend_physical_links(zeManager& manager) {
    zePhysicalTree& tree = *manager.m_physical_tree;
    empty_placeholders(tree);
    hash_set<const zeNode*, zePointer_hash> listed;
    hash_set<const zeNode*, zePointer_hash> shared;
    for (zeNode* const node : nodes_in_order(tree)) {
        for (zeNode* const child : node->m_children) {
            // Of several that list a leaf, the one that it names is its parent, else the first.
            if (IsPlaceholder(*child)) {
                continue;
            }
            const bool is_first = listed.insert(child).second;
            if (!is_first) {
                shared.insert(child);
            }
            if (is_first && child->m_parent != node &&
                (child->m_parent == nullptr || child->m_parent->find_child(child) < 0)) {
                child->m_parent = node;
            }
        }
    }
    prefer_parents_below_root(manager, shared);
    std::vector<zeNode*> unlisted;
    for (auto& [id, node] : tree.m_nodes) {
        if (node.m_parent != nullptr && listed.count(&node) == 0 && !IsPlaceholder(node) &&
            !IsPlaceholder(*node.m_parent)) {
            unlisted.push_back(&node);
        }
    }
    std::sort(unlisted.begin(), unlisted.end(), [](const zeNode* left, const zeNode* right) {
        return left->m_node_id < right->m_node_id;
    });
    for (zeNode* const node : unlisted) {
        node->m_parent->m_children.push_back(node);
    }
}

// An entry that stood for the parent of a node whose parent is another by now, as that of the root
// of a subtree that was written alone.
void erase_unused_placeholders(zeManager& manager) {
    auto& nodes = manager.m_physical_tree->m_nodes;
    hash_set<const zeNode*, zePointer_hash> used;
    for (const auto& [id, node] : nodes) {
        used.insert(node.m_parent);
        used.insert(node.m_children.begin(), node.m_children.end());
    }
    for (auto entry = nodes.begin(); entry != nodes.end();) {
        zeNode* const node = &entry->second;
        const bool is_unused = IsPlaceholder(*node) && entry->first != 0 && used.count(node) == 0 &&
                               manager.m_logical_tree->finder.count(node) == 0;
        entry = is_unused ? nodes.erase(entry) : std::next(entry);
    }
}

void mend_logical_links(zeLogicalTree& tree) {
    const std::vector<unsigned int> ids = ids_in_order(tree.nodes);
    hash_map<unsigned int, unsigned int> lister;
    for (const unsigned int id : ids) {
        std::vector<unsigned int>& children = tree.nodes.at(id).children;
        const auto is_unknown = [&tree](unsigned int child) {
            return tree.nodes.count(child) == 0;
        };
        children.erase(std::remove_if(children.begin(), children.end(), is_unknown),
                       children.end());
        for (const unsigned int child : children) {
            if (!lister.emplace(child, id).second) {
                RaiseDamagedTree("logical children");
            }
        }
    }
    for (const unsigned int id : ids) {
        zeLogicalNode& node = tree.nodes.at(id);
        const auto found = lister.find(id);
        const auto named = tree.nodes.find(node.parent);
        if (found != lister.end()) {
            node.parent = found->second;
        } else if (named != tree.nodes.end()) {
            named->second.children.push_back(id);
        } else {
            node.parent = 0;
        }
    }
}

}  // namespace

void MendLinks(zeManager& manager) {
    mend_physical_links(manager);
    erase_unused_placeholders(manager);
    mend_logical_links(*manager.m_logical_tree);
}

void RequireTrees(const zeManager& manager) {
    require_physical_tree(*manager.m_physical_tree);
    RequireLogicalTree(*manager.m_logical_tree);
    require_root(manager);
}

void RequireRoomForIds(unsigned int last_id) {
    constexpr unsigned int kRoom = 1U << 24U;
    if (last_id > std::numeric_limits<unsigned int>::max() - kRoom) {
        RaiseDamagedTree("ids");
    }
}

void RequireLogicalTree(const zeLogicalTree& tree) {
    Id_numbers numbers;
    hash_set<zeNode*, zePointer_hash> mirrored;
    for (const auto& [id, node] : tree.nodes) {
        numbers.add(id);
        if (id == 0) {
            RaiseDamagedTree("logical ids");
        }
        if (node.physical_node != nullptr &&
            (IsPlaceholder(*node.physical_node) || !mirrored.insert(node.physical_node).second)) {
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

bool IsPlaceholder(const zeNode& node) {
    return node.m_node_id == 0;
}

void RaiseDamagedTree(const char* what) {
    throw qtX<zeManager>(4, "Knowledge tree is damaged", {what});
}

}  // namespace Zandrel
