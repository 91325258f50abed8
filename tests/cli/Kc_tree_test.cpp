#include "text/kc/Kc_tree.h"

#include <array>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"

#include "tests/cli/small_kc.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

Node_attributes with_type(unsigned char type) {
    Node_attributes attributes;
    attributes.type = type;
    return attributes;
}

Node_attributes with_rule(const std::string& rule) {
    Node_attributes attributes;
    attributes.rule = rule;
    return attributes;
}

bool is_scored(const zeLogicalNode& node) {
    EXPECT_EQ(node.attributes, node.physical_node->m_flags);
    return (node.attributes & zeNode::NoScore) == 0;
}

// The kind and the text of the error of an edit; "none" if it raises none.
std::string refusal_of_edit(const std::function<void()>& edit) {
    try {
        edit();
    } catch (const Usage_error& error) {
        return std::string("usage: ") + error.what();
    } catch (const Data_error& error) {
        return std::string("data: ") + error.what();
    } catch (const Edit_refused&) {
        return "compact";
    } catch (const qtxAll& error) {
        return std::string("tree: ") + error.what();
    }
    return "none";
}

TEST(KcTreeTest, LeafIsScoredUnlessRequestedOtherwise) {
    Small_kc kc;

    add_node(kc.Manager(), "root/news/art", {});

    const zeLogicalNode& added = kc.Node("root/news/art");
    EXPECT_EQ(added.type, ZE_LEAF);
    EXPECT_TRUE(is_scored(added));
    EXPECT_EQ(added.rule, "");
    EXPECT_EQ(added.threshold, 0.0);
    EXPECT_TRUE(kc.Manager().m_modified);
    ExpectSound(kc.Manager());
}

TEST(KcTreeTest, NodeIsAddedWithAllGivenAttributes) {
    Small_kc kc;
    Node_attributes attributes = with_rule("2");
    attributes.type = ZE_STAT;
    attributes.threshold = 0.25;
    attributes.is_scored = true;
    attributes.note1 = "first";
    attributes.note2 = "second";

    add_node(kc.Manager(), "root/filter/shop", attributes);

    const zeLogicalNode& added = kc.Node("root/filter/shop");
    EXPECT_EQ(added.type, ZE_STAT);
    EXPECT_TRUE(is_scored(added));
    EXPECT_EQ(added.rule, "2");
    EXPECT_EQ(added.threshold, 0.25);
    EXPECT_EQ(added.note1, "first");
    EXPECT_EQ(added.note2, "second");
    ExpectSound(kc.Manager());
}

TEST(KcTreeTest, NewClassifierIsNotScored) {
    for (const unsigned char type : std::array<unsigned char, 2>{ZE_RULE, ZE_STAT}) {
        SCOPED_TRACE(unsigned{type});
        Small_kc kc;

        add_node(kc.Manager(), "root/inner", with_type(type));

        EXPECT_FALSE(is_scored(kc.Node("root/inner")));
    }
}

TEST(KcTreeTest, ScoringFollowsTheTypeUnlessItIsGiven) {
    Small_kc kc;
    change_node(kc.Manager(), "root/mail", with_type(ZE_STAT));
    EXPECT_FALSE(is_scored(kc.Node("root/mail")));
    change_node(kc.Manager(), "root/mail", with_type(ZE_LEAF));
    EXPECT_TRUE(is_scored(kc.Node("root/mail")));

    Node_attributes attributes = with_type(ZE_RULE);
    attributes.is_scored = true;
    change_node(kc.Manager(), "root/mail", attributes);
    EXPECT_TRUE(is_scored(kc.Node("root/mail")));
}

TEST(KcTreeTest, OnlyGivenAttributesChange) {
    Small_kc kc;
    Node_attributes attributes;
    attributes.note1 = "kept";
    attributes.is_scored = false;
    change_node(kc.Manager(), "root/filter/spam", attributes);
    attributes = with_rule("0");
    attributes.threshold = 0.5;

    change_node(kc.Manager(), "root/filter/spam", attributes);

    const zeLogicalNode& changed = kc.Node("root/filter/spam");
    EXPECT_EQ(changed.note1, "kept");
    EXPECT_FALSE(is_scored(changed));
    EXPECT_EQ(changed.rule, "0");
    EXPECT_EQ(changed.threshold, 0.5);
    EXPECT_EQ(changed.type, ZE_LEAF);
    ExpectSound(kc.Manager());
}

