// Finds nodes by paths. If a path leads nowhere, the message names the deepest node on it and the
// child that is missing, for example: no node "root/sprt/golf": "root" has no child "sprt".
#include "text/kc/Kc_paths.h"

#include <vector>

#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Parts = std::vector<qtString>;

std::string in_quotes(const std::string& text) {
    return "\"" + text + "\"";
}

std::string quoted_path(const Parts& parts, std::size_t count) {
    std::string path;
    for (std::size_t i = 0; i < count; ++i) {
        path += (i == 0 ? "" : "/") + shown_name(parts[i].view());
    }
    return in_quotes(shown_value(path));
}

[[noreturn]] void refuse_start(const zeLogicalTree& tree, const std::string& path) {
    const zeLogicalNode& root = tree.GetNode(zandrel::kRootId);
    throw Usage_error("no node " + in_quotes(shown_value(path)) +
                      (root.id == 0 ? ": the container has no node"
                                    : ": a path begins with the name of the root, " +
                                          in_quotes(shown_value(shown_name(root.name.view())))));
}

// REQUIRES: the first part leads to the root, and the first `count` parts lead nowhere.
[[noreturn]] void refuse_child(const zeLogicalTree& tree, const std::string& path,
                               const Parts& parts, std::size_t count) {
    // If some parts lead nowhere, more parts lead nowhere too. So we find the first missing child
    // by halving.
    std::size_t leads = 1;
    std::size_t lost = count;
    while (lost - leads > 1) {
        const std::size_t middle = leads + (lost - leads) / 2;
        (tree.FindNodeByPath(parts, static_cast<int>(middle)).id == 0 ? lost : leads) = middle;
    }
    throw Usage_error("no node " + in_quotes(shown_value(path)) + ": " + quoted_path(parts, leads) +
                      " has no child " + in_quotes(shown_value(shown_name(parts[leads].view()))));
}

// The node of the first `count` parts.
const zeLogicalNode& find_parts(const zeLogicalTree& tree, const std::string& path,
                                const Parts& parts, std::size_t count) {
    const zeLogicalNode* node = &tree.FindNodeByPath(parts, 1);
    if (node->id == 0) {
        refuse_start(tree, path);
    }
    if (count < 2) {
        return *node;
    }
    const zeLogicalNode& found = tree.FindNodeByPath(parts, static_cast<int>(count));
    if (found.id == 0) {
        refuse_child(tree, path, parts, count);
    }
    return found;
}

}  // namespace

std::string shown_name(std::string_view name) {
    return shown_text(name, "/\\");
}

std::string shown_path(const zeLogicalTree& tree, unsigned int id) {
    qtString path;
    tree.GetNodePath(id, path);
    return shown_text(path.view());
}

const zeLogicalNode& find_node(const zeLogicalTree& tree, const std::string& path) {
    Parts parts;
    zeLogicalTree::BreakPath(path, parts);
    return find_parts(tree, path, parts, parts.size());
}

New_place find_new_place(const zeLogicalTree& tree, const std::string& path) {
    Parts parts;
    zeLogicalTree::BreakPath(path, parts);
    const std::size_t above = parts.empty() ? 0 : parts.size() - 1;
    const zeLogicalNode& parent = find_parts(tree, path, parts, above);
    if (above == 0) {
        throw Usage_error(in_quotes(shown_value(path)) +
                          " is the root: a new node stands below another");
    }
    return {parent.id, parts.back().str()};
}

}  // namespace zandrel
