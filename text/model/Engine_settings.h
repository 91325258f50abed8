// Engine_settings: the engine's settings from the command line and from an options file, checked.
#ifndef ZANDREL_TEXT_MODEL_ENGINE_SETTINGS_H_
#define ZANDREL_TEXT_MODEL_ENGINE_SETTINGS_H_

#include <string>
#include <string_view>
#include <vector>

#include "zandrel/foundation/qtPtr.h"
#include "zandrel/options/zeOptMap.h"

#include "text/model/Text_entries.h"
#include "text/wording/Key_value.h"

class zeManager;

namespace zandrel {

// Returns whether this value means "do not change the setting": an empty one and "leave".
bool keeps_setting(std::string_view value);

// Describes what is wrong with a setting of the engine: that the key is unknown or one of
// Text_entries, or key, value and range of a bad value. Returns an empty text if nothing is wrong.
std::string setting_problem(std::string_view key, std::string_view value);

// Settings from an options file and from `Key=value` words. We check them before the engine gets
// them: the engine ignores a misspelt key, reads a misspelt value as 0, and accepts values without
// a meaning, such as a profile without features.
//
// The trainers have two test switches, "PositiveMethod" and "GeomAverage". When the first trainer
// is made, it reads them from the map that was loaded last. So load the file before that, and keep
// this object until the program ends.
class Engine_settings {
public:
    // Reads an options file; an empty path reads none. Besides settings of the engine, the file can
    // have Text_entries.
    // RAISES: Input_error if it cannot be read; Data_error "FILE:LINE: ..." for an unknown key or a
    // bad value.
    void load(const std::string& path);
    // Adds `Key=value` words, which override the file.
    // RAISES: Usage_error that names the key.
    void set(const std::vector<std::string>& assignments);
    // Sets the settings of the container. REQUIRES: the container is not trained yet.
    void apply(qtPtrLight<zeManager>& manager);

    // Returns whether a value is given for the key and is used. With "UseExtParms=0" no value is
    // used.
    bool has(std::string_view key) const;
    // Returns the Text_entries of the file. With "UseExtParms=0" there are none.
    Text_entries text_entries() const;
    // RAISES: Data_error "FILE:LINE: ..." if the file has Text_entries, which cannot change in a
    // trained container. `path`: of the file that was loaded.
    void check_for_container(const std::string& path) const;
    // Returns the keys with a given value that "UseExtParms=0" switches off, sorted, those of
    // Text_entries last. The switches of the trainers are not among them, since "UseExtParms=0"
    // does not switch them off.
    std::vector<std::string> unused_settings() const;
    // Returns the settings of the container that have a given value, sorted by key. With
    // "UseExtParms=0" there are none.
    std::vector<Key_value> used_settings() const;
    // Returns the switches of the trainers that have a given value, sorted.
    std::vector<std::string> trainer_switches() const;

private:
    bool is_used() const;
    bool has_value(std::string_view key) const;
    // Returns the settings of the container that have a given value, sorted by key.
    std::vector<Key_value> given_settings() const;

    void take_text_entries(const std::string& path);

    zeOptMap m_options;           // without Text_entries
    Text_entries m_text_entries;  // of the file
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_ENGINE_SETTINGS_H_
