// The program zandrel: reads the command line, runs one command, and turns errors into messages and
// exit statuses. It is the only file that includes the command line parser, which is slow to
// compile.
#include <array>
#include <cstddef>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "zandrel/version.h"

#include "cli/classify/Classification.h"
#include "cli/data/Label_groups.h"
#include "cli/errors.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Report.h"
#include "cli/evaluate/Report_json.h"
#include "cli/model/Engine_settings.h"
#include "cli/model/Interruption.h"
#include "cli/model/Long_work.h"
#include "cli/records/Record_check.h"
#include "cli/records/Record_dump.h"
#include "cli/records/Record_file.h"
#include "cli/rules/Rule_check.h"
#include "cli/rules/Rule_explanation.h"
#include "cli/rules/Rule_value.h"
#include "cli/text/Json.h"
#include "cli/text/Stemmer.h"

namespace {

constexpr const char* kFooter = R"(
Data files hold a line `label[,label]<TAB>text` for each text, in UTF-8. Line ends may be LF or
CR LF; empty lines are skipped. With --bootstrap the file of --train has the columns
`label[,label]<TAB>text<TAB>title<TAB>keywords`, of which the last two alone are learned.

A file of groups has a line `group<TAB>label` for each label that stands in a group. Each group gets a
classifier of its own below that of the groups, and a label's score is the product of both. Labels
that stand in no group are beside the groups. A node with few children weighs words better than one
with many.

Text analysis:
  phrases     as words, but each digit becomes 0, each punctuation mark or symbol is a concept too,
              and so is each pair of neighbours; no stop words are left out, since short texts lose
              up to 16 points of accuracy without them
  words       case and width are folded; runs of letters, marks and numbers are words, and so is
              each Han, Hiragana or Katakana character; what is no UTF-8 separates
  whitespace  what stands between ASCII white space, bytes unchanged

Figures of evaluate:
  accuracy    texts whose best label is one of theirs
  macro F1    of the best labels: the mean of F1 over the labels that test texts have
  score >= T  precision, recall and F1 of the labels given, which are those with a score of at least
              T (--threshold): over all decisions (micro), and as means over the labels that test
              texts have (macro)
  ECE         expected calibration error, over 15 bins: how far scores are from the shares of right
              labels, of the best labels and of all pairs of text and label
  Brier score squared error of the scores, summed over the labels, mean over the texts
  without tables  the same of raw scores, which the likelihood tables have not corrected
  learning    the model before the first bulk of --learn and after each: concepts in all, mean and
              greatest number of them in a profile; all other figures are of the model before it

JSON of evaluate: shares are 0 to 1. `micro_f1` and `macro_f1` are those at the threshold,
`macro_f1_top` is that of the best labels; further `accuracy`, `ece_top`, `ece_pairs`, `brier`,
`without_tables`, `learning` and more. An explanation tells what each concept adds to the score of the best label.

Rules are the small expressions that pick nodes of a knowledge by hand. rules check reads a file with
a rule a line, and skips empty lines and those that begin with #. rules eval tries a rule on a
message of the pairs given with --set and the words of --text; without --text it has no words at
all. A rule that begins with - follows the argument --.

Examples:
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --per-category --threshold 0.6
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv --groups shop.groups.tsv
  zandrel classify --train shop.train.tsv "Where is my parcel?"
  zandrel classify --train shop.train.tsv --explain "Where is my parcel?"
  zandrel rules eval '"parcel" & $size(n) > 5' --text "Where is my parcel?" --set size=7

Record files are what containers, corpora and archives are kept in. dump shows header, index, items
and holes; check tells whether every block is what the index says: exit status 0 clean, 1 repairable
(no item is known to be lost), 65 no record file or lost.

Long work shows its progress on a terminal; Ctrl-C ends it.

Exit status: 0, or 64 wrong usage, 65 bad data, 66 unreadable file, 70 failure, 74 output error, 130
interrupted.)";

// More labels or pairs of labels than anyone reads.
constexpr int kLongestList = 1000000;

// As they stand on the command line.
struct Analysis_names {
    std::string kind = "phrases";
    std::string stem_language;  // empty: no stemming
};

// Settings of the engine, as they stand on the command line.
struct Setting_words {
    std::string file;  // empty: none
    std::vector<std::string> assignments;
};

// What the commands of rules are given.
struct Rule_words {
    std::string file = "-";
    std::string rule;
    Analysis_names analysis = {"words", ""};
    cli::Rule_subject subject;
};

