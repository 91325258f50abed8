#include "zandrel/foundation/qtPtr.h"

namespace zandrel::detail {

// Kept out of line: it is the rare end of a pointer, and a compiler that sees it inlined into two
// pointers to one object warns of a use after the deletion that the count rules out.
void destroy_shared(Ptr_block* block) noexcept {
    block->destroy(block->object);
    delete block;
}

}  // namespace zandrel::detail
