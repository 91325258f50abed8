// Kc_tree: edits of a container's tree, as the command line asks for them.
#ifndef ZANDREL_CLI_KC_KC_TREE_H_
#define ZANDREL_CLI_KC_KC_TREE_H_

#include <optional>
#include <stdexcept>
#include <string>

class zeManager;

namespace cli {

// An edit that the library would carry out but that would damage the container.
class Edit_refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What an edit gives a node; what is missing stays as it is, or as a new node has it.
struct Node_attributes {
    std::optional<unsigned char> type;  // ZE_LEAF, ZE_RULE or ZE_STAT
    std::optional<std::string> rule;
    std::optional<double> threshold;
    // Missing: a node that gets a classifier is not scored, one that becomes a leaf is.
    std::optional<bool> is_scored;
    std::optional<std::string> note1;
    std::optional<std::string> note2;

    bool empty() const;
};

// Each edit takes paths (see Kc_paths.h). After an error the container may be half changed, and is
// to be thrown away with all that it holds.
// RAISES: Usage_error for a path that leads nowhere, and for a threshold outside of 0 to 1 at a
// node whose scores have no values of rules; Data_error "rule: message" for a rule that does not
// parse; qtxAll for what the tree refuses; Edit_refused for an edit of a compact container that
// changes the categories of a statistical classifier, which would have to select its features anew
// from statistics that are not there.

// Adds a node, by default a leaf without a rule; the last part of the path is its name.
void add_node(zeManager& manager, const std::string& path, const Node_attributes& attributes);
void change_node(zeManager& manager, const std::string& path, const Node_attributes& attributes);
// `name` is a name as it is, in which "/" and "\" stand for themselves. It becomes the category as
// well, unless the container has names beside the categories. A container that has the name of its
// root goes on having it.
void rename_node(zeManager& manager, const std::string& path, const std::string& name);
// Moves a node with all below it. A statistical classifier that they leave forgets what it has
// learned of them.
// RAISES: also Usage_error that says what is forgotten, unless `may_forget`.
void move_node(zeManager& manager, const std::string& path, const std::string& new_parent,
               bool may_forget);
// Deletes a node with all below it. With `keeps_concepts` the statistical classifier above goes on
// counting what the deleted categories brought to its table of all concepts.
void delete_node(zeManager& manager, const std::string& path, bool keeps_concepts);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_TREE_H_
