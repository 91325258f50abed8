// Files of version 1, which the library no longer writes. Their records name nodes by their
// concepts, and a leaf may have several parents. The files are built from the tables of the format.
#include "zandrel/persistence/zeIO.h"

#include <cmath>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/growth.h"
#include "tests/support/kc_damage.h"
#include "tests/support/kc_file.h"
#include "tests/support/kc_v1.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

// The score of a classifier for a word of the category, and for any other word.
const double kPi = std::acos(-1.0);
const double kHit = std::atan(kPi * (0.25 - 0.125)) / kPi + 0.5;
const double kMiss = std::atan(kPi * -0.125) / kPi + 0.5;

class zeIOVersion1Test : public testing::Test {
protected:
    zeIOVersion1Test() { read_kc(kc, items.file(), &mode); }

    zeNode* Node(unsigned int id) { return kc.m_physical_tree->GetNode(id); }

    std::vector<unsigned int> ChildrenOf(unsigned int id) {
        std::vector<unsigned int> ids;
        for (const zeNode* const child : Node(id)->m_children) {
            ids.push_back(child->m_node_id);
        }
        return ids;
    }

    zeNode* Mirrored(unsigned int id) { return kc.m_logical_tree->GetNode(id).physical_node; }

    Kc_items items = News_kc_v1::items();
    KcIoMode mode;
    zeManager kc;
    News_desk desk{kc};
};

TEST_F(zeIOVersion1Test, VersionIsReported) {
    EXPECT_EQ(mode.version, 1);
    EXPECT_EQ(kc.m_version, 1);
    EXPECT_EQ(kc.m_io->m_version, 1U);
    EXPECT_EQ(kc.m_last_object_id, 5U);
    EXPECT_EQ(kc.m_config.kc_id, 77U);
    EXPECT_EQ(kc.m_defaults.clip_value, 2.75);
    EXPECT_FALSE(kc.m_modified);
    EXPECT_FALSE(kc.m_compat55);
}

TEST_F(zeIOVersion1Test, NodesAreLinkedByTheirConcepts) {
    EXPECT_EQ(kc.m_root, Node(1));
    EXPECT_THAT(ChildrenOf(1), ElementsAre(2, 5));
    EXPECT_THAT(ChildrenOf(2), ElementsAre(3, 4));
    EXPECT_EQ(Node(1)->m_parent, nullptr);
    EXPECT_EQ(Node(3)->m_parent, Node(2));
    EXPECT_EQ(Node(2)->m_threshold, 0.0625);
    ExpectSound(kc);
}

TEST_F(zeIOVersion1Test, LeafWithTwoParentsBecomesTwoNodes) {
    ASSERT_EQ(kc.m_physical_tree->m_nodes.size(), 7U);
    EXPECT_THAT(ChildrenOf(5), ElementsAre(7, 6));
    EXPECT_EQ(Node(4)->m_parent, Node(2));
    EXPECT_EQ(Node(7)->m_parent, Node(5));
    EXPECT_EQ(Node(7)->m_concept, term("shared"));
    EXPECT_THAT(kc.m_physical_tree->GetLeafNodes(term("shared")),
                testing::UnorderedElementsAre(Node(4), Node(7)));
    EXPECT_EQ(Mirrored(4), Node(4));
    EXPECT_EQ(Mirrored(6), Node(7));
}

TEST_F(zeIOVersion1Test, ScoredIsTheOppositeOfTheFlag) {
    for (const unsigned int id : {1U, 2U, 5U, 6U}) {
        EXPECT_EQ(Node(id)->m_flags, zeNode::NoScore) << id;
    }
    for (const unsigned int id : {3U, 4U, 7U}) {
        EXPECT_EQ(Node(id)->m_flags, 0) << id;
    }
    EXPECT_EQ(kc.m_logical_tree->GetNode(1).attributes, zeNode::NoScore);
    EXPECT_EQ(kc.m_logical_tree->GetNode(3).attributes, 0);
    EXPECT_EQ(kc.m_logical_tree->GetNode(3).threshold, 0.0625);
    EXPECT_EQ(kc.m_logical_tree->GetNode(3).note2, qtString("sport"));
}

TEST_F(zeIOVersion1Test, MessagesAreClassified) {
    EXPECT_THAT(desk.Classify({{"goal", 2.0}}, {}),
                ElementsAre(Pair("sport", kHit * kHit), Pair("shared", kHit * kMiss)));
    EXPECT_THAT(desk.Classify({{"soup", 1.0}}, {"mark"}),
                ElementsAre(Pair("shared", kHit), Pair("sport", kMiss * kMiss)));
}

