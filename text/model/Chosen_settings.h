// Chosen_settings: settings that we choose for a new container, unless the user gives them.
#ifndef ZANDREL_TEXT_MODEL_CHOSEN_SETTINGS_H_
#define ZANDREL_TEXT_MODEL_CHOSEN_SETTINGS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zandrel/foundation/qtPtr.h"

#include "text/analysis/Text_analysis.h"

class zeManager;

namespace zandrel {

class Engine_settings;

struct Chosen_setting {
    std::string key;
    std::string value;  // as an options file has it

    bool operator==(const Chosen_setting& other) const = default;
};

// The choices for a container with so many labels, sorted by key. We choose higher limits than the
// engine's defaults: with the default limits, learning forgets old texts. The engine's other
// defaults suit words; texts analysed as phrases have many more concepts, and most of these are
// rare. `given`: the user's settings, which replace choices; null: none.
std::vector<Chosen_setting> choose_settings(Analysis_kind kind, std::size_t label_count,
                                            const Engine_settings* given);

// Returns whether a user's value for the key `given` replaces our choice for the key `chosen`. It
// replaces the choice for the same key. Also:
// - Any of the three limits replaces all three: MaxRlimit replaces AverageRlimit.
// - MinPsSize, MaxPsSize or ProfileSize replaces both MinPsSize and MaxPsSize, but the first two do
//   not replace ProfileSize.
bool replaces_choice(std::string_view given, std::string_view chosen);

// Gives the settings to a container that has no classifier yet.
void apply_settings(const std::vector<Chosen_setting>& settings, qtPtrLight<zeManager>& manager);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_CHOSEN_SETTINGS_H_
