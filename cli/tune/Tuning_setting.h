// Tuning_setting: one way to train a container, and the list of those that a search tries.
#ifndef ZANDREL_CLI_TUNE_TUNING_SETTING_H_
#define ZANDREL_CLI_TUNE_TUNING_SETTING_H_

#include <cstddef>
#include <string>
#include <vector>

#include "text/analysis/Text_analysis.h"
#include "text/wording/Key_value.h"

namespace zandrel::cli {

struct Tuning_setting {
    Analysis_settings analysis = {};
    // Settings of the engine for which training would choose other values, in the order in which a
    // file lists them. MinPsSize and MaxPsSize are twice and four times ProfileSize, as in the
    // program's own choice.
    std::vector<Key_value> engine = {};
    std::size_t group_count = 0;  // groups of labels, for a tree of two levels; 0: flat
};

// Returns how a setting differs from the defaults, with the keys of an options file, without
// MinPsSize and MaxPsSize: "Stem=english ProfileSize=30000". Returns "defaults" if it does not
// differ.
std::string name_of(const Tuning_setting& setting, const Tuning_setting& defaults);

// Returns whether the scores of a container with this setting are probabilities: whether it uses
// likelihood tables.
bool gives_probabilities(const Tuning_setting& setting);

// The analyses to try: phrases and words, both also with the stemmer of this language. Empty: no
// stemmer. The first is the default.
std::vector<Analysis_settings> analyses_to_try(const std::string& stem_language);

// Returns the settings to try, each once. The first is the default: the first analysis, with the
// values that training chooses. docs/decisions/tuning.md explains the list.
// `label_count`: of the data. REQUIRES: at least one analysis.
std::vector<Tuning_setting> settings_to_try(const std::vector<Analysis_settings>& analyses,
                                            std::size_t label_count);

// Returns the numbers of all settings in an order for a search that may be cut off. All analyses,
// flat and with a tree, take turns, so none is left out. The first is 0.
std::vector<std::size_t> order_of_trials(const std::vector<Tuning_setting>& settings);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_TUNE_TUNING_SETTING_H_
