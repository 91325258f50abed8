// Kept_analysis: the settings of the text analysis that a knowledge container keeps.
#ifndef ZANDREL_TEXT_KC_KEPT_ANALYSIS_H_
#define ZANDREL_TEXT_KC_KEPT_ANALYSIS_H_

#include <optional>
#include <string>

#include "text/analysis/Text_analysis.h"

struct zeConfig;

namespace zandrel {

// The keys of two optional settings of a container: the name of the analysis, and the language of
// the stemmer, which is missing if words are not stemmed.
constexpr const char* kAnalysisKey = "zandrel.analysis";
constexpr const char* kStemKey = "zandrel.stem";

// The analysis that the caller gave.
struct Given_analysis {
    std::optional<Analysis_kind> kind = std::nullopt;
    std::string stem_language = {};  // empty: not given
};

// Writes the settings into the container, in place of those that it keeps.
void keep_analysis(const Analysis_settings& settings, zeConfig& config);

// The analysis that the container keeps. A container of another program keeps none.
// `path`: the container's file, for messages.
// RAISES: Data_error for a name or a language that this program does not know.
std::optional<Analysis_settings> kept_analysis(const std::string& path, const zeConfig& config);

// The settings for texts of this container: those that it keeps, or, if it keeps none, the given
// ones. Another analysis would make concepts that the container does not know.
// RAISES: what kept_analysis raises; Usage_error if given and kept settings differ; Data_error if
// the container keeps none and no kind is given.
Analysis_settings agreed_analysis(const std::string& path, const zeConfig& config,
                                  const Given_analysis& given);

// The same for what a container or a corpus file keeps; missing: nothing.
Analysis_settings agreed_analysis(const std::string& path,
                                  const std::optional<Analysis_settings>& kept,
                                  const Given_analysis& given);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KEPT_ANALYSIS_H_
