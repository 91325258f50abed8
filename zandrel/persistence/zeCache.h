// zeCache: which statistical classifiers of a container in cached form are in memory.
#ifndef ZANDREL_PERSISTENCE_ZECACHE_H_
#define ZANDREL_PERSISTENCE_ZECACHE_H_

#include <list>

#include "zandrel/export.h"
#include "zandrel/foundation/hash_map.h"

struct zeNode;

// The nodes whose classifiers are in memory, in the order of their last use. It contains only
// nodes: zeIO reads and releases the classifiers.
//
// An example with a bound of 2, and the uses N1, N2, N1, N3:
//
//   use N1   N1
//   use N2   N2 N1
//   use N1   N1 N2
//   use N3   N3 N1      N2 is evicted
//
// Threads: one at a time in the whole process. A use changes the order, so classifying changes it.
class ZANDREL_EXPORT zeCache {
public:
    // REQUIRES: `bound` is not 0.
    explicit zeCache(unsigned int bound);
    zeCache(const zeCache&) = delete;
    zeCache& operator=(const zeCache&) = delete;
    ~zeCache();

    // Records a use of `node`. A new node counts as cached before its classifier is in memory. If
    // the cache was full, `evicted` becomes the node that was used least recently, which is no
    // longer in the cache. Otherwise it becomes null. If memory runs out, nothing is changed.
    // COST: constant on average.
    void QueryCache(zeNode*& node, zeNode*& evicted);
    // Removes a node, if it is in the cache.
    void Forget(zeNode* node) noexcept;
    // Removes all nodes.
    void Clear() noexcept;

    unsigned int read_on_demand;  // the bound: the greatest number of nodes
    hash_map<zeNode*, std::list<zeNode*>::iterator, zePointer_hash> table;  // places in `lru`
    std::list<zeNode*> lru;  // BORROWS: the cached nodes, most recently used first
};

#endif  // ZANDREL_PERSISTENCE_ZECACHE_H_
