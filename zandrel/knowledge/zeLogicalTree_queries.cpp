// Paths of zeLogicalTree. Example: a node "c\d" below a node "a/b" below the root "r" has the path
// "r/a\/b/c\\d".
#include "zandrel/knowledge/zeLogicalTree.h"

#include <algorithm>
#include <cstddef>

#include "zandrel/knowledge/Children_index.h"
#include "zandrel/knowledge/fixed_names.h"

namespace {

constexpr char kSeparator = '/';
constexpr char kEscape = '\\';

bool needs_escape(char byte) {
    return byte == kSeparator || byte == kEscape;
}

void append_escaped(qtString& path, std::string_view name) {
    for (const char byte : name) {
        if (needs_escape(byte)) {
            path += kEscape;
        }
        path += byte;
    }
}

void move_part(qtString& part, std::vector<qtString>& parts) {
    if (!part.empty()) {
        parts.push_back(part);
        part.clear();
    }
}

}  // namespace

void zeLogicalTree::BreakPath(const qtString& path, std::vector<qtString>& parts) {
    std::vector<qtString> broken;  // the path may be an element of `parts`
    const std::string_view text = path.view();
    qtString part;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool is_escape =
            text[i] == kEscape && i + 1 < text.size() && needs_escape(text[i + 1]);
        if (is_escape) {
            part += text[++i];
        } else if (text[i] == kSeparator) {
            move_part(part, broken);
        } else {
            part += text[i];
        }
    }
    move_part(part, broken);
    parts.swap(broken);
}

const zeLogicalNode& zeLogicalTree::FindNodeByPath(const qtString& path) const {
    std::vector<qtString> parts;
    BreakPath(path, parts);
    return FindNodeByPath(parts, static_cast<int>(parts.size()));
}

const zeLogicalNode& zeLogicalTree::FindNodeByPath(const std::vector<qtString>& parts,
                                                   int count) const {
    const zeLogicalNode* node = Find(zandrel::kRootId);
    if (node == nullptr || parts.empty() || count > static_cast<int>(parts.size()) ||
        node->name.view() != parts.front().view()) {
        return not_found_node;
    }
    for (int i = 1; i < count && node != nullptr; ++i) {
        node = FindChildByName(*node, Concept::insert(parts[static_cast<std::size_t>(i)]));
    }
    return node == nullptr ? not_found_node : *node;
}

const zeLogicalNode* zeLogicalTree::FindChildByName(const zeLogicalNode& parent,
                                                    const Concept& name) const {
    const auto place = m_children->find_name(parent, name, m_is_exposed);
    return place ? Find(parent.children[*place]) : nullptr;
}

void zeLogicalTree::GetNodePath(unsigned int id, qtString& path) const {
    path.clear();
    std::vector<Concept> names;  // from the node up
    const zeLogicalNode* node = &GetNode(id);
    names.push_back(node->name);
    while (node->parent != 0) {
        // If there are more names than nodes, a program has linked the parents to a circle. The
        // last parent can be missing and still gives a name, so one name more than nodes is
        // possible.
        if (names.size() > nodes.size()) {
            return;
        }
        node = &GetNode(node->parent);
        names.push_back(node->name);
    }
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        if (name != names.rbegin()) {
            path += kSeparator;
        }
        append_escaped(path, name->view());
    }
}