TEST(KcTreeTest, EmptyTextClearsANote) {
    Small_kc kc;
    Node_attributes attributes;
    attributes.note2 = "gone";
    change_node(kc.Manager(), "root/mail", attributes);
    attributes.note2 = "";

    change_node(kc.Manager(), "root/mail", attributes);

    EXPECT_EQ(kc.Node("root/mail").note2, "");
}

TEST(KcTreeTest, ChangeWithoutDifferenceLeavesTheContainerUnmodified) {
    Small_kc kc;

    change_node(kc.Manager(), "root/filter/spam", with_rule("1"));
    rename_node(kc.Manager(), "root/mail", "mail");

    EXPECT_FALSE(kc.Manager().m_modified);
}

TEST(KcTreeTest, RootWithoutChildrenChangesItsType) {
    Small_kc kc;
    for (const char* const path : {"root/mail", "root/news", "root/filter"}) {
        delete_node(kc.Manager(), path, false);
    }

    change_node(kc.Manager(), "root", with_type(ZE_RULE));

    EXPECT_EQ(kc.Node("root").type, ZE_RULE);
    EXPECT_FALSE(is_scored(kc.Node("root")));
    ExpectSound(kc.Manager());
}

TEST(KcTreeTest, NodeAndCategoryAreRenamed) {
    Small_kc kc;

    rename_node(kc.Manager(), "root/news/sport", R"(sport/a\b)");

    const zeLogicalNode& renamed = kc.Node(R"(root/news/sport\/a\\b)");
    EXPECT_EQ(renamed.category.view(), R"(sport/a\b)");
    EXPECT_EQ(renamed.name, renamed.category);
    EXPECT_FALSE(kc.Has("root/news/sport"));
    ExpectSound(kc.Manager());
}

TEST(KcTreeTest, OnlyTheNodeIsRenamedInCompatibilityMode) {
    Small_kc kc;
    kc.Manager().m_compat55 = true;

    rename_node(kc.Manager(), "root/news/sport", "games");

    EXPECT_EQ(kc.Node("root/news/games").category.view(), "sport");
}

TEST(KcTreeTest, NameOfTheContainerFollowsTheRootsIfTheyWereEqual) {
    Small_kc kc;

    rename_node(kc.Manager(), "root", "shop");
    EXPECT_EQ(kc.Manager().m_config.kc_name, "shop");

    kc.Manager().m_config.kc_name = "its own";
    rename_node(kc.Manager(), "shop", "store");
    EXPECT_EQ(kc.Manager().m_config.kc_name, "its own");
}

TEST(KcTreeTest, NodeMovesWithAllNodesBelowIt) {
    Small_kc kc;
    add_node(kc.Manager(), "root/news/sport/ball", {});

    move_node(kc.Manager(), "root/news/sport", "root", true);

    EXPECT_TRUE(kc.Has("root/sport/ball"));
    EXPECT_FALSE(kc.Has("root/news/sport"));
    ExpectSound(kc.Manager());
}

