// Layout: numbers and columns as people read them, the same in every locale.
#ifndef ZANDREL_CLI_TEXT_LAYOUT_H_
#define ZANDREL_CLI_TEXT_LAYOUT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// "11,314"
std::string grouped(std::size_t number);
// With that many decimals, rounded: "82.66".  REQUIRES: a finite number, 0 <= decimals <= 20.
std::string with_decimals(double number, int decimals);
// Columns that a UTF-8 text takes, at one a character.
std::size_t width_of(std::string_view text);
// Filled up with spaces to a width, on the right or on the left; longer texts stay as they are.
std::string left_aligned(std::string_view text, std::size_t width);
std::string right_aligned(std::string_view text, std::size_t width);
// The first of `count` names, and how many more there are: "a, b, c and 4 more".
std::string short_list(const std::vector<std::string>& first, std::size_t count);

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_LAYOUT_H_
