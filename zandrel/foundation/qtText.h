// Work on texts beyond what qtString does: splitting and joining, trimming and searching, numbers
// as texts, the hash of string tables, and the reading of a whole file.
//
// Nothing here but qtSnprintf depends on the locale, and bytes outside ASCII are never white space
// nor have a case, so the same text gives the same result wherever the program runs.
#ifndef ZANDREL_FOUNDATION_QTTEXT_H_
#define ZANDREL_FOUNDATION_QTTEXT_H_

#include <cstddef>
#include <string_view>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"

namespace zandrel {

// Space, tab, line feed, vertical tab, form feed, carriage return.
constexpr bool IsWhiteSpace(char byte) noexcept {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

}  // namespace zandrel

// The pieces of `text` between the bytes of `delimiters`, in order. Empty pieces are dropped, so a
// run of delimiters parts two pieces once, and delimiters at either end add nothing. Without a
// delimiter a text that is not empty is one piece.
ZANDREL_EXPORT std::vector<qtString> qtTokenize(const qtString& text, const qtString& delimiters);

// `text` without the white space at its ends.
ZANDREL_EXPORT qtString TrimWhiteSpace(const qtString& text);

// The position of the first place from `start` on where `needle` stands in `text`, capital and
// small letters of ASCII taken as equal; -1 if there is none. An empty needle is found at `start`
// itself, the end of the text included; from behind the end nothing is found.
// COST: up to the product of both lengths.
ZANDREL_EXPORT std::ptrdiff_t FindNoCase(const qtString& text, const qtString& needle,
                                         std::size_t start = 0);

// A list of texts in one text, and back.
//
// The texts stand one after the other with a separator between them; a backslash stands before
// each separator and each backslash that belongs to a text. So any bytes may be in a text, and
// Disassemble gives back every list that Build got, save the empty one: it is written as the empty
// text, as is the list of one empty text, and the empty text is read as the latter.
class ZANDREL_EXPORT qtConcatenator {
public:
    // REQUIRES: `separator` is not a backslash.
    static qtString Build(const std::vector<qtString>& texts, char separator);
    // Replaces `texts` by the list that `joined` holds. A backslash before anything but a separator
    // or a backslash stands for itself; Build writes none. Returns false, with `texts` empty, if
    // the last byte is a backslash that nothing follows, as in a list that was cut.
    // REQUIRES: `separator` is not a backslash; `joined` is no element of `texts`.
    static bool Disassemble(const qtString& joined, std::vector<qtString>& texts, char separator);
};

// Reads the whole file at `path` into `content`, byte for byte. Returns false, with `content`
// empty, if the file cannot be opened or read, as a directory cannot.
// RAISES: std::bad_alloc.
ZANDREL_EXPORT bool qtStringRead(const qtString& path, qtString& content);

// Writes a printf-style text and a zero byte to `out`, which has room for `byte_count` bytes; what
// does not fit is cut off. Returns how many bytes stand before the zero byte. With no room at all
// it writes nothing, and `out` may then be null; a format that fails gives the empty text.
// A decimal point is the locale's: take qtConvertDoubleToString for a number that is read again.
ZANDREL_EXPORT std::size_t qtSnprintf(char* out, std::size_t byte_count, const char* format,
                                      ...) noexcept __attribute__((format(printf, 3, 4)));

// In decimal, with "-" before a negative number.
ZANDREL_EXPORT qtString qtConvertLongToString(long number);

// The shortest text that qtConvertStringToDouble reads back as the same number, with a point, and
// with an exponent where that is shorter; "inf", "-inf", and "nan" or "-nan".
ZANDREL_EXPORT qtString qtConvertDoubleToString(double number);

namespace zandrel {

// The decimal integer that `text` begins with: white space, which is skipped, a sign "+" or "-",
// which may be missing, and digits. What follows is not looked at. Without a digit the result is
// 0. A number beyond the range of the type gives the nearest end of the range, so an unsigned type
// gives 0 for a negative number.
ZANDREL_EXPORT long qtConvertStringToLong(const qtString& text) noexcept;
ZANDREL_EXPORT int qtConvertStringToInt(const qtString& text) noexcept;
ZANDREL_EXPORT unsigned int qtConvertStringToUnsigned(const qtString& text) noexcept;

// The number that `text` begins with, as strtod of the C library reads it where the decimal point
// is a point: after white space and a sign, which may be missing, decimal digits with a point and
// an exponent, hexadecimal ones after "0x", "inf", "infinity" or "nan" in any case. What follows is
// not looked at. Without a number the result is 0; one too large gives infinity with its sign.
ZANDREL_EXPORT double qtConvertStringToDouble(const qtString& text) noexcept;

}  // namespace zandrel

// The polynomial hash of a string table's keys: each byte, as an unsigned character, is added to 31
// times the hash of those before it. It is not part of any format.
struct qtStringHash {
    constexpr std::size_t operator()(std::string_view bytes) const noexcept {
        std::size_t hash = 0;
        for (const char byte : bytes) {
            hash = hash * 31 + static_cast<unsigned char>(byte);
        }
        return hash;
    }

    std::size_t operator()(const qtString& text) const noexcept { return (*this)(text.view()); }
};

#endif  // ZANDREL_FOUNDATION_QTTEXT_H_
