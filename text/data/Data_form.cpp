// Names and file name extensions of the formats, and the words of the options for columns.
#include "text/data/Data_form.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "text/analysis/Ascii.h"
#include "text/data/Pair_values.h"
#include "text/errors.h"
#include "text/wording/Key_value.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr std::array<std::string_view, 5> kNames = {"lines", "tsv", "csv", "jsonl", "fasttext"};

struct Extension {
    std::string_view text;
    Data_format format;
};

constexpr std::array kExtensions = std::to_array<Extension>({
    {".csv", Data_format::kCsv},
    {".json", Data_format::kJsonLines},
    {".jsonl", Data_format::kJsonLines},
    {".ndjson", Data_format::kJsonLines},
    {".ft", Data_format::kFasttext},
    {".fasttext", Data_format::kFasttext},
});

// Returns the name of a file in small letters, without the extension of a compressed file.
std::string plain_name(std::string_view file) {
    std::string name(file);
    std::transform(name.begin(), name.end(), name.begin(), ascii_lower);
    for (const std::string_view extension : {".gz", ".zst"}) {
        if (name.ends_with(extension)) {
            name.resize(name.size() - extension.size());
            break;
        }
    }
    return name;
}

}  // namespace

std::vector<std::string> names_of_formats() {
    return {kNames.begin(), kNames.end()};
}

Data_format format_of_name(std::string_view name) {
    return static_cast<Data_format>(std::find(kNames.begin(), kNames.end(), name) - kNames.begin());
}

std::string name_of(Data_format format) {
    return std::string(kNames.at(static_cast<std::size_t>(format)));
}

std::optional<Data_format> format_of_file(std::string_view file) {
    const std::string name = plain_name(file);
    for (const Extension& extension : kExtensions) {
        if (name.ends_with(extension.text)) {
            return extension.format;
        }
    }
    return std::nullopt;
}

Data_format format_of_data(const std::string& file, const Data_form& form) {
    return form.format.value_or(format_of_file(file).value_or(Data_format::kTsv));
}

Data_format format_of_texts(const std::string& file, const Data_form& form) {
    const bool is_table = form.names_columns() && plain_name(file).ends_with(".tsv");
    const Data_format otherwise = is_table ? Data_format::kTsv : Data_format::kLines;
    return form.format.value_or(format_of_file(file).value_or(otherwise));
}

std::optional<std::size_t> column_number(const std::string& word) {
    if (word.empty() || word.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc()) {
        throw Usage_error("column " + shown_value(word) + ": the number is too large");
    }
    if (number == 0) {
        throw Usage_error("column " + shown_value(word) + ": columns are counted from 1");
    }
    return number;
}

Pair_column pair_column_of(const std::string& word) {
    const std::optional<Key_value> parts = split_key_value(word);
    Pair_column column = parts ? Pair_column{parts->key, parts->value} : Pair_column{word, word};
    const std::string reason =
        column.column.empty() ? "the column is missing" : error_of_pair_name(column.name);
    if (!reason.empty()) {
        throw Usage_error("--pair " + shown_value(word) + ": " + reason);
    }
    return column;
}

}  // namespace zandrel
