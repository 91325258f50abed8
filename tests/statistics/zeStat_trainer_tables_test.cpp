// The step of zeStat_trainer that makes likelihood tables from histograms.
#include "zandrel/statistics/zeStat_trainer.h"

#include <array>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/trace.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
constexpr double kStart = 0.0001;  // the initial total of every bin

class zeStatTrainerTableTest : public testing::Test {
protected:
    zeStatTrainerTableTest() { AddProfile(&m_a); }

    void AddProfile(zeNode* node) {
        bool added = false;
        const int iprofile = m_storage.get_or_add_profile(node, added);
        m_storage.profile(iprofile).m_weight = 0.0;
    }

    // Gives the first bins these contents, and all others 19 of 20.
    void Fill(const std::vector<zeStat_storage::Result_bin>& first) {
        auto& bins = m_storage.profile(0).m_bins;
        for (std::size_t i = 0; i < bins.size(); ++i) {
            bins[i] = i < first.size() ? first[i] : zeStat_storage::Result_bin{19.0, 20.0};
        }
    }

    const std::array<double, 30>& Table() {
        m_trainer.calculate_likelihood_from_results();
        return m_storage.profile(0).m_likelihood;
    }

    // The relevant weight and the total of a bin.
    std::pair<double, double> Bin(std::size_t index) {
        const zeStat_storage::Result_bin& bin = m_storage.profile(0).m_bins[index];
        return {bin.m_relevant, bin.m_total};
    }

    zeNode m_a{term("a")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_trainer m_trainer{m_storage};
};

TEST_F(zeStatTrainerTableTest, EmptyHistogramGivesATableOfZeros) {
    m_storage.profile(0).m_likelihood.fill(0.5);

    EXPECT_THAT(Table(), Each(0.0));
}

TEST_F(zeStatTrainerTableTest, RisingRatiosAreUnchanged) {
    Fill({{1.0, 10.0}, {2.0, 10.0}});

    const auto& table = Table();

    EXPECT_DOUBLE_EQ(table[0], 1.0 / (10.0 + kStart));
    EXPECT_DOUBLE_EQ(table[1], 2.0 / (10.0 + kStart));
    EXPECT_DOUBLE_EQ(table[2], 19.0 / (20.0 + kStart));
    EXPECT_DOUBLE_EQ(table[29], 19.0 / (20.0 + kStart));
}

// The bins with the ratios 0.5 and 0.2 become one pool, 2 of 7. No pool is before it, so no further
// joining is needed, and the next bin follows.
TEST_F(zeStatTrainerTableTest, ViolatorsAtTheStartArePooled) {
    Fill({{1.0, 2.0}, {1.0, 5.0}, {9.0, 10.0}});

    const auto& table = Table();

    EXPECT_DOUBLE_EQ(table[0], 2.0 / (7.0 + 2 * kStart));
    EXPECT_EQ(table[1], table[0]);
    EXPECT_DOUBLE_EQ(table[2], 9.0 / (10.0 + kStart));
    EXPECT_DOUBLE_EQ(table[3], 19.0 / (20.0 + kStart));
}

// The ratios 0.5 and 0.1 fall, so their bins are pooled into 6 of 20. This is below the ratio 0.4
// before them, so the three bins are pooled into 10 of 30.
TEST_F(zeStatTrainerTableTest, PoolThatFallsBelowTheOneBeforeJoinsIt) {
    Fill({{1.0, 10.0}, {4.0, 10.0}, {5.0, 10.0}, {1.0, 10.0}, {4.0, 10.0}});

    const auto& table = Table();

    EXPECT_DOUBLE_EQ(table[0], 1.0 / (10.0 + kStart));
    EXPECT_DOUBLE_EQ(table[1], 10.0 / (30.0 + 3 * kStart));
    EXPECT_EQ(table[2], table[1]);
    EXPECT_EQ(table[3], table[1]);
    EXPECT_DOUBLE_EQ(table[4], 4.0 / (10.0 + kStart));
}

TEST_F(zeStatTrainerTableTest, FallingRatiosBecomeOnePool) {
    auto& bins = m_storage.profile(0).m_bins;
    for (std::size_t i = 0; i < bins.size(); ++i) {
        bins[i] = {30.0 - static_cast<double>(i), 32.0};
    }

    const auto& table = Table();

    // The sum of 1 to 30 is 465.
    EXPECT_NEAR(table[0], 465.0 / (960.0 + 30 * kStart), 1e-15);
    EXPECT_THAT(table, Each(table[0]));
}

// All bins after the best one are empty, so their ratios are below it.
TEST_F(zeStatTrainerTableTest, EmptyBinsAtTheEndJoinThePoolBeforeThem) {
    m_storage.profile(0).m_bins[27] = {2.0, 2.0};

    const auto& table = Table();

    EXPECT_EQ(table[26], 0.0);
    EXPECT_DOUBLE_EQ(table[27], 2.0 / (2.0 + 3 * kStart));
    EXPECT_EQ(table[28], table[27]);
    EXPECT_EQ(table[29], table[27]);
}

TEST_F(zeStatTrainerTableTest, FineBinsOfABinAreSummed) {
    m_storage.set_likelihood_histogram_resolution(3);
    Fill({{1.0, 2.0}, {0.0, 1.0}, {2.0, 7.0}});

    const auto& table = Table();

    EXPECT_DOUBLE_EQ(table[0], 3.0 / (10.0 + kStart));
    EXPECT_DOUBLE_EQ(table[1], 57.0 / (60.0 + kStart));
}

TEST_F(zeStatTrainerTableTest, HistogramAndItsAgeAreKept) {
    Fill({{1.0, 2.0}, {1.0, 5.0}});
    m_storage.profile(0).m_likelihood_age = 7;

    Table();

    EXPECT_EQ(Bin(0), std::make_pair(1.0, 2.0));
    EXPECT_EQ(Bin(1), std::make_pair(1.0, 5.0));
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 7);
}

TEST_F(zeStatTrainerTableTest, EachThousandProfilesAreTraced) {
    std::deque<zeNode> nodes;
    for (int count = 1; count < 2999; ++count) {
        nodes.emplace_back(term("a"));
        AddProfile(&nodes.back());
    }
    const Trace_capture trace;

    Table();

    EXPECT_THAT(trace.texts(), ElementsAre("Calculating likelihood table (bins: 30)",
                                           "Calculated 1000 profiles", "Calculated 2000 profiles"));
    EXPECT_TRUE(trace.has(zandrel::kTraceDebug, "Calculated 2000 profiles"));
}

}  // namespace
