// Paths of zeLogicalTree: node names from the root down.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Broken(const qtString& path) {
    std::vector<qtString> parts = {"from before"};
    zeLogicalTree::BreakPath(path, parts);
    std::vector<std::string> texts;
    for (const qtString& part : parts) {
        texts.push_back(part.str());
    }
    return texts;
}

class zeLogicalTreePathsTest : public testing::Test {
protected:
    std::string Path(unsigned int id) const {
        qtString path = "from before";
        kc.tree.GetNodePath(id, path);
        return path.str();
    }

    unsigned int Find(const qtString& path) const { return kc.tree.FindNodeByPath(path).id; }

    unsigned int Find(const std::vector<qtString>& parts, int count) const {
        return kc.tree.FindNodeByPath(parts, count).id;
    }

    Edited_container kc;
    unsigned int root = kc.Root(ZE_STAT);
    unsigned int news = kc.Add(root, "news");
    unsigned int sport = kc.Add(news, "sport");
};

TEST_F(zeLogicalTreePathsTest, BreakPathSplitsAtSeparators) {
    EXPECT_THAT(Broken("root/news/sport"), ElementsAre("root", "news", "sport"));
    EXPECT_THAT(Broken("root"), ElementsAre("root"));
}

TEST_F(zeLogicalTreePathsTest, BreakPathOfAnEmptyTextReturnsNoParts) {
    EXPECT_THAT(Broken(""), IsEmpty());
}

TEST_F(zeLogicalTreePathsTest, BreakPathDropsEmptyParts) {
    EXPECT_THAT(Broken("/root//news/"), ElementsAre("root", "news"));
    EXPECT_THAT(Broken("///"), IsEmpty());
}

TEST_F(zeLogicalTreePathsTest, BreakPathUnescapesSeparatorsAndBackslashes) {
    EXPECT_THAT(Broken(R"(a\/b/c)"), ElementsAre("a/b", "c"));
    EXPECT_THAT(Broken(R"(a\\/b)"), ElementsAre(R"(a\)", "b"));
    EXPECT_THAT(Broken(R"(\/)"), ElementsAre("/"));
    EXPECT_THAT(Broken(R"(\\\/)"), ElementsAre(R"(\/)"));
}

TEST_F(zeLogicalTreePathsTest, BreakPathKeepsABackslashBeforeOtherCharacters) {
    EXPECT_THAT(Broken(R"(a\b/c)"), ElementsAre(R"(a\b)", "c"));
    EXPECT_THAT(Broken(R"(a\)"), ElementsAre(R"(a\)"));
}

TEST_F(zeLogicalTreePathsTest, BreakPathAcceptsAPathThatIsOneOfTheResultParts) {
    std::vector<qtString> parts = {"a/b"};

    zeLogicalTree::BreakPath(parts.front(), parts);

    EXPECT_THAT(parts, ElementsAre(qtString("a"), qtString("b")));
}

TEST_F(zeLogicalTreePathsTest, FindNodeByPathFollowsTheNames) {
    EXPECT_EQ(Find("root"), root);
    EXPECT_EQ(Find("root/news"), news);
    EXPECT_EQ(Find("root/news/sport"), sport);
    EXPECT_EQ(Find("/root//news/sport/"), sport);
}

TEST_F(zeLogicalTreePathsTest, FindNodeByPathFindsNoUnknownNames) {
    for (const char* const path :
         {"", "/", "news", "root/sport", "root/news/none", "Root", "roo", "root/news/sport/x"}) {
        SCOPED_TRACE(path);

        EXPECT_EQ(&kc.tree.FindNodeByPath(path), &kc.tree.not_found_node);
    }
}

TEST_F(zeLogicalTreePathsTest, FindNodeByPathFindsNothingInAnEmptyTree) {
    const zeManager empty;

    EXPECT_EQ(empty.m_logical_tree->FindNodeByPath("root").id, 0U);
    EXPECT_EQ(empty.m_logical_tree->FindNodeByPath("").id, 0U);
}

TEST_F(zeLogicalTreePathsTest, FindNodeByPathUsesTheGivenNumberOfParts) {
    const std::vector<qtString> parts = {"root", "news", "sport"};

    EXPECT_EQ(Find(parts, 3), sport);
    EXPECT_EQ(Find(parts, 2), news);
    EXPECT_EQ(Find(parts, 1), root);
}

TEST_F(zeLogicalTreePathsTest, FirstPartMustBeTheRootsNameForAnyCount) {
    EXPECT_EQ(Find({"root", "none"}, 1), root);
    EXPECT_EQ(Find({"root"}, 0), root);
    EXPECT_EQ(Find({"root"}, -1), root);
    EXPECT_EQ(Find({"news"}, 0), 0U);
    EXPECT_EQ(Find(std::vector<qtString>(), 0), 0U);
}

