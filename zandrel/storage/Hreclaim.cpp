#include "zandrel/storage/Hreclaim.h"

#include "zandrel/storage/Hreclaim-inl.h"

template class Hreclaim<Hfile64>;
template class Hreclaim<Hfile32>;
