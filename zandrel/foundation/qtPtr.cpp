// Destroys a counted object. The pointers of all types share this function.
#include "zandrel/foundation/qtPtr.h"

namespace zandrel::detail {

// Not inline, since it is rarely called. Besides, a compiler that inlines it into two pointers to
// one object warns of a use after the deletion, which the count makes impossible.
void destroy_shared(Ptr_block* block) noexcept {
    block->destroy(block->object);
    delete block;
}

}  // namespace zandrel::detail
