// The options of the three commands on rules. The work is in cli/rules.
#include "cli/commands/rule_commands.h"

#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/commands/analysis_options.h"
#include "cli/commands/option_checks.h"
#include "cli/rules/Rule_check.h"
#include "cli/rules/Rule_explanation.h"
#include "cli/rules/Rule_value.h"
#include "cli/text/Json.h"
#include "cli/text/print_warning.h"

namespace cli {

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
    command->add_flag("--json", words->writes_json, "Print JSON");
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
    command->add_flag("--json", words->writes_json, "Print JSON");
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
    command->add_flag("--json", words->writes_json, "Print JSON");
    command->footer(kEvalNotes);
    command->callback([words] { print_value(*words); });
}

}  // namespace

void add_rule_commands(CLI::App& app, Command_result& result) {
    CLI::App* const rules = app.add_subcommand("rules", "Check, explain and try rules");
    rules->require_subcommand(1);
    add_rules_check(*rules, result);
    add_rules_explain(*rules);
    add_rules_eval(*rules);
    rules->footer("Rules are expressions by which a rule node chooses among its children.");
}

}  // namespace cli
