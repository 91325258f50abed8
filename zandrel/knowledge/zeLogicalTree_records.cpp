// What zeLogicalTree writes and reads.  Format: docs/formats/kc.md
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <utility>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/knowledge/Tree_shape.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"

namespace {

constexpr unsigned int kRootId = 1;

// The fewest bytes of a node: its numbers, and the counts of its lists and texts.
constexpr unsigned int kLeastNodeSize = 46;
constexpr unsigned int kLeastNodeSizeV1 = 41;
constexpr unsigned int kReferenceSize = 4;

void write_node(Hio<HSegment>& io, const zeLogicalNode& node) {
    io << node.id << Zandrel::reference_to(node.physical_node);
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

std::vector<unsigned int> ids_in_order(const hash_map<unsigned int, zeLogicalNode>& nodes) {
    std::vector<unsigned int> ids;
    ids.reserve(nodes.size());
    for (const auto& [id, node] : nodes) {
        ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
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

}  // namespace

void zeLogicalTree::Dump(Hio<HSegment>& io, unsigned int top) const {
    if (top > kRootId) {
        zeLogicalTree copy(manager);
        copy.CopySubTree(*this, top, 0, nullptr);
        copy.Dump(io, kRootId);
        return;
    }
    io.WriteCount(nodes.size());
    for (const unsigned int id : ids_in_order(nodes)) {
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
    for (unsigned int left = io.ReadCount(has_ids ? kLeastNodeSize : kLeastNodeSizeV1); left > 0;
         --left) {
        unsigned int physical_id = 0;
        zeLogicalNode& node = ReadNode(io, physical_id);
        if (has_ids) {
            node.physical_node = tree->GetNode(physical_id);
            if (node.physical_node == nullptr) {
                node.physical_node = DetachedNode(physical_id, node);
            }
            AddFinder(node);
        }
    }
    Zandrel::RequireLogicalTree(*this);  // before anything goes upwards
    if (!has_ids) {
        for (const unsigned int id : ids_in_order(nodes)) {
            FindNodeOfV1(nodes.at(id));
        }
    }
}

// `physical_id`: 0 in the first version, which has no such field.
zeLogicalNode& zeLogicalTree::ReadNode(Hio<HSegment>& io, unsigned int& physical_id) {
    const bool has_ids = manager->has_node_ids();
    zeLogicalNode node;
    io >> node.id;
    next_id = std::max(next_id, node.id);
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
    io >> node.note1 >> node.note2;
    if (node.name == Concept()) {
        node.name = node.category;
    }
    if (node.name != node.category) {
        manager->m_compat55 = true;  // A name of its own is there in that mode alone.
    }
    return nodes.insert_or_assign(node.id, std::move(node)).first->second;
}

// A node that no classifier holds is mirrored here, but no record of the physical tree has it. So
// it is made again as it was: a leaf that stands in no tree.
zeNode* zeLogicalTree::DetachedNode(unsigned int id, const zeLogicalNode& node) {
    zePhysicalTree& tree = *manager->m_physical_tree;
    if (id == 0) {
        return tree.MakeNode(node.category, ZE_LEAF, node.attributes, node.threshold);
    }
    zeNode made(node.category);
    made.m_node_id = id;
    made.m_flags = node.attributes;
    made.m_threshold = node.threshold;
    zeNode* const entered = &tree.m_nodes.insert_or_assign(id, std::move(made)).first->second;
    tree.m_last_node_id = std::max(tree.m_last_node_id, id);
    tree.AddFinder(entered);
    return entered;
}

// The first version knows the node that is mirrored by its category, below that of the nearest
// classifier above.
void zeLogicalTree::FindNodeOfV1(zeLogicalNode& node) {
    const zeLogicalNode* const above = NearestClassifierNode(node.parent);
    zePhysicalTree& tree = *manager->m_physical_tree;
    zeNode* const classifier =
        above == nullptr ? nullptr : tree.ConvertV1(above->category, nullptr);
    node.physical_node = tree.ConvertV1(node.category, classifier);
    if (node.physical_node == nullptr) {
        node.physical_node = DetachedNode(0, node);
    }
    AddFinder(node);
}
