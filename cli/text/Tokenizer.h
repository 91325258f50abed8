// Tokenizer: cuts texts of any script into words and, if wanted, punctuation.
#ifndef ZANDREL_CLI_TEXT_TOKENIZER_H_
#define ZANDREL_CLI_TEXT_TOKENIZER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/text/Stemmer.h"
#include "cli/text/Text_folder.h"

namespace cli {

enum class Char_kind : std::uint8_t;  // known to the source file alone

enum class Token_style {
    kWords,          // words alone, with their digits
    kWordsAndSigns,  // also punctuation and symbols; each digit becomes 0
};

// Cuts one text at a time and keeps its tokens, in text order, until the next.
//
// The text is folded first (see Text_folder). A word is a maximal run of letters, marks and numbers
// (general categories L, M and N). Each character of the scripts Han, Hiragana and Katakana is a
// token of its own, since those write no spaces, and so is each sign (categories P and S) in the
// style that has them. Everything else separates.
//
// Bytes that are no UTF-8 separate and are no token, and neither is U+FFFD, though its category is
// So: it is what other programs put where they could not read a character.
class Tokenizer {
public:
    // Words are stemmed by the language's rules, or stay as they are if it is empty.
    // RAISES: std::invalid_argument for a language that is unknown; std::runtime_error if ICU's
    // data are missing.
    Tokenizer(Token_style style, const std::string& stem_language);

    // Takes the next text, which may hold any bytes. RAISES: as Text_folder::fold.
    void cut(std::string_view text);

    std::size_t token_count() const { return m_token_count; }

    // VALID UNTIL: the next text.
    std::string_view token(std::size_t index) const { return tokens(index, index + 1); }

    // The token and its successor, joined by one blank. REQUIRES: index + 1 < token_count().
    // VALID UNTIL: the next text.
    std::string_view pair(std::size_t index) const { return tokens(index, index + 2); }

private:
    // Folds and cuts a text of ASCII in one pass. REQUIRES: words are not stemmed.
    void cut_ascii(std::string_view text);
    void cut_folded(std::string_view text);
    // Both take what starts there and return where the rest of the text does.
    std::size_t take_ascii(std::string_view text, std::size_t start);
    std::size_t take_other(std::string_view text, std::size_t start);
    void take(Char_kind kind, std::string_view character);
    // Ends the word that stands at the end of the line, if there is one.
    void end_word();
    void end_token();

    std::string_view tokens(std::size_t first, std::size_t end) const {
        return {m_line.data() + m_starts[first], m_starts[end] - 1 - m_starts[first]};
    }

    Token_style m_style;
    std::optional<Stemmer> m_stemmer;
    Text_folder m_folder;

    // The tokens so far, each with a blank behind it, so that a pair is a part of the line too.
    // What follows them has no meaning.
    std::string m_line;
    // Where in the line each token starts, and behind them where the next will: never empty. What
    // follows has no meaning.
    std::vector<std::size_t> m_starts = {0};
    std::size_t m_token_count = 0;
};

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_TOKENIZER_H_
