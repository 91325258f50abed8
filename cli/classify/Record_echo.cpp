// Finds the members of an object without parsing their values: a value ends at the first comma or
// closing bracket that is neither in a string nor in an inner list or object.
//
//   {"a": [1, "]"], "b": 2}      the members are `"a": [1, "]"]` and `"b": 2`
#include "cli/classify/Record_echo.h"

#include <nlohmann/json.hpp>

namespace zandrel::cli {

namespace {

constexpr std::string_view kSpace = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kSpace);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kSpace) - begin + 1);
}

// Returns the position after the string that begins at `begin` with a quote.
std::size_t end_of_string(std::string_view text, std::size_t begin) {
    std::size_t end = text.find_first_of("\"\\", begin + 1);
    while (text[end] == '\\') {
        end = text.find_first_of("\"\\", end + 2);
    }
    return end + 1;
}

// Returns the position of the comma after the first member, or the end of the members.
std::size_t end_of_member(std::string_view members) {
    std::size_t depth = 0;
    std::size_t at = members.find_first_of("\"[]{},");
    while (at != std::string_view::npos && (depth > 0 || members[at] != ',')) {
        if (members[at] == '"') {
            at = end_of_string(members, at);
        } else {
            if (members[at] == '[' || members[at] == '{') {
                ++depth;
            } else if (members[at] == ']' || members[at] == '}') {
                --depth;
            }
            ++at;
        }
        at = members.find_first_of("\"[]{},", at);
    }
    return at == std::string_view::npos ? members.size() : at;
}

// A name may be written with escapes.
bool has_name(std::string_view member, std::string_view name) {
    const std::string_view written = member.substr(0, end_of_string(member, 0));
    return nlohmann::json::parse(written).get_ref<const std::string&>() == name;
}

void append_column(const std::string& column, std::string& row) {
    if (column.find_first_of(",\"\r\n") == std::string::npos) {
        row += column;
        return;
    }
    row += '"';
    for (const char byte : column) {
        row += byte == '"' ? "\"\"" : std::string_view(&byte, 1);
    }
    row += '"';
}

// The members that have another name, with a comma after each.
std::string other_members(std::string_view object, std::string_view name) {
    std::string_view rest = trimmed(object);
    rest = rest.substr(1, rest.size() - 2);
    std::string result;
    while (!trimmed(rest).empty()) {
        const std::size_t end = end_of_member(rest);
        const std::string_view member = trimmed(rest.substr(0, end));
        if (!has_name(member, name)) {
            result.append(member).append(",");
        }
        rest.remove_prefix(end == rest.size() ? end : end + 1);
    }
    return result;
}

}  // namespace

std::string without_member(std::string_view object, std::string_view name) {
    std::string members = other_members(object, name);
    if (!members.empty()) {
        members.pop_back();
    }
    return "{" + members + "}";
}

std::string with_member(std::string_view object, std::string_view name, std::string_view value) {
    std::string result = "{" + other_members(object, name);
    return result.append("\"").append(name).append("\":").append(value).append("}");
}

std::string csv_row(const std::vector<std::string>& columns) {
    if (columns.size() == 1 && columns.front().empty()) {
        return "\"\"";
    }
    std::string row;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        row += i == 0 ? "" : ",";
        append_column(columns[i], row);
    }
    return row;
}

}  // namespace zandrel::cli
