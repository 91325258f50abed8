#include "zandrel/classification/Identity_set.h"

#include <cstddef>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace {

// In the order of a walk over 1,000 places that come again after 7, so that every size is met.
TEST(Identity_setTest, TellsWhatItHasFromWhatIsNewAtEverySize) {
    const std::vector<double> places(1000);
    Identity_set identities;
    std::set<const void*> known;
    for (std::size_t i = 0; i < 3 * places.size(); ++i) {
        const void* const identity = &places[(i * 7 + i / 3) % places.size()];
        ASSERT_EQ(identities.insert(identity), known.insert(identity).second) << i;
    }
    EXPECT_GT(known.size(), 500U);
}

TEST(Identity_setTest, AnIdentityIsNewOnce) {
    int place = 0;
    Identity_set identities;
    EXPECT_TRUE(identities.insert(&place));
    EXPECT_FALSE(identities.insert(&place));
}

}  // namespace
