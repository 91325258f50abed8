// The hash tables of the engine.
#ifndef ZANDREL_FOUNDATION_HASH_MAP_H_
#define ZANDREL_FOUNDATION_HASH_MAP_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <unordered_set>

// Node-based tables: an element keeps its address as long as it is in the table. The pointers
// between nodes, objects and profiles rely on this. The order of iteration is not defined and must
// not affect a result.
template <class Key, class Value, class Hash = std::hash<Key>, class Equal = std::equal_to<Key>>
using hash_map = std::unordered_map<Key, Value, Hash, Equal>;

template <class Key, class Hash = std::hash<Key>, class Equal = std::equal_to<Key>>
using hash_set = std::unordered_set<Key, Hash, Equal>;

namespace zandrel {

// The number of buckets of a new table, where the engine sets one.
constexpr std::size_t kInitialBuckets = 100;

}  // namespace zandrel

// Hashes a pointer by its value. Objects are aligned, so the lowest bits are always 0.
struct zePointer_hash {
    std::size_t operator()(const void* pointer) const noexcept {
        return reinterpret_cast<std::uintptr_t>(pointer) >> 4U;
    }
};

#endif  // ZANDREL_FOUNDATION_HASH_MAP_H_
