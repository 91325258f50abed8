// CachePack: the file of a knowledge container in cached form.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_CACHEPACK_H_
#define ZANDREL_PERSISTENCE_CACHEPACK_H_

#include "zandrel/export.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hreclaim.h"

// A record file with the items of a container. zeIO scrambles the items before it writes them.
class ZANDREL_EXPORT CachePack : public Hreclaim<Hfile64> {
public:
    ~CachePack() override;
};

#endif  // ZANDREL_PERSISTENCE_CACHEPACK_H_
