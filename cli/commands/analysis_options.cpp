// Adds the options and converts their words. Whitespace concepts are bytes, not words, so --stem is
// refused for them.
#include "cli/commands/analysis_options.h"

#include <CLI/CLI.hpp>

#include "text/analysis/Stemmer.h"

namespace zandrel::cli {

namespace {

// Returns the option --analysis.
CLI::Option& add_options(CLI::App& command, Analysis_names& names, const std::string& help) {
    command
        .add_option("--stem", names.stem_language,
                    "Remove the endings of words of a language, such as english")
        ->check(CLI::IsMember(stem_languages()).description(""))
        ->type_name("LANGUAGE");
    return *command.add_option("--analysis", names.kind, help)
                ->check(CLI::IsMember({"phrases", "words", "whitespace"}).description(""))
                ->type_name("KIND");
}

void check(const Analysis_names& names, Analysis_kind kind) {
    if (kind == Analysis_kind::kWhitespace && !names.stem_language.empty()) {
        throw CLI::ValidationError("--stem", "needs --analysis phrases or words");
    }
}

}  // namespace

void add_analysis_options(CLI::App& command, Analysis_names& names, Analysis_kind fallback) {
    add_options(command, names, "How texts become concepts: phrases, words or whitespace")
        .default_str(name_of(fallback));
}

void add_analysis_options_of_container(CLI::App& command, Analysis_names& names) {
    add_options(command, names,
                "How texts become concepts, for a container of another program: phrases, words "
                "or whitespace");
}

Analysis_settings analysis_settings(const Analysis_names& names, Analysis_kind fallback) {
    const Analysis_kind kind = analysis_kind(names.kind).value_or(fallback);
    check(names, kind);
    return {kind, names.stem_language};
}

Given_analysis given_analysis(const Analysis_names& names) {
    Given_analysis given = {analysis_kind(names.kind), names.stem_language};
    check(names, given.kind.value_or(Analysis_kind::kPhrases));
    return given;
}

}  // namespace zandrel::cli
