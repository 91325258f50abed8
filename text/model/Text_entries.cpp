// Reads each value strictly: "Tree = 04" and "Stem = English" are refused, since a value that is
// understood in two ways would make another container than the file says.
#include "text/model/Text_entries.h"

#include <algorithm>
#include <charconv>

#include "text/analysis/Stemmer.h"
#include "text/suggest/Tree_suggestion.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr std::string_view kAnalysisEntry = "Analysis";
constexpr std::string_view kStemEntry = "Stem";
constexpr std::string_view kTreeEntry = "Tree";
constexpr std::size_t kFewestGroups = 2;  // one group would only be a further level
constexpr std::string_view kNoStem = "none";

std::optional<std::size_t> group_count_of(std::string_view text) {
    std::size_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    const bool is_count = error == std::errc() && end == text.data() + text.size() &&
                          count >= kFewestGroups && count <= kMostLabels && text.front() != '0';
    return is_count ? std::optional(count) : std::nullopt;
}

std::string add_analysis(std::string_view value, Text_entries& entries) {
    const std::optional<Analysis_kind> kind = analysis_kind(value);
    if (!kind) {
        return "is neither phrases, words nor whitespace";
    }
    entries.analysis = kind;
    return {};
}

std::string add_stem(std::string_view value, Text_entries& entries) {
    const std::vector<std::string> languages = stem_languages();
    if (value == kNoStem) {
        entries.stem_language = "";
        return {};
    }
    if (std::find(languages.begin(), languages.end(), value) == languages.end()) {
        return "is neither none nor a language of --stem";
    }
    entries.stem_language = std::string(value);
    return {};
}

std::string add_tree(std::string_view value, Text_entries& entries) {
    const std::optional<std::size_t> count = group_count_of(value);
    if (value != "flat" && value != "auto" && !count) {
        return "is neither flat, auto nor a number of groups from " +
               std::to_string(kFewestGroups) + " to " + std::to_string(kMostLabels);
    }
    entries.tree = Tree_entry{value == "auto", count.value_or(0)};
    return {};
}

}  // namespace

std::vector<std::string> Text_entries::keys() const {
    std::vector<std::string> keys;
    if (analysis) {
        keys.emplace_back(kAnalysisEntry);
    }
    if (stem_language) {
        keys.emplace_back(kStemEntry);
    }
    if (tree) {
        keys.emplace_back(kTreeEntry);
    }
    return keys;
}

bool is_text_key(std::string_view key) {
    return key == kAnalysisEntry || key == kStemEntry || key == kTreeEntry;
}

std::string add_text_entry(std::string_view key, std::string_view value, Text_entries& entries) {
    if (value.empty() || value == "leave") {
        return {};
    }
    const std::string problem = key == kAnalysisEntry ? add_analysis(value, entries)
                                : key == kStemEntry   ? add_stem(value, entries)
                                                      : add_tree(value, entries);
    if (problem.empty()) {
        return {};
    }
    return "bad value for " + std::string(key) + ": \"" + shown_value(value) + "\" " + problem;
}

std::string text_entries_problem(const Text_entries& entries) {
    const bool stems = entries.stem_language && !entries.stem_language->empty();
    return entries.analysis == Analysis_kind::kWhitespace && stems
               ? "Stem needs the Analysis phrases or words"
               : "";
}

}  // namespace zandrel
