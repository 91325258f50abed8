#include "text/kc/Tree_file.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "tests/cli/scratch_folder.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"
#include "tests/support/random_text_tree.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

const std::string kStatRootLine = "+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\n";
const std::string kRuleRootLine = "+\t[Rule]\t[NoScore]\t[]\t[root]\t[]\n";

std::string leaf_line(const std::string& level, const std::string& category,
                      const std::string& rule = "") {
    return level + "\t[Leaf]\t[Score]\t[]\t[" + category + "]\t[" + rule + "]\n";
}

// The message for a text, or "none" if it is accepted.
std::string tree_refusal(const std::string& text) {
    zeManager manager;
    std::istringstream input(text);
    try {
        load_tree_text(input, "a.tree", manager);
    } catch (const Data_error& error) {
        return error.what();
    }
    return "none";
}

std::string written_tree(const zeManager& manager) {
    std::ostringstream out;
    write_tree_text(manager, out);
    return out.str();
}

std::string reloaded_tree(const std::string& text) {
    zeManager manager;
    std::istringstream input(text);
    load_tree_text(input, "a.tree", manager);
    return written_tree(manager);
}

TEST(TreeFileTest, LoadedTextIsWrittenAgain) {
    const std::string text = kRuleRootLine + leaf_line("++", "a", "\"a\" | $b(n) > 1") +
                             leaf_line("++", "rest", "default") + leaf_line("++", "b", "0");

    EXPECT_EQ(reloaded_tree(text), text);
}

TEST(TreeFileTest, WrittenRandomTreeIsReadAndWrittenAgain) {
    for (unsigned int seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE(seed);
        Random_text_tree tree(seed, seed % 2 == 0, true);
        tree.Grow(1 + seed % 60);
        const std::string text = written_tree(tree.kc.manager);

        EXPECT_EQ(reloaded_tree(text), text);
    }
}

TEST(TreeFileTest, FirstWrongLineIsNamed) {
    EXPECT_EQ(tree_refusal(kStatRootLine + leaf_line("++", "a") + "bad\nworse\n"),
              "a.tree:3: Invalid line: bad");
}

TEST(TreeFileTest, EmptyLinesCount) {
    EXPECT_EQ(tree_refusal("\n\n" + kStatRootLine + "\nbad"), "a.tree:5: Invalid line: bad");
}

TEST(TreeFileTest, CarriageReturnAndLineFeedAreOneLineEnd) {
    EXPECT_EQ(tree_refusal("\r\n+\t[Stat]\t[Score]\t[]\t[root]\t[]\r\n\r\nbad\r\n"),
              "a.tree:4: Invalid line: bad");
}

// "a\rb" are two lines, as LoadText reads them.
TEST(TreeFileTest, CarriageReturnsWithoutLineFeedEndLinesToo) {
    EXPECT_EQ(tree_refusal("+\t[Stat]\t[Score]\t[]\t[root]\t[]\rbad\r"),
              "a.tree:2: Invalid line: bad");
    EXPECT_EQ(tree_refusal("\r\r\n+\t[Stat]\t[Score]\t[]\t[root]\t[]\r\r\nbad"),
              "a.tree:5: Invalid line: bad");
    EXPECT_EQ(reloaded_tree("+\t[Stat]\t[NoScore]\t[]\t[root]\t[]\r++\t[Leaf]\t[Score]\t[]\t[a]"
                            "\t[]"),
              kStatRootLine + leaf_line("++", "a"));
}

TEST(TreeFileTest, ByteOrderMarkIsSkippedOnlyAtTheStart) {
    EXPECT_EQ(reloaded_tree("\xEF\xBB\xBF" + kStatRootLine), kStatRootLine);
    EXPECT_EQ(
        tree_refusal(kStatRootLine + "\xEF\xBB\xBF" + leaf_line("++", "a")),
        "a.tree:2: Invalid level: \xEF\xBB\xBF++\\x09[Leaf]\\x09[Score]\\x09[]\\x09[a]\\x09[]");
}

TEST(TreeFileTest, SeveralTabsAndAMissingLastLineEndAreAccepted) {
    EXPECT_EQ(reloaded_tree("+\t\t[Stat]\t[NoScore]\t[]\t\t\t[root]\t[]\t"), kStatRootLine);
}