TEST_F(zeIOVersion1Test, ProfilesStartWithoutAnAgeAndWithAnEmptyAccumulator) {
    const auto& matcher = dynamic_cast<const zeStat_matcher&>(*Node(2)->m_classifier);
    const zeStat_storage& storage = *matcher.m_storage;

    ASSERT_EQ(storage.profile_count(), 2);
    EXPECT_EQ(storage.profile(1).m_node, Node(4));
    EXPECT_EQ(storage.profile(1).m_likelihood_age, 0);
    EXPECT_EQ(storage.profile(1).m_match_value, 0.0);
    EXPECT_EQ(storage.profile(1).m_M, -0.125);
    EXPECT_EQ(storage.profile(1).m_Ps.at(term("talk")).m_life, 5);
}

TEST_F(zeIOVersion1Test, SavingWritesVersionTwo) {
    const std::string file = saved(kc);

    EXPECT_EQ(Kc_items(file).version, 2);
    zeManager again;
    read_kc(again, file);
    EXPECT_EQ(again.m_version, 2);
    EXPECT_EQ(content_of(again), content_of(kc));
    EXPECT_EQ(News_desk(again).Answers(), desk.Answers());
    EXPECT_TRUE(same_bytes(saved(again), file));
}

TEST_F(zeIOVersion1Test, SavedRecordsAreThoseOfTheTablesOfVersionTwo) {
    const Kc_items written(saved(kc));
    const Kc_items expected = News_kc_v1::items_v2();

    ASSERT_EQ(written.records.size(), expected.records.size());
    for (const auto& [key, bytes] : expected.records) {
        EXPECT_TRUE(same_bytes(written.records.at(key), bytes)) << testing::PrintToString(key);
    }
}

TEST_F(zeIOVersion1Test, LeafWithManyParentsTakesNoSquareTime) {
    ExpectNoSquareGrowth(2000, [](int n) {
        const std::string many = shared_leaf_kc_v1(static_cast<unsigned int>(n)).file();
        zeManager manager;

        read_kc(manager, many);

        EXPECT_EQ(manager.m_physical_tree->GetLeafNodes(term("shared")).size(),
                  static_cast<std::size_t>(n));
    });
}

TEST_F(zeIOVersion1Test, LearningContinuesAsAfterConversionToVersionTwo) {
    zeManager again;
    read_kc(again, saved(kc));
    News_desk other(again);

    for (News_desk* each : {&desk, &other}) {
        each->Add(2, "weather", ZE_LEAF);
    }
    for (zeManager* each : {&kc, &again}) {
        learn_something(*each, false);
    }

    EXPECT_EQ(content_of(again), content_of(kc));
    EXPECT_EQ(other.Answers(), desk.Answers());
}

TEST_F(zeIOVersion1Test, SubtreesCanBeWritten) {
    for (const unsigned int id : {1U, 2U, 5U}) {
        SCOPED_TRACE(id);
        zeManager part;

        read_kc(part, saved_below(kc, id));

        EXPECT_EQ(part.m_root->m_concept, kc.m_logical_tree->GetNode(id).category);
        EXPECT_EQ(part.m_root->m_parent, nullptr);
        EXPECT_EQ(part.m_last_object_id, 5U);
        ExpectSound(part);
    }
}

TEST_F(zeIOVersion1Test, FileOfVersionTwoIsReadAfterwards) {
    Trained_desk fresh;

    read_kc(kc, saved(fresh.manager));

    EXPECT_EQ(kc.m_version, 2);
    EXPECT_EQ(content_of(kc), content_of(fresh.manager));
    read_kc(kc, items.file());
    EXPECT_EQ(kc.m_version, 1);
    ExpectSound(kc);
}

TEST_F(zeIOVersion1Test, FailedReadLeavesTheEarlierVersion) {
    items.records.erase(object_key(5));
    const Scratch_file file(items.file());
    zeManager fresh;

    EXPECT_THROW(fresh.Read(file.path(), nullptr, nullptr), qtxAll);
    EXPECT_EQ(fresh.m_version, 2);
    EXPECT_THROW(read_kc(fresh, items.file()), qtxAll);
    EXPECT_EQ(fresh.m_version, 2);
}

TEST_F(zeIOVersion1Test, ClassifierOfAnUnknownConceptIsRefused) {
    items.records[object_key(5)] = object_v1(1, 5, "none").u32(0).u32(0).bytes();

    EXPECT_QTX_ARGS(read_kc(kc, items.file()), zeIO, 11, "Classifier without its node in kc file",
                    {"5"});

    EXPECT_TRUE(is_empty(kc));
}

TEST_F(zeIOVersion1Test, EveryTruncationIsRefused) {
    const std::string file = items.file();
    for (std::size_t kept = 0; kept < file.size(); ++kept) {
        SCOPED_TRACE(kept);
        zeManager manager;

        EXPECT_FALSE(loads(manager, file.substr(0, kept)));
        EXPECT_TRUE(is_empty(manager));
    }
}

TEST_F(zeIOVersion1Test, EveryChangedBitIsSafe) {
    const std::string file = items.file();
    const std::string sound = saved(kc);
    for_each_changed_bit(
        file, [&sound](const std::string& damaged) { expect_damage_is_safe(damaged, sound); });
}

}  // namespace
