// Kept_choices: the settings that the program chose for a knowledge container, as the container
// keeps them.
#ifndef ZANDREL_CLI_KC_KEPT_CHOICES_H_
#define ZANDREL_CLI_KC_KEPT_CHOICES_H_

#include <vector>

#include "cli/kc/Kc_options.h"
#include "cli/model/Chosen_settings.h"

struct zeConfig;

namespace cli {

// The optional setting of a container that has the choices, such as
// "ProfileSize=10000 SuppressM=0". It is missing if the program chose nothing.
constexpr const char* kChoicesKey = "zandrel.choices";

// Writes the choices into the container, in place of those that it keeps.
void keep_choices(const std::vector<Chosen_setting>& choices, zeConfig& config);

// The choices that the container still has. A setting whose value has changed since is no choice of
// the program any more.
std::vector<Chosen_setting> kept_choices(const zeConfig& config, const zeDefaults& defaults);

// Removes from the list the choices that the user's values replace (replaces_choice). The settings
// themselves stay. Returns whether it has removed any.
bool forget_choices(const std::vector<Key_value>& given, zeConfig& config);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KEPT_CHOICES_H_
