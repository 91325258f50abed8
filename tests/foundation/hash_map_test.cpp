#include "zandrel/foundation/hash_map.h"

#include <cstdint>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using zandrel::kInitialBuckets;

namespace {

// Fills a table far beyond its first buckets and returns the address of each entry at its
// insertion.
template <class Table, class Make_key>
std::vector<std::pair<typename Table::key_type, const void*>> fill(Table& table,
                                                                   Make_key make_key) {
    std::vector<std::pair<typename Table::key_type, const void*>> addresses;
    for (int number = 0; number < 20000; ++number) {
        const typename Table::key_type key = make_key(number);
        addresses.emplace_back(key, &table[key]);
    }
    return addresses;
}

TEST(hashmapTest, GrowthKeepsAddressesOfElements) {
    hash_map<unsigned int, int> table(kInitialBuckets);

    const auto addresses = fill(table, [](int number) { return static_cast<unsigned>(number); });

    ASSERT_GT(table.bucket_count(), kInitialBuckets);
    for (const auto& [key, address] : addresses) {
        ASSERT_EQ(&table.at(key), address) << key;
    }
}

TEST(hashmapTest, ErasureKeepsAddressesOfOtherElements) {
    hash_map<unsigned int, int> table(kInitialBuckets);
    const auto addresses = fill(table, [](int number) { return static_cast<unsigned>(number); });

    for (unsigned int key = 0; key < 20000; key += 2) {
        table.erase(key);
    }

    for (const auto& [key, address] : addresses) {
        if (key % 2 == 1) {
            ASSERT_EQ(&table.at(key), address) << key;
        }
    }
}

TEST(hashmapTest, HundredBucketsAreRequested) {
    EXPECT_EQ(kInitialBuckets, 100U);
}

TEST(zePointerhashTest, EqualPointersHaveTheSameHash) {
    int object = 0;
    int* const pointer = &object;
    const void* const same = &object;

    EXPECT_EQ(zePointer_hash()(pointer), zePointer_hash()(same));
}

TEST(zePointerhashTest, NeighboursInAnArrayHaveDifferentHashes) {
    struct alignas(16) Aligned {
        char bytes[16];
    };

    const std::vector<Aligned> objects(1000);
    std::unordered_set<std::size_t> hashes;
    for (const Aligned& object : objects) {
        hashes.insert(zePointer_hash()(&object));
    }

    EXPECT_EQ(hashes.size(), 1000U);
}

TEST(zePointerhashTest, NullIsHashed) {
    EXPECT_EQ(zePointer_hash()(nullptr), 0U);
}

TEST(zePointerhashTest, HashWorksForASetOfPointers) {
    const std::vector<double> objects(10);
    hash_set<const double*, zePointer_hash> set(kInitialBuckets);
    for (const double& object : objects) {
        set.insert(&object);
        set.insert(&object);
    }

    EXPECT_EQ(set.size(), 10U);
    EXPECT_EQ(set.count(&objects[3]), 1U);
}

}  // namespace
