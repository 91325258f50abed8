// tree_edits: the edits of a tree, for the command line and for files of edits.
#ifndef ZANDREL_CLI_COMMANDS_TREE_EDITS_H_
#define ZANDREL_CLI_COMMANDS_TREE_EDITS_H_

#include <functional>
#include <span>
#include <string>

class zeManager;

namespace CLI {
class App;
}

namespace zandrel::cli {

// The words of an edit without the container.
struct Edit_words {
    std::string path;
    std::string target;  // the new name or the new parent
    std::string type;
    std::string rule;
    double threshold = 0.0;
    bool is_scored = false;  // at most one of these two is set
    bool is_not_scored = false;
    std::string note1;
    std::string note2;
    bool keeps_concepts = false;
    bool may_forget = false;
};

// Changes a container. RAISES: see Kc_tree.h.
using Tree_edit = std::function<void(zeManager& manager)>;

// One of the edits add, set, move, rename and delete.
struct Edit_kind {
    const char* name;
    const char* description;
    const char* notes;    // for the help; may be empty
    const char* example;  // for the help; a whole command
    // Adds the arguments and options. BORROWS: `words`, which must outlive `command`.
    void (*add_words)(CLI::App& command, Edit_words& words);
    // Makes the edit from the words that `command` has parsed. RAISES: Usage_error.
    Tree_edit (*make)(const CLI::App& command, const Edit_words& words);
};

std::span<const Edit_kind> edit_kinds();

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_TREE_EDITS_H_
