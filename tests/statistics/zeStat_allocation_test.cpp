// The state after an operation that runs out of memory. Each allocation of the operation fails in
// turn, in a new model, until the operation succeeds.
#include <array>
#include <cstddef>
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/failing_new.h"
#include "tests/support/small_model.h"

namespace {

// Far more allocations than any of these operations needs.
constexpr unsigned int kTooMany = 1000;

// Three categories with different histograms. The next entry of the index makes it grow, so this
// allocation can fail too.
struct Three_profiles {
    Three_profiles() {
        for (zeNode& node : nodes) {
            bool added = false;
            const int iprofile = storage.get_or_add_profile(&node, added);
            for (std::size_t i = 0; i < 30; ++i) {
                storage.profile(iprofile).m_bins[i] = {iprofile + 1.0, static_cast<double>(i)};
            }
        }
        storage.m_profile_index.max_load_factor(
            static_cast<float>(storage.m_profile_index.size()) /
            static_cast<float>(storage.m_profile_index.bucket_count()));
    }

    // Checks that the model has these three profiles, each with its node, and nothing else.
    void ExpectAsMade() {
        ASSERT_EQ(storage.profile_count(), 3);
        EXPECT_EQ(storage.m_profile_index.size(), 3U);
        EXPECT_EQ(storage.m_likelihood_resolution, 1);
        for (int iprofile = 0; iprofile < 3; ++iprofile) {
            SCOPED_TRACE(iprofile);
            zeNode* const node = &nodes[static_cast<std::size_t>(iprofile)];
            EXPECT_EQ(storage.profile(iprofile).m_node, node);
            EXPECT_EQ(storage.get_profile(node), iprofile);
            ExpectBinsAsMade(iprofile);
        }
    }

    void ExpectBinsAsMade(int iprofile) {
        const auto& bins = storage.profile(iprofile).m_bins;
        ASSERT_EQ(bins.size(), 30U);
        for (std::size_t i = 0; i < 30; ++i) {
            EXPECT_EQ(bins[i].m_relevant, iprofile + 1.0);
            EXPECT_EQ(bins[i].m_total, static_cast<double>(i));
        }
    }

    std::array<zeNode, 3> nodes = {zeNode(term("a")), zeNode(term("b")), zeNode(term("c"))};
    zeDefaults settings = plain_settings();
    zeStat_storage storage{nullptr, settings};
};

TEST(zeStatAllocationTest, AddingAProfileIsDoneCompletelyOrNotAtAll) {
    zeNode added_node(term("added"));
    unsigned int index = 0;
    for (bool has_failed = true; has_failed && index < kTooMany; ++index) {
        SCOPED_TRACE(index);
        Three_profiles model;
        bool added = false;

        has_failed = fails_at(index, [&] { model.storage.get_or_add_profile(&added_node, added); });

        EXPECT_EQ(added, !has_failed);
        if (has_failed) {
            model.ExpectAsMade();
            EXPECT_EQ(model.storage.get_profile(&added_node), 3);
            EXPECT_EQ(model.storage.get_or_add_profile(&added_node, added), 3);
        }
        EXPECT_EQ(model.storage.profile_count(), 4);
        EXPECT_EQ(model.storage.get_profile(&added_node), 3);
        EXPECT_EQ(model.storage.profile(3).m_bins.size(), 30U);
    }

    // At least these are allocated: the profile, its bins, the entry of the list and the entry of
    // the index.
    EXPECT_GT(index, 4U);
    EXPECT_LT(index, kTooMany);
}

TEST(zeStatAllocationTest, ReplacingNodesIsDoneCompletelyOrNotAtAll) {
    std::array<zeNode, 2> others = {zeNode(term("d")), zeNode(term("e"))};
    unsigned int index = 0;
    for (bool has_failed = true; has_failed && index < kTooMany; ++index) {
        SCOPED_TRACE(index);
        Three_profiles model;
        // The second node is missing, so the map must grow too.
        std::map<zeNode*, zeNode*> replacement = {{&model.nodes[0], &others[0]},
                                                  {&model.nodes[2], &others[1]}};

        has_failed = fails_at(index, [&] { model.storage.global_replace(replacement); });

        if (has_failed) {
            model.ExpectAsMade();
            model.storage.global_replace(replacement);
        }
        EXPECT_EQ(model.storage.get_profile(&others[0]), 0);
        EXPECT_EQ(model.storage.get_profile(nullptr), 1);
        EXPECT_EQ(model.storage.get_profile(&others[1]), 2);
        EXPECT_EQ(model.storage.profile(1).m_node, nullptr);
        EXPECT_EQ(model.storage.profile(2).m_node, &others[1]);
        EXPECT_EQ(model.storage.m_profile_index.size(), 3U);
    }

    // At least these are allocated: three entries of the new index, one entry of the map, and their
    // tables.
    EXPECT_GT(index, 5U);
    EXPECT_LT(index, kTooMany);
}

TEST(zeStatAllocationTest, ChangingTheResolutionIsDoneCompletelyOrNotAtAll) {
    unsigned int index = 0;
    for (bool has_failed = true; has_failed && index < kTooMany; ++index) {
        SCOPED_TRACE(index);
        Three_profiles model;

        has_failed = fails_at(index, [&] { model.storage.set_likelihood_histogram_resolution(2); });

        if (has_failed) {
            model.ExpectAsMade();
            model.storage.set_likelihood_histogram_resolution(2);
        }
        EXPECT_EQ(model.storage.m_likelihood_resolution, 2);
        for (int iprofile = 0; iprofile < 3; ++iprofile) {
            EXPECT_EQ(model.storage.profile(iprofile).m_bins.size(), 60U);
        }
    }

    // At least one histogram is allocated for each profile.
    EXPECT_GT(index, 3U);
    EXPECT_LT(index, kTooMany);
}

// The matcher has no node, whose children would say how much room the results need. So each result
// that is added may need an allocation, which may fail.
TEST(zeStatAllocationTest, FailedClassifyingLeavesTheAccumulatorsEmpty) {
    Three_profiles model;
    model.storage.m_num_msgs = 6;
    for (const auto& profile : model.storage.m_profiles) {
        profile->m_num_msgs = 2;
        profile->m_weights = {{term("x"), 1.0F}};
    }
    zeStat_matcher matcher(nullptr, nullptr, model.storage, false);
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"x", 1.0}}).make();
    unsigned int index = 0;
    for (bool has_failed = true; has_failed && index < kTooMany; ++index) {
        SCOPED_TRACE(index);
        zeResult_set results(0.0, -1);

        has_failed = fails_at(index, [&] { matcher.classify(*msg, results, 1.0, false); });

        EXPECT_EQ(results.results.size() == 3U, !has_failed);
        for (const auto& profile : model.storage.m_profiles) {
            EXPECT_EQ(profile->m_match_value, 0.0);
        }
    }

    EXPECT_GT(index, 1U);
    EXPECT_LT(index, kTooMany);
}

}  // namespace