TEST(KcTreeTest, MoveThatForgetsTrainingIsRefusedWithAList) {
    const struct {
        const char* what;
        const char* path;
        const char* target;
        const char* forgotten;
    } rows[] = {
        {"a leaf", "root/news/sport", "root", "sport (2 messages at root/news)"},
        {"a leaf of one message", "root/mail", "root/news", "mail (1 message at root)"},
        {"a leaf that goes below a leaf", "root/mail", "root/news/sport",
         "mail (1 message at root)"},
        {"a classifier, which goes on knowing its own", "root/news", "root/filter/rest",
         "news (3 messages at root)"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Small_kc kc;

        EXPECT_EQ(refusal_of_edit([&] { move_node(kc.Manager(), row.path, row.target, false); }),
                  std::string("usage: tree move would forget what was learned of ") +
                      row.forgotten + "; --forget moves it all the same");

        Small_kc forgetful;
        EXPECT_EQ(
            refusal_of_edit([&] { move_node(forgetful.Manager(), row.path, row.target, true); }),
            "none");
        ExpectSound(forgetful.Manager());
    }
}

TEST(KcTreeTest, MoveThatForgetsNothingNeedsNoForgetOption) {
    Small_kc kc;
    zeManager& manager = kc.Manager();
    add_node(manager, "root/art", {});
    add_node(manager, "root/art/music", {});

    move_node(manager, "root/art/music", "root/mail", false);  // within one classifier
    move_node(manager, "root/art", "root/news", false);        // nothing was learned for it
    add_node(manager, "root/filter/more", with_rule("2"));
    add_node(manager, "root/filter/more/deep", with_rule("3"));
    move_node(manager, "root/filter/more/deep", "root/filter", false);  // a rule learns nothing
    move_node(manager, "root/mail/music", "root/news", false);

    EXPECT_TRUE(kc.Has("root/news/art"));
    EXPECT_TRUE(kc.Has("root/news/music"));
    EXPECT_TRUE(kc.Has("root/filter/deep"));
    EXPECT_EQ(kc.Storage("root").m_num_msgs, 4);
    ExpectSound(manager);
}

TEST(KcTreeTest, ErrorOfAMoveNamesOnlySomeOfManyNodes) {
    Small_kc kc;
    zeManager& manager = kc.Manager();
    Small_corpus corpus;
    for (const char* const name : {"a", "b", "c", "d", "e", "f"}) {
        add_node(manager, std::string("root/mail/") + name, {});
        corpus.add(MessageBuilder().bag({{name, 1.0}}),
                   {kc.Node(std::string("root/mail/") + name).physical_node});
    }
    kc.Matcher("root").train(corpus.view);

    EXPECT_EQ(refusal_of_edit([&] { move_node(manager, "root/mail", "root/news", false); }),
              "usage: tree move would forget what was learned of a (1 message at root), b (1 "
              "message at root), c (1 message at root), d (1 message at root), e (1 message at "
              "root) and 2 more; --forget moves it all the same")
        << "f, and mail itself";
}

TEST(KcTreeTest, ThresholdMustBeAScoreUnlessARuleGivesTheValue) {
    const auto with_threshold = [](double threshold) {
        Node_attributes attributes;
        attributes.threshold = threshold;
        return attributes;
    };
    const auto refusal = [](const char* threshold) {
        return std::string("usage: threshold ") + threshold +
               " is not between 0 and 1; only a rule node, or a node below one, can have another "
               "number";
    };
    Small_kc kc;
    zeManager& manager = kc.Manager();

    const auto add = [&](const char* path, Node_attributes attributes) {
        return refusal_of_edit([&] { add_node(manager, path, attributes); });
    };
    const auto change = [&](const char* path, const Node_attributes& attributes) {
        return refusal_of_edit([&] { change_node(manager, path, attributes); });
    };

    EXPECT_EQ(add("root/new", with_threshold(90)), refusal("90"));
    EXPECT_FALSE(kc.Has("root/new"));
    EXPECT_EQ(change("root/news", with_threshold(1.5)), refusal("1.5"));
    EXPECT_EQ(change("root/news/sport", with_threshold(-0.5)), refusal("-0.5"));
    EXPECT_EQ(kc.Node("root/news").threshold, 0.0);
    EXPECT_EQ(change("root/news", with_threshold(1)), "none");
    EXPECT_EQ(change("root/news", with_threshold(0)), "none");

    EXPECT_EQ(change("root/filter", with_threshold(90)), "none");
    EXPECT_EQ(change("root/filter/spam", with_threshold(-90)), "none");
    Node_attributes attributes = with_threshold(90);
    attributes.type = ZE_RULE;
    EXPECT_EQ(add("root/other", attributes), "none");
    attributes = with_rule("$size(n)");
    attributes.threshold = 90.0;
    EXPECT_EQ(add("root/mail/large", attributes), "none") << "its parent becomes a rule node";
    attributes.type = ZE_STAT;
    attributes.rule = "default";
    EXPECT_EQ(add("root/other/rest", attributes), "none");
    EXPECT_EQ(add("root/other/rest/deep", with_threshold(90)), "none");
}

TEST(KcTreeTest, NodeIsDeletedWithAllNodesBelowIt) {
    Small_kc kc;

    delete_node(kc.Manager(), "root/news", false);

    EXPECT_FALSE(kc.Has("root/news"));
    ExpectSound(kc.Manager());
}

// The classifier of the root has learned four messages. In two of them "goal" is half of the bag,
// so its weight is 2 * 0.5 = 1. Three of the four messages belong to the deleted category, so all
// weights are scaled by 1/4, the share of the message that remains.
TEST(KcTreeTest, DeletedConceptsStayInTheTableIfRequested) {
    Small_kc forgetful;
    Small_kc kc;

    delete_node(forgetful.Manager(), "root/news", false);
    delete_node(kc.Manager(), "root/news", true);

    EXPECT_DOUBLE_EQ(info_of(forgetful.Storage("root"), "goal").m_weight, 0.0);
    EXPECT_DOUBLE_EQ(info_of(kc.Storage("root"), "goal").m_weight, 0.25);
    EXPECT_FALSE(kc.Has("root/news"));
}

TEST(KcTreeTest, RefusedEditChangesNothing) {
    Small_kc kc;
    zeManager& manager = kc.Manager();

    const struct {
        const char* refusal;
        std::function<void()> edit;
    } rows[] = {
        {R"(usage: no node "root/x/y": "root" has no child "x")",
         [&] { add_node(manager, "root/x/y", {}); }},
        {R"(usage: no node "root/x": "root" has no child "x")",
         [&] { change_node(manager, "root/x", with_type(ZE_STAT)); }},
        {R"(usage: no node "root/x": "root" has no child "x")",
         [&] { move_node(manager, "root/mail", "root/x", false); }},
        {R"(usage: no node "root/x": "root" has no child "x")",
         [&] { delete_node(manager, "root/x", false); }},
        {"data: rule: Invalid tokens: 1 , 2",
         [&] { add_node(manager, "root/filter/x", with_rule("1 2")); }},
        {"data: rule: Empty expression",
         [&] { change_node(manager, "root/filter/spam", with_rule(" ")); }},
        {"tree: mail : Category name already in use under the current Principal node",
         [&] { add_node(manager, "root/mail", {}); }},
        {"tree: Mixing rules and statistics on the same level",
         [&] { add_node(manager, "root/filter/x", {}); }},
        {"tree: OTHERWISE rule already exists in a sibling of the given node",
         [&] { add_node(manager, "root/filter/x", with_rule("default")); }},
        {"tree: Cannot switch node type",
         [&] { change_node(manager, "root/mail", with_rule("1")); }},
        {"tree: Cannot switch node type",
         [&] { change_node(manager, "root/filter/spam", with_rule("")); }},
        {"tree: Cannot change root type",
         [&] { change_node(manager, "root", with_type(ZE_RULE)); }},
        {"tree: Invalid new root type", [&] { change_node(manager, "root", with_type(ZE_LEAF)); }},
        {"tree: Cannot delete top node", [&] { delete_node(manager, "root", false); }},
        {"tree: Cannot move the node down",
         [&] { move_node(manager, "root/news", "root/news/sport", false); }},
        {"tree: Invalid move", [&] { move_node(manager, "root/mail", "root", false); }},
        {"tree: Missing category name", [&] { rename_node(manager, "root/mail", ""); }},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.refusal);
        const Unchanged unchanged(manager);
        EXPECT_EQ(refusal_of_edit(row.edit), row.refusal);
    }
}

