#include "cli/text/Quoted_words.h"

#include <cstddef>

#include "cli/errors.h"

namespace cli {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kQuotes = "'\"";

// Takes a word off the line, which begins with it.
std::string take_word(std::string_view& line) {
    std::string word;
    while (!line.empty() && kBlanks.find(line.front()) == std::string_view::npos) {
        const char first = line.front();
        const bool is_quoted = kQuotes.find(first) != std::string_view::npos;
        const std::size_t end = is_quoted ? line.find(first, 1) : 1;
        if (end == std::string_view::npos) {
            throw Usage_error(std::string("a ") + first + " is not closed");
        }
        word += is_quoted ? line.substr(1, end - 1) : line.substr(0, 1);
        line.remove_prefix(is_quoted ? end + 1 : 1);
    }
    return word;
}

}  // namespace

std::vector<std::string> quoted_words(std::string_view line) {
    std::vector<std::string> words;
    for (;;) {
        const std::size_t begin = line.find_first_not_of(kBlanks);
        if (begin == std::string_view::npos) {
            return words;
        }
        line.remove_prefix(begin);
        words.push_back(take_word(line));
    }
}

}  // namespace cli
