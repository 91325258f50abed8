// The record of zeLogicalTree: the nodes by ascending id. In records of version 1 a node has no id
// of its physical node; we find the physical node by its category.  Format: docs/formats/kc.md
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <utility>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/Children_index.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Damaged_item.h"

namespace {

// The least number of bytes of a node: its numbers, and the counts of its lists and texts.
constexpr unsigned int kLeastNodeSize = 46;
constexpr unsigned int kLeastNodeSizeV1 = 41;
constexpr unsigned int kReferenceSize = 4;

void write_node(Hio<HSegment>& io, const zeLogicalNode& node) {
    io << node.id << zandrel::detail::reference_to(node.physical_node);
    io.WriteByte(static_cast<char>(node.type));
    io << node.parent;
    io.WriteCount(node.children.size());
    for (const unsigned int child : node.children) {
        io << child;
    }
    io << node.category << (node.name == node.category ? Concept() : node.name) << node.rule;
    io.WriteByte(static_cast<char>(node.attributes));
    io << node.threshold << node.note1 << node.note2;
}

unsigned char read_type(Hio<HSegment>& io, bool has_ids) {
    if (has_ids) {
        return static_cast<unsigned char>(io.ReadByte());
    }
    unsigned int type = 0;
    io >> type;
    return static_cast<unsigned char>(type);
}

unsigned char read_attributes(Hio<HSegment>& io, bool has_ids) {
    if (has_ids) {
        return static_cast<unsigned char>(io.ReadByte());
    }
    const bool is_scored = io.ReadBool();
    return is_scored ? 0 : zeNode::NoScore;
}

double read_threshold(Hio<HSegment>& io, bool has_ids) {
    double threshold = 0.0;
    if (has_ids) {
        io >> threshold;
    } else {
        float narrow = 0.0F;
        io >> narrow;
        threshold = static_cast<double>(narrow);
    }
    return threshold;
}

// Finds the nearest node with a classifier, from a node itself upwards. It keeps its answers, since
// many nodes can be nested below one another.
class Nearest_classifiers {
public:
    using Nodes = hash_map<unsigned int, zeLogicalNode>;

    // BORROWS: `nodes`.  REQUIRES: no way upwards leads back.
    explicit Nearest_classifiers(const Nodes& nodes) : m_nodes(nodes) {}

    // Returns null if no node on the way has a classifier.
    const zeLogicalNode* from(unsigned int id) {
        std::vector<unsigned int> way;
        const zeLogicalNode* found = nullptr;
        for (auto node = m_nodes.find(id); node != m_nodes.end();
             node = m_nodes.find(node->second.parent)) {
            const auto known = m_known.find(node->first);
            if (known != m_known.end() || node->second.type != ZE_LEAF) {
                found = known != m_known.end() ? known->second : &node->second;
                break;
            }
            way.push_back(node->first);
        }
        for (const unsigned int passed : way) {
            m_known.emplace(passed, found);
        }
        return found;
    }

private:
    const Nodes& m_nodes;
    hash_map<unsigned int, const zeLogicalNode*> m_known;
};

}  // namespace

void zeLogicalTree::Dump(Hio<HSegment>& io, unsigned int top) const {
    if (top > zandrel::kRootId) {
        zeLogicalTree copy(manager);
        copy.CopySubTree(*this, top, 0, nullptr);
        copy.Dump(io, zandrel::kRootId);
        return;
    }
    io.WriteCount(nodes.size());
    for (const unsigned int id : zandrel::detail::ids_in_order(nodes)) {
        write_node(io, nodes.at(id));
    }
}

