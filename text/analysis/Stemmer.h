// Stemmer: removes the endings of the words of one language.
#ifndef ZANDREL_TEXT_ANALYSIS_STEMMER_H_
#define ZANDREL_TEXT_ANALYSIS_STEMMER_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct sb_stemmer;

namespace zandrel {

// The languages whose words can be stemmed, sorted: "arabic", "armenian", ...
std::vector<std::string> stem_languages();

// Reduces the forms of a word to a common start by the rules of Snowball: "running" and "runs" give
// "run". A stem need not be a word.
class Stemmer {
public:
    // RAISES: std::invalid_argument for an unknown language.
    explicit Stemmer(const std::string& language);

    // The stem of a word. It is never empty: if the rules remove all letters, the word stays. A
    // word of more than 1000 bytes, which no language has, stays too.
    // REQUIRES: a word in lower case and UTF-8, not empty.
    // VALID UNTIL: the next call, and as long as `word`.
    std::string_view stem(std::string_view word);

private:
    struct Deleter {
        void operator()(sb_stemmer* stemmer) const noexcept;
    };

    std::unique_ptr<sb_stemmer, Deleter> m_stemmer;  // never null
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_STEMMER_H_
