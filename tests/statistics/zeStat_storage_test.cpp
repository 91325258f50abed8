#include "zandrel/statistics/zeStat_storage.h"

#include <cstddef>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/statistics/storage_fixture.h"
#include "tests/support/bags.h"
#include "tests/support/small_model.h"

namespace {

using Profile = zeStat_storage::Profile;

TEST_F(zeStatStorageTest, ThereAreThirtyBinsAndTheGreatestAgeIsAThousand) {
    EXPECT_EQ(Zandrel::LIKELIHOOD_SIZE, 30);
    EXPECT_EQ(Zandrel::MAX_LIKELIHOOD_AGE, 1000);
}

TEST_F(zeStatStorageTest, NewStorageIsEmpty) {
    zeStat_storage storage(nullptr, m_defaults);

    EXPECT_EQ(storage.profile_count(), 0);
    EXPECT_TRUE(storage.m_profile_index.empty());
    EXPECT_TRUE(storage.m_concept_infos.empty());
    EXPECT_EQ(storage.m_total_sml_weight, 0.0);
    EXPECT_EQ(storage.m_total_weight, 0.0);
    EXPECT_EQ(storage.m_num_msgs, 0);
    EXPECT_EQ(storage.m_total_msg_weight, 0.0);
}

TEST_F(zeStatStorageTest, RegistryKnowsItAsAStorage) {
    EXPECT_EQ(m_storage.GetType(), 3U);
}

TEST_F(zeStatStorageTest, ManagersRegistryOwnsTheStorage) {
    zeManager manager;

    auto* const storage = new zeStat_storage(&manager, m_defaults);

    EXPECT_EQ(manager.m_objects.at(storage->m_id), storage);
    EXPECT_EQ(storage->m_manager, &manager);
    EXPECT_TRUE(storage->m_dirty);
    manager.Release(storage);
    EXPECT_TRUE(manager.m_objects.empty());
}

TEST_F(zeStatStorageTest, StorageWithoutAManagerHasNoId) {
    EXPECT_EQ(m_storage.m_id, 0U);
    EXPECT_EQ(m_storage.m_manager, nullptr);
}

TEST_F(zeStatStorageTest, UnknownNodeReturnsTheEndValue) {
    zeNode unknown(term("unknown"));

    EXPECT_EQ(m_storage.get_profile(&unknown), 3);
    EXPECT_TRUE(m_storage.end(m_storage.get_profile(&unknown)));
}

TEST_F(zeStatStorageTest, EndValueChangesWithADeletion) {
    int deleted = 1;
    m_storage.delete_profile(deleted);

    EXPECT_EQ(m_storage.get_profile(&m_b), 2);
    EXPECT_TRUE(m_storage.end(2));
}

TEST_F(zeStatStorageTest, EachProfileIsFoundByItsNode) {
    EXPECT_EQ(m_storage.get_profile(&m_a), 0);
    EXPECT_EQ(m_storage.get_profile(&m_b), 1);
    EXPECT_EQ(m_storage.get_profile(&m_c), 2);
    EXPECT_EQ(m_storage.profile(2).m_node, &m_c);
}

// A model has an entry of the first kind for each concept of each profile, and one of the second
// kind for each concept. So a larger entry would make large models much larger.
TEST(zeStatStorageSizesTest, EntriesOfTheTablesAreSmall) {
    EXPECT_EQ(sizeof(zeStat_storage::Ps::value_type), 24U);
    EXPECT_EQ(sizeof(zeStat_storage::Concept_infos::value_type), 32U);
}

TEST_F(zeStatStorageTest, NewProfileIsAppendedAndCleared) {
    zeNode node(term("new"));
    m_storage.m_profile_size = 23;
    bool added = false;

    const int iprofile = m_storage.get_or_add_profile(&node, added);

    EXPECT_TRUE(added);
    EXPECT_EQ(iprofile, 3);
    EXPECT_EQ(m_storage.get_profile(&node), 3);
    EXPECT_EQ(m_storage.profile(3).m_node, &node);
    EXPECT_EQ(m_storage.profile(3).m_size, 23);
    EXPECT_EQ(m_storage.profile(3).m_match_value, 0.0);
    EXPECT_GE(m_storage.profile(3).m_Ps.bucket_count(), 100U);
    ExpectNothingLearned(m_storage.profile(3));
}

TEST_F(zeStatStorageTest, AddedIsFalseForAKnownProfile) {
    for (const bool before : {false, true}) {
        bool added = before;

        EXPECT_EQ(m_storage.get_or_add_profile(&m_b, added), 1);

        EXPECT_EQ(added, before);
    }
    EXPECT_EQ(m_storage.profile_count(), 3);
}

TEST_F(zeStatStorageTest, NewPHasFullLife) {
    m_storage.m_P_life_expectancy = 42;
    bool added = false;

    const auto made = m_storage.get_or_add_P(1, term("x"), added);

    EXPECT_TRUE(added);
    EXPECT_EQ(made->first, term("x"));
    EXPECT_EQ(made->second.m_weight, 0.0);
    EXPECT_EQ(made->second.m_selected, 0);
    EXPECT_EQ(made->second.m_life, 42);
    EXPECT_TRUE(m_storage.profile(0).m_Ps.empty());
}

TEST_F(zeStatStorageTest, KnownPIsReturnedUnchanged) {
    bool added = false;
    m_storage.get_or_add_P(1, term("x"), added)->second = {2.5, 7, 1};
    for (const bool before : {false, true}) {
        added = before;

        const auto found = m_storage.get_or_add_P(1, term("x"), added);

        EXPECT_EQ(added, before);
        EXPECT_EQ(found->second.m_weight, 2.5);
        EXPECT_EQ(found->second.m_selected, 7);
        EXPECT_EQ(found->second.m_life, 1);
    }
}

TEST_F(zeStatStorageTest, NewConceptInfoHasOnlyZeros) {
    bool added = false;

    const auto made = m_storage.get_or_add_concept_info(term("x"), added);

    EXPECT_TRUE(added);
    EXPECT_EQ(made->second.m_weight, 0.0);
    EXPECT_EQ(made->second.m_rate, 0.0);
    EXPECT_EQ(made->second.m_num_Ps, 0);
    EXPECT_FALSE(m_storage.end(made));
}

TEST_F(zeStatStorageTest, KnownConceptInfoIsReturnedUnchanged) {
    bool added = false;
    m_storage.get_or_add_concept_info(term("x"), added)->second = {2.5, 7.0, 1};
    for (const bool before : {false, true}) {
        added = before;

        const auto found = m_storage.get_or_add_concept_info(term("x"), added);

        EXPECT_EQ(added, before);
        EXPECT_EQ(found->second.m_weight, 2.5);
        EXPECT_EQ(found->second.m_rate, 7.0);
        EXPECT_EQ(found->second.m_num_Ps, 1);
    }
}

TEST_F(zeStatStorageTest, RoomForAHundredBucketsIsRequested) {
    zeStat_storage storage(nullptr, m_defaults);

    EXPECT_GE(storage.m_profile_index.bucket_count(), 100U);
    EXPECT_GE(storage.m_concept_infos.bucket_count(), 100U);
}

TEST_F(zeStatStorageTest, ClearEmptiesTheModelAndKeepsTheSettings) {
    Fill();

    m_storage.clear();

    EXPECT_EQ(m_storage.profile_count(), 0);
    EXPECT_TRUE(m_storage.m_profile_index.empty());
    EXPECT_TRUE(m_storage.m_concept_infos.empty());
    EXPECT_EQ(m_storage.m_total_sml_weight, 0.0);
    EXPECT_EQ(m_storage.m_total_weight, 0.0);
    EXPECT_EQ(m_storage.m_num_msgs, 0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 0.0);
    EXPECT_TRUE(settings_of(m_storage) == m_defaults);
}

TEST_F(zeStatStorageTest, SkeletonKeepsTheCategoriesAndForgetsTheirTraining) {
    Fill();

    m_storage.create_skeleton();

    ASSERT_EQ(m_storage.profile_count(), 3);
    EXPECT_EQ(m_storage.get_profile(&m_c), 2);
    EXPECT_TRUE(m_storage.m_concept_infos.empty());
    EXPECT_EQ(m_storage.m_total_sml_weight, 0.0);
    EXPECT_EQ(m_storage.m_total_weight, 0.0);
    EXPECT_EQ(m_storage.m_num_msgs, 0);
    EXPECT_EQ(m_storage.m_total_msg_weight, 0.0);
    for (int i = 0; i < 3; ++i) {
        ExpectNothingLearned(m_storage.profile(i));
    }
}

TEST_F(zeStatStorageTest, SkeletonKeepsSizeAndAccumulator) {
    Fill();

    m_storage.create_skeleton();

    EXPECT_EQ(m_storage.profile(1).m_size, 17);
    EXPECT_EQ(m_storage.profile(1).m_match_value, 8.0);
}

TEST_F(zeStatStorageTest, OneProfileIsClearedWithItsSizeAndAccumulator) {
    Fill();
    int cleared = 1;

    m_storage.clear_profile(cleared);

    EXPECT_EQ(cleared, 1);
    ExpectNothingLearned(m_storage.profile(1));
    EXPECT_EQ(m_storage.profile(1).m_size, 1000);
    EXPECT_EQ(m_storage.profile(1).m_match_value, 0.0);
    EXPECT_EQ(m_storage.profile(1).m_node, &m_b);
}

TEST_F(zeStatStorageTest, ClearingOneProfileKeepsTheOthers) {
    Fill();
    int cleared = 1;

    m_storage.clear_profile(cleared);

    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 3);
    EXPECT_EQ(m_storage.profile(2).m_Ps.size(), 1U);
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 3);
    EXPECT_EQ(m_storage.m_num_msgs, 6);
}

