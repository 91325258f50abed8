// The record of zePhysicalTree. A record can refer to a node before it defines it: the reference
// makes an empty node, a placeholder, which is filled later. In version 1, references are concepts,
// and links are made when all nodes have been read.  Format: docs/formats/kc.md
#include "zandrel/knowledge/zePhysicalTree.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "zandrel/classification/zeClassifier.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Damaged_item.h"

using zandrel::detail::IsPlaceholder;

namespace {

// The least number of bytes of a node: its numbers, and the counts of its lists and texts.
constexpr unsigned int kLeastNodeSize = 30;
constexpr unsigned int kLeastNodeSizeV1 = 26;
constexpr unsigned int kReferenceSize = 4;

// The ids that a record has given to its nodes.
class Read_ids {
public:
    // No node has the id 0: it was written in place of a node that was missing.
    void add(unsigned int id) {
        if (id != 0 && !m_ids.insert(id).second) {
            zandrel::detail::RaiseDamagedTree("node ids");
        }
    }

private:
    hash_set<unsigned int> m_ids;
};

using Nodes = hash_set<zeNode*, zePointer_hash>;

// Writes only children that are written themselves: a reader would make placeholders of the others.
void write_children(Hio<HSegment>& io, std::vector<zeNode*> children, const Nodes& written) {
    std::erase_if(children, [&written](zeNode* child) { return written.count(child) == 0; });
    io.WriteCount(children.size());
    for (const zeNode* const child : children) {
        io << zandrel::detail::reference_to(child);
    }
}

// `children`: as the record lists them.
void write_node(Hio<HSegment>& io, const zeNode& node, const zeNode* parent,
                std::vector<zeNode*> children, const Nodes& written) {
    io << node.m_concept;
    io.WriteByte(static_cast<char>(node.m_flags));
    io.WriteByte(static_cast<char>(node.m_classifier_type));
    io << node.m_classifier_id << node.m_node_id << node.m_threshold;
    write_children(io, std::move(children), written);
    io << zandrel::detail::reference_to(parent);
}

bool is_fetchable(const zeNode& node) {
    return node.m_classifier_id != 0 && !zandrel::detail::is_in_memory(node);
}

// A classifier may know leaves that are not children of its node, for example after an interrupted
// training. It can be read again only if all of them are in the record. A classifier that is only
// in the file cannot be asked, so then all leaves without a parent are added.
void add_loose_leaves(Nodes& nodes, const zePhysicalTree& tree) {
    std::vector<zeNode*> categories;
    bool are_all_asked = true;
    for (const zeNode* const node : nodes) {
        if (zandrel::detail::is_in_memory(*node)) {
            node->m_classifier->get_all_categories(categories);
        }
        are_all_asked = are_all_asked && !is_fetchable(*node);
    }
    if (!are_all_asked) {
        for (const auto& [category, leaves] : tree.m_finder) {
            std::copy_if(leaves.begin(), leaves.end(), std::back_inserter(categories),
                         [](const zeNode* leaf) { return leaf->m_parent == nullptr; });
        }
    }
    for (zeNode* const category : categories) {
        if (category != nullptr && category->m_classifier_type == ZE_LEAF) {
            nodes.insert(category);
        }
    }
}

}  // namespace

void zePhysicalTree::Dump(Hio<HSegment>& io, zeNode* top) const {
    Nodes nodes(zandrel::kInitialBuckets);
    if (top != nullptr) {
        top->get_subtree(nodes);
        add_loose_leaves(nodes, *this);
    }
    // A placeholder's record would have the id 0, and a reader would make one node of all of them.
    std::erase_if(nodes, [](const zeNode* node) { return IsPlaceholder(*node); });
    const bool is_whole = top == m_manager->m_root;
    // In a container whose classifiers are fetched, the lists of children lead to all classifiers
    // that know a node.
    const bool lists_categories = m_manager->ReadOnDemand() != 0;
    io.WriteCount(nodes.size());
    for (const zeNode* const node : zandrel::detail::in_id_order(nodes)) {
        const bool is_parent_lost = is_whole && nodes.count(node->m_parent) == 0;
        write_node(io, *node, is_parent_lost ? nullptr : node->m_parent,
                   lists_categories ? zandrel::detail::NodesBelow(*node) : node->m_children, nodes);
    }
}

