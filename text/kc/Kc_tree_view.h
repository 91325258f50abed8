// Kc_tree_view: the tree of a knowledge container as a list of lines, and its output.
#ifndef ZANDREL_TEXT_KC_KC_TREE_VIEW_H_
#define ZANDREL_TEXT_KC_KC_TREE_VIEW_H_

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

class zeManager;

namespace zandrel {

struct Kc_tree_line {
    unsigned int id = 0;  // in the logical tree
    int depth = 0;        // levels below the first line
    std::string name;     // as in the tree, like all texts here; print_tree escapes them
    std::string category;
    unsigned char type = 0;  // ZE_LEAF, ZE_RULE or ZE_STAT
    bool is_scored = true;
    double threshold = 0.0;
    std::string rule;
    std::string note1;
    std::string note2;
    // The number of messages that the statistical classifier above has learned for the node.
    // Missing if the classifier above is not statistical or does not know the node.
    std::optional<int> messages;
    std::size_t child_count = 0;
    bool hides_children = false;  // they are below the given depth
};

// A node and what is below it: each node before its children, which are sorted by name.
struct Tree_view {
    std::vector<Kc_tree_line> lines;  // none: the container has no node
};

// JSON objects are not nested deeper than this, since many programs read them recursively.
constexpr int kDeepestTreeJson = 1000;

// The node of `path` and what is below it. An empty path means the root. `depth` is the number of
// levels below the node; a negative one means all.
// RAISES: Usage_error for a path that leads nowhere.
Tree_view view_tree(zeManager& manager, const std::string& path, int depth);

// "leaf", "rule" or "stat"; "type 7" for a type that only a damaged file has.
std::string type_name(unsigned char type);

// Prints a line for each node, indented by two spaces for each level. Names are printed as in
// paths.
void print_tree(const Tree_view& view, std::ostream& out);
// The first node as an object of `name`, `type` and so on, and `children`, a list of such objects,
// which is missing where the children are hidden; null without a node.
// RAISES: std::length_error for more than `kDeepestTreeJson` levels.
nlohmann::ordered_json tree_json(const Tree_view& view);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_TREE_VIEW_H_
