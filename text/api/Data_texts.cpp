// Converts fields to pairs and back. A pair has the value in the form that a message of the engine
// has: a moment is a number of microseconds, and a truth value is 1 or 0.
//
// Example: the fields {tag, "new"}, {tag, "red"}, {size, "7", number} are the pairs tag = ["new",
// "red"] and size = 7, an integer.
#include "text/api/Data_texts.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "text/analysis/Stemmer.h"
#include "text/api/raised_errors.h"
#include "text/data/Bad_record.h"
#include "text/data/Label_list.h"
#include "text/data/Moment.h"
#include "text/data/Pair_values.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using Type = mlMessageConverter::NvpType;

constexpr std::int64_t kPerSecond = 1'000'000;
constexpr std::int64_t kMostSeconds = 9'000'000'000'000;  // as microseconds they fit in 64 bits

[[noreturn]] void refuse_field(const std::string& name, const std::string& reason) {
    refuse_argument("field \"" + shown_value(name) + "\": " + reason);
}

// A value as a pair has it.
struct Typed_value {
    Type type = mlMessageConverter::kString;
    std::string text;
};

// A text that JSON would accept as a number.
Typed_value number_of(const Field& field) {
    const std::optional<Pair> pair = pair_of(field.name, field.value);
    const bool is_number = pair && (pair->type == mlMessageConverter::kInteger ||
                                    pair->type == mlMessageConverter::kDouble);
    if (!is_number) {
        refuse_field(field.name, "\"" + shown_value(field.value) + "\" is not a number");
    }
    return {pair->type, pair->values.front()};
}

// The microseconds of seconds such as 1769853600 or -0.25.
std::optional<std::int64_t> microseconds_of_seconds(std::string_view text) {
    double seconds = 0.0;
    std::int64_t whole = 0;
    const char* const end = text.data() + text.size();
    if (const auto read = std::from_chars(text.data(), end, whole);
        read.ec == std::errc() && read.ptr == end) {
        const bool fits = whole > -kMostSeconds && whole < kMostSeconds;
        return fits ? std::optional(whole * kPerSecond) : std::nullopt;
    }
    if (const auto read = std::from_chars(text.data(), end, seconds);
        read.ec != std::errc() || read.ptr != end ||
        !(std::fabs(seconds) < static_cast<double>(kMostSeconds))) {
        return std::nullopt;
    }
    return std::llround(seconds * static_cast<double>(kPerSecond));
}

Typed_value date_of(const Field& field) {
    std::optional<std::int64_t> moment;
    try {
        moment = microseconds_of(field.value);
    } catch (const Bad_record& error) {
        refuse_field(field.name, error.what());
    }
    if (!moment) {
        moment = microseconds_of_seconds(field.value);
    }
    if (!moment) {
        refuse_field(field.name, "\"" + shown_value(field.value) +
                                     "\" is not a date such as 2026-01-31T10:00:00Z");
    }
    return {mlMessageConverter::kDate, std::to_string(*moment)};
}

Typed_value boolean_of(const Field& field) {
    if (field.value != "true" && field.value != "false") {
        refuse_field(field.name, "\"" + shown_value(field.value) + "\" is neither true nor false");
    }
    return {mlMessageConverter::kBoolean, field.value == "true" ? "1" : "0"};
}

Typed_value value_of(const Field& field) {
    switch (field.type) {
        case Field::Type::number:
            return number_of(field);
        case Field::Type::date:
            return date_of(field);
        case Field::Type::boolean:
            return boolean_of(field);
        case Field::Type::string:
            break;
    }
    return {mlMessageConverter::kString, field.value};
}

Field field_of(const Pair& pair, const std::string& value) {
    switch (pair.type) {
        case mlMessageConverter::kInteger:
        case mlMessageConverter::kDouble:
            return {pair.name, value, Field::Type::number};
        case mlMessageConverter::kBoolean:
            return {pair.name, value == "1" ? "true" : "false", Field::Type::boolean};
        case mlMessageConverter::kDate:
            return {pair.name, moment_text(value), Field::Type::date};
        default:
            return {pair.name, value, Field::Type::string};
    }
}

