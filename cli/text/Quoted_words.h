// quoted_words: the words of a line in a file of commands.
#ifndef ZANDREL_CLI_TEXT_QUOTED_WORDS_H_
#define ZANDREL_CLI_TEXT_QUOTED_WORDS_H_

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Splits a line at blanks and tabs. Text between two ' or two " is part of a word as it is, with
// blanks, and quotes of the other kind. There is no escape: a \ is itself, since paths have their
// own. Example: `rename root/a\/b 'it'"'"'s new'` has the words `rename`, `root/a\/b`, `it's new`.
// RAISES: Usage_error for a quote that is not closed.
std::vector<std::string> quoted_words(std::string_view line);

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_QUOTED_WORDS_H_
