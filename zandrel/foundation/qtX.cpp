// The destructors are defined here, so that the type information is only in the library. A program
// can then catch these exceptions by type, whatever shared library raises them.
#include "zandrel/foundation/qtX.h"

qtxAll::~qtxAll() = default;
qtXbase::~qtXbase() = default;
