// The options of the commands on rules. The work is in text/rules.
#include "cli/commands/rule_commands.h"

#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "cli/commands/analysis_options.h"
#include "cli/commands/option_checks.h"
#include "cli/process/Exit_status.h"
#include "cli/process/Long_work.h"
#include "cli/process/print_warning.h"
#include "text/kc/Kc_edit.h"
#include "text/rules/Rule_check.h"
#include "text/rules/Rule_explanation.h"
#include "text/rules/Rule_list.h"
#include "text/rules/Rule_value.h"
#include "text/wording/Json.h"

namespace zandrel::cli {

namespace {

constexpr const char* kCheckNotes =
    R"(The file has one rule on each line. Empty lines and lines that begin with # are skipped. Rules are
expressions by which a rule node chooses among its children.

Example:
  zandrel rules check shop.rules)";

constexpr const char* kExplainNotes =
    R"(Put -- before a rule that begins with -.

Example:
  zandrel rules explain '"parcel" & $size(n) > 5')";

constexpr const char* kEvalNotes =
    R"(The rule is evaluated for a message with the pairs of --set and the words of --text; without --text the
message has no words. With --message the messages are the records of a file of JSON lines, and one value
is printed for each; `zandrel help data` describes the form. The words of the rule are brought into the
form of the text analysis: "Parcel" finds "parcel". A warning names texts of the rule that no message can
have, and those whose digits become 0. Put -- before a rule that begins with -.

Examples:
  zandrel rules eval '"parcel" & $size(n) > 5' --text "Where is my parcel?" --set size=7
  echo '{"text": "Where is my parcel?", "pairs": {"size": 7}}' |
    zandrel rules eval '"parcel" & $size(n) > 5' --message -)";

constexpr const char* kListNotes =
    R"(One line for each rule, with tabs between path, rule and top category. The top category is the child of
the root that is above the rule's node. It is empty for the rules of these children themselves, and None if
the root is no rule node. A child with the rule default is not in the list.

Example:
  zandrel rules list shop.kc

See also: zandrel help trees)";

constexpr const char* kKeysNotes =
    R"(One line for each key, with a tab between the key and its datatype: number for $key(n), string for
$key(s), existence for $key(?). If rules read a key with two datatypes, that of the newer node is printed.

Example:
  zandrel rules keys shop.kc

See also: zandrel help trees)";

constexpr const char* kConceptsNotes =
    R"(One line for each concept, as the rules have it in double quotes, in the order of bytes.

Examples:
  zandrel rules concepts shop.kc
  zandrel rules concepts shop.kc --phrases

See also: zandrel help trees)";

void print_check(const std::string& file, bool writes_json, Command_result& result) {
    const Rule_check check = check_rule_file(file, std::cin);
    if (writes_json) {
        print_json(rule_check_json(check), Json_form::kManyLines, std::cout);
    } else {
        print_rule_check(check, std::cout, std::cerr);
    }
    if (!check.bad.empty()) {
        result.status = kDataError;
    }
}

void print_explanation(const std::string& rule, bool writes_json) {
    const Rule_explanation explanation = explain_rule(rule);
    if (writes_json) {
        print_json(rule_explanation_json(explanation), Json_form::kManyLines, std::cout);
    } else {
        print_rule_explanation(explanation, std::cout);
    }
}

// The words of rules eval.
struct Eval_words {
    std::string rule;
    Analysis_names analysis;
    Rule_subject subject;
    std::string message_file;  // empty: the subject
    bool writes_json = false;
};

// RAISES: CLI::ValidationError; what rule_value raises.
void print_value(Eval_words& words) {
    words.subject.analysis = analysis_settings(words.analysis, Analysis_kind::kWords);
    if (words.subject.text || !words.message_file.empty()) {
        for (const std::string& warning : rule_warnings(words.rule, words.subject.analysis)) {
            print_warning(warning);
        }
    }
    const auto print = [&words](double value) {
        if (words.writes_json) {
            print_json(rule_value_json(words.rule, value), Json_form::kOneLine, std::cout);
        } else {
            std::cout << value_text(value) << '\n';
        }
    };
    if (words.message_file.empty()) {
        print(rule_value(words.rule, words.subject));
    } else {
        for_each_rule_value(words.rule, words.message_file, words.subject, print);
    }
}

void add_rule_option(CLI::App& command, std::string& rule) {
    command.add_option("RULE", rule, "The rule")->required()->type_name("");
}

void add_rules_check(CLI::App& rules, Command_result& result) {
    struct Words {
        std::string file = "-";
        bool writes_json = false;
    };

    const auto words = std::make_shared<Words>();
    CLI::App* const command =
        rules.add_subcommand("check", "List the wrong rules of a file, with the reasons");
    command
        ->add_option("FILE", words->file,
                     "File with one rule on each line; none or -: standard input")
        ->type_name("");
    add_json_option(*command, words->writes_json);
    command->footer(kCheckNotes);
    command->callback([words, &result] { print_check(words->file, words->writes_json, result); });
}