TEST_F(zeStatStorageTest, OnlyTheLikelihoodOfAProfileIsCleared) {
    Fill();

    m_storage.clear_likelihood(1);

    ExpectNoLikelihood(m_storage.profile(1));
    EXPECT_EQ(m_storage.profile(1).m_num_msgs, 3);
    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 12);
}

TEST_F(zeStatStorageTest, BinsHaveFullLengthAlsoWithoutLikelihood) {
    m_storage.set_use_train_likelihood(false);
    m_storage.set_likelihood_histogram_resolution(3);
    Fill();

    m_storage.clear_likelihood(1);

    ExpectZeroBins(m_storage.profile(1), 90);
}

TEST_F(zeStatStorageTest, DeletingTheLastProfileMovesNoOther) {
    Profile* const first = m_storage.m_profiles[0].get();
    Profile* const second = m_storage.m_profiles[1].get();
    int deleted = 2;

    m_storage.delete_profile(deleted);

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.m_profiles[0].get(), first);
    EXPECT_EQ(m_storage.m_profiles[1].get(), second);
    EXPECT_EQ(m_storage.get_profile(&m_a), 0);
    EXPECT_EQ(m_storage.get_profile(&m_b), 1);
    EXPECT_EQ(m_storage.m_profile_index.count(&m_c), 0U);
}

