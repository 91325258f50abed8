// Finds the type of a value. Examples: 7 is an integer, 7.0 a number, true the truth value "1",
// "2026-01-31T10:00:00Z" the moment "1769853600000000", and "2026-01-31" a string.
#include "text/data/Pair_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
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

// A text of more bytes does not count as a number.
constexpr std::size_t kLongestNumber = 64;

// Removes the digits at the beginning. Returns how many they are.
std::size_t take_digits(std::string_view& text) {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count;
}

// Removes the first character if it is one of `wanted`.
bool take_any(std::string_view& text, std::string_view wanted) {
    if (text.empty() || wanted.find(text.front()) == wanted.npos) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

// Returns kInteger or kNumber if the text is one of JSON: -7, 0.5 and 2e+3 are, but 07, .5 and +2
// are not.
std::optional<Kind> kind_of_number(std::string_view text) {
    take_any(text, "-");
    if (!take_any(text, "0") && take_digits(text) == 0) {
        return std::nullopt;
    }
    const bool has_fraction = take_any(text, ".");
    if (has_fraction && take_digits(text) == 0) {
        return std::nullopt;
    }
    const bool has_exponent = take_any(text, "eE");
    if (has_exponent) {
        take_any(text, "+-");
        if (take_digits(text) == 0) {
            return std::nullopt;
        }
    }
    if (!text.empty()) {
        return std::nullopt;
    }
    return has_fraction || has_exponent ? Kind::kNumber : Kind::kInteger;
}

template <class Number>
std::string decimal(Number number) {
    std::array<char, 32> digits = {};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), end};
}

// The value of a number of JSON that is not an integer. A number that is too large has none. One
// that is too small is 0: so short a text is too small only with a negative exponent.
std::optional<double> double_of(std::string_view text) {
    double value = 0.0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec == std::errc()) {
        return std::isfinite(value) ? std::optional(value) : std::nullopt;
    }
    const bool is_small =
        text.find("e-") != std::string_view::npos || text.find("E-") != std::string_view::npos;
    const double zero = text.front() == '-' ? -0.0 : 0.0;
    return is_small ? std::optional(zero) : std::nullopt;
}

// Returns the value if the text is an integer of at most 64 bits, a number or a truth value of
// JSON. A JSON parser would read a table of the C library that other threads may write
// (localeconv).
std::optional<Json_field> json_value(const std::string& text) {
    if (text == "true" || text == "false") {
        return Json_field{"", Kind::kBoolean, text == "true" ? "1" : "0"};
    }
    const std::optional<Kind> kind =
        text.size() <= kLongestNumber ? kind_of_number(text) : std::nullopt;
    if (kind == Kind::kInteger) {
        std::int64_t value = 0;
        const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
        const bool fits = read.ec == std::errc();
        return fits ? std::optional(Json_field{"", Kind::kInteger, decimal(value)}) : std::nullopt;
    }
    if (kind == Kind::kNumber) {
        const std::optional<double> value = double_of(text);
        return value ? std::optional(Json_field{"", Kind::kNumber, decimal(*value)}) : std::nullopt;
    }
    return std::nullopt;
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
