// quoted_words: splits a line of a file of commands into words.
#ifndef ZANDREL_TEXT_WORDING_QUOTED_WORDS_H_
#define ZANDREL_TEXT_WORDING_QUOTED_WORDS_H_

#include <string>
#include <string_view>
#include <vector>

namespace zandrel {

// Splits a line at blanks and tabs. Text between two ' or two " is a part of a word without
// changes, also blanks and quotes of the other kind. There is no escape character: a \ is an
// ordinary character here, since paths use it as their escape. Example: `rename root/a\/b 'it'"'"'s
// new'` has the words `rename`, `root/a\/b`, `it's new`.
// RAISES: Usage_error for a quote that is not closed.
std::vector<std::string> quoted_words(std::string_view line);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_QUOTED_WORDS_H_
