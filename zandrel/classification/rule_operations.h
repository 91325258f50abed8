// The operations of rules on values, as the tree and the flat code of a rule compute them.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_RULE_OPERATIONS_H_
#define ZANDREL_CLASSIFICATION_RULE_OPERATIONS_H_

#include <string_view>

#include "zandrel/foundation/qtString.h"
#include "zandrel/foundation/qtText.h"

namespace zandrel::detail {

// The comparisons of the two extremes are written out, since std::max and std::min treat equal
// operands, and those that are not numbers, in another way.
inline double greater_of(double left, double right) noexcept {
    return left < right ? right : left;
}

inline double lesser_of(double left, double right) noexcept {
    return right <= left ? right : left;
}

// What to divide by: a divisor of exactly 0 is replaced, so that the quotient is a large number of
// the dividend's sign.
inline double divisor(double number) noexcept {
    constexpr double kLeastDivisor = 1e-09;
    return number == 0.0 ? kLeastDivisor : number;
}

// An empty text is found by the search that ignores case and not by the other. The asymmetry is
// part of the language: rules that read pairs which may be empty depend on it.
inline bool is_substring(const qtString& text, const qtString& sought) noexcept {
    return !sought.empty() && text.view().find(sought.view()) != std::string_view::npos;
}

inline bool is_substring_no_case(const qtString& text, const qtString& sought) {
    return FindNoCase(text, sought) != -1;
}

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_RULE_OPERATIONS_H_
