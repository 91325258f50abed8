// Instantiates Hio for the devices of the library, so that users do not compile its bodies.
#include "zandrel/storage/Hio.h"

#include <limits>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hio-inl.h"

namespace zandrel::detail {

unsigned int CheckedCount(std::size_t count) {
    if (count > std::numeric_limits<unsigned int>::max()) {
        throw qtxSegBuf(qtxSegBuf::kFull, __FILE__, __LINE__);
    }
    return static_cast<unsigned int>(count);
}

}  // namespace zandrel::detail

template class Hio<HSegment>;
template class Hio<Generic32>;
template class Hio<Hfile32>;
template class Hio<Hfile64>;
