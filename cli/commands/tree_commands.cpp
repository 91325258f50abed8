// The options of the commands below tree, and the change of the file. An edit on the command line
// and a file of edits use the same function `edit`.
#include "cli/commands/tree_commands.h"

#include <iostream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "cli/commands/Edit_file.h"
#include "cli/commands/option_checks.h"
#include "cli/commands/suggest_command.h"
#include "cli/commands/tree_edits.h"
#include "cli/kc/Text_output.h"
#include "cli/process/Long_work.h"
#include "cli/process/print_warning.h"
#include "text/data/Data_input.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Deferred_writes.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_tree_view.h"
#include "text/kc/Kept_analysis.h"
#include "text/kc/Tree_file.h"
#include "text/rules/rule_forms.h"
#include "text/wording/Json.h"

namespace zandrel::cli {

namespace {

constexpr const char* kTreeNotes =
    R"(A refused edit leaves the file as it was.

See also: zandrel tree move --help, zandrel help editing)";

constexpr const char* kApplyNotes =
    R"(A line is an edit as on the command line, without "zandrel tree" and the KC:
  # parcels get their own classifier
  add root/parcels --type stat
  move root/delivery root/parcels --forget
  rename root/refund 'money back'
Put a name with blanks between ' and ', or between " and ". Empty lines and lines that
begin with # are skipped.

The container is read and written once. If an edit is refused, a message names its line, and the file
stays as it was.)";

constexpr const char* kDumpNotes =
    R"(Each line is a node: level, type, score, name, category and rule, with tabs between them. The text
has no thresholds, no notes and nothing of what was learned. zandrel tree check --help has an example.)";

constexpr const char* kCheckNotes =
    R"(Each line is a node, parents before their children, with six fields and tabs between them:
  +    [Rule]  [NoScore]  []  [root]        []
  ++   [Leaf]  [Score]    []  [urgent]      ["urgent"]
  ++   [Stat]  [NoScore]  []  [questions]   [default]
  +++  [Leaf]  [Score]    []  [delivery]    []
  +++  [Leaf]  [Score]    []  [payment]     []
These are the level, the type ([Rule], [Stat] or [Leaf]), [Score] or [NoScore], the name ([] for the
category), the category, and the rule ([] for none). A child of a rule node has a rule, and the rule
default for all other messages.

The first wrong line is reported as FILE:LINE: message.)";

// The end of the help of each command below tree.
std::string notes(const std::string& text, const std::string& examples) {
    return text + (text.empty() ? "" : "\n\n") + "Example:\n" + examples +
           "\n\nSee also: zandrel help editing";
}

// The container of an edit.
struct Edit_target {
    std::string file;
    double seconds_to_wait = 0.0;
    Cache_bound bound = {};
};

// The words of tree show.
struct Show_words {
    std::string file;
    std::string path;
    int depth = -1;
    bool writes_json = false;
    Cache_bound bound = {};
};

// Returns the settings of the analysis with which the program reads texts for this container; none
// if the container was made by another program, or by a newer version. An edit does not need them,
// so this is no error.
std::optional<Analysis_settings> analysis_of(const std::string& file, const zeManager& manager) {
    try {
        return kept_analysis(file, manager.m_config);
    } catch (const Data_error&) {
        return std::nullopt;
    }
}

// `known`: the rules before the edit.
std::vector<std::string> warnings_of_new_rules(const std::string& file, const zeManager& manager,
                                               const std::set<std::string>& known) {
    std::set<std::string> rules = rules_of(*manager.m_logical_tree);
    std::erase_if(rules, [&known](const std::string& rule) { return known.count(rule) != 0; });
    const std::optional<Analysis_settings> analysis = analysis_of(file, manager);
    if (rules.empty() || !analysis) {
        return {};
    }
    return rule_word_warnings(rules, *make_text_analysis(*analysis));
}

// Makes an edit in the file, and warns of words in the rules that are new. The tree sets m_modified
// if the edit has changed anything.
void edit(const Edit_target& target, Long_work& work, const Tree_edit& change) {
    std::vector<std::string> warnings;
    const std::string map_warning = edit_kc(
        target.file, {target.seconds_to_wait, &work.progress()},
        [&](qtPtrLight<zeManager>& manager) {
            const std::set<std::string> known = rules_of(*manager->m_logical_tree);
            manager->m_modified = false;
            Deferred_writes writes(*manager);
            change(*manager);
            warnings = warnings_of_new_rules(target.file, *manager, known);
            const bool is_modified = manager->m_modified;
            if (is_modified) {
                writes.commit();
            }
            return is_modified;
        },
        target.bound);
    for (const std::string& warning : warnings) {
        work.warn(warning);
    }
    work.warn(map_warning);
}

void add_file(CLI::App& command, std::string& file) {
    command.add_option("KC", file, "File of a knowledge container")->required()->type_name("");
}

