#include "cli/report/Tree_quality.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

Kc_tree_line tree_line(int depth, const std::string& name, std::size_t children) {
    Kc_tree_line line;
    line.depth = depth;
    line.name = name;
    line.category = name;
    line.child_count = children;
    return line;
}

// root: sport (golf, chess), tax
const std::vector<Kc_tree_line> kSportTree = {tree_line(0, "root", 2), tree_line(1, "sport", 2),
                                              tree_line(2, "chess", 0), tree_line(2, "golf", 0),
                                              tree_line(1, "tax", 0)};

const std::map<std::string, std::size_t, std::less<>> kSportNumbers = {
    {"chess", 0}, {"golf", 1}, {"tax", 2}};

Report_cell counted_cell(std::size_t row, std::size_t column, std::size_t texts) {
    Report_cell cell;
    cell.row = row;
    cell.column = column;
    cell.texts = texts;
    return cell;
}

using Node_counts = std::tuple<std::string, std::size_t, std::size_t, std::size_t>;

std::vector<Node_counts> counts_of(const std::vector<Tree_node>& tree) {
    std::vector<Node_counts> counts;
    for (const Tree_node& node : tree) {
        counts.emplace_back(node.name, node.texts, node.right_branch, node.right);
    }
    return counts;
}

// chess: 5 right, 2 as golf, 1 as tax. golf: 3 right, 1 without an answer. tax: 4 right.
TEST(TreeQualityTest, NodeCountsTheTextsBelowIt) {
    const std::vector<Tree_node> tree =
        tree_quality(kSportTree, kSportNumbers,
                     {counted_cell(0, 0, 5), counted_cell(0, 1, 2), counted_cell(0, 2, 1),
                      counted_cell(1, 1, 3), counted_cell(1, 3, 1), counted_cell(2, 2, 4)});
    EXPECT_EQ(counts_of(tree), (std::vector<Node_counts>{{"root", 16, 15, 12},
                                                         {"sport", 12, 10, 8},
                                                         {"chess", 8, 5, 5},
                                                         {"golf", 4, 3, 3},
                                                         {"tax", 4, 4, 4}}));
}

TEST(TreeQualityTest, CategoryAtTwoLeavesCountsOnceInTheNodesAboveBoth) {
    const std::vector<Kc_tree_line> lines = {tree_line(0, "root", 2), tree_line(1, "a", 1),
                                             tree_line(2, "golf", 0), tree_line(1, "golf", 0)};
    const std::vector<Tree_node> tree = tree_quality(lines, {{"golf", 0}}, {counted_cell(0, 0, 3)});
    EXPECT_EQ(counts_of(tree),
              (std::vector<Node_counts>{
                  {"root", 3, 3, 3}, {"a", 3, 3, 3}, {"golf", 3, 3, 3}, {"golf", 3, 3, 3}}));
}

TEST(TreeQualityTest, NodesBelowTheDeepestLevelAreLeftOut) {
    std::vector<Kc_tree_line> lines;
    for (int depth = 0; depth < 60; ++depth) {
        lines.push_back(tree_line(depth, "n", depth == 59 ? 0 : 1));
    }
    const std::vector<Tree_node> tree = tree_quality(lines, {}, {});
    ASSERT_EQ(tree.size(), kDeepestNode + 1);
    EXPECT_TRUE(tree.front().has_children);
    EXPECT_FALSE(tree.back().has_children);
}

TEST(TreeQualityTest, LargeTreeIsCut) {
    std::vector<Kc_tree_line> lines = {tree_line(0, "root", 5000)};
    for (int i = 0; i < 5000; ++i) {
        lines.push_back(tree_line(1, "leaf", 0));
    }
    EXPECT_EQ(tree_quality(lines, {}, {}).size(), kMostNodes);
}

}  // namespace

}  // namespace zandrel::cli
