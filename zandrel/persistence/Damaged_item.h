// Damaged_item: the error for a value that no record of ours contains.
// Not installed: the library's own.
#ifndef ZANDREL_PERSISTENCE_DAMAGED_ITEM_H_
#define ZANDREL_PERSISTENCE_DAMAGED_ITEM_H_

#include <cmath>

namespace zandrel::detail {

// `field`: its name in docs/formats/kc.md. `id`: of the object whose record has it, of the node for
// a field of a tree, and 0 for a setting of the container.
// RAISES: qtX<zeIO> 12 "Damaged item: " and the field (argument: the id).
[[noreturn]] void RaiseDamagedItem(const char* field, unsigned int id);

// RAISES: the same for an infinite value and for what is no number.
inline void RequireFinite(double value, const char* field, unsigned int id) {
    if (!std::isfinite(value)) {
        RaiseDamagedItem(field, id);
    }
}

}  // namespace zandrel::detail

#endif  // ZANDREL_PERSISTENCE_DAMAGED_ITEM_H_