TEST_F(zeStatStorageTest, DeletingTheFirstOfThreeMovesTheThirdIntoItsPlace) {
    Profile* const third = m_storage.m_profiles[2].get();
    int deleted = 0;

    m_storage.delete_profile(deleted);

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.get_profile(&m_c), 0);
    EXPECT_EQ(m_storage.get_profile(&m_b), 1);
    EXPECT_EQ(m_storage.m_profile_index.count(&m_a), 0U);
    EXPECT_EQ(m_storage.m_profiles[0].get(), third);
}

TEST_F(zeStatStorageTest, DeletingAProfileKeepsConceptsAndTotals) {
    Fill();
    int deleted = 0;

    m_storage.delete_profile(deleted);

    EXPECT_EQ(info_of(m_storage, "x").m_weight, 1.0);
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 3);
    EXPECT_EQ(m_storage.m_total_sml_weight, 4.0);
    EXPECT_EQ(m_storage.m_total_weight, 5.0);
    EXPECT_EQ(m_storage.m_num_msgs, 6);
    EXPECT_EQ(m_storage.m_total_msg_weight, 7.0);
}

TEST_F(zeStatStorageTest, DeletingTheOnlyProfileEmptiesTheList) {
    for (int left = 3; left > 0; --left) {
        int deleted = 0;
        m_storage.delete_profile(deleted);
    }

    EXPECT_EQ(m_storage.profile_count(), 0);
    EXPECT_TRUE(m_storage.m_profile_index.empty());
    EXPECT_EQ(m_storage.get_profile(&m_a), 0);
}

