// Random trees that are dumped, loaded and dumped again give the same text.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtText.h"
#include "zandrel/knowledge/Tree_text.h"
#include "zandrel/knowledge/zeManager.h"

#include "tests/support/logical_tree.h"
#include "tests/support/random_text_tree.h"
#include "tests/support/scratch_file.h"

namespace {

void ExpectSameTextAfterLoading(const zeLogicalTree& tree, bool accepts_default) {
    const Scratch_file first;
    tree.DumpText(first.path());
    Edited_container loaded;
    if (accepts_default) {
        zandrel::Tree_text text(loaded.tree, zandrel::Tree_text::Default_rule::kAccepted);
        for (const qtString& line : qtTokenize(first.content(), "\n")) {
            text.AddLine(line);
        }
    } else {
        loaded.tree.LoadText(first.path());
    }
    const std::string before = first.content();
    loaded.tree.DumpText(first.path());

    EXPECT_EQ(first.content(), before);
    EXPECT_EQ(loaded.tree.nodes.size(), tree.nodes.size());
    ExpectSound(loaded.manager);
}

class zeLogicalTreeTextRandomTest : public testing::TestWithParam<bool> {};

TEST_P(zeLogicalTreeTextRandomTest, LoadedTreeIsDumpedAsTheSameText) {
    for (unsigned int seed = 0; seed < 100; ++seed) {
        SCOPED_TRACE(seed);
        Random_text_tree tree(seed, GetParam(), false);
        tree.Grow(1 + seed % 60);

        ExpectSameTextAfterLoading(tree.kc.tree, false);
    }
}

TEST_P(zeLogicalTreeTextRandomTest, TreeWithDefaultsIsDumpedAsTheSameText) {
    for (unsigned int seed = 100; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        Random_text_tree tree(seed, GetParam(), true);
        tree.Grow(1 + seed % 60);

        ExpectSameTextAfterLoading(tree.kc.tree, true);
    }
}

TEST_P(zeLogicalTreeTextRandomTest, EditedTreeIsDumpedAsTheSameText) {
    std::size_t refused_count = 0;
    for (unsigned int seed = 200; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        Random_text_tree tree(seed, GetParam(), true);
        tree.Grow(30);
        tree.Edit(40);
        refused_count += tree.RefusedCount();

        ExpectSameTextAfterLoading(tree.kc.tree, true);
    }
    EXPECT_LT(refused_count, 3600U) << "at least a tenth of the edits is carried out";
}

// The parameter: true if nodes have names of their own beside their categories.
INSTANTIATE_TEST_SUITE_P(Names, zeLogicalTreeTextRandomTest, testing::Bool());

}  // namespace