TEST(KcTreeTest, LeafWithChildrenDoesNotBecomeRuleNode) {
    Small_kc kc;
    zeManager& manager = kc.Manager();
    add_node(manager, "root/mail/letters", {});
    const Unchanged unchanged(manager);

    EXPECT_EQ(refusal_of_edit([&] { change_node(manager, "root/mail", with_type(ZE_RULE)); }),
              "tree: Cannot switch node type");
}

TEST(KcTreeTest, CategoriesOfStatisticalClassifiersInACompactContainerCannotChange) {
    const struct {
        const char* what;
        std::function<void(zeManager&)> edit;
    } rows[] = {
        {"a new category", [](zeManager& manager) { add_node(manager, "root/x", {}); }},
        {"a new one below a leaf",
         [](zeManager& manager) { add_node(manager, "root/mail/x", {}); }},
        {"one that goes", [](zeManager& manager) { delete_node(manager, "root/mail", false); }},
        {"a classifier that goes",
         [](zeManager& manager) { delete_node(manager, "root/news", true); }},
        {"a rule node that goes",
         [](zeManager& manager) { delete_node(manager, "root/filter", false); }},
        {"one that moves up",
         [](zeManager& manager) { move_node(manager, "root/news/sport", "root", true); }},
        {"one that moves down",
         [](zeManager& manager) { move_node(manager, "root/mail", "root/news", true); }},
        {"those that a classifier leaves to the one above",
         [](zeManager& manager) { change_node(manager, "root/news", with_type(ZE_LEAF)); }},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Small_kc whole;
        EXPECT_EQ(refusal_of_edit([&] { row.edit(whole.Manager()); }), "none");
        Small_kc compact = Small_kc::Compact();
        EXPECT_EQ(refusal_of_edit([&] { row.edit(compact.Manager()); }), "compact");
    }
}

