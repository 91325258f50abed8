// The list has the nodes in the order of their last use, and the table finds the place of a node in
// the list. So a use of a cached node costs one search in the table and moves one list element.
#include "zandrel/persistence/zeCache.h"

zeCache::zeCache(unsigned int bound) : read_on_demand(bound) {}

zeCache::~zeCache() = default;

void zeCache::QueryCache(zeNode*& node, zeNode*& evicted) {
    evicted = nullptr;
    const auto found = table.find(node);
    if (found != table.end()) {
        lru.splice(lru.begin(), lru, found->second);
        return;
    }
    lru.push_front(node);
    try {
        table.emplace(node, lru.begin());
    } catch (...) {
        lru.pop_front();
        throw;
    }
    if (table.size() > read_on_demand) {
        evicted = lru.back();
        table.erase(evicted);
        lru.pop_back();
    }
}

void zeCache::Forget(zeNode* node) noexcept {
    const auto found = table.find(node);
    if (found != table.end()) {
        lru.erase(found->second);
        table.erase(found);
    }
}

void zeCache::Clear() noexcept {
    table.clear();
    lru.clear();
}
