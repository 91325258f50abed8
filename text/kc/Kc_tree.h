// Kc_tree: the edits of a container's tree that the command line offers.
#ifndef ZANDREL_TEXT_KC_KC_TREE_H_
#define ZANDREL_TEXT_KC_KC_TREE_H_

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

#include "zandrel/foundation/CTProgress.h"

class zeManager;

namespace zandrel {

// The text of the engine's error for an edit that needs two classifiers in memory. With a bound of
// 1 we raise it too, for edits that could be undone only in memory.
inline constexpr const char* kOneClassifier =
    "KB can't be modified until cache size is increased from 1 to 2";

// An edit that the engine would make, but that would damage the container.
class Edit_refused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The attributes that an edit gives to a node. A missing one keeps its value; a new node gets the
// default.
struct Node_attributes {
    std::optional<unsigned char> type;  // ZE_LEAF, ZE_RULE or ZE_STAT
    std::optional<std::string> rule;
    std::optional<double> threshold;
    // If it is missing, a node that gets a classifier becomes not scored, and a node that becomes a
    // leaf becomes scored.
    std::optional<bool> is_scored;
    std::optional<std::string> note1;
    std::optional<std::string> note2;

    bool empty() const;
};

// Each edit takes paths (see Kc_paths.h). After an error the container may be half changed, so the
// caller must not use or write it.
// RAISES: Usage_error for a path that leads nowhere, and for a threshold outside of 0 to 1 at a
// node whose scores do not depend on rules; Data_error "rule: message" for a rule that does not
// parse; qtxAll for what the tree refuses; Edit_refused for an edit of a compact container that
// changes the categories of a statistical classifier: it would have to select its features again,
// but the statistics for that are missing.

// Adds a node, by default a leaf without a rule; the last part of the path is its name.
void add_node(zeManager& manager, const std::string& path, const Node_attributes& attributes);
void change_node(zeManager& manager, const std::string& path, const Node_attributes& attributes);
// `name` is not a path: "/" and "\" in it are ordinary characters. It becomes the category as well,
// unless names and categories differ in this container (m_compat55). If the container has the name
// of its root, renaming the root renames the container, too.
void rename_node(zeManager& manager, const std::string& path, const std::string& name);
// Moves a node with all nodes below it. A statistical classifier that loses one of these nodes as a
// category forgets what it has learned for that node.
// RAISES: also Usage_error that says what would be forgotten, unless `may_forget`.
void move_node(zeManager& manager, const std::string& path, const std::string& new_parent,
               bool may_forget);
// Deletes a node with all nodes below it. With `keeps_concepts`, the counts that the deleted
// categories added to the concept table of the statistical classifier above remain there.
void delete_node(zeManager& manager, const std::string& path, bool keeps_concepts);

// The result of an import.
struct Import_report {
    std::string path;  // of the imported root, as shown_path
    std::size_t nodes = 0;
    std::size_t classifiers = 0;
    // The rule that the imported root has now; empty below a statistical classifier.
    std::string rule;
    std::string decider;        // path of the node whose classifier decides about the imported root
    std::string default_child;  // path of the child with the rule "default" there; empty: none
};

// Moves the nodes and classifiers of `other` below a node, and leaves `other` empty. The imported
// root gets the rule that its classifier has for it: "1.0", or none.
// RAISES: also Edit_refused if a child of the node has the name of the imported root.
Import_report import_tree(zeManager& manager, zeManager& other, const std::string& path,
                          CTProgress* progress);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_TREE_H_
