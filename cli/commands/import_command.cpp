// The options of import, the checks of both files, and its output. The import itself is in Kc_tree.
#include "cli/commands/import_command.h"

#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "cli/commands/option_checks.h"
#include "cli/process/Long_work.h"
#include "text/data/Data_input.h"
#include "text/data/Stored_corpus.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Deferred_writes.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_edit.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_tree.h"
#include "text/kc/Kept_analysis.h"
#include "text/kc/stat_classifiers.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr const char* kNotes =
    R"(All nodes of OTHER with their rules, and all that its classifiers have learned, are added below the
node PATH of KC. The root of OTHER becomes a child of that node. Each of the two containers can be plain
or in cached form; the file of OTHER stays as it is.

Below a rule node the imported root gets the rule 1.0, which always fires: set another one with tree
set. Below a statistical classifier it is a category that has learned nothing, so no text reaches it
until learn has taught texts of its labels. If PATH is a leaf without a rule, it stays a leaf, and the
imported root becomes a category of the classifier above. If PATH is a leaf with a rule, it gets a
statistical classifier. In the rare case that the root of OTHER has a rule, a leaf becomes a rule node.

Both containers must have the same text analysis, and both or none must be compact. The name of the
imported root must be free there; tree rename gives another name to a node that has it. Settings of
OTHER are not imported, but its classifiers keep their own. A refused import leaves KC as it was.
In cached form all imported classifiers are in memory until the end. --cached 1 writes each one at once;
an interrupted import is then not undone.

Example:
  zandrel import shop.kc returns.kc --under root/service

See also: zandrel help editing)";

struct Import_words {
    std::string file;
    std::string other_file;
    std::string path;
    double seconds_to_wait = 0.0;
    Cache_bound bound = {};
};

void check_is_other_file(const Import_words& words) {
    if (lead_to_same_file(words.file, words.other_file)) {
        throw Usage_error(shown_file(words.other_file) +
                          " is the container itself; import needs another one");
    }
}

// Reads the container that is imported. We check it, and read each classifier once, before the
// import, so that damage is reported with the name of this file. A container that is as compact is
// in place of the target.
qtPtrLight<zeManager> read_other(const std::string& path, CTProgress& progress) {
    qtPtrLight<zeManager> other = read_kc(path, &progress);
    if (is_cached(*other)) {
        verify_seal(path);
    }
    const zeNode* const root = other->m_root;
    if (root == nullptr || root->m_children.empty()) {
        throw Data_error(path, "nothing to import: its root has no children");
    }
    work_on_container(path, [&other] {
        zeManager target;
        target.m_compact = other->m_compact;
        target.m_logical_tree->VerifyImport(other.get());
        check_classifiers(*other);
    });
    return other;
}

std::string words_of_analysis(const std::optional<Analysis_settings>& kept) {
    return kept ? words_of(*kept) : "an analysis that it does not keep";
}

// Two containers that keep no analysis are accepted: their user gives it with each text.
// RAISES: Data_error.
void check_same_analysis(const Import_words& words, const zeManager& manager,
                         const zeManager& other) {
    const auto own = kept_analysis(words.file, manager.m_config);
    const auto others = kept_analysis(words.other_file, other.m_config);
    const bool are_same = own && others ? is_same(*own, *others) : !own && !others;
    if (!are_same) {
        throw Data_error(words.other_file, "it was made with " + words_of_analysis(others) +
                                               ", but " + shown_file(words.file) +
                                               " was made with " + words_of_analysis(own));
    }
}

Import_report merge(const Import_words& words, Long_work& work) {
    qtPtrLight<zeManager> other = read_other(words.other_file, work.progress());
    Import_report report;
    work.warn(edit_kc(
        words.file, {words.seconds_to_wait, &work.progress()},
        [&](qtPtrLight<zeManager>& manager) {
            check_same_analysis(words, *manager, *other);
            zeInterrupts(&work.progress());
            work.progress().SetStatus("Importing");
            Deferred_writes writes(*manager);
            report = import_tree(*manager, *other, words.path, &work.progress());
            writes.commit();
            return true;
        },
        words.bound));
    return report;
}

// Warns which texts reach the imported nodes: usually a rule or a learning has to follow.
void warn_of_reach(const Import_report& report, Long_work& work) {
    if (report.rule.empty()) {
        work.warn("no text reaches \"" + report.path + "\" until learn or train has taught \"" +
                  report.decider + "\" texts of its labels");
        return;
    }
    std::string text = "the rule of \"" + report.path + "\" is " + report.rule +
                       ", so each text at \"" + report.decider + "\" reaches it";
    if (!report.default_child.empty()) {
        text += ", and none reaches the default, \"" + report.default_child + '"';
    }
    work.warn(text);
}

void print_import(const Import_words& words) {
    check_is_other_file(words);
    check_readable(words.file);
    Long_work work;
    const Import_report report = merge(words, work);
    warn_of_reach(report, work);
    std::cout << shown_text(words.file) << ": imported " << shown_text(words.other_file) << " as "
              << report.path << ": " << counted(report.nodes, "node") << ", "
              << counted(report.classifiers, "classifier") << '\n';
}

}  // namespace

void add_import_command(CLI::App& app) {
    const auto words = std::make_shared<Import_words>();
    CLI::App* const command =
        app.add_subcommand("import", "Merge another knowledge container into one");
    command->add_option("KC", words->file, "File of the knowledge container that gets the nodes")
        ->required()
        ->type_name("");
    command->add_option("OTHER", words->other_file, "File of the one that is imported")
        ->required()
        ->type_name("");
    command->add_option("--under", words->path, "The node of KC below which they are added")
        ->required()
        ->check(error_of_path)
        ->type_name("PATH");
    add_bound_option(*command, words->bound.given);
    add_wait_option(*command, words->seconds_to_wait);
    command->footer(kNotes);
    command->callback([words] { print_import(*words); });
}

}  // namespace zandrel::cli
