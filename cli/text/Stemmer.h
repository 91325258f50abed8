// Stemmer: takes the endings from the words of one language.
#ifndef ZANDREL_CLI_TEXT_STEMMER_H_
#define ZANDREL_CLI_TEXT_STEMMER_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct sb_stemmer;

namespace cli {

// The languages whose words can be stemmed, in text order: "arabic", "armenian", ...
std::vector<std::string> stem_languages();

// Reduces the forms of a word to a common beginning by the rules of Snowball: "running" and "runs"
// give "run". A stem need not be a word.
class Stemmer {
public:
    // RAISES: std::invalid_argument for a language that is unknown.
    explicit Stemmer(const std::string& language);

    // The stem of a word in lower case and UTF-8, never empty: a word that the rules take away
    // whole stays. So does a run of more than 1000 bytes, which is no word of any language.
    // REQUIRES: the word is not empty.
    // VALID UNTIL: the next call, and as long as `word`.
    std::string_view stem(std::string_view word);

private:
    struct Deleter {
        void operator()(sb_stemmer* stemmer) const noexcept;
    };

    std::unique_ptr<sb_stemmer, Deleter> m_stemmer;  // never null
};

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_STEMMER_H_
