// Instantiates Hreclaim for the two file devices, so that users do not compile its bodies.
#include "zandrel/storage/Hreclaim.h"

#include "zandrel/storage/Hreclaim-inl.h"

template class Hreclaim<Hfile64>;
template class Hreclaim<Hfile32>;
