// Work on texts beyond what qtString does: splitting and joining, trimming and searching, numbers
// as texts, the hash of string tables, and the reading of a whole file.
//
// Only qtSnprintf depends on the locale. Bytes outside ASCII are never white space and have no
// case. So the same text gives the same result wherever the program runs.
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

// Splits `text` at each byte that is in `delimiters`. Empty pieces are dropped: with the delimiters
// ", ", the text " a, b" has the pieces "a" and "b". An empty text has no piece.
ZANDREL_EXPORT std::vector<qtString> qtTokenize(const qtString& text, const qtString& delimiters);

// `text` without the white space at its ends.
ZANDREL_EXPORT qtString TrimWhiteSpace(const qtString& text);

// Returns the first position of `needle` in `text`, from `start` on, or -1. Capital and small
// letters of ASCII are equal. An empty needle is found at `start`, also if that is the end of the
// text. If `start` is behind the end, nothing is found.
// COST: up to the product of both lengths.
ZANDREL_EXPORT std::ptrdiff_t FindNoCase(const qtString& text, const qtString& needle,
                                         std::size_t start = 0);

// A list of texts in one text, and back.
//
// There is a separator between two texts, and a backslash before each separator and each backslash
// that is in a text. So a text may contain any bytes. For example, with the separator ";" the texts
// "a;b" and "c" become "a\;b;c". Disassemble returns every list that Build got, except the empty
// list: it becomes the empty text, which is read as a list of one empty text.
class ZANDREL_EXPORT qtConcatenator {
public:
    // REQUIRES: `separator` is not a backslash.
    static qtString Build(const std::vector<qtString>& texts, char separator);
    // Replaces `texts` by the list in `joined`. A backslash before another byte than a separator or
    // a backslash is read as a backslash; Build writes no such backslash. Returns false, with
    // `texts` empty, if `joined` ends after a backslash that protects nothing. The reason may be
    // that the text was cut.
    // REQUIRES: `separator` is not a backslash; `joined` is no element of `texts`.
    static bool Disassemble(const qtString& joined, std::vector<qtString>& texts, char separator);
};

// Reads the whole file at `path` into `content`, byte for byte. Returns false, with `content`
// empty, if it cannot be opened or read, for example because it is a directory.
// RAISES: std::bad_alloc.
ZANDREL_EXPORT bool qtStringRead(const qtString& path, qtString& content);

// Writes a printf-style text and a zero byte to `out`, which has room for `byte_count` bytes. A
// text that is too long is cut. Returns the number of bytes before the zero byte. With `byte_count`
// 0 it writes nothing, and `out` may be null. If the format fails, the text is empty. The decimal
// point depends on the locale: use qtConvertDoubleToString for a number that is read again.
ZANDREL_EXPORT std::size_t qtSnprintf(char* out, std::size_t byte_count, const char* format,
                                      ...) noexcept __attribute__((format(printf, 3, 4)));

// Returns the number in decimal, with "-" before a negative number.
ZANDREL_EXPORT qtString qtConvertLongToString(long number);

// Returns the shortest text that qtConvertStringToDouble reads back as the same number, such as
// "0.1" and "1e+30", or "inf", "-inf", "nan" or "-nan". A decimal point is always ".".
ZANDREL_EXPORT qtString qtConvertDoubleToString(double number);

namespace zandrel {

// Reads the decimal integer at the beginning of `text`: white space, which is skipped, "+" or "-",
// which may be missing, and digits. The rest of the text is ignored. Without a digit the
// result is 0. If the number is outside the range of the type, the result is the nearest number of
// that range: 0 for a negative number and an unsigned type.
ZANDREL_EXPORT long qtConvertStringToLong(const qtString& text) noexcept;
ZANDREL_EXPORT int qtConvertStringToInt(const qtString& text) noexcept;
ZANDREL_EXPORT unsigned int qtConvertStringToUnsigned(const qtString& text) noexcept;

// Reads the number at the beginning of `text`, as strtod of the C library does in the locale "C":
// white space, which is skipped, a sign, which may be missing, and decimal digits with a point and
// an exponent, hexadecimal digits after "0x", or "inf", "infinity" or "nan" in capital or small
// letters. The rest of the text is ignored. Without a number the result is 0. A number that is too
// large gives infinity with its sign.
ZANDREL_EXPORT double qtConvertStringToDouble(const qtString& text) noexcept;

}  // namespace zandrel

// A polynomial hash for the keys of string tables: the hash of "ab" is 31 * 97 + 98. Bytes are
// unsigned characters. The hash is not part of any format.
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
