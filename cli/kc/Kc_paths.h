// Kc_paths: nodes of a knowledge container as the command line names them.
#ifndef ZANDREL_CLI_KC_KC_PATHS_H_
#define ZANDREL_CLI_KC_KC_PATHS_H_

#include <string>
#include <string_view>

class zeLogicalTree;
struct zeLogicalNode;

namespace cli {

// A path is the names of the nodes from the root down, the root's own included, with "/" between
// them. In a name, "/" and "\" have a "\" before them.

// A name as it stands in a path. What would break the line is shown as \xNN, which no path reads.
std::string shown_name(std::string_view name);
// The path of a node in the same form; empty for an unknown id.
std::string shown_path(const zeLogicalTree& tree, unsigned int id);

// The node of a path.  VALID UNTIL: the node is deleted.
// RAISES: Usage_error that tells how far the path leads.
const zeLogicalNode& find_node(const zeLogicalTree& tree, const std::string& path);

// Where a new node goes: below which node, and under which name.
struct New_place {
    unsigned int parent = 0;
    std::string name;
};

// The last name may be taken already.
// RAISES: Usage_error that tells how far the path leads, or that it has no name for a new node.
New_place find_new_place(const zeLogicalTree& tree, const std::string& path);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_PATHS_H_
