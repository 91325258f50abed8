#include "cli/text/Text_folder.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include <unicode/bytestream.h>

namespace cli {

namespace {

void check(UErrorCode error) {
    if (U_FAILURE(error)) {
        throw std::runtime_error(std::string("ICU: ") + u_errorName(error));
    }
}

}  // namespace

Text_folder::Text_folder() {
    UErrorCode error = U_ZERO_ERROR;
    m_normalizer = icu::Normalizer2::getNFKCCasefoldInstance(error);
    check(error);
}

std::string_view Text_folder::fold(std::string_view text) {
    if (!fold_ascii(text)) {
        fold_any(text);
    }
    return m_folded;
}

// Lower case is all that the form changes in ASCII.
bool Text_folder::fold_ascii(std::string_view text) {
    m_folded.resize(text.size());
    unsigned int all_bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned int byte = static_cast<unsigned char>(text[i]);
        const unsigned int case_bit = byte - 'A' < 26U ? 0x20U : 0U;
        all_bits |= byte;
        m_folded[i] = static_cast<char>(byte | case_bit);
    }
    return all_bits < 0x80;
}

void Text_folder::fold_any(std::string_view text) {
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::length_error("a text of 2 GiB or more cannot be analysed");
    }
    m_folded.clear();
    icu::StringByteSink<std::string> sink(&m_folded);
    UErrorCode error = U_ZERO_ERROR;
    m_normalizer->normalizeUTF8(
        0, icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())), sink, nullptr,
        error);
    check(error);
}

}  // namespace cli