struct Commands {
    cli::Evaluation_options evaluation;
    int confusion_count = 10;
    bool lists_categories = false;
    bool writes_json = false;  // evaluate and rules
    Analysis_names analysis;   // of the command that is run
    std::string groups_file;   // likewise; empty: none
    Setting_words words;       // likewise
    cli::Engine_settings settings;
    cli::Classification_options classification;
    Rule_words rules;
    std::string record_file;
    int status = cli::kSuccess;  // of a command that ran to its end
};

std::string version_text() {
    std::array<char, kZandrelVersionTextSize> text = {};
    GetZandrelVersion(text.data());
    return std::string("zandrel ") + text.data();
}

void add_setting_options(CLI::App& command, Setting_words& words) {
    command.add_option("--options", words.file, "Options file with settings of the engine")
        ->type_name("FILE");
    command
        .add_option("--set", words.assignments,
                    "A setting of the engine, such as ProfileSize=3000; wins over the file")
        ->allow_extra_args(false)
        ->type_name("KEY=VALUE");
}

void add_analysis_options(CLI::App& command, Analysis_names& analysis) {
    command
        .add_option("--analysis", analysis.kind,
                    "How texts become concepts: phrases, words or whitespace")
        ->capture_default_str()
        ->check(CLI::IsMember({"phrases", "words", "whitespace"}).description(""))
        ->type_name("KIND");
    command
        .add_option("--stem", analysis.stem_language,
                    "Take the endings from words of a language, such as english")
        ->check(CLI::IsMember(cli::stem_languages()).description(""))
        ->type_name("LANGUAGE");
}

void add_common_options(CLI::App& command, std::string& train_file, Analysis_names& analysis) {
    command.add_option("--train", train_file, "Data file to learn from")
        ->required()
        ->type_name("FILE");
    add_analysis_options(command, analysis);
}

cli::Analysis_kind analysis_kind(const std::string& name) {
    if (name == "whitespace") {
        return cli::Analysis_kind::kWhitespace;
    }
    return name == "words" ? cli::Analysis_kind::kWords : cli::Analysis_kind::kPhrases;
}

// RAISES: CLI::ValidationError.
cli::Analysis_settings analysis_settings(const Analysis_names& names) {
    const cli::Analysis_kind kind = analysis_kind(names.kind);
    if (kind == cli::Analysis_kind::kWhitespace && !names.stem_language.empty()) {
        throw CLI::ValidationError("--stem", "needs --analysis phrases or words");
    }
    return {kind, names.stem_language};
}

// RAISES: Input_error, Data_error, Usage_error; CLI::ValidationError.
cli::Model_options model_options(Commands& commands) {
    commands.settings.load(commands.words.file);
    commands.settings.set(commands.words.assignments);
    cli::Model_options options = {analysis_settings(commands.analysis), &commands.settings};
    if (!commands.groups_file.empty()) {
        options.groups = cli::read_label_groups_file(commands.groups_file);
    }
    return options;
}

cli::Evaluation evaluate(Commands& commands) {
    cli::Long_work work;
    commands.evaluation.progress = &work.progress();
    return cli::evaluate(commands.evaluation);
}

// Options of both commands that say how data is read and what is printed.
void add_report_options(CLI::App& command, std::optional<std::string>& text_to_explain,
                        bool& writes_json, bool& skips_bad_lines) {
    command
        .add_option("--explain", text_to_explain,
                    "Say what each concept of this text adds to the score of its best label")
        ->type_name("TEXT");
    command.add_flag("--json", writes_json, "Print JSON");
    command.add_flag("--skip-bad", skips_bad_lines,
                     "Leave bad data lines out and tell how many there are");
}

// Refuses what is no number from 0 to 1, not-a-number too.
std::string error_of_share(const std::string& text) {
    double share = 0.0;
    const bool is_share = CLI::detail::lexical_cast(text, share) && share >= 0.0 && share <= 1.0;
    return is_share ? "" : "'" + text + "' is no number from 0 to 1";
}

void print_evaluation(Commands& commands) {
    const cli::Evaluation evaluation = evaluate(commands);
    cli::print_skipped(evaluation.skipped, std::cerr);
    const auto confusion_count = static_cast<std::size_t>(commands.confusion_count);
    if (commands.writes_json) {
        cli::print_json(cli::report_json(evaluation, confusion_count), cli::Json_form::kManyLines,
                        std::cout);
    } else {
        cli::print_report(evaluation, {confusion_count, commands.lists_categories}, std::cout);
    }
}

