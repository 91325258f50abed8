// The destructor closes the file without writing the index, as that of Hreclaim does.
#include "zandrel/persistence/CachePack.h"

CachePack::~CachePack() = default;
