// A word is a sequence of parts without blanks between them; a part is a quoted text or one other
// byte. `a'b c'd` has the parts a, `b c` and d, and is the word `ab cd`. So `''` is an empty word.
#include "text/wording/Quoted_words.h"

#include <cstddef>

#include "text/errors.h"

namespace zandrel {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kQuotes = "'\"";

// Removes the word at the start of the line, and returns it.
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

}  // namespace zandrel
