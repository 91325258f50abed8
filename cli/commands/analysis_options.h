// The options --analysis and --stem, which several commands have.
#ifndef ZANDREL_CLI_COMMANDS_ANALYSIS_OPTIONS_H_
#define ZANDREL_CLI_COMMANDS_ANALYSIS_OPTIONS_H_

#include <optional>
#include <string>

#include "text/analysis/Text_analysis.h"
#include "text/kc/Kept_analysis.h"

namespace CLI {
class App;
}

namespace zandrel::cli {

// The words of the command line.
struct Analysis_names {
    std::string kind;           // empty: the command's default
    std::string stem_language;  // empty: no stemming
};

// Both add --analysis and --stem. The first one's help names the default. The second one is for
// commands that read a container, which records its analysis. BORROWS: `names`, which must outlive
// `command`.
void add_analysis_options(CLI::App& command, Analysis_names& names, Analysis_kind fallback);
void add_analysis_options_of_container(CLI::App& command, Analysis_names& names);

// RAISES: CLI::ValidationError for --stem with the analysis whitespace.
Analysis_settings analysis_settings(const Analysis_names& names,
                                    Analysis_kind fallback = Analysis_kind::kPhrases);
// The given analysis, which agreed_analysis compares with that of a container.
// RAISES: as analysis_settings.
Given_analysis given_analysis(const Analysis_names& names);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_ANALYSIS_OPTIONS_H_