void zePhysicalTree::Load(Hio<HSegment>& io) {
    m_last_node_id = 0;
    if (!m_manager->has_node_ids()) {
        load_v1(io);
        return;
    }
    Read_ids ids;
    for (unsigned int left = io.ReadCount(kLeastNodeSize); left > 0; --left) {
        ids.add(read_node(io)->m_node_id);
    }
    zandrel::detail::RequireRoomForIds(m_last_node_id);
}

// Returns the node of an id that a record names. It is empty until its own record is read.
zeNode* zePhysicalTree::refer_to(unsigned int id) {
    return &m_nodes.try_emplace(id, Concept()).first->second;
}

// Moves a node that was read into its entry. A reference may have made the entry before, so the
// address of the entry must not change.
zeNode* zePhysicalTree::enter(zeNode&& read) {
    zeNode* const node = refer_to(read.m_node_id);
    if (!IsPlaceholder(*node)) {
        LeaveName(node);  // The tree had a node of this id before.
    }
    *node = std::move(read);
    if (node->m_node_id > m_last_node_id) {
        m_last_node_id = node->m_node_id;
    }
    if (!IsPlaceholder(*node)) {
        EnterName(node);
    }
    return node;
}

zeNode* zePhysicalTree::read_node(Hio<HSegment>& io) {
    zeNode read{Concept()};
    io >> read.m_concept;
    read.m_flags = static_cast<unsigned char>(io.ReadByte());
    read.m_classifier_type = static_cast<unsigned char>(io.ReadByte());
    io >> read.m_classifier_id >> read.m_node_id >> read.m_threshold;
    zandrel::detail::RequireFinite(read.m_threshold, "threshold", read.m_node_id);
    zeNode* const node = enter(std::move(read));
    const unsigned int child_count = io.ReadCount(kReferenceSize);
    node->m_children.reserve(child_count);
    for (unsigned int i = 0; i < child_count; ++i) {
        unsigned int child = 0;
        io >> child;
        node->m_children.push_back(refer_to(child));
    }
    unsigned int parent = 0;
    io >> parent;
    node->m_parent = parent == 0 ? nullptr : refer_to(parent);
    return node;
}

zeNode* zePhysicalTree::read_node_v1(Hio<HSegment>& io, std::vector<Concept>& children,
                                     std::vector<Concept>& parents) {
    zeNode read{Concept()};
    io >> read.m_concept;
    const bool is_scored = io.ReadBool();
    read.m_flags = is_scored ? 0 : zeNode::NoScore;
    read.m_classifier_type = static_cast<unsigned char>(io.ReadByte());
    float threshold = 0.0F;
    io >> read.m_classifier_id >> read.m_node_id >> threshold >> children >> parents;
    read.m_threshold = static_cast<double>(threshold);
    zandrel::detail::RequireFinite(read.m_threshold, "threshold", read.m_node_id);
    return enter(std::move(read));
}

