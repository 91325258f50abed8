// The program zandrel: reads the command line, runs one command, and turns errors into messages and
// exit statuses. It is the only file that includes the command line parser, which is slow to
// compile.
#include <array>
#include <cstddef>
#include <exception>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "zandrel/version.h"

#include "cli/classify/Classification.h"
#include "cli/errors.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Report.h"
#include "cli/text/Stemmer.h"

namespace {

constexpr const char* kFooter = R"(
Data files hold a line `label[,label]<TAB>text` for each text, in UTF-8. Line ends may be LF or
CR LF; empty lines are skipped.

Text analysis:
  phrases     as words, but each digit becomes 0, each punctuation mark or symbol is a concept too,
              and so is each pair of neighbours; no stop words are left out, since short texts lose
              up to 16 points of accuracy without them
  words       case and width are folded; runs of letters, marks and numbers are words, and so is
              each Han, Hiragana or Katakana character; what is no UTF-8 separates
  whitespace  what stands between ASCII white space, bytes unchanged

Examples:
  zandrel evaluate --train shop.train.tsv --test shop.test.tsv
  zandrel classify --train shop.train.tsv "Where is my parcel?"

Exit status: 0, or 64 wrong usage, 65 bad data, 66 unreadable file, 70 failure, 74 output error.)";

// More labels or pairs of labels than anyone reads.
constexpr int kLongestList = 1000000;

// As they stand on the command line.
struct Analysis_names {
    std::string kind = "phrases";
    std::string stem_language;  // empty: no stemming
};

struct Commands {
    cli::Evaluation_options evaluation;
    int confusion_count = 10;
    Analysis_names analysis;  // of the command that is run
    cli::Classification_options classification;
};

std::string version_text() {
    std::array<char, kZandrelVersionTextSize> text = {};
    GetZandrelVersion(text.data());
    return std::string("zandrel ") + text.data();
}

void add_common_options(CLI::App& command, std::string& train_file, Analysis_names& analysis) {
    command.add_option("--train", train_file, "Data file to learn from")
        ->required()
        ->type_name("FILE");
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

void add_evaluate(CLI::App& app, Commands& commands) {
    CLI::App* const command = app.add_subcommand(
        "evaluate", "Train on one file, classify another, and report quality and cost");
    add_common_options(*command, commands.evaluation.train_file, commands.analysis);
    command->add_option("--test", commands.evaluation.test_file, "Data file to classify")
        ->required()
        ->type_name("FILE");
    command->add_option("--confusions", commands.confusion_count, "How many confusions to list")
        ->capture_default_str()
        ->check(CLI::Range(0, kLongestList).description(""))
        ->type_name("N");
    command->callback([&commands] {
        commands.evaluation.analysis = analysis_settings(commands.analysis);
        cli::print_report(cli::evaluate(commands.evaluation),
                          static_cast<std::size_t>(commands.confusion_count), std::cout);
    });
}

void add_classify(CLI::App& app, Commands& commands) {
    cli::Classification_options& options = commands.classification;
    CLI::App* const command =
        app.add_subcommand("classify", "Train on a file and rank the labels for each text");
    add_common_options(*command, options.train_file, commands.analysis);
    command->add_option("--top", options.wanted_labels, "How many labels to print for each text")
        ->capture_default_str()
        ->check(CLI::Range(1, kLongestList).description(""))
        ->type_name("N");
    command->add_option("TEXT", options.texts, "Texts; none or -: the lines of standard input")
        ->type_name("");
    command->callback([&commands] {
        commands.classification.analysis = analysis_settings(commands.analysis);
        cli::classify(commands.classification, std::cin, std::cout);
    });
}

int run(int argc, char** argv) {
    CLI::App app("Zandrel, a text classification engine", "zandrel");
    Commands commands;
    app.set_version_flag("--version", version_text());
    app.footer(kFooter);
    app.require_subcommand(1);
    add_evaluate(app, commands);
    add_classify(app, commands);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? cli::kSuccess : cli::kUsageError;
    }
    return cli::kSuccess;
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
    } catch (const std::exception& error) {
        std::cerr << "zandrel: ";
        return fail(error, cli::kInternalError);
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
