#include "zandrel/foundation/qtX.h"

// Defined here, so that the type information stands in the library alone.
qtxAll::~qtxAll() = default;
qtXbase::~qtXbase() = default;
