// Coloured_text: a text for a terminal, with each word in the colour of its effect.
#ifndef ZANDREL_CLI_CLASSIFY_COLOURED_TEXT_H_
#define ZANDREL_CLI_CLASSIFY_COLOURED_TEXT_H_

#include <string>
#include <string_view>
#include <vector>

#include "text/model/Word_effects.h"

namespace zandrel::cli {

// The colours that a terminal has.
enum class Palette { kNone, k16, k256 };

// Returns the result of shown_text with escape sequences around words. Words that support the label
// are green to blue, words against it orange to red, in three steps. Unknown words are dim.
//
// The step depends on the word's log odds, compared with the strongest word of the text: the third
// from two thirds on, the second from one third on, the first from a twelfth on. A word below that
// has no colour, and if the strongest word has less than 0.01, no known word has one: all words
// together hardly matter then. Without the escape sequences the line is that of shown_text for any
// bytes, so the text itself cannot act on the terminal.
// `words`: of the text, in its order, without overlaps.
std::string coloured_text(std::string_view text, const std::vector<Word_effect>& words,
                          Palette palette);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_COLOURED_TEXT_H_
