// Collects the nodes of a tree in the order of printing, and prints them. view_tree uses a list of
// waiting nodes instead of recursion, since a tree can be deeper than the stack allows.
#include "text/kc/Kc_tree_view.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/qtText.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "text/kc/Kc_paths.h"
#include "text/kc/stat_classifiers.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Json = nlohmann::ordered_json;

// `messages`: that the classifier above has learned.
Kc_tree_line line_of(const zeLogicalNode& node, int depth, std::optional<int> messages) {
    Kc_tree_line line;
    line.id = node.id;
    line.depth = depth;
    line.name = node.name.view();
    line.category = node.category.view();
    line.type = node.type;
    line.is_scored = (node.attributes & zeNode::NoScore) == 0;
    line.threshold = node.threshold;
    line.rule = node.rule.str();
    line.note1 = node.note1.str();
    line.note2 = node.note2.str();
    line.messages = messages;
    line.child_count = node.children.size();
    return line;
}

// A node that has no line yet.
struct Waiting {
    const zeLogicalNode* node;
    int depth;
    std::optional<int> messages;
};

// Sorted by name. Equal names are sorted by id, which is the order in which the nodes were made.
std::vector<const zeLogicalNode*> sorted_children(const zeLogicalTree& tree,
                                                  const zeLogicalNode& node) {
    std::vector<const zeLogicalNode*> children;
    for (const unsigned int id : node.children) {
        children.push_back(&tree.GetNode(id));
    }
    std::sort(children.begin(), children.end(),
              [](const zeLogicalNode* left, const zeLogicalNode* right) {
                  return left->name == right->name ? left->id < right->id
                                                   : left->name < right->name;
              });
    return children;
}

void print_line(const Kc_tree_line& line, std::ostream& out) {
    for (int level = 0; level < line.depth; ++level) {
        out << "  ";
    }
    out << shown_name(line.name) << " [" << type_name(line.type) << ']';
    if (!line.is_scored) {
        out << " NoScore";
    }
    if (line.category != line.name) {
        out << " category=" << shown_name(line.category);
    }
    if (line.threshold != 0.0) {
        out << " threshold=" << qtConvertDoubleToString(line.threshold).view();
    }
    if (line.messages) {
        out << " messages=" << *line.messages;
    }
    if (line.hides_children) {
        out << " children=" << line.child_count;
    }
    // Last, since a rule may contain blanks and "=".
    if (!line.rule.empty()) {
        out << " rule=" << shown_text(line.rule);
    }
    out << '\n';
}

Json line_json(const Kc_tree_line& line) {
    Json json = {
        {"name", line.name},        {"category", line.category},   {"type", type_name(line.type)},
        {"scored", line.is_scored}, {"threshold", line.threshold}, {"rule", line.rule},
        {"note1", line.note1},      {"note2", line.note2}};
    json["messages"] = line.messages ? Json(*line.messages) : Json(nullptr);
    json["child_count"] = line.child_count;
    return json;
}

// The object of line `next` with the lines below it as children. Moves `next` to the line after
// these.
Json subtree_json(const std::vector<Kc_tree_line>& lines, std::size_t& next) {
    const Kc_tree_line& line = lines[next++];
    Json json = line_json(line);
    if (!line.hides_children) {
        Json children = Json::array();
        while (next < lines.size() && lines[next].depth > line.depth) {
            children.push_back(subtree_json(lines, next));
        }
        json["children"] = std::move(children);
    }
    return json;
}

}  // namespace

Tree_view view_tree(zeManager& manager, const std::string& path, int depth) {
    const zeLogicalTree& tree = *manager.m_logical_tree;
    Tree_view view;
    std::vector<Waiting> waiting;  // the last is next
    // The classifier above is asked for all children together, since it may leave the memory.
    const auto add = [&manager, &waiting](const zeLogicalNode& node, int level) {
        waiting.push_back({&node, level, learned_messages(manager, node)});
    };
    if (!path.empty()) {
        add(find_node(tree, path), 0);
    } else if (tree.GetNode(zandrel::kRootId).id != 0) {
        add(tree.GetNode(zandrel::kRootId), 0);
    }
    while (!waiting.empty()) {
        const auto [node, level, messages] = waiting.back();
        waiting.pop_back();
        view.lines.push_back(line_of(*node, level, messages));
        if (level == depth) {
            view.lines.back().hides_children = !node->children.empty();
            continue;
        }
        const std::vector<const zeLogicalNode*> children = sorted_children(tree, *node);
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            add(**child, level + 1);
        }
    }
    return view;
}

std::string type_name(unsigned char type) {
    constexpr std::string_view kNames[] = {"leaf", "rule", "stat"};
    return type > ZE_STAT ? "type " + std::to_string(unsigned{type}) : std::string(kNames[type]);
}

void print_tree(const Tree_view& view, std::ostream& out) {
    for (const Kc_tree_line& line : view.lines) {
        print_line(line, out);
    }
}

nlohmann::ordered_json tree_json(const Tree_view& view) {
    if (view.lines.empty()) {
        return nullptr;
    }
    for (const Kc_tree_line& line : view.lines) {
        if (line.depth > kDeepestTreeJson) {
            throw std::length_error("the tree has more than " + std::to_string(kDeepestTreeJson) +
                                    " levels for JSON: give a --depth");
        }
    }
    std::size_t next = 0;
    return subtree_json(view.lines, next);
}

}  // namespace zandrel
