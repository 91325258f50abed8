// The operations of rules on values, as the tree and the flat code of a rule compute them.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_RULE_OPERATIONS_H_
#define ZANDREL_CLASSIFICATION_RULE_OPERATIONS_H_

#include <string_view>

#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtText.h"

namespace zandrel::detail {

// The rule operator `v`. Does what std::max does; it is written out to match `lesser_of`.
inline double greater_of(double left, double right) noexcept {
    return left < right ? right : left;
}

// The rule operator `^`. Of two equal operands it returns the right one, so `-0.0 ^ 0.0` is 0.0;
// std::min would return the left one, -0.0.
inline double lesser_of(double left, double right) noexcept {
    return right <= left ? right : left;
}

// Returns the number to divide by: 1e-9 in place of exactly 0, so that 6 / 0 is about 6e9.
inline double divisor(double number) noexcept {
    constexpr double kLeastDivisor = 1e-09;
    return number == 0.0 ? kLeastDivisor : number;
}

// The search that ignores case finds an empty text, and this one does not. The difference is part
// of the language: rules that read pairs which may be empty depend on it.
inline bool is_substring(const qtString& text, const qtString& sought) noexcept {
    return !sought.empty() && text.view().find(sought.view()) != std::string_view::npos;
}

inline bool is_substring_no_case(const qtString& text, const qtString& sought) {
    return FindNoCase(text, sought) != -1;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_RULE_OPERATIONS_H_