// For example "phrases, words or whitespace".
std::string names_of_kinds() {
    std::string names;
    for (const Analysis_kind kind : kAnalysisKinds) {
        if (!names.empty()) {
            names += kind == kAnalysisKinds.back() ? " or " : ", ";
        }
        names += name_of(kind);
    }
    return names;
}

Labelled_text text_of(const Example& example) {
    Label_list labels;
    for (const std::string& label : example.labels) {
        labels.add(label);
    }
    Labelled_text text = {labels.take(), example.text};
    if (text.labels.empty()) {
        throw Bad_record("no label");
    }
    text.pairs = pairs_of_fields(example.fields);
    return text;
}

}  // namespace

Analysis_settings settings_of(const Analysis& analysis) {
    const std::optional<Analysis_kind> kind = analysis_kind(analysis.kind);
    if (!kind) {
        refuse_argument("unknown text analysis \"" + shown_value(analysis.kind) + "\"; it can be " +
                        names_of_kinds());
    }
    const std::vector<std::string> languages = stem_languages();
    if (!analysis.stem.empty() &&
        std::find(languages.begin(), languages.end(), analysis.stem) == languages.end()) {
        refuse_argument("unknown language to stem \"" + shown_value(analysis.stem) + "\"");
    }
    if (!analysis.stem.empty() && *kind == Analysis_kind::kWhitespace) {
        refuse_argument("a stemmer needs the text analysis phrases or words");
    }
    return {*kind, analysis.stem};
}

Analysis analysis_of(const Analysis_settings& settings) {
    return {name_of(settings.kind), settings.stem_language};
}

std::vector<Pair> pairs_of_fields(const std::vector<Field>& fields) {
    std::vector<Pair> pairs;
    for (const Field& field : fields) {
        if (const std::string reason = error_of_pair_name(field.name); !reason.empty()) {
            refuse_field(field.name, reason);
        }
        Typed_value value = value_of(field);
        if (!pairs.empty() && pairs.back().name == field.name) {
            if (pairs.back().type != value.type) {
                refuse_field(field.name, "its elements have different types");
            }
            pairs.back().values.push_back(std::move(value.text));
            continue;
        }
        if (std::any_of(pairs.begin(), pairs.end(),
                        [&field](const Pair& other) { return other.name == field.name; })) {
            refuse_field(field.name, "its elements are not together");
        }
        pairs.push_back({field.name, value.type, {std::move(value.text)}});
    }
    return pairs;
}

std::vector<Field> fields_of_pairs(const std::vector<Pair>& pairs) {
    std::vector<Field> fields;
    for (const Pair& pair : pairs) {
        for (const std::string& value : pair.values) {
            fields.push_back(field_of(pair, value));
        }
    }
    return fields;
}

Data_texts texts_of(std::span<const Example> examples) {
    Data_texts data;
    data.texts.reserve(examples.size());
    for (const Example& example : examples) {
        try {
            data.texts.push_back(text_of(example));
            data.texts.back().line = data.texts.size();
        } catch (const Bad_record& error) {
            data.texts.push_back({{}, "", "", "", data.texts.size() + 1});
            throw error_at(Error_code::wrong_data, data, data.texts.size() - 1, error.what());
        } catch (const Error& error) {
            data.texts.push_back({{}, "", "", "", data.texts.size() + 1});
            throw error_at(Error_code::wrong_data, data, data.texts.size() - 1, error.what());
        }
    }
    if (data.texts.empty()) {
        throw Error(Error_code::wrong_data, "no example");
    }
    return data;
}

Error error_at(Error_code code, const Data_texts& data, std::size_t index,
               const std::string& reason) {
    const std::size_t line = data.texts[index].line;
    if (data.file.empty()) {
        return {code, "example " + std::to_string(line) + ": " + reason, {}, line};
    }
    return {code, shown_file(data.file) + ":" + std::to_string(line) + ": " + reason, data.file,
            line};
}

}  // namespace zandrel
