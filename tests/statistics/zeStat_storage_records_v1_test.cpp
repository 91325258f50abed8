// Statistical models of file version 1, whose records refer to nodes by their concepts.
#include "zandrel/statistics/zeStat_storage.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/statistics/stored_model.h"
#include "tests/support/expect_qtx.h"

namespace {

using stored_model::Form;
using stored_model::whole;

constexpr Form kVersion1 = {.has_ids = false};

class zeStatStorageRecordsV1Test : public testing::Test {
protected:
    zeStatStorageRecordsV1Test() {
        m_model.manager.m_version = 1;
        m_model.manager.m_physical_tree->m_v1_nodes = {{term("a"), m_model.a},
                                                       {term("bb"), m_model.bb}};
    }

    Stored_model m_model;
};

// Values that version 1 does not store become 0. All others are as in a record of the current
// version.
TEST_F(zeStatStorageRecordsV1Test, AgesAndMatchValuesAreZero) {
    zeStat_storage& loaded = m_model.loaded(whole(kVersion1));

    m_model.fill();
    for (const int iprofile : {0, 1}) {
        m_model.storage->profile(iprofile).m_likelihood_age = 0;
        m_model.storage->profile(iprofile).m_match_value = 0.0;
    }
    EXPECT_EQ(to_hex(dumped(loaded).substr(4)), to_hex(dumped(*m_model.storage).substr(4)));
}

TEST_F(zeStatStorageRecordsV1Test, CompactFormIsReadToo) {
    zeStat_storage& loaded = m_model.loaded(whole({.is_compact = true, .has_ids = false}));

    ASSERT_EQ(loaded.profile_count(), 2);
    EXPECT_EQ(loaded.profile(0).m_node, m_model.bb);
    EXPECT_EQ(loaded.profile(1).m_node, m_model.a);
    EXPECT_EQ(loaded.profile(0).m_M, 18.5);
}

// A category with several parents has one node for each of them. The classifier's node decides
// which one is used.
TEST_F(zeStatStorageRecordsV1Test, ClassifiersNodeDecidesBetweenTheNodesOfACategory) {
    zeNode* const first_parent = m_model.leaf("first");
    zeNode* const second_parent = m_model.leaf("second");
    auto& tree = *m_model.manager.m_physical_tree;
    tree.m_v1_nodes.erase(term("bb"));
    tree.m_v1_pending[term("bb")] = {m_model.bb, nullptr};
    m_model.bb->m_parent = first_parent;

    zeStat_storage& first = m_model.loaded(whole(kVersion1), first_parent);
    zeStat_storage& second = m_model.loaded(whole(kVersion1), second_parent);

    EXPECT_EQ(first.profile(0).m_node, m_model.bb);
    EXPECT_NE(second.profile(0).m_node, m_model.bb);
    EXPECT_EQ(second.profile(0).m_node->m_parent, second_parent);
    EXPECT_EQ(second.get_profile(second.profile(0).m_node), 0);
}

TEST_F(zeStatStorageRecordsV1Test, CategoriesMustBeInTheTree) {
    m_model.manager.m_physical_tree->m_v1_nodes.erase(term("a"));

    EXPECT_ASSERTS(m_model.loaded(whole(kVersion1)), "cat");
}

TEST_F(zeStatStorageRecordsV1Test, ProfileNeedsItsCategory) {
    const std::string unknown = from_hex("00 00 00 02 7a 7a");
    const std::string profile =
        stored_model::profile_of_bb(kVersion1).replace(41, unknown.size(), unknown);

    EXPECT_ASSERTS(m_model.loaded(stored_model::whole_with(
                       kVersion1, profile + stored_model::profile_of_a(kVersion1))),
                   "p.m_cat");
}

}  // namespace
