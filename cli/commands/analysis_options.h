// The options that say how texts become concepts, which several commands have.
#ifndef ZANDREL_CLI_COMMANDS_ANALYSIS_OPTIONS_H_
#define ZANDREL_CLI_COMMANDS_ANALYSIS_OPTIONS_H_

#include <optional>
#include <string>

#include "cli/kc/Kept_analysis.h"
#include "cli/text/Text_analysis.h"

namespace CLI {
class App;
}

namespace cli {

// As they stand on the command line.
struct Analysis_names {
    std::string kind;           // empty: the command's default
    std::string stem_language;  // empty: no stemming
};

// Adds --analysis and --stem, of which the help names the default, or says that the container
// knows.  BORROWS: `names`, which must outlive `command`.
void add_analysis_options(CLI::App& command, Analysis_names& names, Analysis_kind fallback);
void add_analysis_options_of_container(CLI::App& command, Analysis_names& names);

// RAISES: CLI::ValidationError for a language without words to stem.
Analysis_settings analysis_settings(const Analysis_names& names,
                                    Analysis_kind fallback = Analysis_kind::kPhrases);
// What is given, for a container to agree to.
// RAISES: likewise.
Given_analysis given_analysis(const Analysis_names& names);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_ANALYSIS_OPTIONS_H_
