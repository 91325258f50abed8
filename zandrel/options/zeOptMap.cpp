// The options file, and the entries of the map. A line of the file is cut in three steps: the line
// is trimmed, the key ends at the first character of kEndsOfKey, and the value ends at the first
// character of kEndsOfValue. For example, "ClipValue = 2.5 # less" has the key "ClipValue" and the
// value "2.5". The settings of a container are in zeOptMap_settings.cpp.
#include "zandrel/options/zeOptMap.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string_view>

#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"

zeOptMap* g_test_zandrel_opts = nullptr;

namespace {

constexpr std::string_view kEndsOfKey = " =\t\r\n";
constexpr std::string_view kEndsOfValue = "#\t\r\n";

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

bool write_file(const qtString& path, const qtString& text) {
    if (path.view().find('\0') != std::string_view::npos) {
        return false;  // The C library would end the path at the zero byte and write another file.
    }
    File file(std::fopen(path.c_str(), "wb"), std::fclose);
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file.get()) != text.size()) {
        return false;
    }
    return std::fclose(file.release()) == 0;
}

}  // namespace

zeOptMap::~zeOptMap() {
    if (g_test_zandrel_opts == this) {
        g_test_zandrel_opts = nullptr;
    }
}

void zeOptMap::Load(const qtString& path) {
    qtString text;
    if (!qtStringRead(path, text)) {
        throw qtX<zeOptMap>(0, "Can't read options file: " + path, {path});
    }
    std::string_view rest = text.view();
    while (!rest.empty()) {
        const std::size_t line_end = rest.find('\n');
        if (const std::optional<Line> line = read_line(rest.substr(0, line_end))) {
            options[line->key] = line->value;
        }
        rest.remove_prefix(line_end == std::string_view::npos ? rest.size() : line_end + 1);
    }
    g_test_zandrel_opts = this;
}

std::optional<zeOptMap::Line> zeOptMap::read_line(const qtString& line) {
    const qtString trimmed = TrimWhiteSpace(line);
    const std::string_view text = trimmed.view();
    if (text.empty() || text.front() == '#') {
        return std::nullopt;
    }
    const std::string_view key = text.substr(0, text.find_first_of(kEndsOfKey));
    std::string_view value = text.substr(key.size());
    value.remove_prefix(std::min(value.find_first_not_of(kEndsOfKey), value.size()));
    return Line{key, TrimWhiteSpace(value.substr(0, value.find_first_of(kEndsOfValue)))};
}

void zeOptMap::Dump(const qtString& path) const {
    qtString text;
    for (const auto& [key, value] : options) {
        text += key + " = " + value + "\n";
    }
    if (!write_file(path, text)) {
        throw qtX<zeOptMap>(3, "Can't write options file: " + path, {path});
    }
}

void zeOptMap::Add(const qtString& key, unsigned int value) {
    options[key] = qtConvertLongToString(static_cast<long>(value));
}

void zeOptMap::Add(const qtString& key, int value) {
    options[key] = qtConvertLongToString(value);
}

void zeOptMap::Add(const qtString& key, bool value) {
    options[key] = value ? "1" : "0";
}

void zeOptMap::Add(const qtString& key, const char* value) {
    options[key] = value;
}

void zeOptMap::Add(const qtString& key, const qtString& value) {
    options[key] = value;
}

void zeOptMap::Add(const qtString& key, double value) {
    options[key] = qtConvertDoubleToString(value);
}

qtString zeOptMap::Get(const qtString& key) const {
    const auto entry = options.find(key);
    if (entry == options.end()) {
        throw qtX<zeOptMap>(1, "Missing Option: " + key, {key});
    }
    return entry->second;
}

int zeOptMap::GetI(const qtString& key) const {
    return zandrel::qtConvertStringToInt(Get(key));
}

// Returns the value of an entry, or null if the entry is missing, empty or "leave". Unless `found`
// is null, sets `*found` to true if there is a value, and otherwise to false.
const qtString* zeOptMap::find_given(const qtString& key, bool* found) const {
    const auto entry = options.find(key);
    const bool is_given =
        entry != options.end() && !entry->second.empty() && entry->second != "leave";
    if (found != nullptr) {
        *found = is_given;
    }
    return is_given ? &entry->second : nullptr;
}

const qtString& zeOptMap::Optional(const qtString& key, const qtString& default_value,
                                   bool* found) const {
    const qtString* const value = find_given(key, found);
    return value == nullptr ? default_value : *value;
}

const char* zeOptMap::Optional(const qtString& key, const char* default_value, bool* found) const {
    const qtString* const value = find_given(key, found);
    return value == nullptr ? default_value : value->c_str();
}

double zeOptMap::Optional(const qtString& key, const double& default_value, bool* found) const {
    const qtString* const value = find_given(key, found);
    return value == nullptr ? default_value : zandrel::qtConvertStringToDouble(*value);
}

int zeOptMap::Optional(const qtString& key, int default_value, bool* found) const {
    const qtString* const value = find_given(key, found);
    return value == nullptr ? default_value : zandrel::qtConvertStringToInt(*value);
}

unsigned int zeOptMap::Optional(const qtString& key, unsigned int default_value,
                                bool* found) const {
    const qtString* const value = find_given(key, found);
    return value == nullptr ? default_value : zandrel::qtConvertStringToUnsigned(*value);
}
