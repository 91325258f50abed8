// Checks keys and values with the engine's list of known keys, and applies them with its map of
// options. Example: "PLifeExpectancy=300" is refused with "is not between 0 and 255".
#include "text/model/Engine_settings.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <optional>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"

#include "text/errors.h"
#include "text/wording/Key_value.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Kind = zeOptMap::Kind;

// The switch of the map: with 0, the engine ignores all settings of the map.
constexpr std::string_view kUseMap = "UseExtParms";

bool is_trainer_switch(std::string_view key) {
    return key == "PositiveMethod" || key == "GeomAverage";
}

using Known_key = zeOptMap::Known_key;

// All keys that an options file may have: the settings of a container, and three switches.
std::optional<Known_key> find_known(std::string_view key) {
    if (key == kUseMap || is_trainer_switch(key)) {
        return Known_key{"", Kind::flag, {0, 1}};
    }
    for (const Known_key& known : zeOptMap::known_keys()) {
        if (key == known.key) {
            return known;
        }
    }
    return std::nullopt;
}

template <class Number>
std::optional<Number> whole_number(std::string_view text) {
    text.remove_prefix(text.starts_with('+') && !text.starts_with("+-") ? 1 : 0);
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size();
    return is_number ? std::optional(number) : std::nullopt;
}

std::string integer_problem(std::string_view value, const zandrel::Setting_range& range) {
    const std::optional<std::int64_t> number = whole_number<std::int64_t>(value);
    if (!number) {
        return "is not an integer";
    }
    if (*number < range.least || *number > range.greatest) {
        return "is not between " + std::to_string(range.least) + " and " +
               std::to_string(range.greatest);
    }
    return {};
}

// Returns what is wrong with a factor or a weight. These have no upper bound.
std::string real_problem(std::string_view value) {
    const std::optional<double> number = whole_number<double>(value);
    if (!number || !std::isfinite(*number)) {
        return "is not a number";
    }
    return *number < 0.0 ? "is below 0" : "";
}

std::string value_problem(std::string_view key, const Known_key& known, std::string_view value) {
    if (keeps_setting(value)) {
        return {};
    }
    if (is_trainer_switch(key)) {
        return value == "0" || value == "1" ? "" : "is neither 0 nor 1";
    }
    if (known.kind == Kind::learn_speed) {
        return value == "sqrt" || value == "linear" ? "" : "is neither sqrt nor linear";
    }
    if (known.kind == Kind::flag) {
        const std::optional<std::int64_t> number = whole_number<std::int64_t>(value);
        return number == 0 || number == 1 ? "" : "is neither 0 nor 1";
    }
    return known.kind == Kind::real ? real_problem(value) : integer_problem(value, known.range);
}

// The number of the last line with the key, from 1; a later line overrides an earlier one.
std::size_t line_of(const std::string& path, std::string_view key) {
    std::ifstream file(path);
    std::string line;
    std::size_t found = 0;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        const std::optional<zeOptMap::Line> parts = zeOptMap::read_line(line);
        if (parts && parts->key == key) {
            found = number;
        }
    }
    return found;
}

}  // namespace

bool keeps_setting(std::string_view value) {
    return value.empty() || value == "leave";
}

std::string setting_problem(std::string_view key, std::string_view value) {
    if (is_text_key(key)) {
        return std::string(key) +
               " is no setting of the engine; only an options file for train, evaluate and tree "
               "suggest can have it";
    }
    const std::optional<Known_key> known = find_known(key);
    if (!known) {
        return "unknown setting \"" + shown_value(key) + "\"";
    }
    const std::string problem = value_problem(key, *known, value);
    if (problem.empty()) {
        return {};
    }
    return "bad value for " + std::string(key) + ": \"" + shown_value(value) + "\" " + problem;
}

