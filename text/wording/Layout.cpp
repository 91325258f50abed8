// We use no streams for numbers, since streams depend on the locale.
#include "text/wording/Layout.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace zandrel {

namespace {

// The spaces to add.
std::string padding(std::string_view text, std::size_t width) {
    const std::size_t taken = width_of(text);
    return std::string(taken < width ? width - taken : 0, ' ');
}

}  // namespace

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t end = digits.size(); end > 3; end -= 3) {
        digits.insert(end - 3, 1, ',');
    }
    return digits;
}

std::string counted(std::size_t count, std::string_view noun) {
    return grouped(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

std::string with_decimals(double number, int decimals) {
    // The greatest double has 309 digits before the point.
    std::array<char, 340> digits = {};
    const std::to_chars_result result = std::to_chars(digits.data(), digits.data() + digits.size(),
                                                      number, std::chars_format::fixed, decimals);
    return std::string(digits.data(), result.ptr);
}

std::string percent(double share) {
    constexpr double kHundred = 100.0;
    return with_decimals(kHundred * share, 2) + " %";
}

std::size_t width_of(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        // Counts all bytes except continuation bytes, 10xxxxxx.
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

std::string left_aligned(std::string_view text, std::size_t width) {
    return std::string(text) + padding(text, width);
}

std::string right_aligned(std::string_view text, std::size_t width) {
    return padding(text, width) + std::string(text);
}

std::string short_list(const std::vector<std::string>& first, std::size_t count) {
    std::string list;
    for (const std::string& name : first) {
        list += (&name == &first.front() ? "" : ", ") + name;
    }
    if (count > first.size()) {
        list += " and " + grouped(count - first.size()) + " more";
    }
    return list;
}

}  // namespace zandrel
