// The distance of two words, by a table of the distances between all their beginnings. Row i and
// column j have the distance between the first i letters of one word and the first j of the other.
// A cell is the least of: the cell above + 1 (remove), the cell on the left + 1 (insert), the cell
// above left + 0 for equal letters or + 1 (replace), and, if the last two letters are exchanged,
// the cell two rows above and two columns left + 1. Example:
//
//         m  o  v  e
//      0  1  2  3  4
//   m  1  0  1  2  3
//   v  2  1  1  1  2
//   o  3  2  1  1  2      row o, column v: "mvo" and "mov", exchanged: 0 + 1
//   e  4  3  2  2  1      the distance of "mvoe" and "move"
//
// Only three rows are needed at a time.
#include "text/wording/Nearest_name.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "text/analysis/Ascii.h"

namespace zandrel {

namespace {

// No known name is longer. We compare only so many letters of a word, since a word of the command
// line can have megabytes.
constexpr std::size_t kLongestCompared = 64;

// ASCII letters in lower case; the names have no others.
std::string in_small_letters(std::string_view text) {
    std::string small(text);
    for (char& letter : small) {
        letter = ascii_lower(letter);
    }
    return small;
}

std::size_t distance_of_name(const std::string& word, const std::string& name) {
    return name.size() > word.size() && name.starts_with(word) ? 1 : spelling_distance(word, name);
}

}  // namespace

// `above` and `two_above` are the rows before `row`.
std::size_t spelling_distance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> two_above;
    std::vector<std::size_t> above;
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= left.size(); ++i) {
        two_above = std::move(above);
        above = row;
        row[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const std::size_t replaced = above[j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
            row[j] = std::min({replaced, above[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                row[j] = std::min(row[j], two_above[j - 2] + 1);
            }
        }
    }
    return row.back();
}

std::string nearest_name(std::string_view word, const std::vector<std::string>& names) {
    const std::string small = in_small_letters(word.substr(0, kLongestCompared));
    std::string nearest;
    std::size_t limit = 1 + small.size() / 4;
    for (const std::string& name : names) {
        const std::size_t distance = distance_of_name(small, in_small_letters(name));
        // If every letter of the word would change, the word has nothing in common with the name.
        if (distance < small.size() &&
            (distance < limit || (nearest.empty() && distance == limit))) {
            nearest = name;
            limit = distance;
        }
    }
    return nearest;
}

std::string nearest_name_question(std::string_view word, const std::vector<std::string>& names,
                                  std::string_view before) {
    const std::string nearest = nearest_name(word, names);
    return nearest.empty() ? "" : "; did you mean \"" + std::string(before) + nearest + "\"?";
}

}  // namespace zandrel
