// Raises the one error that all records use for an impossible value.
#include "zandrel/persistence/Damaged_item.h"

#include <string>

#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/zeIO.h"

namespace zandrel::detail {

void RaiseDamagedItem(const char* field, unsigned int id) {
    throw qtX<zeIO>(12, qtString("Damaged item: ") + field, {qtString(std::to_string(id))});
}

}  // namespace zandrel::detail
