#include "cli/commands/tree_commands.h"

#include <cmath>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeManager.h"

#include "cli/commands/option_checks.h"
#include "cli/errors.h"
#include "cli/kc/Kc_edit.h"
#include "cli/kc/Kc_tree.h"
#include "cli/kc/Kc_tree_view.h"
#include "cli/model/Long_work.h"
#include "cli/text/Json.h"

namespace cli {

namespace {

constexpr const char* kTreeNotes =
    R"(An edit that is refused leaves the file as it was.

See also: zandrel tree move --help, zandrel help editing)";

// At the end of the help of each command below tree.
std::string notes(const std::string& text, const std::string& examples) {
    return text + (text.empty() ? "" : "\n\n") + "Example:\n" + examples +
           "\n\nSee also: zandrel help editing";
}

// What the edits are given.
struct Edit_words {
    std::string file;
    std::string path;
    std::string target;  // the new name or the new parent
    std::string type;
    std::string rule;
    double threshold = 0.0;
    bool is_scored = false;  // one of these two at most
    bool is_not_scored = false;
    std::string note1;
    std::string note2;
    bool keeps_concepts = false;
    bool may_forget = false;
    double seconds_to_wait = 0.0;
};

// What show is given.
struct Show_words {
    std::string file;
    std::string path;
    int depth = -1;
    bool writes_json = false;
};

std::string error_of_number(const std::string& text) {
    double number = 0.0;
    const bool is_number = CLI::detail::lexical_cast(text, number) && std::isfinite(number);
    return is_number ? "" : "'" + text + "' is no finite number";
}

// Runs an edit on the file. The manager's own mark tells whether it has changed anything.
void edit(const Edit_words& words, const std::function<void(zeManager&)>& change) {
    Long_work work;
    edit_kc(words.file, {words.seconds_to_wait, &work.progress()},
            [&change](qtPtrLight<zeManager>& manager) {
                manager->m_modified = false;
                change(*manager);
                return manager->m_modified;
            });
}

void add_file(CLI::App& command, std::string& file) {
    command.add_option("KC", file, "File of a knowledge container")->required()->type_name("");
}

void add_path(CLI::App& command, std::string& path) {
    command.add_option("PATH", path, "A node: the names from the root down, with / between them")
        ->required()
        ->type_name("");
}

void add_attributes(CLI::App& command, Edit_words& words) {
    command.add_option("--type", words.type, "What the node is: leaf, rule or stat")
        ->check(CLI::IsMember({"leaf", "rule", "stat"}).description(""))
        ->type_name("TYPE");
    command.add_option("--rule", words.rule, "Rule that selects the node, or default")
        ->type_name("RULE");
    command
        .add_option("--threshold", words.threshold,
                    "Least score at which classification goes on below the node, 0 to 1; a rule "
                    "node and what is below it: any number")
        ->check(error_of_number)
        ->type_name("X");
    CLI::Option* const score =
        command.add_flag("--score", words.is_scored, "The node can be a result");
    command
        .add_flag("--no-score", words.is_not_scored,
                  "The node is no result where only scored nodes are wanted")
        ->excludes(score);
    command.add_option("--note1", words.note1, "A note")->type_name("TEXT");
    command.add_option("--note2", words.note2, "Another note")->type_name("TEXT");
}

unsigned char type_of(const std::string& name) {
    const std::map<std::string, unsigned char> types = {
        {"leaf", ZE_LEAF}, {"rule", ZE_RULE}, {"stat", ZE_STAT}};
    return types.at(name);
}

// An option counts if it stands there, also with an empty text.
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

void print_show(const Show_words& words) {
    Long_work work;
    Tree_view view;
    view_kc(words.file, &work.progress(), [&](qtPtrLight<zeManager>& manager) {
        view = view_tree(*manager, words.path, words.depth);
    });
    if (!words.writes_json) {
        print_tree(view, std::cout);
        return;
    }
    try {
        print_json(tree_json(view), Json_form::kManyLines, std::cout);
    } catch (const std::length_error& error) {
        throw Usage_error(error.what());
    }
}

void add_show(CLI::App& tree) {
    const auto words = std::make_shared<Show_words>();
    CLI::App* const command = tree.add_subcommand("show", "Show the tree, children by name");
    add_file(*command, words->file);
    command->add_option("PATH", words->path, "The node to begin with; none: the root")
        ->check(error_of_path)
        ->type_name("");
    command->add_option("--depth", words->depth, "How many levels to show below that node")
        ->check(CLI::Range(0, kLongestList).description(""))
        ->type_name("N");
    command->add_flag("--json", words->writes_json, "Print JSON");
    command->footer(notes("", "  zandrel tree show shop.kc --depth 1"));
    command->callback([words] { print_show(*words); });
}

void add_add(CLI::App& tree) {
    const auto words = std::make_shared<Edit_words>();
    CLI::App* const command =
        tree.add_subcommand("add", "Add a node; the last name of the path is the new one");
    add_file(*command, words->file);
    add_path(*command, words->path);
    add_attributes(*command, *words);
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(notes("A new node has learned nothing. Without --type it is a leaf.",
                          "  zandrel tree add shop.kc root/parcels --type stat"));
    command->callback([words, command] {
        const Node_attributes attributes = attributes_of(*command, *words);
        edit(*words, [&](zeManager& manager) { add_node(manager, words->path, attributes); });
    });
}

void add_set(CLI::App& tree) {
    const auto words = std::make_shared<Edit_words>();
    CLI::App* const command = tree.add_subcommand("set", "Change what a node is");
    add_file(*command, words->file);
    add_path(*command, words->path);
    add_attributes(*command, *words);
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(notes("What is not named stays as it is.",
                          "  zandrel tree set shop.kc root/parcels --threshold 0.2 --note1 slow"));
    command->callback([words, command] {
        const Node_attributes attributes = attributes_of(*command, *words);
        if (attributes.empty()) {
            throw Usage_error("tree set: nothing to set");
        }
        edit(*words, [&](zeManager& manager) { change_node(manager, words->path, attributes); });
    });
}

void add_move(CLI::App& tree) {
    const auto words = std::make_shared<Edit_words>();
    CLI::App* const command = tree.add_subcommand("move", "Move a node with all below it");
    add_file(*command, words->file);
    add_path(*command, words->path);
    command->add_option("NEW_PARENT", words->target, "Path of the node to move it below")
        ->required()
        ->type_name("");
    command->add_flag("--forget", words->may_forget,
                      "Move it also if what classifiers have learned of it is lost");
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(notes(
        "A statistical classifier forgets what it has learned of a node that leaves it, and the\n"
        "new one has to learn the node. Such a move is refused, with a list of what would be\n"
        "forgotten, unless --forget is given.",
        "  zandrel tree move shop.kc root/delivery root/parcels --forget"));
    command->callback([words] {
        edit(*words, [&](zeManager& manager) {
            move_node(manager, words->path, words->target, words->may_forget);
        });
    });
}

void add_rename(CLI::App& tree) {
    const auto words = std::make_shared<Edit_words>();
    CLI::App* const command = tree.add_subcommand("rename", "Give a node another name");
    add_file(*command, words->file);
    add_path(*command, words->path);
    command->add_option("NAME", words->target, "The name, in which / and \\ are themselves")
        ->required()
        ->type_name("");
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(notes("", "  zandrel tree rename shop.kc root/parcels packets"));
    command->callback([words] {
        edit(*words, [&](zeManager& manager) { rename_node(manager, words->path, words->target); });
    });
}

void add_delete(CLI::App& tree) {
    const auto words = std::make_shared<Edit_words>();
    CLI::App* const command = tree.add_subcommand("delete", "Delete a node with all below it");
    add_file(*command, words->file);
    add_path(*command, words->path);
    command->add_flag("--keep-concepts", words->keeps_concepts,
                      "Leave what its messages brought to the statistics of all concepts");
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(notes("What is deleted cannot be brought back.",
                          "  zandrel tree delete shop.kc root/parcels"));
    command->callback([words] {
        edit(*words,
             [&](zeManager& manager) { delete_node(manager, words->path, words->keeps_concepts); });
    });
}

}  // namespace

void add_tree_commands(CLI::App& app) {
    CLI::App* const tree =
        app.add_subcommand("tree", "Show and edit the tree of a knowledge container");
    tree->require_subcommand(1);
    add_show(*tree);
    add_add(*tree);
    add_set(*tree);
    add_move(*tree);
    add_rename(*tree);
    add_delete(*tree);
    tree->footer(kTreeNotes);
}

}  // namespace cli
