// Kc_tree_view: the tree of a knowledge container, to be shown.
#ifndef ZANDREL_CLI_KC_KC_TREE_VIEW_H_
#define ZANDREL_CLI_KC_KC_TREE_VIEW_H_

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

class zeManager;

namespace cli {

struct Kc_tree_line {
    unsigned int id = 0;  // in the logical tree
    int depth = 0;        // levels below the first line
    std::string name;     // as it is, as all texts here
    std::string category;
    unsigned char type = 0;  // ZE_LEAF, ZE_RULE or ZE_STAT
    bool is_scored = true;
    double threshold = 0.0;
    std::string rule;
    std::string note1;
    std::string note2;
    // That the statistical classifier above has learned for the node; missing where there is none.
    std::optional<int> messages;
    std::size_t child_count = 0;
    bool hides_children = false;  // they lie below the depth that was asked for
};

// A node and what is below it: each node before its children, which are sorted by name.
struct Tree_view {
    std::vector<Kc_tree_line> lines;  // none: the container has no node
};

// More levels than this are too many for nested objects, which programs read level by level.
constexpr int kDeepestJson = 1000;

// The tree from a node on, that of `path` or, if that is empty, the root, with `depth` levels below
// it, or all if that is negative.
// RAISES: Usage_error for a path that leads nowhere.
Tree_view view_tree(zeManager& manager, const std::string& path, int depth);

// "leaf", "rule" or "stat".
std::string type_name(unsigned char type);

// Prints a line for each node, indented by two spaces a level. Names stand as in paths.
void print_tree(const Tree_view& view, std::ostream& out);
// The first node as an object of `name`, `type` and so on, and `children`, a list of such objects,
// which is missing where the children are hidden; null without a node.
// RAISES: std::length_error for more than `kDeepestJson` levels.
nlohmann::ordered_json tree_json(const Tree_view& view);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_TREE_VIEW_H_
