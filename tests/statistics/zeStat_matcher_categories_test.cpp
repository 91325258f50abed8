// Adding, clearing and deleting the categories of a zeStat_matcher, and the errors.
#include "zandrel/statistics/zeStat_matcher.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* kCompiled = "Matching table completed";

// Trained with one message of a and two of b, each of weight 1. Shares of the messages:
//
//     first   a   x 0.5            u 0.5
//     second  b          y 0.5     u 0.5
//     third   b          y 0.75             v 0.25
class zeStatMatcherCategoriesTest : public testing::Test {
protected:
    zeStatMatcherCategoriesTest() {
        m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"u", 1.0}}), {m_a});
        m_corpus.add(MessageBuilder().bag({{"y", 1.0}, {"u", 1.0}}), {m_b});
        m_corpus.add(MessageBuilder().bag({{"y", 3.0}, {"v", 1.0}}), {m_b});
        m_matcher.train(m_corpus.view);
        m_matcher.m_dirty = false;
    }

    // Checks that the model is unchanged since the training.
    void ExpectAsTrained() {
        ASSERT_EQ(m_storage.profile_count(), 2);
        EXPECT_EQ(m_storage.profile(0).m_node, m_a);
        EXPECT_EQ(m_storage.profile(0).m_num_msgs, 1);
        EXPECT_EQ(m_storage.profile(0).m_Ps.size(), 2U);
        EXPECT_EQ(m_storage.profile(1).m_num_msgs, 2);
        EXPECT_EQ(m_storage.m_total_weight, 3.0);
        EXPECT_EQ(info_of(m_storage, "x").m_weight, 0.5);
        EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b));
        EXPECT_FALSE(m_matcher.m_dirty);
    }

    // Matches if the table was compiled since the operation began.
    static auto Compiled() { return Contains(kCompiled); }

    zeNode m_root{term("root")};
    zeNode m_node_a{term("a")};
    zeNode m_node_b{term("b")};
    zeNode m_node_c{term("c")};
    zeNode* m_a = &m_node_a;
    zeNode* m_b = &m_node_b;
    zeNode* m_c = &m_node_c;
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_matcher m_matcher{nullptr, &m_root, m_storage, false};
    Small_corpus m_corpus;
};

// Adding.

TEST_F(zeStatMatcherCategoriesTest, EmptyProfileAndChildAreAdded) {
    const Trace_capture trace;

    m_matcher.add_cat(m_c);

    ASSERT_EQ(m_storage.profile_count(), 3);
    EXPECT_EQ(m_storage.profile(2).m_node, m_c);
    EXPECT_EQ(m_storage.profile(2).m_num_msgs, 0);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b, m_c));
    EXPECT_EQ(m_c->m_parent, &m_root);
    EXPECT_TRUE(m_matcher.m_dirty);
    EXPECT_THAT(trace.texts(), Not(Compiled()));
}

TEST_F(zeStatMatcherCategoriesTest, CategoryThatHasAProfileIsRefusedAndEmptied) {
    EXPECT_QTX_ARGS(m_matcher.add_cat(m_a), zeStat_matcher, 0, "Category \"a\" already exists.",
                    {});

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 0);
    EXPECT_TRUE(m_storage.profile(0).m_Ps.empty());
    EXPECT_EQ(m_storage.m_total_weight, 3.0);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b));
    EXPECT_FALSE(m_matcher.m_dirty);
}

TEST_F(zeStatMatcherCategoriesTest, NodeOfAProfileThatIsNoChildIsRefusedAndNotAdded) {
    m_root.remove_child(m_a);

    EXPECT_QTX_ARGS(m_matcher.add_cat(m_a), zeStat_matcher, 0, "Category \"a\" already exists.",
                    {});

    EXPECT_THAT(m_root.m_children, ElementsAre(m_b));
}