TEST(KcTreeTest, CompactContainerAllowsEditsThatSelectNoFeatures) {
    Small_kc kc = Small_kc::Compact();
    zeManager& manager = kc.Manager();
    const std::size_t features = kc.Matcher("root").m_table.size();
    ASSERT_GT(features, 0U);

    Node_attributes attributes;
    attributes.threshold = 0.5;
    attributes.is_scored = false;
    attributes.note1 = "note";
    change_node(manager, "root/news/sport", attributes);
    rename_node(manager, "root/news", "papers");
    change_node(manager, "root/filter/spam", with_rule("0"));
    add_node(manager, "root/filter/more", with_rule("2"));
    add_node(manager, "root/filter/more/deep", with_rule("3"));
    move_node(manager, "root/filter/more/deep", "root/filter", false);
    delete_node(manager, "root/filter/spam", false);
    change_node(manager, "root/mail", with_type(ZE_RULE));

    EXPECT_EQ(kc.Matcher("root").m_table.size(), features);
    EXPECT_TRUE(kc.Has("root/papers/sport"));
    EXPECT_TRUE(kc.Has("root/filter/deep"));
    EXPECT_FALSE(kc.Has("root/filter/spam"));
    ExpectSound(manager);
}

// The other container of an import: a statistical root with the leaf roses.
struct Garden : Edited_container {
    unsigned int root = Add(0, "garden", "", ZE_STAT);
    unsigned int roses = Add(root, "roses");
};

TEST(KcTreeTest, ImportedRootHasTheRuleThatItsClassifierHas) {
    for (const char* const own_rule : {"", "7"}) {
        Small_kc kc;
        Garden garden;
        garden.tree.GetNodePtr(garden.root)->rule = own_rule;

        const Import_report below_rules =
            import_tree(kc.Manager(), garden.manager, "root/filter", nullptr);

        EXPECT_EQ(below_rules.rule, "1.0");
        EXPECT_EQ(below_rules.path, "root/filter/garden");
        EXPECT_EQ(below_rules.decider, "root/filter");
        EXPECT_EQ(below_rules.nodes, 2U);
        EXPECT_EQ(below_rules.classifiers, 1U);
        EXPECT_EQ(kc.Node("root/filter/garden").rule, "1.0");
        change_node(kc.Manager(), "root/filter/garden", with_rule("2"));

        Garden second;
        second.tree.GetNodePtr(second.root)->rule = own_rule;
        const Import_report below_statistics =
            import_tree(kc.Manager(), second.manager, "root", nullptr);

        EXPECT_EQ(below_statistics.rule, "");
        EXPECT_EQ(below_statistics.decider, "root");
        EXPECT_EQ(kc.Node("root/garden").rule, "");
        ExpectSound(kc.Manager());
    }
}

TEST(KcTreeTest, ImportOfAUsedNameIsRefused) {
    Small_kc kc;
    add_node(kc.Manager(), "root/garden", {});
    Garden garden;
    const Unchanged target_stays(kc.Manager());
    const Unchanged source_stays(garden.manager);

    for (const char* const path : {"root", "root/mail", "root/garden"}) {
        EXPECT_EQ(
            refusal_of_edit([&] { import_tree(kc.Manager(), garden.manager, path, nullptr); }),
            "tree: garden : Category name already in use under the current Principal node");
    }
    EXPECT_EQ(
        refusal_of_edit([&] { import_tree(kc.Manager(), garden.manager, "root/none", nullptr); }),
        "usage: no node \"root/none\": \"root\" has no child \"none\"");
}

// The category is free, but two children would have the same path.
TEST(KcTreeTest, ImportOfANameOfASiblingIsRefusedIn55Mode) {
    Small_kc kc;
    kc.Manager().m_compat55 = true;
    kc.Manager().m_logical_tree->GetNodePtr(kc.Node("root/news").id)->name = term("garden");
    Garden garden;
    const Unchanged stays(kc.Manager());

    try {
        import_tree(kc.Manager(), garden.manager, "root", nullptr);
        ADD_FAILURE() << "nothing is raised";
    } catch (const Edit_refused& error) {
        EXPECT_STREQ(error.what(), "garden : Node name already in use by a sibling node");
    }
}

TEST(KcTreeTest, ImportIntoACompactContainerIsRefusedWhereACategoryWouldBeAdded) {
    Small_kc kc = Small_kc::Compact();
    Garden garden;
    garden.manager.m_compact = true;
    {
        const Unchanged stays(kc.Manager());
        EXPECT_EQ(
            refusal_of_edit([&] { import_tree(kc.Manager(), garden.manager, "root", nullptr); }),
            "compact");
    }
    import_tree(kc.Manager(), garden.manager, "root/filter", nullptr);
    ExpectSound(kc.Manager());
}

}  // namespace

}  // namespace zandrel::cli
