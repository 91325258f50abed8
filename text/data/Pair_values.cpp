// Finds the type of a value. Examples: 7 is an integer, 7.0 a number, true the truth value "1",
// "2026-01-31T10:00:00Z" the moment "1769853600000000", and "2026-01-31" a string.
#include "text/data/Pair_values.h"

#include <array>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "text/data/Bad_record.h"
#include "text/data/Moment.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Kind = Json_field::Kind;

constexpr std::array<std::string_view, 3> kNamesOfEngine = {"_SML", "_Categories", "_ExternalId"};

// A value that is not a list.
struct Single_value {
    mlMessageConverter::NvpType type;
    std::string text;
};

Bad_record bad_pair(const std::string& name, const std::string& reason) {
    return Bad_record("pair \"" + shown_value(name) + "\": " + reason);
}

// RAISES: Bad_record.
void check_name(const std::string& name) {
    const std::string reason = error_of_pair_name(name);
    if (!reason.empty()) {
        throw bad_pair(name, reason);
    }
}

Single_value string_value(const std::string& name, const std::string& text) {
    try {
        if (const std::optional<std::int64_t> moment = microseconds_of(text)) {
            return {mlMessageConverter::kDate, std::to_string(*moment)};
        }
    } catch (const Bad_record& error) {
        throw bad_pair(name, error.what());
    }
    return {mlMessageConverter::kString, text};
}

// RAISES: Bad_record.
Single_value single_value(const std::string& name, const Json_field& value) {
    switch (value.kind) {
        case Kind::kInteger:
            return {mlMessageConverter::kInteger, value.text};
        case Kind::kNumber:
            return {mlMessageConverter::kDouble, value.text};
        case Kind::kBoolean:
            return {mlMessageConverter::kBoolean, value.text};
        case Kind::kString:
            return string_value(name, value.text);
        default:
            throw bad_pair(name, std::string("a value cannot be ") + described(value.kind));
    }
}

Pair list_pair(const std::string& name, const std::vector<Json_field>& elements) {
    if (elements.empty()) {
        throw bad_pair(name, "the list is empty, so its elements have no type");
    }
    Pair pair = {name};
    for (const Json_field& element : elements) {
        Single_value value = single_value(name, element);
        if (!pair.values.empty() && value.type != pair.type) {
            throw bad_pair(name,
                           "the elements of the list have different types, first in element " +
                               std::to_string(pair.values.size() + 1));
        }
        pair.type = value.type;
        pair.values.push_back(std::move(value.text));
    }
    return pair;
}

// Returns whether the text may be an integer, a number or a truth value of JSON. A text of more
// than 64 bytes does not count as one.
bool may_be_json(std::string_view text) {
    constexpr std::size_t kLongest = 64;
    return text == "true" || text == "false" ||
           (text.size() <= kLongest && text.find_first_not_of("+-.0123456789eE") == text.npos);
}

// Returns the value if the text is an integer of at most 64 bits, a number or a truth value of
// JSON.
std::optional<Json_field> json_value(const std::string& text) {
    if (!may_be_json(text)) {
        return std::nullopt;
    }
    try {
        const std::vector<Json_field> members =
            parse_json_object("{\"\":" + text + "}", [](const std::string&) { return true; });
        const bool is_typed = members.front().kind != Kind::kHugeInteger;
        return members.size() == 1 && is_typed ? std::optional(members.front()) : std::nullopt;
    } catch (const Bad_record&) {
        return std::nullopt;
    }
}

// RAISES: Bad_record.
std::string json_of_value(mlMessageConverter::NvpType type, const std::string& value) {
    switch (type) {
        case mlMessageConverter::kInteger:
            return nlohmann::json::accept(value) ? value : json_string(value);
        case mlMessageConverter::kDouble:  // 1000 would be read as an integer
            return value.find_first_of(".eE") == std::string::npos ? value + ".0" : value;
        case mlMessageConverter::kBoolean:
            return value == "1" ? "true" : "false";
        case mlMessageConverter::kDate:
            return json_string(moment_text(value));
        default:
            return json_string(value);
    }
}

}  // namespace

std::string error_of_pair_name(const std::string& name) {
    if (name.empty()) {
        return "the name is empty";
    }
    for (const std::string_view prefix : kNamesOfEngine) {
        if (name.starts_with(prefix)) {
            return "the engine uses names that begin with " + std::string(prefix);
        }
    }
    return {};
}

Pair pair_of(const std::string& name, const Json_field& value) {
    check_name(name);
    if (value.kind == Kind::kList) {
        return list_pair(name, value.elements);
    }
    Single_value single = single_value(name, value);
    return {name, single.type, {std::move(single.text)}};
}

std::optional<Pair> pair_of(const std::string& name, const std::string& column) {
    check_name(name);
    if (column.empty()) {
        return std::nullopt;
    }
    if (const std::optional<Json_field> value = json_value(column)) {
        return pair_of(name, *value);
    }
    Single_value single = string_value(name, column);
    return Pair{name, single.type, {std::move(single.text)}};
}

std::string json_string(std::string_view text) {
    try {
        return nlohmann::json(text).dump();
    } catch (const nlohmann::json::type_error&) {
        throw Bad_record("it has bytes that are not UTF-8, which JSON cannot express");
    }
}

// A number keeps the digits that it has in the message: a JSON library could write others.
std::string json_value_of(const Pair& pair) {
    if (pair.values.size() == 1) {
        return json_of_value(pair.type, pair.values.front());
    }
    std::string list;
    for (const std::string& value : pair.values) {
        list += (list.empty() ? "[" : ",") + json_of_value(pair.type, value);
    }
    return list + "]";
}

}  // namespace zandrel