void print_show(const Show_words& words) {
    Long_work work;
    Tree_view view;
    view_kc(
        words.file, &work.progress(),
        [&](qtPtrLight<zeManager>& manager) {
            view = view_tree(*manager, words.path, words.depth);
        },
        words.bound);
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
    command->add_option("PATH", words->path, "The first node to show; none: the root")
        ->check(error_of_path)
        ->type_name("");
    command->add_option("--depth", words->depth, "Number of levels to show below that node")
        ->check(CLI::Range(0, kLongestList).description(""))
        ->type_name("N");
    add_json_option(*command, words->writes_json);
    add_bound_option(*command, words->bound.given);
    command->footer(notes("", "  zandrel tree show shop.kc --depth 1"));
    command->callback([words] { print_show(*words); });
}

void add_edit(CLI::App& tree, const Edit_kind& kind) {
    struct Words {
        Edit_target target;
        Edit_words edit;
    };

    const auto words = std::make_shared<Words>();
    CLI::App* const command = tree.add_subcommand(kind.name, kind.description);
    add_file(*command, words->target.file);
    kind.add_words(*command, words->edit);
    add_bound_option(*command, words->target.bound.given);
    add_wait_option(*command, words->target.seconds_to_wait);
    command->footer(notes(kind.notes, std::string("  ") + kind.example));
    command->callback([words, command, &kind] {
        const Tree_edit change = kind.make(*command, words->edit);
        Long_work work;
        edit(words->target, work, change);
    });
}

// RAISES: what Edit_file and edit_kc raise.
void apply_file(const Edit_target& target, const std::string& file) {
    check_readable(target.file);
    if (waits_for_typing({file})) {
        print_warning(typing_note("edits, one on each line"));
    }
    const Edit_file edits(file);
    Long_work work;
    edit(target, work, [&](zeManager& manager) { edits.apply(manager, work.progress()); });
}

void add_apply(CLI::App& tree) {
    struct Words {
        Edit_target target;
        std::string file;
    };

    const auto words = std::make_shared<Words>();
    CLI::App* const command = tree.add_subcommand("apply", "Make all edits of a file, or none");
    add_file(*command, words->target.file);
    command->add_option("FILE", words->file, "File with one edit on each line; -: standard input")
        ->required()
        ->check(error_of_file_name)
        ->type_name("");
    add_bound_option(*command, words->target.bound.given);
    add_wait_option(*command, words->target.seconds_to_wait);
    command->footer(notes(kApplyNotes, "  zandrel tree apply shop.kc edits.txt"));
    command->callback([words] { apply_file(words->target, words->file); });
}

// RAISES: what load_tree_file raises.
void check_tree(const std::string& file) {
    if (waits_for_typing({file})) {
        print_warning(typing_note("the lines of a tree"));
    }
    zeManager manager;
    load_tree_file(file, manager);
    print_node_counts(manager, std::cout);
}

void add_check(CLI::App& tree) {
    const auto file = std::make_shared<std::string>();
    CLI::App* const command =
        tree.add_subcommand("check", "Check a tree that is written as text, and count its nodes");
    command->add_option("FILE", *file, "Text of a tree; -: standard input")
        ->required()
        ->check(error_of_file_name)
        ->type_name("");
    command->footer(notes(kCheckNotes, "  zandrel tree check shop.tree"));
    command->callback([file] { check_tree(*file); });
}

// The words of tree dump.
struct Dump_words {
    std::string file;
    std::string output_file;  // empty: standard output
    Cache_bound bound = {};
};

void dump_tree(const Dump_words& words) {
    Long_work work;
    std::ostringstream text;
    std::size_t changed_count = 0;
    view_kc(
        words.file, &work.progress(),
        [&](qtPtrLight<zeManager>& manager) {
            write_tree_text(*manager, text);
            changed_count = changed_node_count(*manager);
        },
        words.bound);
    write_text(words.output_file, [&text](std::ostream& out) { out << text.view(); });
    if (changed_count > 0) {
        work.warn("tabs and line breaks in names or rules are written as blanks: " +
                  std::to_string(changed_count) + (changed_count == 1 ? " node" : " nodes"));
    }
}

void add_dump(CLI::App& tree) {
    const auto words = std::make_shared<Dump_words>();
    CLI::App* const command = tree.add_subcommand("dump", "Write the tree as text");
    add_file(*command, words->file);
    add_output_option(*command, words->output_file);
    add_bound_option(*command, words->bound.given);
    command->footer(notes(kDumpNotes, "  zandrel tree dump shop.kc -o shop.tree"));
    command->callback([words] { dump_tree(*words); });
}

}  // namespace

void add_tree_commands(CLI::App& app) {
    CLI::App* const tree =
        app.add_subcommand("tree", "Show and edit the tree of a knowledge container");
    tree->require_subcommand(1);
    add_show(*tree);
    for (const Edit_kind& kind : edit_kinds()) {
        add_edit(*tree, kind);
    }
    add_apply(*tree);
    add_dump(*tree);
    add_check(*tree);
    add_suggest(*tree);
    tree->footer(kTreeNotes);
}

}  // namespace zandrel::cli
