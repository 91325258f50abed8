// The steps of the workflow's depth-first walk.
#include "zandrel/classification/zeWorkflow.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeNode.h"

#include "tests/support/bags.h"
#include "tests/support/tree_builder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The tree is root(a, mid(b, low(c)), d).
class zeWorkflowStepsTest : public testing::Test {
protected:
    zeWorkflowStepsTest() {
        root = tree.Root("root");
        a = tree.Leaf(root, "a", 0.5);
        mid = tree.Inner(root, "mid", 0.5);
        b = tree.Leaf(mid, "b", 0.5);
        zeNode* const low = tree.Inner(mid, "low", 0.5);
        tree.Leaf(low, "c", 0.5);
        tree.Leaf(root, "d", 0.5);
        workflow = tree.Manager().GetWorkflow();
    }

    std::vector<std::string> Visited(zeNode* start) {
        std::vector<std::string> names;
        std::vector<Node_stack_elem> stack = workflow->start_node(start);
        while (!stack.empty()) {
            names.push_back(stack.back().node->m_concept.text().str());
            workflow->next(stack);
        }
        return names;
    }

    TreeBuilder tree;
    qtPtrLight<zeWorkflow> workflow;
    zeNode* root;
    zeNode* a;
    zeNode* mid;
    zeNode* b;
};

TEST_F(zeWorkflowStepsTest, StartNodePutsOneElementOnTheStack) {
    const std::vector<Node_stack_elem> stack = workflow->start_node(mid);

    ASSERT_EQ(stack.size(), 1U);
    EXPECT_EQ(stack[0].node, mid);
    EXPECT_EQ(stack[0].next_child, 0U);
    EXPECT_FALSE(stack[0].started);
}

TEST_F(zeWorkflowStepsTest, StartNodeWithNullStartsAtTheRoot) {
    const std::vector<Node_stack_elem> stack = workflow->start_node(nullptr);

    ASSERT_EQ(stack.size(), 1U);
    EXPECT_EQ(stack[0].node, root);
}

TEST_F(zeWorkflowStepsTest, VisitsEveryNodeBeforeItsChildren) {
    EXPECT_THAT(Visited(nullptr), ElementsAre("root", "a", "mid", "b", "low", "c", "d"));
}

TEST_F(zeWorkflowStepsTest, StaysBelowTheNodeThatItStartsAt) {
    EXPECT_THAT(Visited(mid), ElementsAre("mid", "b", "low", "c"));
}

TEST_F(zeWorkflowStepsTest, NextEndsAfterASingleNode) {
    std::vector<Node_stack_elem> stack = workflow->start_node(a);

    workflow->next(stack);

    EXPECT_THAT(stack, IsEmpty());
}

TEST_F(zeWorkflowStepsTest, NextPushesTheChildAndRemembersThePosition) {
    std::vector<Node_stack_elem> stack = workflow->start_node(mid);

    workflow->next(stack);

    ASSERT_EQ(stack.size(), 2U);
    EXPECT_TRUE(stack[0].started);
    EXPECT_EQ(stack[0].next_child, 1U);
    EXPECT_EQ(stack[1].node, b);
    EXPECT_EQ(stack[1].next_child, 0U);
    EXPECT_FALSE(stack[1].started);
}

TEST_F(zeWorkflowStepsTest, NextOfAnElementNotYetStartedVisitsTheFirstChild) {
    std::vector<Node_stack_elem> stack = {{root, 2, false}};

    workflow->next(stack);

    EXPECT_EQ(stack.back().node, a);
}

TEST_F(zeWorkflowStepsTest, NextContinuesAtThePositionOfTheElement) {
    std::vector<Node_stack_elem> stack = {{root, 1, true}};

    workflow->next(stack);

    EXPECT_EQ(stack.back().node, mid);
    EXPECT_EQ(stack.front().next_child, 2U);
}

TEST_F(zeWorkflowStepsTest, NextAfterTheLastChildClimbsInOneStep) {
    std::vector<Node_stack_elem> stack = {{root, 2, true}, {mid, 2, true}, {b, 0, false}};

    workflow->next(stack);

    ASSERT_EQ(stack.size(), 2U);
    EXPECT_EQ(stack.back().node->m_concept, term("d"));
}

TEST_F(zeWorkflowStepsTest, NextLeavesAnEmptyStackEmpty) {
    std::vector<Node_stack_elem> stack;

    workflow->next(stack);

    EXPECT_THAT(stack, IsEmpty());
}

}  // namespace
