#include "zandrel/messages/Clipped_bag.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"

using zandrel::detail::Clipped_bag;

namespace {

// Compares a Clipped_bag with the clipped copy of a bag, which it replaces. We compare bits, so
// that 0 and -0 differ and NaN equals itself.
void expect_as_the_copy(const qtPtrLight<zeSml>& source, double clip_value) {
    const qtPtrLight<zeSml> copy = zeSml::get_clipped_sml(source, clip_value);
    const Clipped_bag clipped(*source, clip_value);
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };

    ASSERT_EQ(clipped.concepts().size(), copy->m_concepts.size());
    EXPECT_EQ(bits(clipped.total_weight()), bits(copy->m_total_weight));
    for (std::size_t i = 0; i < copy->m_concepts.size(); ++i) {
        EXPECT_EQ(clipped.concepts()[i].m_concept, copy->m_concepts[i].m_concept);
        EXPECT_EQ(bits(clipped.weight(clipped.concepts()[i])), bits(copy->m_concepts[i].m_weight));
    }
}

qtPtrLight<zeSml> bag_under(double ceiling) {
    qtPtrLight<zeSml> bag(
        new zeSml(make_feeder({{"a", 0.1}, {"b", 2.7}, {"c", 3.0}, {"d", 1e9}}), 0.0));
    bag->m_clip_value = ceiling;
    return bag;
}

TEST(ClippedbagTest, WeightsAboveTheCeilingAreClippedAndTheTotalReduced) {
    const zeSml bag(make_feeder({{"a", 1.0}, {"b", 5.0}}), 0.0);

    const Clipped_bag clipped(bag, 3.0);

    EXPECT_EQ(clipped.weight(clipped.concepts()[0]), 1.0);
    EXPECT_EQ(clipped.weight(clipped.concepts()[1]), 3.0);
    EXPECT_EQ(clipped.total_weight(), 4.0);
    EXPECT_EQ(bag.m_total_weight, 6.0);
}

TEST(ClippedbagTest, ViewEqualsTheCopyForEveryPairOfCeilings) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinite = std::numeric_limits<double>::infinity();
    for (const double own : {0.0, 1.0, 3.0, 5.0, -2.0, infinite, nan}) {
        for (const double asked : {0.0, 1e-9, 1.0, 3.0, 5.0, infinite, nan}) {
            expect_as_the_copy(bag_under(own), asked);
        }
    }
}

TEST(ClippedbagTest, ViewEqualsTheCopyForRandomWeights) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> weight(-2.0, 10.0);
    for (int round = 0; round < 200; ++round) {
        zeSml_feeder feeder;
        for (int entry = 0; entry < 20; ++entry) {
            feeder.add_concept(term("w" + std::to_string(entry)), weight(random));
        }
        expect_as_the_copy(qtPtrLight<zeSml>(new zeSml(feeder, 0.0)), 3.0);
    }
}

TEST(ClippedbagTest, NegativeCeilingIsRefusedLikeByTheCopy) {
    const qtPtrLight<zeSml> bag = bag_under(0.0);

    EXPECT_QTX(zeSml::get_clipped_sml(bag, -1.0), zeSml, 0, "Invalid clipping value");
    EXPECT_QTX(Clipped_bag(*bag, -1.0), zeSml, 0, "Invalid clipping value");
}

}  // namespace
