// Kc_paths: nodes of a knowledge container as the caller names them.
#ifndef ZANDREL_TEXT_KC_KC_PATHS_H_
#define ZANDREL_TEXT_KC_KC_PATHS_H_

#include <string>
#include <string_view>

class zeLogicalTree;
struct zeLogicalNode;

namespace zandrel {

// A path consists of the names of the nodes from the root down, including that of the root, with
// "/" between them. In a name, "/" and "\" have a "\" before them: the node "a/b" below "root" has
// the path `root/a\/b`.

// A name as a part of a path. Characters that would break the line are shown as \xNN; a path with
// \xNN does not lead to the node.
std::string shown_name(std::string_view name);
// The path of a node in the same form; empty for an unknown id.
std::string shown_path(const zeLogicalTree& tree, unsigned int id);

// The node of a path.  VALID UNTIL: the node is deleted.
// RAISES: Usage_error that says which part of the path has no node.
const zeLogicalNode& find_node(const zeLogicalTree& tree, const std::string& path);

// The parent and the name of a new node.
struct New_place {
    unsigned int parent = 0;
    std::string name;
};

// The place of a new node with this path. A node of this path may exist already.
// RAISES: Usage_error that says which part of the path above the new node has no node, or that the
// path is the root.
New_place find_new_place(const zeLogicalTree& tree, const std::string& path);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_PATHS_H_
