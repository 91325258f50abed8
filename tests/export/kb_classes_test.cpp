// The classes of a knowledge base of version 5: groups, profiles and trees, and their records.
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/export/kb/HierarchicalProfilesGroup.h"

#include "tests/export/kb_reader.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/record_bytes.h"

namespace {

std::string written(const BaseProfilesGroup& group) {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    group.Write(io);
    return bytes_of(record);
}

TEST(HierarchicalMapingNodeTest, ChildrenKeepTheOrderInWhichTheyWereAdded) {
    HierarchicalMapingNode node("top");
    HierarchicalMapingNode* const b = node.AddChild("b");
    HierarchicalMapingNode* const a = node.AddChild("a");

    ASSERT_EQ(node.children().size(), 2U);
    EXPECT_EQ(node.children()[0].get(), b);
    EXPECT_EQ(node.children()[1].get(), a);
    EXPECT_EQ(a->name, "a");
    EXPECT_EQ(a->rule, "");
    EXPECT_EQ(a->profile, HierarchicalMapingNode::kNoProfile);
}

TEST(HierarchicalMapingNodeTest, AddingAChildTwiceIsRefused) {
    HierarchicalMapingNode node("top");
    node.AddChild("a")->rule = "1";

    EXPECT_EQ(node.AddChild("a"), nullptr);
    ASSERT_EQ(node.children().size(), 1U);
    EXPECT_EQ(node.children()[0]->rule, "1");
}

TEST(HierarchicalMapingNodeTest, EqualNamesBelowDifferentNodesAreAccepted) {
    HierarchicalMapingNode node("a");
    HierarchicalMapingNode* const child = node.AddChild("a");

    ASSERT_NE(child, nullptr);
    EXPECT_NE(child->AddChild("a"), nullptr);
    EXPECT_NE(node.AddChild(""), nullptr);
    EXPECT_NE(node.AddChild(qtString("a\0", 2)), nullptr);
}

TEST(HierarchicalMapingTest, RestartLeavesOnlyANewRoot) {
    HierarchicalMaping maping;
    EXPECT_EQ(maping.root().name, "");
    maping.root().AddChild("a");
    maping.Restart("top");

    EXPECT_EQ(maping.root().name, "top");
    EXPECT_TRUE(maping.root().children().empty());
}

TEST(HierarchicalProfilesGroupTest, EmptyGroupIsAHeadAndARoot) {
    EXPECT_EQ(to_hex(written(HierarchicalProfilesGroup())), to_hex(from_hex("5A454B42"
                                                                            "00000005"
                                                                            "00000000"
                                                                            "00000000"
                                                                            "00000000"
                                                                            "00000000"
                                                                            "FFFFFFFF"
                                                                            "00000000")));
}

TEST(HierarchicalProfilesGroupTest, BaseWritesNoTree) {
    BaseProfilesGroup group;
    group.encoding = "e";
    EXPECT_EQ(to_hex(written(group)), to_hex(from_hex("5A454B42"
                                                      "00000005"
                                                      "0000000165"
                                                      "00000000")));
}

TEST(HierarchicalProfilesGroupTest, ProfilesGetNumbersFromZeroOn) {
    HierarchicalProfilesGroup group;
    EXPECT_EQ(group.AddProfile({}), 0);
    EXPECT_EQ(group.AddProfile({}), 1);
    EXPECT_EQ(group.profiles.size(), 2U);
}

TEST(HierarchicalProfilesGroupTest, ClearKeepsOnlyTheEncoding) {
    HierarchicalProfilesGroup group;
    group.encoding = "e";
    group.AddProfile({});
    group.maping.root().AddChild("a");
    group.Clear();

    EXPECT_EQ(group.encoding, "e");
    EXPECT_TRUE(group.profiles.empty());
    EXPECT_TRUE(group.maping.root().children().empty());
}

TEST(HierarchicalProfilesGroupTest, AllFieldsAreReadBack) {
    HierarchicalProfilesGroup group;
    group.encoding = "Windows-1252";
    Profile profile;
    profile.name = qtString("a\0\n\xFF", 4);
    profile.size = -7;
    profile.num_msgs = 2000000000;
    profile.weight = -0.1;
    profile.M = 1e-310;
    profile.weights = {{"", 0.5F}, {"x\ty", -2.0F}};
    profile.likelihood[0] = 1.0;
    profile.likelihood[29] = 0.25;
    HierarchicalMapingNode* const child = group.maping.root().AddChild("c");
    child->rule = "\"q\" & $n(n) > 1";
    child->profile = group.AddProfile(profile);
    child->AddChild("d");
    group.maping.root().AddChild("e");

    const Kb_file file = read_kb(written(group));
    EXPECT_EQ(file.encoding, "Windows-1252");
    EXPECT_EQ(file.outline(), "\n c [\"q\" & $n(n) > 1] *\n  d\n e\n");
    const Kb_profile& read = file.profile_of("c");
    EXPECT_EQ(read.name, std::string("a\0\n\xFF", 4));
    EXPECT_EQ(read.size, -7);
    EXPECT_EQ(read.num_msgs, 2000000000);
    EXPECT_EQ(read.weight, -0.1);
    EXPECT_EQ(read.M, 1e-310);
    EXPECT_EQ(read.concepts,
              (std::vector<std::pair<std::string, float>>{{"", 0.5F}, {"x\ty", -2.0F}}));
    ASSERT_EQ(read.likelihood.size(), 30U);
    EXPECT_EQ(read.likelihood[0], 1.0);
    EXPECT_EQ(read.likelihood[1], 0.0);
    EXPECT_EQ(read.likelihood[29], 0.25);
}

}  // namespace
