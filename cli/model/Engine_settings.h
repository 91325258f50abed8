// Engine_settings: the engine's settings as the command line gives them.
#ifndef ZANDREL_CLI_MODEL_ENGINE_SETTINGS_H_
#define ZANDREL_CLI_MODEL_ENGINE_SETTINGS_H_

#include <string>
#include <string_view>
#include <vector>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/options/zeOptMap.h"

class zeManager;

namespace cli {

// Returns whether this value leaves a setting as it is: an empty one and "leave" do.
bool keeps_setting(std::string_view value);

// Describes the problem of a setting or a trainers' switch, with its name, value and range. Returns
// an empty text if there is none.
std::string setting_problem(std::string_view key, std::string_view value);

// Named settings from an options file and from `Key=value` words, checked before they reach the
// engine, which would take a misspelt key for none, a misspelt value for 0, and a value without a
// meaning, such as a profile of no features, as it is.
//
// The trainers read the test switches "PositiveMethod" and "GeomAverage" from the map that was
// loaded last when the first of them is made: so the file is loaded before, and this must live to
// the end of the program.
class Engine_settings {
public:
    // Reads an options file; an empty path reads none.
    // RAISES: Input_error if it cannot be read; Data_error "FILE:LINE: ..." for an unknown key or a
    // bad value.
    void load(const std::string& path);
    // Takes `Key=value` words, which win over the file.
    // RAISES: Usage_error that names the key.
    void set(const std::vector<std::string>& assignments);
    // Gives the settings to the container, which must not be trained yet.
    void apply(qtPtrLight<zeManager>& manager);

    // Returns whether a value is given for the key and is used: with "UseExtParms=0" none is.
    bool has(std::string_view key) const;
    // Returns the settings that are given a value which "UseExtParms=0" switches off, in the order
    // of their keys. The trainers' switches are not among them, since they act all the same.
    std::vector<std::string> unused_settings() const;

private:
    bool is_used() const;
    bool has_value(std::string_view key) const;

    zeOptMap m_options;
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_ENGINE_SETTINGS_H_
