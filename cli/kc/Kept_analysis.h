// Kept_analysis: the settings of the text analysis, as a knowledge container keeps them.
#ifndef ZANDREL_CLI_KC_KEPT_ANALYSIS_H_
#define ZANDREL_CLI_KC_KEPT_ANALYSIS_H_

#include <optional>
#include <string>

#include "cli/text/Text_analysis.h"

struct zeConfig;

namespace cli {

// The optional settings of a container that hold the kind, by its name, and the language of the
// stemmer, which is missing if words stay as they are.
constexpr const char* kAnalysisKey = "zandrel.analysis";
constexpr const char* kStemKey = "zandrel.stem";

// What a user says of the analysis.
struct Given_analysis {
    std::optional<Analysis_kind> kind = std::nullopt;
    std::string stem_language = {};  // empty: nothing is said
};

// Writes the settings into the container, in place of those that it keeps.
void keep_analysis(const Analysis_settings& settings, zeConfig& config);

// What the container keeps; nothing in one of another program.
// `path`: the container's file, for messages.
// RAISES: Data_error for a kind or language that this program does not know.
std::optional<Analysis_settings> kept_analysis(const std::string& path, const zeConfig& config);

// The settings with which a container's texts are read: those that it keeps, or, if it keeps none,
// those given. Texts read in another way would have concepts that the container does not know.
// RAISES: as above; Usage_error if what is given differs from what is kept; Data_error if nothing
// is kept and no kind given.
Analysis_settings agreed_analysis(const std::string& path, const zeConfig& config,
                                  const Given_analysis& given);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KEPT_ANALYSIS_H_
