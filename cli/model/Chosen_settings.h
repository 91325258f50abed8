// Chosen_settings: the settings that the program chooses for a new container where the user gives
// none.
#ifndef ZANDREL_CLI_MODEL_CHOSEN_SETTINGS_H_
#define ZANDREL_CLI_MODEL_CHOSEN_SETTINGS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zandrel/foundation/qtPtr.h"

#include "cli/text/Text_analysis.h"

class zeManager;

namespace cli {

class Engine_settings;

struct Chosen_setting {
    std::string key;
    std::string value;  // as an options file has it

    bool operator==(const Chosen_setting& other) const = default;
};

// The choice for a container of that many labels, in the order of the keys. The engine's own
// defaults suit words; texts analysed as phrases have many more concepts, most of them rare.
// `given`: what the user gives, which replaces the choice; null: nothing.
std::vector<Chosen_setting> choose_settings(Analysis_kind kind, std::size_t label_count,
                                            const Engine_settings* given);

// Gives them to a container that has no classifier yet.
void apply_settings(const std::vector<Chosen_setting>& settings, qtPtrLight<zeManager>& manager);

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_CHOSEN_SETTINGS_H_
