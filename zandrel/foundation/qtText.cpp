// Texts are handled byte by byte. Floating-point numbers of few digits are read by our own code,
// see read_short_decimal; all others by strtod of the C library.
#include "zandrel/foundation/qtText.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <charconv>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <locale.h>
#include <memory>
#include <string_view>

namespace {

constexpr char kEscape = '\\';

constexpr char fold_case(char byte) noexcept {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

constexpr bool is_digit(char byte) noexcept {
    return byte >= '0' && byte <= '9';
}

std::string_view without_leading_blanks(std::string_view text) noexcept {
    while (!text.empty() && zandrel::IsWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

void append_escaped(qtString& joined, const qtString& text, char separator) {
    for (const char byte : text.view()) {
        if (byte == separator || byte == kEscape) {
            joined += kEscape;
        }
        joined += byte;
    }
}

struct File_closer {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

bool read_to_end(std::FILE* file, qtString& content) {
    std::array<char, 65536> block{};
    std::size_t byte_count = 0;
    while ((byte_count = std::fread(block.data(), 1, block.size(), file)) > 0) {
        content.append({block.data(), byte_count});
    }
    return std::ferror(file) == 0;
}

// Returns the leading integer, limited to the range of `Number`. `long` has room for this range.
template <class Number>
Number leading_integer(const qtString& text) noexcept {
    constexpr long kLowest = std::numeric_limits<Number>::min();
    constexpr long kHighest = std::numeric_limits<Number>::max();
    return static_cast<Number>(std::clamp(zandrel::qtConvertStringToLong(text), kLowest, kHighest));
}

// The powers of ten that a double represents exactly.
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr std::ptrdiff_t kLastExactPower = std::size(kExactPowers) - 1;
// A double represents every integer up to this one.
constexpr std::uint64_t kLastExactInteger = std::uint64_t{1} << std::numeric_limits<double>::digits;
// Any number of so many digits fits into 64 bits.
constexpr std::ptrdiff_t kSafeDigitCount = std::numeric_limits<std::uint64_t>::digits10;
// An exponent of four or more digits counts as 1000. We accept at most 19 digits, so even with the
// most fraction digits the exponent remains above that of the last exact power.
constexpr std::ptrdiff_t kLongExponentDigits = 4;
constexpr std::ptrdiff_t kLongExponent = 1000;
// True if an operation on doubles rounds its result once, to a double.
constexpr bool kRoundsOnce = FLT_EVAL_METHOD == 0;

// Appends the digits from `at` on to `number`, modulo 2^64. Returns the place behind the digits.
const char* take_digits(const char* at, std::uint64_t& number) noexcept {
    for (; is_digit(*at); ++at) {
        number = number * 10 + static_cast<std::uint64_t>(*at - '0');
    }
    return at;
}

// Returns the exponent at `at`: "e" or "E", a sign, which may be missing, and digits. Returns 0 if
// the letter or the digits are missing.
std::ptrdiff_t exponent_at(const char* at) noexcept {
    if (fold_case(*at) != 'e') {
        return 0;
    }
    ++at;
    const bool is_negative = *at == '-';
    at += is_negative || *at == '+' ? 1 : 0;
    std::uint64_t digits = 0;
    if (take_digits(at, digits) - at >= kLongExponentDigits) {
        return kLongExponent;
    }
    const auto exponent = static_cast<std::ptrdiff_t>(digits);
    return is_negative ? -exponent : exponent;
}

// Reads the number that begins at `at` if it is a short decimal: an integer that a double
// represents exactly, multiplied or divided by a power of ten that a double represents exactly too.
// One operation on exact operands rounds as strtod does. For example, "12.50" is 1250 / 10^2.
//
// Most texts with numbers are short decimals. zandrel_decimals_bench reads twelve of them: we need
// 6 ns for each, std::from_chars 7 ns and strtod 26 ns. std::from_chars of g++ 12 is also less
// exact: if numbers are rounded upwards, it reads "-0.1" as the double below the one that strtod
// gives (qtConvertStringToDoubleTest.RoundingFollowsTheModeThatIsSet).
//
// Returns false for every other text, also for one with leading white space.
bool read_short_decimal(const char* at, double& number) noexcept {
    const bool is_negative = *at == '-';
    at += is_negative || *at == '+' ? 1 : 0;
    std::uint64_t digits = 0;
    const char* end = take_digits(at, digits);
    std::ptrdiff_t digit_count = end - at;
    std::ptrdiff_t exponent = 0;
    if (*end == '.') {
        const char* const fraction = end + 1;
        end = take_digits(fraction, digits);
        exponent = fraction - end;
        digit_count -= exponent;
    }
    exponent += exponent_at(end);
    if (digit_count == 0 || digit_count > kSafeDigitCount || digits > kLastExactInteger ||
        exponent < -kLastExactPower || exponent > kLastExactPower || fold_case(*end) == 'x') {
        return false;
    }
    // The sign is applied before the division, so that directed rounding is right for negative
    // numbers, and so that "-0" is read as -0.
    const auto magnitude = static_cast<double>(static_cast<std::int64_t>(digits));
    const double integer = is_negative ? -magnitude : magnitude;
    number = exponent < 0 ? integer / kExactPowers[-exponent] : integer * kExactPowers[exponent];
    return true;
}

}  // namespace

std::vector<qtString> qtTokenize(const qtString& text, const qtString& delimiters) {
    std::vector<qtString> pieces;
    const std::string_view bytes = text.view();
    std::size_t begin = bytes.find_first_not_of(delimiters.view());
    while (begin != std::string_view::npos) {
        const std::size_t end =
            std::min(bytes.find_first_of(delimiters.view(), begin), bytes.size());
        pieces.emplace_back(bytes.substr(begin, end - begin));
        begin = bytes.find_first_not_of(delimiters.view(), end);
    }
    return pieces;
}

qtString TrimWhiteSpace(const qtString& text) {
    std::string_view rest = without_leading_blanks(text.view());
    while (!rest.empty() && zandrel::IsWhiteSpace(rest.back())) {
        rest.remove_suffix(1);
    }
    return rest;
}

std::ptrdiff_t FindNoCase(const qtString& text, const qtString& needle, std::size_t start) {
    if (start > text.size()) {
        return -1;
    }
    const std::string_view bytes = text.view();
    const std::string_view wanted = needle.view();
    const auto equal = [](char left, char right) { return fold_case(left) == fold_case(right); };
    const auto found =
        std::search(bytes.begin() + start, bytes.end(), wanted.begin(), wanted.end(), equal);
    return found == bytes.end() && !wanted.empty() ? -1 : found - bytes.begin();
}

qtString qtConcatenator::Build(const std::vector<qtString>& texts, char separator) {
    qtString joined;
    for (std::size_t index = 0; index < texts.size(); ++index) {
        if (index > 0) {
            joined += separator;
        }
        append_escaped(joined, texts[index], separator);
    }
    return joined;
}

bool qtConcatenator::Disassemble(const qtString& joined, std::vector<qtString>& texts,
                                 char separator) {
    texts.assign(1, qtString());
    const std::string_view bytes = joined.view();
    for (std::size_t position = 0; position < bytes.size(); ++position) {
        char byte = bytes[position];
        if (byte == separator) {
            texts.emplace_back();
            continue;
        }
        if (byte == kEscape) {
            if (position + 1 == bytes.size()) {
                texts.clear();
                return false;
            }
            const char next = bytes[position + 1];
            if (next == separator || next == kEscape) {
                byte = next;
                ++position;
            }
        }
        texts.back() += byte;
    }
    return true;
}

bool qtStringRead(const qtString& path, qtString& content) {
    content.clear();
    if (path.view().find('\0') != std::string_view::npos) {
        return false;  // The C library would read only the part of the path before the zero byte.
    }
    const std::unique_ptr<std::FILE, File_closer> file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        return false;
    }
    if (!read_to_end(file.get(), content)) {
        content.clear();
        return false;
    }
    return true;
}

std::size_t qtSnprintf(char* out, std::size_t byte_count, const char* format, ...) noexcept {
    if (byte_count == 0) {
        return 0;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const int wanted = std::vsnprintf(out, byte_count, format, arguments);
    va_end(arguments);
    if (wanted < 0) {
        out[0] = '\0';
        return 0;
    }
    return std::min(static_cast<std::size_t>(wanted), byte_count - 1);
}

qtString qtConvertLongToString(long number) {
    std::array<char, 24> text{};  // The longest is -9223372036854775808, of 20 bytes.
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), static_cast<std::size_t>(result.ptr - text.data())};
}

qtString qtConvertDoubleToString(double number) {
    std::array<char, 32> text{};  // The longest is -2.2250738585072014e-308, of 24 bytes.
    const auto result = std::to_chars(text.data(), text.data() + text.size(), number);
    return {text.data(), static_cast<std::size_t>(result.ptr - text.data())};
}

namespace zandrel {

long qtConvertStringToLong(const qtString& text) noexcept {
    std::string_view rest = without_leading_blanks(text.view());
    const bool is_negative = !rest.empty() && rest.front() == '-';
    if (!rest.empty() && (is_negative || rest.front() == '+')) {
        rest.remove_prefix(1);
    }
    // The digits are summed as a negative number, since the negative range has one number more.
    long number = 0;
    for (; !rest.empty() && is_digit(rest.front()); rest.remove_prefix(1)) {
        const int digit = rest.front() - '0';
        if (__builtin_mul_overflow(number, 10L, &number) ||
            __builtin_sub_overflow(number, digit, &number)) {
            return is_negative ? std::numeric_limits<long>::min()
                               : std::numeric_limits<long>::max();
        }
    }
    if (is_negative) {
        return number;
    }
    return number == std::numeric_limits<long>::min() ? std::numeric_limits<long>::max() : -number;
}

int qtConvertStringToInt(const qtString& text) noexcept {
    return leading_integer<int>(text);
}

unsigned int qtConvertStringToUnsigned(const qtString& text) noexcept {
    return leading_integer<unsigned int>(text);
}

double qtConvertStringToDouble(const qtString& text) noexcept {
    double number = 0.0;
    if (kRoundsOnce && read_short_decimal(text.c_str(), number)) [[likely]] {
        return number;
    }
    // In this locale the decimal point is a point. The locale is never freed, since static objects
    // may read numbers until the process ends.
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return strtod_l(text.c_str(), nullptr, plain);
}

}  // namespace zandrel
