#include "zandrel/classification/Identity_set.h"

#include <cstddef>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Inserts 1,000 addresses in a mixed order, most of them several times, and compares each answer
// with std::set. So look-ups are tested at every size of the table.
TEST(Identity_setTest, KnownAndNewIdentitiesAreDistinguishedAtEverySize) {
    const std::vector<double> places(1000);
    zandrel::detail::Identity_set identities;
    std::set<const void*> known;
    for (std::size_t i = 0; i < 3 * places.size(); ++i) {
        const void* const identity = &places[(i * 7 + i / 3) % places.size()];
        ASSERT_EQ(identities.insert(identity), known.insert(identity).second) << i;
    }
    EXPECT_GT(known.size(), 500U);
}

TEST(Identity_setTest, IdentityIsNewOnlyOnce) {
    int place = 0;
    zandrel::detail::Identity_set identities;
    EXPECT_TRUE(identities.insert(&place));
    EXPECT_FALSE(identities.insert(&place));
}

}  // namespace
