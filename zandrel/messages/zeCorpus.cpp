#include "zandrel/messages/zeCorpus.h"

// Defined here, so that the type information stands in the library alone.
zeHandle_base::~zeHandle_base() = default;
zeCorpus::~zeCorpus() = default;