void add_evaluate(CLI::App& app, Commands& commands) {
    CLI::App* const command = app.add_subcommand(
        "evaluate", "Train on one file, classify another, and report quality and cost");
    add_common_options(*command, commands.evaluation.train_file, commands.analysis);
    add_setting_options(*command, commands.words);
    command
        ->add_option("--groups", commands.groups_file,
                     "File with lines of group and label: a tree of two levels")
        ->type_name("FILE");
    command->add_option("--test", commands.evaluation.test_file, "Data file to classify")
        ->required()
        ->type_name("FILE");
    command->add_option("--confusions", commands.confusion_count, "How many confusions to list")
        ->capture_default_str()
        ->check(CLI::Range(0, kLongestList).description(""))
        ->type_name("N");
    command
        ->add_option("--threshold", commands.evaluation.threshold,
                     "Least score at which a label is given to a text, 0 to 1")
        ->capture_default_str()
        ->check(error_of_share)
        ->type_name("T");
    command->add_flag("--bootstrap", commands.evaluation.bootstraps,
                      "Start from the titles and keywords of the training data alone");
    CLI::Option* const learn = command
                                   ->add_option("--learn", commands.evaluation.learn_file,
                                                "Data file to learn after training, in bulks")
                                   ->type_name("FILE");
    command->add_option("--bulk", commands.evaluation.bulk_size, "How many texts a bulk has")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->needs(learn)
        ->type_name("N");
    command->add_flag("--per-category", commands.lists_categories,
                      "List precision, recall and F1 of each label; JSON always does");
    add_report_options(*command, commands.evaluation.text_to_explain, commands.writes_json,
                       commands.evaluation.skips_bad_lines);
    command->callback([&commands] {
        commands.evaluation.model = model_options(commands);
        print_evaluation(commands);
    });
}

void add_classify(CLI::App& app, Commands& commands) {
    cli::Classification_options& options = commands.classification;
    CLI::App* const command =
        app.add_subcommand("classify", "Train on a file and rank the labels for each text");
    add_common_options(*command, options.train_file, commands.analysis);
    add_setting_options(*command, commands.words);
    command->add_option("--top", options.wanted_labels, "How many labels to print for each text")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    CLI::Option* const texts =
        command->add_option("TEXT", options.texts, "Texts; none or -: the lines of standard input")
            ->type_name("");
    add_report_options(*command, options.text_to_explain, options.writes_json,
                       options.skips_bad_lines);
    command->get_option("--explain")->excludes(texts);
    command->callback([&commands] {
        commands.classification.model = model_options(commands);
        cli::classify(commands.classification, std::cin, std::cout, std::cerr);
    });
}

void print_check(Commands& commands) {
    const cli::Rule_check check = cli::check_rule_file(commands.rules.file, std::cin);
    if (commands.writes_json) {
        cli::print_json(cli::rule_check_json(check), cli::Json_form::kManyLines, std::cout);
    } else {
        cli::print_rule_check(check, std::cout, std::cerr);
    }
    if (!check.bad.empty()) {
        commands.status = cli::kDataError;
    }
}

void print_explanation(const Commands& commands) {
    const cli::Rule_explanation explanation = cli::explain_rule(commands.rules.rule);
    if (commands.writes_json) {
        cli::print_json(cli::rule_explanation_json(explanation), cli::Json_form::kManyLines,
                        std::cout);
    } else {
        cli::print_rule_explanation(explanation, std::cout);
    }
}

// RAISES: CLI::ValidationError; what rule_value raises.
void print_value(Commands& commands) {
    Rule_words& words = commands.rules;
    words.subject.analysis = analysis_settings(words.analysis);
    const double value = cli::rule_value(words.rule, words.subject);
    if (commands.writes_json) {
        cli::print_json(cli::rule_value_json(words.rule, value), cli::Json_form::kOneLine,
                        std::cout);
    } else {
        std::cout << cli::value_text(value) << '\n';
    }
}

void add_rule_option(CLI::App& command, std::string& rule) {
    command.add_option("RULE", rule, "The rule")->required()->type_name("");
}

void add_rules_check(CLI::App& rules, Commands& commands) {
    CLI::App* const command =
        rules.add_subcommand("check", "Say which rules of a file are wrong, and why");
    command
        ->add_option("FILE", commands.rules.file,
                     "File with a rule a line; none or -: standard input")
        ->type_name("");
    command->add_flag("--json", commands.writes_json, "Print JSON");
    command->callback([&commands] { print_check(commands); });
}

