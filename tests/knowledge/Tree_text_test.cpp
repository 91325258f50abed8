// Tree_text: single lines of the text form, and the treatment of the rule "default".
#include "zandrel/knowledge/Tree_text.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using zandrel::Tree_text;

constexpr const char* kRuleRoot = "+\t[Rule]\t[NoScore]\t[]\t[root]\t[]";

class TreeTextTest : public testing::Test {
protected:
    std::string Written(unsigned int id, int level) const {
        std::ostringstream out;
        Tree_text::Write(kc.tree, id, level, out);
        return out.str();
    }

    Edited_container kc;
    Tree_text text{kc.tree, Tree_text::Default_rule::kAccepted};
};

TEST_F(TreeTextTest, AddLineReturnsTheIdOfTheNewNode) {
    EXPECT_EQ(text.AddLine(kRuleRoot), 1U);
    EXPECT_EQ(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[1]"), 2U);
    EXPECT_EQ(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[b]\t[2]"), 3U);
    EXPECT_EQ(kc.Node(3).parent, 1U);
}

TEST_F(TreeTextTest, DefaultIsRefusedUnlessItIsAccepted) {
    Tree_text strict(kc.tree);
    strict.AddLine(kRuleRoot);

    EXPECT_QTX_ARGS(strict.AddLine("++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]"), zeLogicalTree, 1,
                    "Invalid rule: [default]", {"[default]"});

    EXPECT_EQ(kc.tree.nodes.size(), 1U);
}

TEST_F(TreeTextTest, AcceptedDefaultMakesTheSameTreeAsAnAddedOne) {
    Edited_container built;
    const unsigned int root = built.Root(ZE_RULE);
    built.Add(root, "a", kAboveOne);
    built.Add(root, "rest", "default");
    built.Add(root, "b", kAboveTwo);

    text.AddLine(kRuleRoot);
    text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[$a(n) > 1]");
    text.AddLine("++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]");
    text.AddLine("++\t[Leaf]\t[Score]\t[]\t[b]\t[$a(n) > 2]");

    EXPECT_EQ(DumpState(kc.manager), DumpState(built.manager));
    ExpectSound(kc.manager);
}

TEST_F(TreeTextTest, AcceptedDefaultCanHaveNodesBelowIt) {
    text.AddLine(kRuleRoot);
    text.AddLine("++\t[Stat]\t[NoScore]\t[]\t[rest]\t[default]");
    text.AddLine("+++\t[Leaf]\t[Score]\t[]\t[a]\t[]");

    EXPECT_EQ(Written(1, 1),
              "+\t[Rule]\t[NoScore]\t[]\t[root]\t[]\n"
              "++\t[Stat]\t[NoScore]\t[]\t[rest]\t[default]\n"
              "+++\t[Leaf]\t[Score]\t[]\t[a]\t[]\n");
    ExpectSound(kc.manager);
}

TEST_F(TreeTextTest, AcceptedDefaultBelowALeafMakesTheLeafARuleNode) {
    text.AddLine(kRuleRoot);
    text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[1]");
    text.AddLine("+++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]");

    EXPECT_EQ(kc.Node(2).type, ZE_RULE);
    EXPECT_EQ(kc.Node(3).rule, "default");
    ExpectSound(kc.manager);
}

TEST_F(TreeTextTest, SecondDefaultOfARuleNodeIsRefusedAndAddsNothing) {
    text.AddLine(kRuleRoot);
    text.AddLine("++\t[Leaf]\t[Score]\t[]\t[rest]\t[default]");
    const Unchanged unchanged(kc.manager);

    EXPECT_QTX_ARGS(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[more]\t[default]"), zeLogicalTree, 17,
                    "OTHERWISE rule already exists in a sibling of the given node", {});
}

TEST_F(TreeTextTest, DefaultOutsideOfARuleNodeIsRefused) {
    EXPECT_QTX_ARGS(text.AddLine("+\t[Rule]\t[Score]\t[]\t[root]\t[default]"), zeLogicalTree, 6,
                    "No rule allowed in root node", {});
    text.AddLine("+\t[Stat]\t[Score]\t[]\t[root]\t[]");
    EXPECT_QTX_ARGS(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[default]"), zeLogicalTree, 7,
                    "Mixing rules and statistics on the same level", {});
}

TEST_F(TreeTextTest, OnlyTheExactWordIsAccepted) {
    text.AddLine(kRuleRoot);
    for (const std::string rule : {"[Default]", "[ default]", "[default ]"}) {
        SCOPED_TRACE(rule);

        EXPECT_QTX_ARGS(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t" + rule), zeLogicalTree, 1,
                        "Invalid rule: " + rule, {rule});
    }
}

TEST_F(TreeTextTest, LineAfterARefusedOneIsAdded) {
    text.AddLine(kRuleRoot);
    EXPECT_QTX(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[(]"), zeLogicalTree, 1,
               "Invalid rule: [(]");

    EXPECT_EQ(text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[1]"), 2U);
}

TEST_F(TreeTextTest, RefusedLineDoesNotChangeTheLastNode) {
    text.AddLine(kRuleRoot);
    text.AddLine("++\t[Leaf]\t[Score]\t[]\t[a]\t[1]");
    const unsigned int b = text.AddLine("+++\t[Leaf]\t[Score]\t[]\t[b]\t[1]");
    EXPECT_QTX(text.AddLine("++\t[Leaf]\t[bad]\t[]\t[c]\t[1]"), zeLogicalTree, 1,
               "Invalid score: ++\t[Leaf]\t[bad]\t[]\t[c]\t[1]");
    EXPECT_QTX(text.AddLine("+\t[Rule]\t[Score]\t[]\t[c]\t[]"), zeLogicalTree, 4,
               "More than one node under root");

    EXPECT_EQ(kc.Node(text.AddLine("++++\t[Leaf]\t[Score]\t[]\t[c]\t[1]")).parent, b);
}

TEST_F(TreeTextTest, WriteGivesTheFirstNodeTheLevel) {
    const unsigned int root = kc.Root(ZE_STAT);
    const unsigned int a = kc.Add(root, "a");
    kc.Add(a, "b");

    EXPECT_EQ(Written(a, 5),
              "+++++\t[Leaf]\t[Score]\t[]\t[a]\t[]\n"
              "++++++\t[Leaf]\t[Score]\t[]\t[b]\t[]\n");
    EXPECT_EQ(Written(a, -1),
              "\t[Leaf]\t[Score]\t[]\t[a]\t[]\n"
              "\t[Leaf]\t[Score]\t[]\t[b]\t[]\n");
    EXPECT_EQ(Written(99, 1), "");
}

}  // namespace