void add_rules_explain(CLI::App& rules) {
    struct Words {
        std::string rule;
        bool writes_json = false;
    };

    const auto words = std::make_shared<Words>();
    CLI::App* const command = rules.add_subcommand(
        "explain", "Show the tokens, the reverse Polish form with types, and the tree of a rule");
    add_rule_option(*command, words->rule);
    add_json_option(*command, words->writes_json);
    command->footer(kExplainNotes);
    command->callback([words] { print_explanation(words->rule, words->writes_json); });
}

void add_rules_eval(CLI::App& rules) {
    const auto words = std::make_shared<Eval_words>();
    CLI::App* const command =
        rules.add_subcommand("eval", "Print the value of a rule for a message");
    add_rule_option(*command, words->rule);
    CLI::Option* const set =
        command->add_option("--set", words->subject.pairs, "A name/value pair of the message")
            ->allow_extra_args(false)
            ->type_name("KEY=VALUE");
    CLI::Option* const text =
        command->add_option("--text", words->subject.text, "Text with the words of the message")
            ->type_name("TEXT");
    command
        ->add_option("--message", words->message_file,
                     "File of JSON lines with messages and their pairs; -: standard input")
        ->check(error_of_file_name)
        ->excludes(set)
        ->excludes(text)
        ->type_name("FILE");
    command
        ->add_option("--score", words->subject.score,
                     "The score with which the walk enters the rule's classifier")
        ->capture_default_str()
        ->check(error_of_score)
        ->type_name("X");
    add_analysis_options(*command, words->analysis, Analysis_kind::kWords);
    add_json_option(*command, words->writes_json);
    command->footer(kEvalNotes);
    command->callback([words] { print_value(*words); });
}

// The words of the commands on the rules of a container.
struct List_words {
    std::string file;
    bool only_phrases = false;
    bool writes_json = false;
    Cache_bound bound = {};
};

// Lets `look` see the tree of the container.
// RAISES: what view_kc and `look` raise.
template <class Look>
void view_tree_of(const List_words& words, const Look& look) {
    Long_work work;
    view_kc(
        words.file, &work.progress(),
        [&look](qtPtrLight<zeManager>& manager) { look(*manager->m_logical_tree); }, words.bound);
}

void print_list(const List_words& words) {
    std::vector<Listed_rule> rules;
    view_tree_of(words, [&rules](const zeLogicalTree& tree) { rules = list_rules(tree); });
    print_rules(rules, words.writes_json, std::cout);
}

void print_keys(const List_words& words) {
    Rule_keys keys;
    view_tree_of(words, [&](const zeLogicalTree& tree) { keys = rule_keys(words.file, tree); });
    print_rule_keys(keys, words.writes_json, std::cout);
}

void print_concepts(const List_words& words) {
    std::set<Concept> concepts;
    view_tree_of(words, [&](const zeLogicalTree& tree) {
        tree.CollectWordRules(concepts, words.only_phrases);
    });
    print_rule_concepts(concepts, words.writes_json, std::cout);
}

// Adds a command with KC, --json and --cached.
CLI::App* add_list_command(CLI::App& rules, const char* name, const char* description,
                           List_words& words, const char* json_help) {
    CLI::App* const command = rules.add_subcommand(name, description);
    command->add_option("KC", words.file, "File of a knowledge container")
        ->required()
        ->type_name("");
    add_json_option(*command, words.writes_json, json_help);
    add_bound_option(*command, words.bound.given);
    return command;
}

void add_rules_list(CLI::App& rules) {
    const auto words = std::make_shared<List_words>();
    CLI::App* const command = add_list_command(
        rules, "list", "List the rules of a container, with the paths of their nodes", *words,
        "Print a JSON object for each rule");
    command->footer(kListNotes);
    command->callback([words] { print_list(*words); });
}

void add_rules_keys(CLI::App& rules) {
    const auto words = std::make_shared<List_words>();
    CLI::App* const command =
        add_list_command(rules, "keys", "List the keys that the rules of a container read", *words,
                         "Print a JSON object for each key");
    command->footer(kKeysNotes);
    command->callback([words] { print_keys(*words); });
}

void add_rules_concepts(CLI::App& rules) {
    const auto words = std::make_shared<List_words>();
    CLI::App* const command = add_list_command(
        rules, "concepts", "List the concepts that the rules of a container look for", *words,
        "Print a JSON object for each concept");
    command->add_flag("--phrases", words->only_phrases,
                      "Only concepts with a blank or an underscore");
    command->footer(kConceptsNotes);
    command->callback([words] { print_concepts(*words); });
}

}  // namespace

void add_rule_commands(CLI::App& app, Command_result& result) {
    CLI::App* const rules =
        app.add_subcommand("rules", "Check, explain and try rules; list those of a container");
    rules->require_subcommand(1);
    add_rules_check(*rules, result);
    add_rules_explain(*rules);
    add_rules_eval(*rules);
    add_rules_list(*rules);
    add_rules_keys(*rules);
    add_rules_concepts(*rules);
    rules->footer("Rules are expressions by which a rule node chooses among its children.");
}

}  // namespace zandrel::cli