TEST_F(zeStatMatcherCategoriesTest, ChildWithoutAProfileIsRefusedAfterAddingTheProfile) {
    m_root.add_child(m_c);

    EXPECT_QTX_ARGS(m_matcher.add_cat(m_c), zeStat_matcher, 0, "Category \"c\" already exists.",
                    {});

    EXPECT_EQ(m_storage.get_profile(m_c), 2);
    EXPECT_EQ(m_storage.profile_count(), 3);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b, m_c));
    EXPECT_TRUE(m_matcher.m_dirty);
}

TEST_F(zeStatMatcherCategoriesTest, MatcherWithoutANodeRaisesAfterAddingTheProfile) {
    m_matcher.m_node = nullptr;

    EXPECT_QTX_ARGS(m_matcher.add_cat(m_c), zeStat_matcher, 0, "Category \"c\" already exists.",
                    {});

    EXPECT_EQ(m_storage.get_profile(m_c), 2);
    EXPECT_EQ(m_storage.profile_count(), 3);
    EXPECT_EQ(m_c->m_parent, nullptr);
    EXPECT_TRUE(m_matcher.m_dirty);
}

// Clearing.

TEST_F(zeStatMatcherCategoriesTest, CategoryIsCleared) {
    m_matcher.clear_cat(m_a, false, false);

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.profile(0).m_node, m_a);
    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 0);
    EXPECT_TRUE(m_storage.profile(0).m_Ps.empty());
    EXPECT_EQ(m_storage.profile(1).m_num_msgs, 2);
    EXPECT_EQ(m_storage.m_total_weight, 2.0);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b));
}

// Two of the three weights remain, so every concept keeps two thirds.
TEST_F(zeStatMatcherCategoriesTest, ClearingKeepsConceptsUnlessRequested) {
    m_matcher.clear_cat(m_a, false, false);

    EXPECT_DOUBLE_EQ(info_of(m_storage, "x").m_weight, 0.5 * 2 / 3);
    EXPECT_EQ(info_of(m_storage, "x").m_rate, 1.0);
    EXPECT_EQ(info_of(m_storage, "x").m_num_Ps, 0);
    EXPECT_DOUBLE_EQ(info_of(m_storage, "u").m_weight, 1.0 * 2 / 3);
}

TEST_F(zeStatMatcherCategoriesTest, ClearingRemovesConceptsIfRequested) {
    m_matcher.clear_cat(m_a, false, true);

    EXPECT_EQ(info_of(m_storage, "x").m_weight, 0.0);
    EXPECT_DOUBLE_EQ(info_of(m_storage, "x").m_rate, 2.0 / 3);
    EXPECT_DOUBLE_EQ(info_of(m_storage, "u").m_weight, 0.5 * 2 / 3);
}

TEST_F(zeStatMatcherCategoriesTest, ClearingCompilesTheTableOnlyIfRequested) {
    for (const bool refeed : {false, true}) {
        SCOPED_TRACE(refeed);
        m_root.remove_all_children();
        m_matcher.m_dirty = false;
        const Trace_capture trace;

        m_matcher.clear_cat(m_a, refeed, false);

        EXPECT_EQ(trace.has(zandrel::kTraceDebug, kCompiled), refeed);
        EXPECT_EQ(m_root.m_children.size(), refeed ? 2U : 0U);
        EXPECT_EQ(m_matcher.m_dirty, refeed);
    }
}

TEST_F(zeStatMatcherCategoriesTest, MatcherWithoutANodeClears) {
    m_matcher.m_node = nullptr;

    m_matcher.clear_cat(m_a, true, false);

    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 0);
}

TEST_F(zeStatMatcherCategoriesTest, ClearingAnUnknownCategoryChangesNothing) {
    const Trace_capture trace;

    EXPECT_QTX_ARGS(m_matcher.clear_cat(m_c, true, true), zeStat_matcher, 1,
                    "Category \"c\" does not exist.", {});

    ExpectAsTrained();
    EXPECT_THAT(trace.texts(), IsEmpty());
}