void add_rules_explain(CLI::App& rules, Commands& commands) {
    CLI::App* const command = rules.add_subcommand(
        "explain", "Show the tokens, the reverse Polish form with types, and the tree of a rule");
    add_rule_option(*command, commands.rules.rule);
    command->add_flag("--json", commands.writes_json, "Print JSON");
    command->callback([&commands] { print_explanation(commands); });
}

void add_rules_eval(CLI::App& rules, Commands& commands) {
    Rule_words& words = commands.rules;
    CLI::App* const command =
        rules.add_subcommand("eval", "Print the value of a rule for a message");
    add_rule_option(*command, words.rule);
    command->add_option("--set", words.subject.pairs, "A name/value pair of the message")
        ->allow_extra_args(false)
        ->type_name("KEY=VALUE");
    command->add_option("--text", words.subject.text, "Text with the words of the message")
        ->type_name("TEXT");
    command
        ->add_option("--score", words.subject.score,
                     "The score with which the rule's classifier is entered")
        ->capture_default_str()
        ->type_name("X");
    add_analysis_options(*command, words.analysis);
    command->add_flag("--json", commands.writes_json, "Print JSON");
    command->callback([&commands] { print_value(commands); });
}

void add_rules(CLI::App& app, Commands& commands) {
    CLI::App* const rules = app.add_subcommand("rules", "Check, explain and try rules");
    rules->require_subcommand(1);
    add_rules_check(*rules, commands);
    add_rules_explain(*rules, commands);
    add_rules_eval(*rules, commands);
}

void print_record_dump(const Commands& commands) {
    const cli::Record_file file = cli::read_record_file(commands.record_file);
    if (commands.writes_json) {
        cli::print_json(cli::record_dump_json(file), cli::Json_form::kManyLines, std::cout);
    } else {
        cli::print_record_dump(file, std::cout);
    }
}

int status_of(cli::Record_condition condition) {
    switch (condition) {
        case cli::Record_condition::kClean:
            return cli::kSuccess;
        case cli::Record_condition::kRepairable:
            return cli::kRepairable;
        case cli::Record_condition::kLost:
            break;
    }
    return cli::kDataError;
}

void print_record_check(Commands& commands) {
    const cli::Record_check check =
        cli::check_record_file(cli::read_record_file(commands.record_file));
    if (commands.writes_json) {
        cli::print_json(cli::record_check_json(check), cli::Json_form::kManyLines, std::cout);
    } else {
        cli::print_record_check(check, std::cout);
    }
    commands.status = status_of(check.condition);
}

void add_record_command(CLI::App& app, Commands& commands, const char* name,
                        const char* description, void (*run)(Commands&)) {
    CLI::App* const command = app.add_subcommand(name, description);
    command->add_option("FILE", commands.record_file, "A record file")->required()->type_name("");
    command->add_flag("--json", commands.writes_json, "Print JSON");
    command->callback([&commands, run] { run(commands); });
}

int run(int argc, char** argv) {
    CLI::App app("Zandrel, a text classification engine", "zandrel");
    Commands commands;
    app.set_version_flag("--version", version_text());
    app.footer(kFooter);
    app.require_subcommand(1);
    add_evaluate(app, commands);
    add_classify(app, commands);
    add_rules(app, commands);
    add_record_command(app, commands, "dump", "Show what a record file holds",
                       [](Commands& given) { print_record_dump(given); });
    add_record_command(app, commands, "check", "Say in what condition a record file is",
                       [](Commands& given) { print_record_check(given); });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cli::kSuccess : cli::kUsageError;
    }
    return commands.status;
}

int fail(const std::exception& error, int status) {
    std::cerr << error.what() << '\n';
    return status;
}

int run_and_report(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const cli::Data_error& error) {
        // Without the program's name in front, so that editors find file and line.
        return fail(error, cli::kDataError);
    } catch (const cli::Input_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::kInputError);
    } catch (const cli::Usage_error& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::kUsageError);
    } catch (const std::exception& error) {
        std::cerr << "zandrel: ";
        return fail(error,
                    cli::Interruption::is_requested() ? cli::kInterrupted : cli::kInternalError);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    const int status = run_and_report(argc, argv);
    if (!std::cout.flush()) {
        std::cerr << "zandrel: cannot write the output\n";
        return status == cli::kSuccess ? cli::kOutputError : status;
    }
    return status;
}
