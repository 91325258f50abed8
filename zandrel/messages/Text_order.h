// The sort of concepts by text.
// Not installed: the library's own.
#ifndef ZANDREL_MESSAGES_TEXT_ORDER_H_
#define ZANDREL_MESSAGES_TEXT_ORDER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zandrel/foundation/Concept.h"

namespace zandrel::detail {

// One concept of a list that is to be sorted.
struct Text_key {
    std::uint64_t first_bytes;  // of the text, the first in the highest bits, then zeros
    const Concept* from;        // BORROWS: of the list
    std::size_t index;          // in the list
};

// Returns the first eight bytes of a text as a number. If two texts have different numbers, the
// text with the smaller number comes first.
std::uint64_t first_bytes(std::string_view text) noexcept;

inline Text_key text_key(const Concept& from, std::size_t index) noexcept {
    return {first_bytes(from.view()), &from, index};
}

// Sorts by text, as Concept::operator< does. Equal concepts have no particular order.
void sort_by_text(std::vector<Text_key>& keys);

}  // namespace zandrel::detail

#endif  // ZANDREL_MESSAGES_TEXT_ORDER_H_
