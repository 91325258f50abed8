#include "zandrel/messages/Clipped_bag.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

namespace {

// Ceilings of the bag and of the view, each below, at and above weights and each other.
TEST(Clipped_bagTest, HasTheWeightsAndTheTotalOfTheClippedCopy) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double own : {0.0, 0.1, 1.0, 2.5, infinity}) {
        for (const double clip_value : {0.0, 0.1, 0.7, 1.0, 3.0, infinity}) {
            const qtPtrLight<zeSml> bag =
                make_bag({{"a", 0.1}, {"b", 0.7}, {"c", 1.0}, {"d", 7.3}}, own);
            bag->m_concepts[0].m_weight = 1.3;  // above what its own ceiling allows
            const qtPtrLight<zeSml> copy = zeSml::get_clipped_sml(bag, clip_value);

            const Clipped_bag clipped(*bag, clip_value);

            EXPECT_EQ(std::bit_cast<std::uint64_t>(clipped.total_weight()),
                      std::bit_cast<std::uint64_t>(copy->m_total_weight));
            ASSERT_EQ(clipped.entries().size(), copy->m_concepts.size());
            for (std::size_t i = 0; i < copy->m_concepts.size(); ++i) {
                EXPECT_EQ(clipped.weight(clipped.entries()[i]), copy->m_concepts[i].m_weight);
            }
        }
    }
}

TEST(Clipped_bagTest, ANegativeClipValueIsRefused) {
    const qtPtrLight<zeSml> bag = make_bag({{"a", 1.0}});
    EXPECT_QTX(Clipped_bag(*bag, -1.0), zeSml, 0, "Invalid clipping value");
}

}  // namespace
