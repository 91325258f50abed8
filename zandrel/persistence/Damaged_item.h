// Damaged_item: raises the error for a value that we never write into a record.
// Not installed: the library's own.
#ifndef ZANDREL_PERSISTENCE_DAMAGED_ITEM_H_
#define ZANDREL_PERSISTENCE_DAMAGED_ITEM_H_

#include <cmath>

namespace zandrel::detail {

// `field`: the name of the field in docs/formats/kc.md. `id`: the id of the object in whose record
// the field is. For a field of a tree it is the node's id, and for a setting of the container 0.
// RAISES: qtX<zeIO> 12 "Damaged item: " and the field (argument: the id).
[[noreturn]] void RaiseDamagedItem(const char* field, unsigned int id);

// RAISES: as RaiseDamagedItem, for an infinite value and for NaN.
inline void RequireFinite(double value, const char* field, unsigned int id) {
    if (!std::isfinite(value)) {
        RaiseDamagedItem(field, id);
    }
}

}  // namespace zandrel::detail

#endif  // ZANDREL_PERSISTENCE_DAMAGED_ITEM_H_
