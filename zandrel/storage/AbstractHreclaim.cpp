// The state bit of the interface. The destructor is here too: so the virtual table and the type
// information are in the library.
#include "zandrel/storage/AbstractHreclaim.h"

AbstractHreclaim::~AbstractHreclaim() = default;

bool AbstractHreclaim::IsStale() const {
    unsigned char state = 0;
    GetState(state);
    return (state & kStaleIndex) != 0;
}

void AbstractHreclaim::MarkStale() {
    unsigned char state = 0;
    GetState(state);
    if ((state & kStaleIndex) == 0) {
        SetState(static_cast<unsigned char>(state | kStaleIndex));
    }
}