// Each row breaks one rule, in the order in which the rules are checked.
TEST(TreeFileTest, EachFailureNamesFileAndLine) {
    const struct {
        std::string text;
        std::string message;
    } rows[] = {
        {kStatRootLine + "++\t[Leaf]\t[Score]\t\t[a]\t[]",
         "a.tree:2: Invalid line: ++\\x09[Leaf]\\x09[Score]\\x09\\x09[a]\\x09[]"},
        {kStatRootLine + leaf_line("+++", "a"),
         "a.tree:2: Invalid level: +++\\x09[Leaf]\\x09[Score]\\x09[]\\x09[a]\\x09[]"},
        {"+\t[stat]\t[Score]\t[]\t[a]\t[]",
         "a.tree:1: Invalid type: +\\x09[stat]\\x09[Score]\\x09[]\\x09[a]\\x09[]"},
        {"+\t[Stat]\t[]\t[]\t[a]\t[]",
         "a.tree:1: Invalid score: +\\x09[Stat]\\x09[]\\x09[]\\x09[a]\\x09[]"},
        {"+\t[Stat]\t[Score]\ta\t[a]\t[]", "a.tree:1: a : invalid input string"},
        {"+\t[Stat]\t[Score]\t[]\ta]\t[]", "a.tree:1: a] : invalid input string"},
        {"+\t[Stat]\t[Score]\t[]\t[a]\t[", "a.tree:1: [ : invalid input string"},
        {kRuleRootLine + leaf_line("++", "a", "(1"),
         "a.tree:2: Invalid rule: [(1]: Invalid tokens: ( , $end"},
        {"+\t[Stat]\t[Score]\t[top]\t[root]\t[]\n++\t[Leaf]\t[Score]\t[]\t[]\t[]",
         "a.tree:2: Missing node name"},
        {"+\t[Stat]\t[Score]\t[top]\t[root]\t[]\n" + leaf_line("++", "a") +
             "++\t[Leaf]\t[Score]\t[a]\t[b]\t[]",
         "a.tree:3: a : Node name already in use by a sibling node"},
        {"+\t[Stat]\t[Score]\t[]\t[]\t[]", "a.tree:1: Missing category name"},
        {kStatRootLine + leaf_line("++", "a") + leaf_line("+++", "a"),
         "a.tree:3: a : Category name already in use under the current Principal node"},
        {kStatRootLine + kStatRootLine, "a.tree:2: More than one node under root"},
        {leaf_line("+", "root"), "a.tree:1: Non-Principal node under root"},
        {"+\t[Rule]\t[Score]\t[]\t[root]\t[1]", "a.tree:1: No rule allowed in root node"},
        {kStatRootLine + leaf_line("++", "a", "1"),
         "a.tree:2: Mixing rules and statistics on the same level"},
        {kRuleRootLine + leaf_line("++", "a", "default") + leaf_line("++", "b", "default"),
         "a.tree:3: OTHERWISE rule already exists in a sibling of the given node"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(tree_refusal(row.text), row.message);
    }
}

TEST(TreeFileTest, TextWithoutNodesIsRefused) {
    for (const char* const text : {"", "\n", "\r\n\r\n", "\xEF\xBB\xBF"}) {
        EXPECT_EQ(tree_refusal(text), "a.tree: no node");
    }
}

TEST(TreeFileTest, MessageShowsControlCharactersAndBytesBehindAZeroByteEscaped) {
    EXPECT_EQ(tree_refusal(std::string("\x1B[1m\0b", 6)), "a.tree:1: Invalid line: \\x1B[1m\\x00b");
}

TEST(TreeFileTest, MessageOfALongLineIsShort) {
    EXPECT_LT(tree_refusal(std::string(100000, 'x')).size(), 800U);
}

TEST(TreeFileTest, FileIsReadByItsName) {
    const Scratch_folder folder;
    zeManager manager;

    load_tree_file(folder.write("a.tree", kStatRootLine), manager);

    EXPECT_EQ(written_tree(manager), kStatRootLine);
}

TEST(TreeFileTest, FileThatCannotBeReadIsReported) {
    const Scratch_folder folder;
    zeManager manager;

    EXPECT_THROW(load_tree_file(folder.file("missing"), manager), Input_error);
    EXPECT_THROW(load_tree_file(folder.path(), manager), Input_error);
    EXPECT_TRUE(manager.m_logical_tree->nodes.empty());
}

TEST(TreeFileTest, NodesWithWhiteSpaceThatTheTextDoesNotHaveAreCounted) {
    Edited_container kc;
    const unsigned int root = kc.Root(ZE_RULE);
    kc.Add(root, "a b", "1 > 0");
    EXPECT_EQ(changed_node_count(kc.manager), 0U);

    kc.Add(root, "a\tb", "1\n");
    kc.Add(root, "c", "1\t");
    EXPECT_EQ(changed_node_count(kc.manager), 2U);
}

TEST(TreeFileTest, NodesOfEachTypeAreCounted) {
    Edited_container kc;
    std::ostringstream one;
    const unsigned int root = kc.Root(ZE_RULE);
    print_node_counts(kc.manager, one);
    EXPECT_EQ(one.str(), "1 node: 1 rule node, 0 statistical nodes, 0 leaves\n");

    std::ostringstream several;
    kc.Add(root, "a", "1", ZE_STAT);
    kc.Add(root, "b", "1");
    kc.Add(root, "c", "1");
    print_node_counts(kc.manager, several);
    EXPECT_EQ(several.str(), "4 nodes: 1 rule node, 1 statistical node, 2 leaves\n");
}

}  // namespace

}  // namespace zandrel::cli
