// For each category, lists the nodes that have it at themselves or below. A cell then adds its
// texts to the nodes of its row; those nodes that are also in the list of its column have answered
// in the right branch.
#include "cli/report/Tree_quality.h"

#include <algorithm>
#include <iterator>

#include "cli/report/Html_text.h"

namespace zandrel::cli {

namespace {

// For each category the indexes of lines, ascending, each once.
using Nodes_of_categories = std::vector<std::vector<std::size_t>>;

void add_once(std::size_t node, std::vector<std::size_t>& nodes) {
    const auto place = std::lower_bound(nodes.begin(), nodes.end(), node);
    if (place == nodes.end() || *place != node) {
        nodes.insert(place, node);
    }
}

Nodes_of_categories nodes_of_categories(
    const std::vector<Kc_tree_line>& lines,
    const std::map<std::string, std::size_t, std::less<>>& numbers) {
    Nodes_of_categories nodes(numbers.size());
    std::vector<std::size_t> path;  // the line and the lines above it
    for (std::size_t i = 0; i < lines.size(); ++i) {
        path.resize(static_cast<std::size_t>(lines[i].depth));
        path.push_back(i);
        const auto number = numbers.find(lines[i].category);
        if (number != numbers.end()) {
            for (const std::size_t node : path) {
                add_once(node, nodes[number->second]);
            }
        }
    }
    return nodes;
}

void add_cell(const Report_cell& cell, const Nodes_of_categories& nodes,
              std::vector<Tree_node>& tree) {
    const std::vector<std::size_t>& of_row = nodes[cell.row];
    for (const std::size_t node : of_row) {
        tree[node].texts += cell.texts;
        tree[node].right += cell.row == cell.column ? cell.texts : 0;
    }
    if (cell.column < nodes.size()) {
        std::vector<std::size_t> shared;
        std::set_intersection(of_row.begin(), of_row.end(), nodes[cell.column].begin(),
                              nodes[cell.column].end(), std::back_inserter(shared));
        for (const std::size_t node : shared) {
            tree[node].right_branch += cell.texts;
        }
    }
}

}  // namespace

std::vector<Tree_node> tree_quality(const std::vector<Kc_tree_line>& lines,
                                    const std::map<std::string, std::size_t, std::less<>>& numbers,
                                    const std::vector<Report_cell>& cells) {
    std::vector<Tree_node> tree;
    for (const Kc_tree_line& line : lines) {
        tree.push_back({page_text(line.name, kLongestCategory),
                        static_cast<std::size_t>(line.depth), line.child_count > 0});
    }
    const Nodes_of_categories nodes = nodes_of_categories(lines, numbers);
    for (const Report_cell& cell : cells) {
        add_cell(cell, nodes, tree);
    }
    std::erase_if(tree, [](const Tree_node& node) { return node.depth > kDeepestNode; });
    tree.resize(std::min(tree.size(), kMostNodes));
    for (std::size_t i = 0; i < tree.size(); ++i) {
        tree[i].has_children = i + 1 < tree.size() && tree[i + 1].depth > tree[i].depth;
    }
    return tree;
}

}  // namespace zandrel::cli