TEST_F(zeStatStorageTest, NewProfileSizeIsSetInEveryProfileAndClearsNoWeights) {
    Fill();

    m_storage.set_profile_size(3);

    EXPECT_EQ(m_storage.m_profile_size, 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m_storage.profile(i).m_size, 3);
        EXPECT_EQ(m_storage.profile(i).m_weights.size(), 1U);
    }
}

TEST_F(zeStatStorageTest, SameProfileSizeChangesNothing) {
    Fill();

    m_storage.set_profile_size(1000);

    EXPECT_EQ(m_storage.profile(0).m_size, 17);
}

TEST_F(zeStatStorageTest, SwitchingLikelihoodOffEmptiesTheBinsAndKeepsTheTables) {
    Fill();

    m_storage.set_use_train_likelihood(false);

    EXPECT_FALSE(m_storage.m_use_train_likelihood);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(m_storage.profile(i).m_bins.empty());
        EXPECT_EQ(m_storage.profile(i).m_likelihood_age, 0);
        EXPECT_EQ(m_storage.profile(i).m_likelihood[29], 0.25);
    }
}

TEST_F(zeStatStorageTest, SwitchingLikelihoodOnAgainGivesZeroBinsOfFullLength) {
    m_storage.set_likelihood_histogram_resolution(2);
    Fill();
    m_storage.set_use_train_likelihood(false);
    m_storage.profile(1).m_likelihood_age = 5;

    m_storage.set_use_train_likelihood(true);

    EXPECT_TRUE(m_storage.m_use_train_likelihood);
    ExpectZeroBins(m_storage.profile(1), 60);
    EXPECT_EQ(m_storage.profile(1).m_likelihood_age, 0);
    EXPECT_EQ(m_storage.profile(1).m_likelihood[29], 0.25);
}

TEST_F(zeStatStorageTest, SwitchingLikelihoodOnExtendsOrCutsExistingBins) {
    m_storage.set_use_train_likelihood(false);
    m_storage.profile(0).m_bins.assign(5, {1.0, 2.0});
    m_storage.profile(1).m_bins.assign(40, {1.0, 2.0});

    m_storage.set_use_train_likelihood(true);

    EXPECT_EQ(m_storage.profile(0).m_bins.size(), 30U);
    EXPECT_EQ(m_storage.profile(0).m_bins[4].m_total, 2.0);
    EXPECT_EQ(m_storage.profile(0).m_bins[5].m_total, 0.0);
    EXPECT_EQ(m_storage.profile(1).m_bins.size(), 30U);
}

TEST_F(zeStatStorageTest, SwitchingLikelihoodToItsOwnValueChangesNothing) {
    Fill();

    m_storage.set_use_train_likelihood(true);

    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 12);
    EXPECT_EQ(m_storage.profile(0).m_bins.size(), 5U);
}

// Bins with different sums: bin i has the relevant weight i + 1 and the total 2 (i + 1).
std::vector<zeStat_storage::Result_bin> numbered_bins(int count) {
    std::vector<zeStat_storage::Result_bin> bins;
    for (int i = 1; i <= count; ++i) {
        bins.push_back({static_cast<double>(i), 2.0 * i});
    }
    return bins;
}

