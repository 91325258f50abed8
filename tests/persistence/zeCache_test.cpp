// zeCache: the order of use, and the node that is evicted.
#include "zandrel/persistence/zeCache.h"

#include <list>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"

#include "tests/support/bags.h"

namespace {

class zeCacheTest : public testing::Test {
protected:
    // Uses a node and returns the evicted one.
    zeNode* use(zeCache& cache, zeNode& node) {
        zeNode* used = &node;
        zeNode* evicted = &node;  // The call sets it in all cases.
        cache.QueryCache(used, evicted);
        EXPECT_EQ(used, &node);
        return evicted;
    }

    zeNode one{term("one")};
    zeNode two{term("two")};
    zeNode three{term("three")};
};

TEST_F(zeCacheTest, LeastRecentlyUsedNodeIsEvicted) {
    zeCache cache(2);

    EXPECT_EQ(use(cache, one), nullptr);
    EXPECT_EQ(use(cache, two), nullptr);
    EXPECT_EQ(use(cache, one), nullptr);
    EXPECT_EQ(use(cache, three), &two);

    EXPECT_EQ(cache.lru, (std::list<zeNode*>{&three, &one}));
    EXPECT_EQ(cache.table.size(), 2U);
    EXPECT_EQ(cache.table.count(&two), 0U);
    EXPECT_EQ(use(cache, two), &one);
}

TEST_F(zeCacheTest, CacheOfOneEvictsAtEachChangeOfNode) {
    zeCache cache(1);

    EXPECT_EQ(use(cache, one), nullptr);
    EXPECT_EQ(use(cache, one), nullptr);
    EXPECT_EQ(use(cache, two), &one);
    EXPECT_EQ(use(cache, one), &two);

    EXPECT_EQ(cache.lru, (std::list<zeNode*>{&one}));
}

TEST_F(zeCacheTest, ForgottenNodeMakesRoom) {
    zeCache cache(2);
    use(cache, one);
    use(cache, two);

    cache.Forget(&one);
    cache.Forget(&three);  // It is not in the cache.

    EXPECT_EQ(cache.lru, (std::list<zeNode*>{&two}));
    EXPECT_EQ(use(cache, three), nullptr);
    EXPECT_EQ(use(cache, one), &two);
}

TEST_F(zeCacheTest, ClearedCacheIsEmpty) {
    zeCache cache(2);
    use(cache, one);
    use(cache, two);

    cache.Clear();

    EXPECT_TRUE(cache.lru.empty());
    EXPECT_TRUE(cache.table.empty());
    EXPECT_EQ(cache.read_on_demand, 2U);
    EXPECT_EQ(use(cache, one), nullptr);
}

}  // namespace
