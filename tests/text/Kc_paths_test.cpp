#include "text/kc/Kc_paths.h"

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/logical_tree.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

// root - news - sport
//      - a/b
struct Named_tree : Edited_container {
    unsigned int root = Root(ZE_STAT);
    unsigned int news = Add(root, "news", "", ZE_STAT);
    unsigned int sport = Add(news, "sport");
    unsigned int stroke = Add(root, "a/b");
};

std::string refusal_of(const std::function<void()>& lookup) {
    try {
        lookup();
    } catch (const Usage_error& error) {
        return error.what();
    }
    return "none";
}

TEST(KcPathsTest, NodesAreFoundFromTheRootDown) {
    const Named_tree kc;

    const struct {
        std::string path;
        unsigned int id;
    } rows[] = {
        {"root", kc.root},         {"root/news", kc.news},      {"root/news/sport", kc.sport},
        {"/root//news/", kc.news}, {R"(root/a\/b)", kc.stroke},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(find_node(kc.tree, row.path).id, row.id);
    }
}

TEST(KcPathsTest, ErrorSaysHowMuchOfAPathExists) {
    const Named_tree kc;

    const struct {
        std::string path;
        std::string refusal;
    } rows[] = {
        {"", R"(no node "": a path begins with the name of the root, "root")"},
        {"news", R"(no node "news": a path begins with the name of the root, "root")"},
        {"root/x", R"(no node "root/x": "root" has no child "x")"},
        {"root/news/x/y", R"(no node "root/news/x/y": "root/news" has no child "x")"},
        {"root/a/b", R"(no node "root/a/b": "root" has no child "a")"},
        {"root/\n", R"(no node "root/\x0A": "root" has no child "\x0A")"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(refusal_of([&] { find_node(kc.tree, row.path); }), row.refusal);
    }
}

TEST(KcPathsTest, ContainerWithoutNodesHasNoPaths) {
    const Edited_container kc;

    EXPECT_EQ(refusal_of([&] { find_node(kc.tree, "root"); }),
              R"(no node "root": the container has no node)");
}

TEST(KcPathsTest, LastNameOfAPathIsTheNewNode) {
    const Named_tree kc;

    const New_place place = find_new_place(kc.tree, R"(root/news/x\/y)");

    EXPECT_EQ(place.parent, kc.news);
    EXPECT_EQ(place.name, "x/y");
}

TEST(KcPathsTest, NewNodeNeedsAKnownParent) {
    const Named_tree kc;

    const struct {
        std::string path;
        std::string refusal;
    } rows[] = {
        {"root", R"("root" is the root: a new node stands below another)"},
        {"top", R"(no node "top": a path begins with the name of the root, "root")"},
        {"", R"(no node "": a path begins with the name of the root, "root")"},
        {"top/x", R"(no node "top/x": a path begins with the name of the root, "root")"},
        {"root/x/y", R"(no node "root/x/y": "root" has no child "x")"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(refusal_of([&] { find_new_place(kc.tree, row.path); }), row.refusal);
    }
}

TEST(KcPathsTest, ShownPathFindsItsNode) {
    Named_tree kc;
    const unsigned int odd = kc.Add(kc.stroke, R"(back\slash)");

    const std::string path = shown_path(kc.tree, odd);

    EXPECT_EQ(path, R"(root/a\/b/back\\slash)");
    EXPECT_EQ(find_node(kc.tree, path).id, odd);
}

TEST(KcPathsTest, CharactersThatWouldBreakTheLineAreShown) {
    Named_tree kc;

    EXPECT_EQ(shown_path(kc.tree, kc.Add(kc.root, "two\nlines")), R"(root/two\x0Alines)");
    EXPECT_EQ(shown_name("a/b\n"), R"(a\/b\x0A)");
}

TEST(KcPathsTest, UnknownIdHasNoPath) {
    const Named_tree kc;

    EXPECT_EQ(shown_path(kc.tree, 77), "");
}

}  // namespace

}  // namespace zandrel::cli