void zeLogicalTree::Load(Hio<HSegment>& io) {
    const qtPtrLight<zePhysicalTree> tree = manager->m_physical_tree;
    const bool has_ids = manager->has_node_ids();
    if (!has_ids) {
        unsigned int without_meaning = 0;
        io >> without_meaning;
    }
    next_id = 0;
    m_children->clear();  // A node that is read can replace one of the same id.
    hash_set<unsigned int> ids;
    for (unsigned int left = io.ReadCount(has_ids ? kLeastNodeSize : kLeastNodeSizeV1); left > 0;
         --left) {
        const unsigned int id = ReadNode(io);
        if (!ids.insert(id).second) {
            zandrel::detail::RaiseDamagedTree("logical ids");
        }
    }
    zandrel::detail::RequireRoomForIds(next_id);
    zandrel::detail::RequireLogicalTree(*this);  // before anything follows parents
    if (!has_ids) {
        FindNodesOfV1();
    }
}

// Returns the id.
unsigned int zeLogicalTree::ReadNode(Hio<HSegment>& io) {
    const bool has_ids = manager->has_node_ids();
    zeLogicalNode node;
    io >> node.id;
    next_id = std::max(next_id, node.id);
    unsigned int physical_id = 0;
    if (has_ids) {
        io >> physical_id;
    }
    node.type = read_type(io, has_ids);
    io >> node.parent;
    node.children.resize(io.ReadCount(kReferenceSize));
    for (unsigned int& child : node.children) {
        io >> child;
    }
    io >> node.category >> node.name >> node.rule;
    node.attributes = read_attributes(io, has_ids);
    node.threshold = read_threshold(io, has_ids);
    zandrel::detail::RequireFinite(node.threshold, "threshold of a logical node", node.id);
    io >> node.note1 >> node.note2;
    if (node.name == Concept()) {
        node.name = node.category;
    }
    if (node.name != node.category) {
        manager->m_compat55 = true;  // Only in that mode do nodes have names of their own.
    }
    if (const zeLogicalNode* const replaced = Find(node.id)) {
        DelFinder(*replaced);
    }
    if (has_ids) {
        node.physical_node = NodeOf(physical_id, node);
        AddFinder(node);
    }
    return nodes.insert_or_assign(node.id, std::move(node)).first->first;
}

zeNode* zeLogicalTree::NodeOf(unsigned int physical_id, const zeLogicalNode& node) {
    zeNode* const found = manager->m_physical_tree->GetNode(physical_id);
    // A node that has no record but to which others refer is in the tree as an empty node with id
    // 0.
    const bool is_there = found != nullptr && found->m_node_id == physical_id;
    return is_there ? found : DetachedNode(physical_id, node);
}

// A physical node that is not below the root, and that no classifier knows, is not in the record of
// the physical tree. Its logical node has a record, so we make the physical node again as it was: a
// leaf without a parent.
zeNode* zeLogicalTree::DetachedNode(unsigned int id, const zeLogicalNode& node) {
    zePhysicalTree& tree = *manager->m_physical_tree;
    if (id == 0) {
        return tree.MakeNode(node.category, ZE_LEAF, node.attributes, node.threshold);
    }
    zandrel::detail::RequireRoomForIds(id);
    zeNode made(node.category);
    made.m_node_id = id;
    made.m_flags = node.attributes;
    made.m_threshold = node.threshold;
    zeNode* const entered = &tree.m_nodes.insert_or_assign(id, std::move(made)).first->second;
    tree.m_last_node_id = std::max(tree.m_last_node_id, id);
    tree.AddFinder(entered);
    return entered;
}

// In version 1 the category of a logical node identifies its physical node, together with the
// category of the nearest node above that has a classifier.
void zeLogicalTree::FindNodesOfV1() {
    zePhysicalTree& tree = *manager->m_physical_tree;
    Nearest_classifiers classifiers(nodes);
    for (const unsigned int id : zandrel::detail::ids_in_order(nodes)) {
        zeLogicalNode& node = nodes.at(id);
        const zeLogicalNode* const above = classifiers.from(node.parent);
        zeNode* const classifier =
            above == nullptr ? nullptr : tree.ConvertV1(above->category, nullptr);
        node.physical_node = tree.ConvertV1(node.category, classifier);
        if (node.physical_node == nullptr) {
            node.physical_node = DetachedNode(0, node);
        }
        AddFinder(node);
    }
}
