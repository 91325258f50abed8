// Tokenizer: splits texts of any script into words and, in one style, punctuation and symbols.
#ifndef ZANDREL_TEXT_ANALYSIS_TOKENIZER_H_
#define ZANDREL_TEXT_ANALYSIS_TOKENIZER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/analysis/Stemmer.h"
#include "text/analysis/Text_folder.h"
#include "text/analysis/Text_places.h"

namespace zandrel {

enum class Char_kind : std::uint8_t;  // defined in the source file

enum class Token_style {
    kWords,          // only words, with their digits
    kWordsAndSigns,  // also punctuation and symbols; each digit becomes 0
};

// Splits one text at a time and keeps its tokens, in the order of the text, until the next text.
//
// The text is folded first (see Text_folder). A word is a maximal run of letters, marks and numbers
// (general categories L, M and N). Each character of the scripts Han, Hiragana and Katakana is a
// token, since these scripts write no spaces. In the style with signs, each sign (categories P and
// S) is a token. All other characters separate.
//
// Bytes that are not UTF-8 separate. So does U+FFFD, although its category is So: other programs
// put it where they could not read a character.
class Tokenizer {
public:
    // Words are stemmed by the rules of the language; if it is empty, they stay as they are.
    // RAISES: std::invalid_argument for an unknown language; std::runtime_error if ICU's data are
    // missing.
    Tokenizer(Token_style style, const std::string& stem_language);

    // Splits the next text, which may contain any bytes. RAISES: as Text_folder::fold.
    void cut(std::string_view text);

    // The same, and returns the range of each token in the text. A token whose characters became
    // other ones, such as a stem, has the range of the characters from which it was made.
    // COST: about three times that of `cut`.
    std::vector<Text_range> cut_with_ranges(std::string_view text);

    std::size_t token_count() const { return m_token_count; }

    // VALID UNTIL: the next text.
    std::string_view token(std::size_t index) const { return tokens(index, index + 1); }

    // The token and its successor, joined by one blank. REQUIRES: index + 1 < token_count().
    // VALID UNTIL: the next text.
    std::string_view pair(std::size_t index) const { return tokens(index, index + 2); }

private:
    // Folds and splits a text of ASCII in one pass. REQUIRES: words are not stemmed.
    void cut_ascii(std::string_view text);
    void cut_folded(std::string_view text);
    // Returns the position after the character or word that it takes.
    std::size_t take_next(std::string_view folded, std::size_t start);
    // Both take the character or word that starts at `start`, and return the position after it.
    std::size_t take_ascii(std::string_view text, std::size_t start);
    std::size_t take_other(std::string_view text, std::size_t start);
    void take(Char_kind kind, std::string_view character);
    // If a word has begun at the end of `m_line`, stems it, if words are stemmed, and makes it a
    // token.
    void end_word();
    void end_token();

    // Returns whether a word has begun at the end of `m_line`.
    bool is_in_word() const { return m_starts.back() < m_line.size(); }

    std::string_view tokens(std::size_t first, std::size_t end) const {
        return {m_line.data() + m_starts[first], m_starts[end] - 1 - m_starts[first]};
    }

    Token_style m_style;
    std::optional<Stemmer> m_stemmer;
    Text_folder m_folder;

    // The tokens, each followed by a blank, so that a pair is a part of the line too. Bytes after
    // the last token have no meaning.
    std::string m_line;
    // The start of each token in the line, and then the start of the next token: never empty.
    // Entries after that have no meaning.
    std::vector<std::size_t> m_starts = {0};
    std::size_t m_token_count = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_TOKENIZER_H_