void Engine_settings::load(const std::string& path) {
    if (path.empty()) {
        return;
    }
    try {
        m_options.Load(path);
    } catch (const qtX<zeOptMap>&) {
        throw Input_error(path, path == "-"
                                    ? "settings are read from a file, and not from standard "
                                      "input"
                                    : "it is no readable options file");
    }
    take_text_entries(path);
    for (const auto& [key, value] : m_options.options) {
        const std::string problem = setting_problem(key.view(), value.view());
        if (!problem.empty()) {
            throw Data_error(path, line_of(path, key.view()), problem);
        }
    }
}

// The engine's map keeps only settings of the engine.
void Engine_settings::take_text_entries(const std::string& path) {
    for (auto entry = m_options.options.begin(); entry != m_options.options.end();) {
        const std::string key = entry->first.str();
        if (!is_text_key(key)) {
            ++entry;
            continue;
        }
        const std::string problem = add_text_entry(key, entry->second.view(), m_text_entries);
        if (!problem.empty()) {
            throw Data_error(path, line_of(path, key), problem);
        }
        entry = m_options.options.erase(entry);
    }
    const std::string problem = text_entries_problem(m_text_entries);
    if (!problem.empty()) {
        throw Data_error(path, line_of(path, "Stem"), problem);
    }
}

void Engine_settings::set(const std::vector<std::string>& assignments) {
    for (const std::string& assignment : assignments) {
        const std::optional<Key_value> pair = split_trimmed(assignment);
        if (!pair) {
            throw Usage_error("--set " + shown_value(assignment) +
                              ": no \"=\" between key and value");
        }
        if (is_trainer_switch(pair->key)) {
            throw Usage_error("--set " + pair->key +
                              ": the trainers read this switch from an options file alone; give "
                              "it with --options");
        }
        const std::string problem = setting_problem(pair->key, pair->value);
        if (!problem.empty()) {
            throw Usage_error("--set: " + problem);
        }
        m_options.Add(pair->key, qtString(pair->value));
    }
}

void Engine_settings::apply(qtPtrLight<zeManager>& manager) {
    // Without a value, the map would read its switch as 0, and the engine would ignore all
    // settings.
    if (!has_value(kUseMap)) {
        m_options.Add(qtString(kUseMap), 1);
    }
    m_options.SetKcDefaults(manager, false);
}

bool Engine_settings::has(std::string_view key) const {
    return is_used() && has_value(key);
}

Text_entries Engine_settings::text_entries() const {
    return is_used() ? m_text_entries : Text_entries();
}

void Engine_settings::check_for_container(const std::string& path) const {
    const std::vector<std::string> keys = m_text_entries.keys();
    if (!keys.empty()) {
        throw Data_error(
            path, line_of(path, keys.front()),
            keys.front() + " cannot be changed in a trained container; remove this line");
    }
}

std::vector<std::string> Engine_settings::unused_settings() const {
    std::vector<std::string> unused;
    if (!is_used()) {
        for (const Key_value& setting : given_settings()) {
            unused.push_back(setting.key);
        }
        const std::vector<std::string> keys = m_text_entries.keys();
        unused.insert(unused.end(), keys.begin(), keys.end());
    }
    return unused;
}

std::vector<Key_value> Engine_settings::used_settings() const {
    return is_used() ? given_settings() : std::vector<Key_value>();
}

std::vector<std::string> Engine_settings::trainer_switches() const {
    std::vector<std::string> switches;
    for (const auto& [key, value] : m_options.options) {
        if (is_trainer_switch(key.view()) && has_value(key.view())) {
            switches.push_back(key.str());
        }
    }
    return switches;
}

std::vector<Key_value> Engine_settings::given_settings() const {
    std::vector<Key_value> given;
    for (const auto& [key, value] : m_options.options) {
        const bool is_setting = key.view() != kUseMap && !is_trainer_switch(key.view());
        if (is_setting && has_value(key.view())) {
            given.push_back({key.str(), value.str()});
        }
    }
    return given;
}

bool Engine_settings::is_used() const {
    return !has_value(kUseMap) || m_options.Optional(qtString(kUseMap), 1, nullptr) != 0;
}

bool Engine_settings::has_value(std::string_view key) const {
    bool is_given = false;
    m_options.Optional(qtString(key), "", &is_given);
    return is_given;
}

}  // namespace zandrel