TEST_F(zeStatStorageTest, HalvingTheResolutionJoinsNeighbours) {
    m_storage.set_likelihood_histogram_resolution(2);
    m_storage.profile(1).m_bins = numbered_bins(60);

    m_storage.set_likelihood_histogram_resolution(1);

    const auto& bins = m_storage.profile(1).m_bins;
    ASSERT_EQ(bins.size(), 30U);
    for (std::size_t i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        // The old bins 2i and 2i + 1 have the relevant weights 2i + 1 and 2i + 2.
        EXPECT_EQ(bins[i].m_relevant, 4.0 * static_cast<double>(i) + 3.0);
        EXPECT_EQ(bins[i].m_total, 8.0 * static_cast<double>(i) + 6.0);
    }
}

TEST_F(zeStatStorageTest, DoublingTheResolutionPutsEachBinBehindItsCentre) {
    m_storage.profile(1).m_bins = numbered_bins(30);

    m_storage.set_likelihood_histogram_resolution(2);

    // The centre of old bin i is at (i + 0.5) / 30 * 60 = 2i + 1.
    const auto& bins = m_storage.profile(1).m_bins;
    ASSERT_EQ(bins.size(), 60U);
    for (std::size_t i = 0; i < 30; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(bins[2 * i].m_total, 0.0);
        EXPECT_EQ(bins[2 * i + 1].m_total, 2.0 * (static_cast<double>(i) + 1.0));
    }
}

// The centre of old bin i is at (i + 0.5) / 30 * 90 = 3i + 1.5.
TEST_F(zeStatStorageTest, TriplingTheResolutionPutsEachBinInTheMiddleOfThree) {
    m_storage.profile(1).m_bins = numbered_bins(30);

    m_storage.set_likelihood_histogram_resolution(3);

    const auto& bins = m_storage.profile(1).m_bins;
    ASSERT_EQ(bins.size(), 90U);
    for (std::size_t j = 0; j < 90; ++j) {
        SCOPED_TRACE(j);
        const double number = j % 3 == 1 ? static_cast<double>(j / 3) + 1.0 : 0.0;
        EXPECT_EQ(bins[j].m_relevant, number);
        EXPECT_EQ(bins[j].m_total, 2.0 * number);
    }
}

// The centre of old bin 5 is at 5.5 / 30 * 300 = 55. The division comes first, and its result is
// rounded down, so the product is just below 55. With the multiplication first, it would be 55.
TEST_F(zeStatStorageTest, CentreOnTheEdgeOfTwoBinsIsRoundedByTheDivision) {
    m_storage.profile(1).m_bins = numbered_bins(30);

    m_storage.set_likelihood_histogram_resolution(10);

    const auto& bins = m_storage.profile(1).m_bins;
    ASSERT_EQ(bins.size(), 300U);
    EXPECT_EQ(bins[54].m_total, 12.0);
    EXPECT_EQ(bins[55].m_total, 0.0);
}

TEST_F(zeStatStorageTest, EveryChangeOfResolutionKeepsTheSums) {
    m_storage.profile(1).m_bins = numbered_bins(30);
    for (const int resolution : {2, 1, 3, 2, 7, 5, 1, 10, 1}) {
        SCOPED_TRACE(resolution);

        m_storage.set_likelihood_histogram_resolution(resolution);

        EXPECT_EQ(m_storage.m_likelihood_resolution, resolution);
        const auto& bins = m_storage.profile(1).m_bins;
        ASSERT_EQ(bins.size(), static_cast<std::size_t>(30 * resolution));
        double relevant = 0.0;
        double total = 0.0;
        for (const auto& bin : bins) {
            relevant += bin.m_relevant;
            total += bin.m_total;
        }
        // The sum is 1 + 2 + ... + 30. Sums of small integers are exact.
        EXPECT_EQ(relevant, 465.0);
        EXPECT_EQ(total, 930.0);
    }
}

TEST_F(zeStatStorageTest, ResolutionThatIsNotPositiveOrTheSameIsIgnored) {
    m_storage.set_likelihood_histogram_resolution(2);
    Fill();
    for (const int resolution : {0, -1, 2}) {
        SCOPED_TRACE(resolution);

        m_storage.set_likelihood_histogram_resolution(resolution);

        EXPECT_EQ(m_storage.m_likelihood_resolution, 2);
        EXPECT_EQ(m_storage.profile(0).m_bins.size(), 5U);
    }
}

