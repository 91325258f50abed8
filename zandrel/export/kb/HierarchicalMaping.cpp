// The tree and its record. A node is followed by its first child with all below it, then by its
// second child, and so on. The nodes that are still to be written are in a list, the next one last.
#include "zandrel/export/kb/HierarchicalMaping.h"

#include <vector>

HierarchicalMaping::HierarchicalMaping()
    : m_root(std::make_unique<HierarchicalMapingNode>(qtString())) {}

HierarchicalMaping::~HierarchicalMaping() = default;

void HierarchicalMaping::Restart(const qtString& root_name) {
    m_root = std::make_unique<HierarchicalMapingNode>(root_name);
}

void HierarchicalMaping::Write(Hio<HSegment>& io) const {
    std::vector<const HierarchicalMapingNode*> left = {m_root.get()};
    while (!left.empty()) {
        const HierarchicalMapingNode& node = *left.back();
        left.pop_back();
        io << node.name << node.rule << node.profile;
        io.WriteCount(node.children().size());
        for (auto child = node.children().rbegin(); child != node.children().rend(); ++child) {
            left.push_back(child->get());
        }
    }
}
