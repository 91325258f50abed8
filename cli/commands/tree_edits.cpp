// A table of the five edits. An entry adds the options of its edit to a command, and makes the edit
// from the parsed words. An edit keeps a copy of its words, since a file of edits parses all lines
// first.
#include "cli/commands/tree_edits.h"

#include <cmath>
#include <map>

#include <CLI/CLI.hpp>

#include "zandrel/knowledge/zeBase.h"

#include "text/errors.h"
#include "text/kc/Kc_tree.h"

namespace zandrel::cli {

namespace {

std::string error_of_number(const std::string& text) {
    double number = 0.0;
    const bool is_number = CLI::detail::lexical_cast(text, number) && std::isfinite(number);
    return is_number ? "" : "'" + text + "' is no finite number";
}

void add_path(CLI::App& command, std::string& path) {
    command.add_option("PATH", path, "A node: the names from the root down, with / between them")
        ->required()
        ->type_name("");
}

void add_attributes(CLI::App& command, Edit_words& words) {
    add_path(command, words.path);
    command.add_option("--type", words.type, "Type of the node: leaf, rule or stat")
        ->check(CLI::IsMember({"leaf", "rule", "stat"}).description(""))
        ->type_name("TYPE");
    command.add_option("--rule", words.rule, "Rule that selects the node, or default")
        ->type_name("RULE");
    command
        .add_option("--threshold", words.threshold,
                    "Least score with which classification continues below the node, 0 to 1; for a "
                    "rule node and all nodes below it: any number")
        ->check(error_of_number)
        ->type_name("X");
    CLI::Option* const score =
        command.add_flag("--score", words.is_scored, "The node can be a result");
    command
        .add_flag("--no-score", words.is_not_scored,
                  "The node is not a result, unless all nodes are requested")
        ->excludes(score);
    command.add_option("--note1", words.note1, "A note")->type_name("TEXT");
    command.add_option("--note2", words.note2, "Another note")->type_name("TEXT");
}

void add_move_words(CLI::App& command, Edit_words& words) {
    add_path(command, words.path);
    command.add_option("NEW_PARENT", words.target, "Path of the node to move it below")
        ->required()
        ->type_name("");
    command.add_flag("--forget", words.may_forget,
                     "Move it even if classifiers forget what they have learned of it");
}

void add_rename_words(CLI::App& command, Edit_words& words) {
    add_path(command, words.path);
    command.add_option("NAME", words.target, "The name, with / and \\ as they are")
        ->required()
        ->type_name("");
}

void add_delete_words(CLI::App& command, Edit_words& words) {
    add_path(command, words.path);
    command.add_flag("--keep-concepts", words.keeps_concepts,
                     "Keep the counts of its messages in the statistics of all concepts");
}

unsigned char type_of(const std::string& name) {
    const std::map<std::string, unsigned char> types = {
        {"leaf", ZE_LEAF}, {"rule", ZE_RULE}, {"stat", ZE_STAT}};
    return types.at(name);
}

// An option with an empty text is given, too: --rule "" removes the rule.
Node_attributes attributes_of(const CLI::App& command, const Edit_words& words) {
    Node_attributes attributes;
    if (command.count("--type") != 0) {
        attributes.type = type_of(words.type);
    }
    if (command.count("--rule") != 0) {
        attributes.rule = words.rule;
    }
    if (command.count("--threshold") != 0) {
        attributes.threshold = words.threshold;
    }
    if (words.is_scored || words.is_not_scored) {
        attributes.is_scored = words.is_scored;
    }
    if (command.count("--note1") != 0) {
        attributes.note1 = words.note1;
    }
    if (command.count("--note2") != 0) {
        attributes.note2 = words.note2;
    }
    return attributes;
}

Tree_edit make_add(const CLI::App& command, const Edit_words& words) {
    return [path = words.path, attributes = attributes_of(command, words)](zeManager& manager) {
        add_node(manager, path, attributes);
    };
}

Tree_edit make_set(const CLI::App& command, const Edit_words& words) {
    const Node_attributes attributes = attributes_of(command, words);
    if (attributes.empty()) {
        throw Usage_error("tree set: nothing to set");
    }
    return [path = words.path, attributes](zeManager& manager) {
        change_node(manager, path, attributes);
    };
}

Tree_edit make_move(const CLI::App& /*command*/, const Edit_words& words) {
    return [words](zeManager& manager) {
        move_node(manager, words.path, words.target, words.may_forget);
    };
}

Tree_edit make_rename(const CLI::App& /*command*/, const Edit_words& words) {
    return [words](zeManager& manager) { rename_node(manager, words.path, words.target); };
}

Tree_edit make_delete(const CLI::App& /*command*/, const Edit_words& words) {
    return [words](zeManager& manager) { delete_node(manager, words.path, words.keeps_concepts); };
}

constexpr Edit_kind kKinds[] = {
    {"add", "Add a node; the last name of the path is the new one",
     "A new node has learned nothing. Without --type it is a leaf. A warning names words of the\n"
     "rule that find no text, or more texts than it seems.",
     "zandrel tree add shop.kc root/parcels --type stat", add_attributes, make_add},
    {"set", "Change a node",
     "Attributes that are not given stay as they are. A warning names words of the rule that\n"
     "find no text, or more texts than it seems.",
     "zandrel tree set shop.kc root/parcels --threshold 0.2 --note1 slow", add_attributes,
     make_set},
    {"move", "Move a node with all nodes below it",
     "A statistical classifier forgets what it has learned of a node that leaves it, and the\n"
     "new one has to learn the node. Such a move is refused, with a list of what would be\n"
     "forgotten, unless --forget is given.",
     "zandrel tree move shop.kc root/delivery root/parcels --forget", add_move_words, make_move},
    {"rename", "Give a node another name", "", "zandrel tree rename shop.kc root/parcels packets",
     add_rename_words, make_rename},
    {"delete", "Delete a node with all nodes below it", "A deleted node cannot be restored.",
     "zandrel tree delete shop.kc root/parcels", add_delete_words, make_delete},
};

}  // namespace

std::span<const Edit_kind> edit_kinds() {
    return kKinds;
}

}  // namespace zandrel::cli
