#include "cli/commands/analysis_options.h"

#include <CLI/CLI.hpp>

#include "cli/text/Stemmer.h"

namespace cli {

namespace {

Analysis_kind analysis_kind(const std::string& name) {
    if (name == "whitespace") {
        return Analysis_kind::kWhitespace;
    }
    return name == "words" ? Analysis_kind::kWords : Analysis_kind::kPhrases;
}

}  // namespace

void add_analysis_options(CLI::App& command, Analysis_names& names) {
    command
        .add_option("--analysis", names.kind,
                    "How texts become concepts: phrases, words or whitespace")
        ->capture_default_str()
        ->check(CLI::IsMember({"phrases", "words", "whitespace"}).description(""))
        ->type_name("KIND");
    command
        .add_option("--stem", names.stem_language,
                    "Take the endings from words of a language, such as english")
        ->check(CLI::IsMember(stem_languages()).description(""))
        ->type_name("LANGUAGE");
}

Analysis_settings analysis_settings(const Analysis_names& names) {
    const Analysis_kind kind = analysis_kind(names.kind);
    if (kind == Analysis_kind::kWhitespace && !names.stem_language.empty()) {
        throw CLI::ValidationError("--stem", "needs --analysis phrases or words");
    }
    return {kind, names.stem_language};
}

}  // namespace cli