// Deleting.

TEST_F(zeStatMatcherCategoriesTest, ProfileAndChildAreDeleted) {
    m_matcher.delete_cat(m_a, false, false);

    ASSERT_EQ(m_storage.profile_count(), 1);
    EXPECT_EQ(m_storage.profile(0).m_node, m_b);
    EXPECT_EQ(m_storage.get_profile(m_b), 0);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_b));
    EXPECT_EQ(m_a->m_parent, nullptr);
    EXPECT_TRUE(m_matcher.m_dirty);
    EXPECT_EQ(m_storage.m_total_weight, 2.0);
}

TEST_F(zeStatMatcherCategoriesTest, DeletingRemovesConceptsIfRequested) {
    m_matcher.delete_cat(m_a, false, true);

    EXPECT_EQ(info_of(m_storage, "x").m_weight, 0.0);
    EXPECT_DOUBLE_EQ(info_of(m_storage, "u").m_weight, 0.5 * 2 / 3);
}

TEST_F(zeStatMatcherCategoriesTest, DeletingKeepsConceptsUnlessRequested) {
    m_matcher.delete_cat(m_a, false, false);

    EXPECT_DOUBLE_EQ(info_of(m_storage, "x").m_weight, 0.5 * 2 / 3);
}

TEST_F(zeStatMatcherCategoriesTest, DeletingCompilesTheTableOnlyIfRequested) {
    const Trace_capture trace;
    m_matcher.delete_cat(m_a, false, false);
    EXPECT_THAT(trace.texts(), Not(Compiled()));

    m_matcher.delete_cat(m_b, true, false);

    EXPECT_THAT(trace.texts(), Compiled());
    EXPECT_TRUE(m_matcher.m_table.empty());
    EXPECT_THAT(m_root.m_children, IsEmpty());
}

TEST_F(zeStatMatcherCategoriesTest, DeletingAnUnknownCategoryChangesNothing) {
    const Trace_capture trace;

    EXPECT_QTX_ARGS(m_matcher.delete_cat(m_c, true, true), zeStat_matcher, 1,
                    "Deleted category \"c\" does not exist.", {});

    ExpectAsTrained();
    EXPECT_THAT(trace.texts(), IsEmpty());
}

TEST_F(zeStatMatcherCategoriesTest, ChildWithoutAProfileIsNotDeleted) {
    m_root.add_child(m_c);

    EXPECT_QTX_ARGS(m_matcher.delete_cat(m_c, false, false), zeStat_matcher, 1,
                    "Deleted category \"c\" does not exist.", {});

    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b, m_c));
    EXPECT_FALSE(m_matcher.m_dirty);
}

TEST_F(zeStatMatcherCategoriesTest, ProfileWithoutAChildIsDeletedAndRaisesWithoutCompiling) {
    m_root.remove_child(m_a);
    const Trace_capture trace;

    EXPECT_QTX_ARGS(m_matcher.delete_cat(m_a, true, false), zeStat_matcher, 1,
                    "Deleted category \"a\" does not exist.", {});

    EXPECT_EQ(m_storage.profile_count(), 1);
    EXPECT_TRUE(m_storage.end(m_storage.get_profile(m_a)));
    EXPECT_TRUE(m_matcher.m_dirty);
    EXPECT_THAT(trace.texts(), Not(Compiled()));
}

TEST_F(zeStatMatcherCategoriesTest, MatcherWithoutANodeRaisesAfterDeletingTheProfile) {
    m_matcher.m_node = nullptr;

    EXPECT_QTX_ARGS(m_matcher.delete_cat(m_a, true, false), zeStat_matcher, 1,
                    "Deleted category \"a\" does not exist.", {});

    EXPECT_EQ(m_storage.profile_count(), 1);
    EXPECT_EQ(m_a->m_parent, &m_root);
    EXPECT_TRUE(m_matcher.m_dirty);
}

