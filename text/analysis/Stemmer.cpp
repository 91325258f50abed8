// Calls libstemmer, which has the rules of all languages and owns the buffer of the last stem.
#include "text/analysis/Stemmer.h"

#include <algorithm>
#include <cstddef>
#include <libstemmer.h>
#include <new>
#include <stdexcept>

namespace zandrel {

namespace {

constexpr std::size_t kLongestWord = 1000;  // bytes

}  // namespace

std::vector<std::string> stem_languages() {
    std::vector<std::string> languages;
    for (const char** name = sb_stemmer_list(); *name != nullptr; ++name) {
        languages.emplace_back(*name);
    }
    std::sort(languages.begin(), languages.end());
    return languages;
}

void Stemmer::Deleter::operator()(sb_stemmer* stemmer) const noexcept {
    sb_stemmer_delete(stemmer);
}

Stemmer::Stemmer(const std::string& language)
    : m_stemmer(sb_stemmer_new(language.c_str(), "UTF_8")) {
    if (m_stemmer == nullptr) {
        throw std::invalid_argument("no stemming for the language " + language);
    }
}

std::string_view Stemmer::stem(std::string_view word) {
    if (word.size() > kLongestWord) {
        return word;
    }
    const sb_symbol* const stem =
        sb_stemmer_stem(m_stemmer.get(), reinterpret_cast<const sb_symbol*>(word.data()),
                        static_cast<int>(word.size()));
    if (stem == nullptr) {
        throw std::bad_alloc();
    }
    const int length = sb_stemmer_length(m_stemmer.get());
    if (length <= 0) {
        return word;
    }
    return {reinterpret_cast<const char*>(stem), static_cast<std::size_t>(length)};
}

}  // namespace zandrel
