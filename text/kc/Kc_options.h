// Kc_options: reads, changes and prints the engine's settings of a knowledge container.
#ifndef ZANDREL_TEXT_KC_KC_OPTIONS_H_
#define ZANDREL_TEXT_KC_KC_OPTIONS_H_

#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/options/zeOptMap.h"
#include "zandrel/persistence/zeDefaults.h"

#include "text/wording/Key_value.h"

class zeManager;
struct zeConfig;

namespace zandrel {

// A statistical classifier that has another value of a setting than the container.
struct Other_value {
    std::string path;  // as it is shown
    std::string value;

    bool operator==(const Other_value& other) const = default;
};

struct Kc_setting {
    std::string key;
    std::string value;                // as an options file has it
    std::vector<Other_value> others;  // sorted by path

    bool operator==(const Kc_setting& other) const = default;
};

// All settings that an options file can have for a container, in the order of docs/options.md.
std::vector<Kc_setting> kc_settings(qtPtrLight<zeManager>& manager);
// The setting with one key.
// RAISES: Usage_error for an unknown key.
Kc_setting kc_setting(qtPtrLight<zeManager>& manager, const std::string& key);

// Returns why no container can be given another value of a setting, or "". `known`: the settings
// that containers have. Not all of them are in the files of containers.
std::string keeping_problem(std::string_view key, const std::vector<zeOptMap::Known_key>& known);

// Reads `Key=value` words. An empty value, or "leave", leaves the setting as it is.
// RAISES: Usage_error that names the key, also for a key that options files can have but containers
// do not keep.
std::vector<Key_value> setting_values(const std::vector<std::string>& words);

// Gives the values to the container and to each of its statistical classifiers. The other settings
// of a classifier keep their values, also where they differ from those of the container. A setting
// that we have chosen becomes the user's, also if the user gives the same value. Returns whether
// anything has changed.
// REQUIRES: values as `setting_values` gives them.
// RAISES: Edit_refused, changing nothing, for a compact container if a classifier would have to
// make its likelihood tables again, since the statistics for that are missing.
bool set_kc_settings(qtPtrLight<zeManager>& manager, const std::vector<Key_value>& values);

// The settings as texts of an options file, by key.
std::map<qtString, qtString> setting_texts(const zeConfig& config, const zeDefaults& defaults);

// Writes an options file with all settings of the container, as zeOptMap::Dump writes it: lines
// "Key = value" in the order of the keys. "UseExtParms = 1" is one of them, since the engine uses
// no other setting of a file without it.
void write_options_file(const zeManager& manager, std::ostream& out);
// The paths of the classifiers that have another value of any setting, sorted. These values are not
// in the options file.
std::vector<std::string> classifiers_with_other_values(const std::vector<Kc_setting>& settings);

// The value of a setting as JSON: a number, or a string if the text is not a number.
nlohmann::ordered_json value_json(const std::string& value);
// Prints an options file: a line `Key=value` for each setting. Other values of classifiers follow
// as a comment: `ProfileSize=500 # 100 at root/sport`.
void print_settings(const std::vector<Kc_setting>& settings, std::ostream& out);
// The same as an object with a member for each key: an object of `value`, a number or a text, and
// `classifiers`, a list of objects of `path` and `value`.
nlohmann::ordered_json settings_json(const std::vector<Kc_setting>& settings);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_OPTIONS_H_
