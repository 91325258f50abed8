#include "text/kc/Kc_tree_view.h"

#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/small_kc.h"
#include "text/errors.h"
#include "text/kc/Kc_tree.h"

namespace zandrel::cli {

namespace {

std::string lines_of_view(const Tree_view& view) {
    std::ostringstream out;
    print_tree(view, out);
    return out.str();
}

TEST(KcTreeViewTest, ChildrenAreShownByName) {
    Small_kc kc;

    EXPECT_EQ(lines_of_view(view_tree(kc.Manager(), "", -1)),
              "root [stat] NoScore\n"
              "  filter [rule] NoScore messages=0\n"
              "    rest [leaf] rule=default\n"
              "    spam [leaf] rule=1\n"
              "  mail [leaf] messages=1\n"
              "  news [stat] NoScore messages=3\n"
              "    money [leaf] messages=1\n"
              "    sport [leaf] messages=2\n");
}

TEST(KcTreeViewTest, OrderDoesNotDependOnTheOrderOfTheEdits) {
    Small_kc kc;
    const std::string before = lines_of_view(view_tree(kc.Manager(), "root/filter", -1));

    delete_node(kc.Manager(), "root/filter/spam", false);
    Node_attributes spam;
    spam.rule = "1";
    add_node(kc.Manager(), "root/filter/spam", spam);

    EXPECT_EQ(lines_of_view(view_tree(kc.Manager(), "root/filter", -1)), before);
}

TEST(KcTreeViewTest, ViewBeginsAtANodeAndStopsAtADepth) {
    Small_kc kc;

    EXPECT_EQ(lines_of_view(view_tree(kc.Manager(), "root/news/sport", -1)),
              "sport [leaf] messages=2\n");
    EXPECT_EQ(lines_of_view(view_tree(kc.Manager(), "root/news", 0)),
              "news [stat] NoScore messages=3 children=2\n");
    EXPECT_EQ(lines_of_view(view_tree(kc.Manager(), "", 1)),
              "root [stat] NoScore\n"
              "  filter [rule] NoScore messages=0 children=2\n"
              "  mail [leaf] messages=1\n"
              "  news [stat] NoScore messages=3 children=2\n");
    EXPECT_THROW(view_tree(kc.Manager(), "root/x", -1), Usage_error);
}

TEST(KcTreeViewTest, EachAttributeIsShown) {
    Small_kc kc;
    kc.Manager().m_compat55 = true;
    Node_attributes attributes;
    attributes.threshold = 0.1;
    attributes.is_scored = false;
    attributes.rule = "\"a\nb\"";
    change_node(kc.Manager(), "root/filter/spam", attributes);
    rename_node(kc.Manager(), "root/filter/spam", "new\nname");

    EXPECT_EQ(lines_of_view(view_tree(kc.Manager(), "root/filter", -1)),
              "filter [rule] NoScore messages=0\n"
              "  new\\x0Aname [leaf] NoScore category=spam threshold=0.1 rule=\"a\\x0Ab\"\n"
              "  rest [leaf] rule=default\n");
}

TEST(KcTreeViewTest, JsonHasNestedObjects) {
    Small_kc kc;
    Node_attributes attributes;
    attributes.threshold = 0.5;
    attributes.note1 = "one";
    attributes.note2 = "two\n";
    change_node(kc.Manager(), "root/filter/spam", attributes);

    EXPECT_EQ(
        tree_json(view_tree(kc.Manager(), "root/filter", -1)).dump(),
        R"({"name":"filter","category":"filter","type":"rule","scored":false,"threshold":0.0,)"
        R"("rule":"","note1":"","note2":"","messages":0,"child_count":2,"children":[)"
        R"({"name":"rest","category":"rest","type":"leaf","scored":true,"threshold":0.0,)"
        R"("rule":"default","note1":"","note2":"","messages":null,"child_count":0,"children":[]},)"
        R"({"name":"spam","category":"spam","type":"leaf","scored":true,"threshold":0.5,)"
        R"("rule":"1","note1":"one","note2":"two\n","messages":null,"child_count":0,)"
        R"("children":[]}]})");
}

TEST(KcTreeViewTest, ObjectsHaveNoListOfHiddenChildren) {
    Small_kc kc;
    const nlohmann::ordered_json json = tree_json(view_tree(kc.Manager(), "root", 1));

    EXPECT_EQ(json["children"].size(), 3U);
    EXPECT_EQ(json["children"][2]["name"], "news");
    EXPECT_EQ(json["children"][2]["child_count"], 2);
    EXPECT_FALSE(json["children"][2].contains("children"));
}

TEST(KcTreeViewTest, ContainerWithoutNodesShowsNothing) {
    zeManager manager;
    const Tree_view view = view_tree(manager, "", -1);

    EXPECT_EQ(lines_of_view(view), "");
    EXPECT_EQ(tree_json(view).dump(), "null");
}

TEST(KcTreeViewTest, TooManyLevelsOfObjectsAreRefused) {
    Edited_container kc;
    unsigned int parent = kc.Root(ZE_STAT);
    for (int level = 1; level <= kDeepestTreeJson + 1; ++level) {
        parent = kc.Add(parent, "n" + std::to_string(level));
    }

    EXPECT_THROW(tree_json(view_tree(kc.manager, "", -1)), std::length_error);
    const nlohmann::ordered_json deepest = tree_json(view_tree(kc.manager, "", kDeepestTreeJson));
    EXPECT_TRUE(deepest.is_object());
    // With sanitizers, stack frames of unoptimised code are too large for so many levels.
#ifndef ZANDREL_SANITIZED
    EXPECT_FALSE(deepest.dump().empty());
#endif
}

}  // namespace

}  // namespace zandrel::cli
