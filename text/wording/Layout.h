// Layout: formats numbers and columns for people, in the same way in every locale.
#ifndef ZANDREL_TEXT_WORDING_LAYOUT_H_
#define ZANDREL_TEXT_WORDING_LAYOUT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zandrel {

// Reports have a column of names, then columns of figures.
inline constexpr std::size_t kNameWidth = 14;
inline constexpr std::size_t kColumnWidth = 12;

// Returns "11,314" for 11314.
std::string grouped(std::size_t number);
// Returns "1 node", "2 nodes". `noun`: in the singular, with a plural in -s.
std::string counted(std::size_t count, std::string_view noun);
// The number with so many decimals, rounded: "82.66".
// REQUIRES: a finite number, 0 <= decimals <= 20.
std::string with_decimals(double number, int decimals);
// A share in percent with two decimals: "82.66 %" for 0.82658.
std::string percent(double share);
// The number of characters of a UTF-8 text. We count one column for each character.
std::size_t width_of(std::string_view text);
// The text with spaces up to a width, after it or before it. Longer texts stay as they are.
std::string left_aligned(std::string_view text, std::size_t width);
std::string right_aligned(std::string_view text, std::size_t width);
// The first of `count` names, and how many more there are: "a, b, c and 4 more".
std::string short_list(const std::vector<std::string>& first, std::size_t count);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_WORDING_LAYOUT_H_
