// Kept_choices: a knowledge container's list of the settings that we have chosen for it.
#ifndef ZANDREL_TEXT_KC_KEPT_CHOICES_H_
#define ZANDREL_TEXT_KC_KEPT_CHOICES_H_

#include <vector>

#include "text/kc/Kc_options.h"
#include "text/model/Chosen_settings.h"

struct zeConfig;

namespace zandrel {

// The key of the optional setting with the choices, for example "ProfileSize=10000 SuppressM=0".
// The setting is missing if we chose nothing.
constexpr const char* kChoicesKey = "zandrel.choices";

// Writes the choices into the container, in place of those that it keeps.
void keep_choices(const std::vector<Chosen_setting>& choices, zeConfig& config);

// The choices that are still in use. A setting whose value has changed since is not our choice any
// more, and is left out.
std::vector<Chosen_setting> kept_choices(const zeConfig& config, const zeDefaults& defaults);

// Removes the choices that the user's values replace (replaces_choice) from the list. The values of
// the settings do not change. Returns whether it has removed any.
bool forget_choices(const std::vector<Key_value>& given, zeConfig& config);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KEPT_CHOICES_H_
