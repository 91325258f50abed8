// The checks of the invariants of both trees, and the repair of links whose two directions
// disagree.
//
// Walks over the trees do not remember where they have been: they rely on the invariants below.
// Each one is followed by examples that would break it. "File" means a damaged file: reading it is
// refused. "Program" means a program that changes the public links: writing the container is then
// refused. Both raise "Knowledge tree is damaged" with the argument in brackets.
//
// The physical tree. The nodes below a node are its children and the categories of its classifier.
//
// 1. No way down leads from a node back to it. [children]
//    File: the root, node 1, has the child 2, and the record of node 2 has the child 1. A rule
//    classifier at node 2 with a rule for node 1 is the same. Program: leaf->add_child(root).
// 2. No way over m_parent leads from a node back to it. [parents]
//    File: never, since reading makes each parent agree with a list; a circle of parents becomes a
//    circle of children, which 1 refuses. Program: root->m_parent = leaf.
// 3. A node with nodes below it is below one other node at most. [children]
//    File: both 2 and 3 have the child 4, which has children. With 30 such steps one above the
//    other, a walk would visit the last node 2^30 times. Program: other->add_child(inner).
// 4. A node is a child once at most, except that several nodes with classifiers may have the same
//    leaf. An edit that deletes the leaf removes it from all of them. [children]
//    File: the list of node 1 is (2, 2), or two nodes list node 2 and one of them has no
//    classifier. Program: m_children.push_back(child). Allowed: train the root without its subtree
//    with messages of a category below; the root then shares the leaf.
// 5. The root has no parent in either tree. [root]
//    File: a node that is not below the root has the root as a child. Program: the same.
//
// The logical tree.
//
// 6. No id is 0, which means "no node". [logical ids]
//    File: a record with the id 0. Program: nodes[0] = node.
// 7. Two logical nodes never mirror the same physical node, and no logical node mirrors a
//    placeholder.
//    [mirrored nodes]
//    File: the logical nodes 2 and 3 both name the physical node 2. An edit of the one would delete
//    the physical node of the other. Program: copy a zeLogicalNode into `nodes` under a new id.
// 8. A node is a child once at most, and no list leads back. [logical children]
//    File: the lists of 1 and 2 both have the child 3. Program: children.push_back(1) at node 2.
// 9. No way over `parent` leads from a node back to it. [logical parents]
//    File: node 2 names the parent 3 and node 3 names the parent 2. Program: the same.
//
// Ids.
//
// 10. The greatest ids of a file leave 2^24 numbers for new nodes and objects. [ids]
//    File: a node with the id 0xffffffff. Without the check, the next node would get the id 0.
//    Program: read a file whose greatest id is 0xfeffffff, and make a node.
//
// Values.
//
// 11. Each threshold is finite. [thresholds]
//    File: never, since reading refuses the number itself. Program: add a node with the threshold
//    infinity.
//
// An edit breaks none of 1 to 9: it links a node to one parent, and VerifyNotBelow refuses a move
// below the node itself.
#include "zandrel/knowledge/Tree_shape.h"

#include <algorithm>
#include <cmath>
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

namespace zandrel::detail {

namespace {

// See invariant 10.
constexpr unsigned int kRoomForIds = 1U << 24U;
constexpr unsigned int kLastReadId = std::numeric_limits<unsigned int>::max() - kRoomForIds;

// Links between nodes that are numbered from 0.
class Links {
public:
    explicit Links(std::size_t node_count) : m_targets(node_count) {}

    void add(std::size_t from, std::size_t to) { m_targets[from].push_back(to); }