// The operations that an edit of the tree calls.

TEST_F(zeStatMatcherCategoriesTest, KnowsTheNodesOfItsProfiles) {
    m_root.add_child(m_c);

    EXPECT_FALSE(m_matcher.has_rules());
    EXPECT_TRUE(m_matcher.knows(m_a));
    EXPECT_FALSE(m_matcher.knows(m_c));
    EXPECT_EQ(m_matcher.category_count(), 2U);
}

TEST_F(zeStatMatcherCategoriesTest, CategoryOfAnEditGetsAProfileAndIsAChild) {
    m_matcher.add_category(m_c, "");

    EXPECT_EQ(m_storage.get_profile(m_c), 2);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b, m_c));
}

TEST_F(zeStatMatcherCategoriesTest, RuleIsRefusedByAnAssertion) {
    EXPECT_ASSERTS(m_matcher.change_category_rule(m_a, "1"), "sw");

    ExpectAsTrained();
}

TEST_F(zeStatMatcherCategoriesTest, RemovedCategoryTakesItsConceptsAlongIfAsked) {
    m_matcher.remove_category(m_a, true);

    EXPECT_EQ(m_storage.profile_count(), 1);
    EXPECT_EQ(info_of(m_storage, "x").m_weight, 0.0);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_b));
}

TEST_F(zeStatMatcherCategoriesTest, DroppedCategoryLosesOnlyItsProfile) {
    m_matcher.drop_category(m_a);

    EXPECT_EQ(m_storage.profile_count(), 1);
    EXPECT_EQ(info_of(m_storage, "x").m_weight, 0.5);
    EXPECT_THAT(m_root.m_children, ElementsAre(m_a, m_b));
    m_matcher.drop_category(m_a);
    EXPECT_EQ(m_storage.profile_count(), 1);
}

TEST_F(zeStatMatcherCategoriesTest, RebuiltTableHasTheRemainingCategories) {
    m_matcher.remove_category(m_a, true);
    const Trace_capture trace;

    m_matcher.rebuild_table();

    EXPECT_THAT(trace.texts(), Compiled());
    EXPECT_THAT(m_root.m_children, ElementsAre(m_b));
}

// Texts.

// The beginning of the text takes 10 or 18 of the 1023 characters.
TEST_F(zeStatMatcherCategoriesTest, TextsAreCutAfter1023Characters) {
    zeNode long_node(term(std::string(2000, 'n')));
    zeNode* node = &long_node;

    EXPECT_QTX_ARGS(m_matcher.clear_cat(node, false, false), zeStat_matcher, 1,
                    "Category \"" + std::string(1013, 'n'), {});
    EXPECT_QTX_ARGS(m_matcher.delete_cat(node, false, false), zeStat_matcher, 1,
                    "Deleted category \"" + std::string(1005, 'n'), {});
    m_matcher.add_cat(node);
    EXPECT_QTX_ARGS(m_matcher.add_cat(node), zeStat_matcher, 0,
                    "Category \"" + std::string(1013, 'n'), {});
}

// 10 characters before the name and 17 after it leave 996 for the name.
TEST_F(zeStatMatcherCategoriesTest, LongestTextThatFitsIsNotCut) {
    const std::string name(996, 'n');
    zeNode long_node(term(name));
    zeNode* node = &long_node;
    m_matcher.add_cat(node);

    EXPECT_QTX_ARGS(m_matcher.add_cat(node), zeStat_matcher, 0,
                    "Category \"" + name + "\" already exists.", {});
}

TEST_F(zeStatMatcherCategoriesTest, FormatCharactersInANameAreOrdinaryText) {
    zeNode odd_node(term("100%s %n"));
    zeNode* node = &odd_node;

    EXPECT_QTX_ARGS(m_matcher.clear_cat(node, false, false), zeStat_matcher, 1,
                    "Category \"100%s %n\" does not exist.", {});
}

}  // namespace
