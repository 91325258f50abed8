// Text_entries: the entries of an options file that say how texts are analysed and how labels are
// grouped.
#ifndef ZANDREL_TEXT_MODEL_TEXT_ENTRIES_H_
#define ZANDREL_TEXT_MODEL_TEXT_ENTRIES_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/analysis/Text_analysis.h"

namespace zandrel {

// How the labels of a new container are grouped: "flat", "auto" or a number of groups.
struct Tree_entry {
    bool is_suggested = false;    // "auto": as suggest_tree finds
    std::size_t group_count = 0;  // so many groups, without a search; 0: flat, unless suggested

    bool operator==(const Tree_entry& other) const = default;
};

// The settings of the engine can change in a container. These three cannot: concepts and tree are
// made when the container is trained. Example:
//
//     Analysis = phrases
//     Stem = english
//     Tree = 40
//
// A missing entry leaves the choice to the command line.
struct Text_entries {
    std::optional<Analysis_kind> analysis = std::nullopt;     // key "Analysis": a name of a kind
    std::optional<std::string> stem_language = std::nullopt;  // key "Stem"; empty: "none"
    std::optional<Tree_entry> tree = std::nullopt;            // key "Tree"

    // The keys that have a value, sorted.
    std::vector<std::string> keys() const;
};

// Returns whether the key is one of the three.
bool is_text_key(std::string_view key);

// Adds the value of one of the three keys, which replaces an earlier one. Returns what is wrong
// with the value, and adds nothing then; returns an empty text if nothing is wrong. An empty value
// and "leave" add nothing. REQUIRES: is_text_key(key).
std::string add_text_entry(std::string_view key, std::string_view value, Text_entries& entries);

// Returns what is wrong with the entries together: whitespace concepts cannot be stemmed. Returns
// an empty text if nothing is wrong.
std::string text_entries_problem(const Text_entries& entries);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TEXT_ENTRIES_H_