TEST_F(zeStatStorageTest, OnlyExistingBinsAreRead) {
    m_storage.profile(0).m_bins.clear();
    m_storage.profile(1).m_bins.assign(2, {1.0, 2.0});

    m_storage.set_likelihood_histogram_resolution(2);

    ExpectZeroBins(m_storage.profile(0), 60);
    EXPECT_EQ(m_storage.profile(1).m_bins.size(), 60U);
    EXPECT_EQ(m_storage.profile(1).m_bins[0].m_total + m_storage.profile(1).m_bins[1].m_total, 2.0);
}

TEST_F(zeStatStorageTest, ReplacingNodesKeepsIndices) {
    zeNode new_a(term("a"));
    zeNode new_b(term("b"));
    zeNode new_c(term("c"));
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &new_a}, {&m_b, &new_b}, {&m_c, &new_c}};

    m_storage.global_replace(replacement);

    EXPECT_EQ(m_storage.get_profile(&new_a), 0);
    EXPECT_EQ(m_storage.get_profile(&new_b), 1);
    EXPECT_EQ(m_storage.get_profile(&new_c), 2);
    EXPECT_EQ(m_storage.profile(1).m_node, &new_b);
    EXPECT_EQ(m_storage.get_profile(&m_a), 3);
}

TEST_F(zeStatStorageTest, ReplacingNodesCanExchangeThem) {
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &m_b}, {&m_b, &m_a}, {&m_c, &m_c}};

    m_storage.global_replace(replacement);

    EXPECT_EQ(m_storage.get_profile(&m_a), 1);
    EXPECT_EQ(m_storage.get_profile(&m_b), 0);
}

TEST_F(zeStatStorageTest, NodeMissingFromTheReplacementBecomesNullAndIsAddedToIt) {
    std::map<zeNode*, zeNode*> replacement = {{&m_a, &m_a}, {&m_c, &m_c}};

    m_storage.global_replace(replacement);

    EXPECT_EQ(m_storage.profile(1).m_node, nullptr);
    EXPECT_EQ(m_storage.get_profile(nullptr), 1);
    EXPECT_EQ(replacement.size(), 3U);
    EXPECT_EQ(replacement.at(&m_b), nullptr);
}

TEST_F(zeStatStorageTest, LastOfSeveralMissingNodesIsFoundByNull) {
    std::map<zeNode*, zeNode*> replacement = {{&m_c, &m_c}};

    m_storage.global_replace(replacement);

    EXPECT_EQ(m_storage.profile(0).m_node, nullptr);
    EXPECT_EQ(m_storage.profile(1).m_node, nullptr);
    EXPECT_EQ(m_storage.get_profile(nullptr), 1);
}

TEST_F(zeStatStorageTest, DeletingOneOfTwoProfilesWithoutANodeKeepsTheOthersIndex) {
    struct Row {
        const char* rule;
        zeNode* kept;  // the category that keeps its node
        int deleted;
        int index_of_null;
        int index_of_kept;
    };

    for (const Row& row : {
             Row{"the kept one moves", &m_c, 0, 1, 0},
             Row{"the null one moves", &m_a, 1, 1, 0},
             Row{"the kept one goes, the null one moves", &m_a, 0, 0, 2},
         }) {
        SCOPED_TRACE(row.rule);
        zeStat_storage storage(nullptr, m_defaults);
        for (zeNode* node : {&m_a, &m_b, &m_c}) {
            bool added = false;
            storage.get_or_add_profile(node, added);
        }
        std::map<zeNode*, zeNode*> replacement = {{row.kept, row.kept}};
        storage.global_replace(replacement);
        int deleted = row.deleted;

        storage.delete_profile(deleted);

        EXPECT_EQ(storage.profile_count(), 2);
        EXPECT_EQ(storage.get_profile(nullptr), row.index_of_null);
        EXPECT_EQ(storage.get_profile(row.kept), row.index_of_kept);
        EXPECT_EQ(storage.profile(row.index_of_null).m_node, nullptr);
    }
}

}  // namespace