// Nodes refer to each other by concept, so links are made when all nodes have been read. A leaf
// with several parents becomes several nodes: the first one remains below the first parent that it
// names, and the other parents get copies in the order of the parents' ids.
void zePhysicalTree::load_v1(Hio<HSegment>& io) {
    m_v1_nodes.clear();
    m_v1_pending.clear();
    m_v1_places.clear();
    Concepts_by_id children;
    Concepts_by_id parents;
    Read_ids ids;
    for (unsigned int left = io.ReadCount(kLeastNodeSizeV1); left > 0; --left) {
        std::vector<Concept> node_children;
        std::vector<Concept> node_parents;
        zeNode* const node = read_node_v1(io, node_children, node_parents);
        ids.add(node->m_node_id);
        if (node_parents.size() < 2) {
            m_v1_nodes[node->m_concept] = node;
        } else {
            std::vector<zeNode*>& places = m_v1_pending[node->m_concept];
            places.assign(node_parents.size(), nullptr);
            places.front() = node;
        }
        children[node->m_node_id] = std::move(node_children);
        parents[node->m_node_id] = std::move(node_parents);
    }
    zandrel::detail::RequireRoomForIds(m_last_node_id);
    link_v1(children, parents);
}

void zePhysicalTree::link_v1(const Concepts_by_id& children, const Concepts_by_id& parents) {
    for (const auto& [id, concepts] : parents) {
        if (!concepts.empty()) {
            m_nodes.at(id).m_parent = ConvertV1(concepts.front(), nullptr);
        }
    }
    for (const auto& [id, concepts] : children) {
        zeNode& node = m_nodes.at(id);
        node.m_children.reserve(concepts.size());
        for (const Concept& category : concepts) {
            zeNode* const child = ConvertV1(category, &node);
            if (child == nullptr) {
                zandrel::detail::RaiseDamagedTree("children");
            }
            node.m_children.push_back(child);
        }
    }
}

zeNode* zePhysicalTree::ConvertV1(const Concept& category, zeNode* parent) {
    if (category.empty()) {
        return nullptr;
    }
    const auto only = m_v1_nodes.find(category);
    if (only != m_v1_nodes.end()) {
        return only->second;
    }
    const auto pending = m_v1_pending.find(category);
    if (parent == nullptr || pending == m_v1_pending.end()) {
        return nullptr;
    }
    std::vector<zeNode*>& places = pending->second;
    if (places.front()->m_parent == nullptr) {
        places.front()->m_parent = parent;
    }
    Places_v1& entered = entered_places_v1(category, places);
    const auto found = entered.by_parent.find(parent);
    if (found != entered.by_parent.end()) {
        return found->second;
    }
    if (entered.entered == places.size()) {
        return nullptr;
    }
    zeNode*& free_place = places[entered.entered];
    free_place = copy_v1_leaf(*places.front(), parent);
    return free_place;
}

// Enters the nodes of a vector of m_v1_pending that are not yet in the table of their parents.
// ConvertV1 is called for each parent of a leaf, at least once for each of both trees and for the
// parent's classifier. A search of the vector in each call would take time that is quadratic in the
// number of parents. Example: a leaf has three parents, and two of them have asked. The vector is
// (leaf, copy, null), and the table has two entries. The third parent is not in the table, so it
// gets the first place behind these two.
zePhysicalTree::Places_v1& zePhysicalTree::entered_places_v1(const Concept& category,
                                                             const std::vector<zeNode*>& places) {
    Places_v1& known = m_v1_places[category];
    // The vectors are public, so another one may be there now.
    const bool is_other = known.first != places.front() || known.entered > places.size() ||
                          (known.entered > 0 && places[known.entered - 1] == nullptr);
    if (is_other) {
        known = Places_v1();
        known.first = places.front();
    }
    for (; known.entered < places.size() && places[known.entered] != nullptr; ++known.entered) {
        zeNode* const place = places[known.entered];
        known.by_parent.emplace(place->m_parent, place);
    }
    return known;
}

zeNode* zePhysicalTree::copy_v1_leaf(const zeNode& leaf, zeNode* parent) {
    zeNode inserted(leaf);
    inserted.m_node_id = ++m_last_node_id;
    inserted.m_parent = parent;
    ZANDREL_ASSERT(inserted.m_classifier_type == ZE_LEAF, "inserted.m_classifier_type == ZE_LEAF");
    return enter(std::move(inserted));
}