    // Returns whether each node with links is the target of one other node at most, and no way
    // leads back.
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
        // Each node with links has one source at most now. So a node that cannot be reached from a
        // node without a source is on a circle or below one.
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

// Returns the children, and then the categories of the classifier that are not children. Such a
// category of a classifier that is not in memory is a leaf without children, so it leads nowhere:
// see RequireCategories.
std::vector<zeNode*> nodes_below(const zeNode& node) {
    std::vector<zeNode*> below = node.m_children;
    if (!is_in_memory(node)) {
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

bool is_end(const zeNode& node) {
    return node.m_classifier_type == ZE_LEAF && node.m_children.empty();
}

// Returns whether `lister` may share a child with another node, see invariant 4. Its classifier may
// be only in the file.
bool may_share(const zeNode& lister, const zeNode& child) {
    return lister.m_classifier_id != 0 && is_end(child);
}

// Checks invariant 4.
void require_places(const zePhysicalTree& tree) {
    hash_map<const zeNode*, const zeNode*, zePointer_hash> listers;
    for (const auto& [id, node] : tree.m_nodes) {
        for (const zeNode* const child : node.m_children) {
            if (IsPlaceholder(*child)) {
                continue;
            }
            const auto [place, is_first] = listers.emplace(child, &node);
            const zeNode* const before = std::exchange(place->second, &node);
            if (!is_first &&
                (before == &node || !may_share(*before, *child) || !may_share(node, *child))) {
                RaiseDamagedTree("children");
            }
        }
    }
}

// Checks the invariants 1 to 4.
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

// Checks invariant 5. Walks start at the root and would never reach a node above it, and an edit
// could delete that node with the root below it.
void require_root(const zeManager& manager) {
    zeNode* const root = manager.m_root;
    if (root != nullptr &&
        (root->m_parent != nullptr || manager.m_logical_tree->FindCategory(root).parent != 0)) {
        RaiseDamagedTree("root");
    }
}

// Checks the invariants 10 and 11 as a reader of the container's records would.
void require_number(unsigned int id, double threshold) {
    RequireRoomForIds(id);
    if (!std::isfinite(threshold)) {
        RaiseDamagedTree("thresholds");
    }
}

void require_numbers(const zeManager& manager) {
    RequireRoomForIds(manager.m_last_object_id);
    for (const auto& [id, node] : manager.m_physical_tree->m_nodes) {
        require_number(node.m_node_id, node.m_threshold);
    }
    for (const auto& [id, node] : manager.m_logical_tree->nodes) {
        require_number(id, node.threshold);
    }
}

// A placeholder is treated as missing, since no record can refer to it: in records, the id 0 means
// no node.
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

// Gives a leaf in several lists a parent below the root, if one of its listers is there. A parent
// that is not below the root is not written again, and the next reading would give the leaf another
// one.
void prefer_parents_below_root(zeManager& manager,
                               const hash_set<const zeNode*, zePointer_hash>& shared) {
    if (shared.empty() || manager.m_root == nullptr) {
        return;
    }
    hash_set<zeNode*, zePointer_hash> below_root;
    manager.m_root->get_subtree(below_root);
    for (zeNode* const node : in_id_order(below_root)) {
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
            // Of several nodes that list a leaf, its parent is the one that it names, else the
            // first.
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

// Removes placeholders to which no link leads any more. Example: a file has only the subtree of
// node 5, whose parent, node 2, is not in the file. The root that was read has no parent now.
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
    require_numbers(manager);
}

std::vector<zeNode*> ChildrenAndLooseLeaves(const zeNode& node) {
    std::vector<zeNode*> below = nodes_below(node);
    const auto first_loose = below.begin() + static_cast<std::ptrdiff_t>(node.m_children.size());
    below.erase(std::remove_if(first_loose, below.end(),
                               [](const zeNode* category) { return !is_end(*category); }),
                below.end());
    return below;
}

bool AdoptLooseLeaves(zeNode& node) {
    const std::size_t child_count = node.m_children.size();
    const std::vector<zeNode*> below = ChildrenAndLooseLeaves(node);
    for (std::size_t i = child_count; i < below.size(); ++i) {
        node.add_child(below[i]);
    }
    return below.size() > child_count;
}

void RequireCategories(const zeNode& node, zeClassifier& classifier) {
    std::vector<zeNode*> categories;
    classifier.get_all_categories(categories);
    const auto is_below = [&node](const zeNode* category) {
        return category == nullptr || is_end(*category) || node.find_child(category) >= 0;
    };
    if (!std::all_of(categories.begin(), categories.end(), is_below)) {
        RaiseDamagedTree("children");
    }
}

void RequireRoomForIds(unsigned int last_id) {
    if (last_id > kLastReadId) {
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

}  // namespace zandrel::detail