TEST_F(zeLogicalTreePathsTest, CountAboveTheNumberOfPartsFindsNothing) {
    EXPECT_EQ(Find({"root", "news"}, 3), 0U);
    EXPECT_EQ(Find({"root"}, 2), 0U);
}

TEST_F(zeLogicalTreePathsTest, PartsOfAListAreNotUnescaped) {
    const unsigned int slash = kc.Add(root, "a/b");

    EXPECT_EQ(Find({"root", "a/b"}, 2), slash);
    EXPECT_EQ(Find({"root", R"(a\/b)"}, 2), 0U);
}

TEST_F(zeLogicalTreePathsTest, FirstChildIsFoundIfNamesAreEqual) {
    const unsigned int twin = kc.Add(root, "other");
    kc.tree.GetNodePtr(twin)->name = term("news");

    EXPECT_EQ(Find("root/news"), news);
}

TEST_F(zeLogicalTreePathsTest, GetNodePathJoinsTheNamesFromTheRootDown) {
    EXPECT_EQ(Path(root), "root");
    EXPECT_EQ(Path(news), "root/news");
    EXPECT_EQ(Path(sport), "root/news/sport");
}

TEST_F(zeLogicalTreePathsTest, GetNodePathOfAnUnknownIdIsEmpty) {
    EXPECT_EQ(Path(0), "");
    EXPECT_EQ(Path(99), "");
}

TEST_F(zeLogicalTreePathsTest, GetNodePathEscapesSeparatorsAndBackslashes) {
    EXPECT_EQ(Path(kc.Add(news, "a/b")), R"(root/news/a\/b)");
    EXPECT_EQ(Path(kc.Add(news, R"(a\b)")), R"(root/news/a\\b)");
}

TEST_F(zeLogicalTreePathsTest, EachNameIsFoundByItsPath) {
    for (const char* const name : {"/", "\\", "a/b", "a\\b", "\\/", "/\\", "a\\\\/", " ", "//"}) {
        SCOPED_TRACE(name);
        const unsigned int id = kc.Add(news, name);
        const unsigned int below = kc.Add(id, std::string("below ") + name);

        EXPECT_EQ(Find(Path(id)), id);
        EXPECT_EQ(Find(Path(below)), below);
    }
}

TEST_F(zeLogicalTreePathsTest, PathsUseNamesNotCategories) {
    kc.manager.m_compat55 = true;
    zeLogicalNode changed = kc.Copy(sport);
    changed.name = term("games");
    kc.tree.ChangeLogicalNode(changed);

    EXPECT_EQ(Path(sport), "root/news/games");
    EXPECT_EQ(Find("root/news/games"), sport);
    EXPECT_EQ(Find("root/news/sport"), 0U);
}

TEST_F(zeLogicalTreePathsTest, PathBelowADeletedParentBeginsWithASeparator) {
    zeNode* const deleted = kc.Physical(news);
    kc.tree.KCE_Delete(deleted);

    EXPECT_EQ(Path(sport), "/sport");
}

// Names of the bytes that a path treats in a special way, of others, and of a zero byte.
std::string RandomName(std::mt19937& random) {
    constexpr std::string_view kBytes("/\\/\\ab \0\xC3", 9);
    std::string name(1 + random() % 6, ' ');
    for (char& byte : name) {
        byte = kBytes[random() % kBytes.size()];
    }
    return name;
}

TEST_F(zeLogicalTreePathsTest, BreakPathReturnsTheNamesOfEachPath) {
    std::mt19937 random(17);
    const std::vector<unsigned int> chain = {root, news, sport, kc.Add(sport, "football")};
    for (int round = 0; round < 5000; ++round) {
        std::vector<std::string> names;
        for (const unsigned int id : chain) {
            names.push_back(RandomName(random));
            kc.tree.GetNodePtr(id)->name = term(names.back());
        }
        const std::string path = Path(chain.back());

        ASSERT_EQ(Broken(qtString(path)), names) << path;
        ASSERT_EQ(Find(path), chain.back()) << path;
    }
}

// A path may be written in several ways, for example with empty parts, or with a backslash that
// escapes nothing. GetNodePath returns the one that has neither.
TEST_F(zeLogicalTreePathsTest, PathOfTheBrokenPartsHasTheSameParts) {
    std::mt19937 random(18);
    for (int round = 0; round < 5000; ++round) {
        const std::vector<std::string> parts =
            Broken(qtString(RandomName(random) + RandomName(random)));
        unsigned int id = 0;
        kc.tree.Clear();
        for (const std::string& part : parts) {
            zeLogicalNode& node = kc.tree.nodes[id + 1];
            node.name = term(part);
            node.parent = id;
            id = node.id = id + 1;
        }

        ASSERT_EQ(Broken(qtString(Path(id))), parts) << Path(id);
    }
}

}  // namespace
