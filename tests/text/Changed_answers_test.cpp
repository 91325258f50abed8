#include "text/kc/Changed_answers.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "text/kc/Kept_confidence.h"
#include "text/model/Text_model.h"

namespace zandrel {

namespace {

const std::vector<Labelled_text> kTexts = {{{"sport"}, "goal match"}, {{"food"}, "bread cheese"}};

class ChangedAnswersTest : public testing::Test {
protected:
    ChangedAnswersTest() {
        m_model.train(kTexts);
        m_model.give_confidence(Confidence_map::fit({}));
    }

    // The warning after an edit.
    std::string WarningOf(const std::function<void(zeLogicalTree& tree)>& edit) {
        qtPtrLight<zeManager> manager = m_model.manager();
        const Changed_answers before(manager);
        edit(*manager->m_logical_tree);
        return before.settle_confidence("a.kc", manager);
    }

    std::string WarningOfSetting(const std::string& key, const std::string& value) {
        return WarningOf([&](zeLogicalTree&) {
            qtPtrLight<zeManager> manager = m_model.manager();
            set_kc_settings(manager, {{key, value}});
        });
    }

    bool HasMap() const { return kept_confidence(m_model.manager()->m_config).has_value(); }

    zeLogicalNode Node(const std::string& path) const {
        return m_model.manager()->m_logical_tree->FindNodeByPath(qtString(path));
    }

    Text_model m_model{Model_options{{Analysis_kind::kWords}}};
};

TEST_F(ChangedAnswersTest, NothingChangedKeepsTheMap) {
    EXPECT_EQ(WarningOf([](zeLogicalTree&) {}), "");
    EXPECT_TRUE(HasMap());
}

TEST_F(ChangedAnswersTest, NewNameAndNewNoteKeepTheMap) {
    zeLogicalNode node = Node("root/sport");
    node.name = node.category = Concept::insert("games");
    node.note1 = "a note";
    EXPECT_EQ(WarningOf([&](zeLogicalTree& tree) { tree.ChangeLogicalNode(node); }), "");
    EXPECT_TRUE(HasMap());
}

TEST_F(ChangedAnswersTest, NewLeafDropsTheMap) {
    EXPECT_EQ(WarningOf([this](zeLogicalTree&) { m_model.add_label("music"); }),
              "a.kc has no confidence map any more, since its tree has changed; zandrel train "
              "--keep-tree --calibrate makes one");
    EXPECT_FALSE(HasMap());
}

TEST_F(ChangedAnswersTest, NewThresholdDropsTheMap) {
    zeLogicalNode node = Node("root/sport");
    node.threshold = 0.5;
    EXPECT_NE(WarningOf([&](zeLogicalTree& tree) { tree.ChangeLogicalNode(node); }), "");
    EXPECT_FALSE(HasMap());
}

TEST_F(ChangedAnswersTest, SettingOfScoresDropsTheMap) {
    EXPECT_EQ(WarningOfSetting("ClipValue", "7"),
              "a.kc has no confidence map any more, since its settings have changed; zandrel train "
              "--keep-tree --calibrate makes one");
    EXPECT_FALSE(HasMap());
}

TEST_F(ChangedAnswersTest, SettingOfLearningKeepsTheMap) {
    EXPECT_EQ(WarningOfSetting("AverageRlimit", "7000"), "");
    EXPECT_TRUE(HasMap());
}

TEST_F(ChangedAnswersTest, SettingOfRulesKeepsTheMapInATreeWithoutRules) {
    EXPECT_EQ(WarningOfSetting("FullPropogation", "0"), "");
    EXPECT_TRUE(HasMap());
}

// An edit of a container in cached form can write the tree before it ends.
TEST_F(ChangedAnswersTest, ContainerHasNoMapDuringTheEdit) {
    bool has_map = true;
    EXPECT_EQ(WarningOf([&](zeLogicalTree&) { has_map = HasMap(); }), "");
    EXPECT_FALSE(has_map);
    EXPECT_TRUE(HasMap());
}

TEST_F(ChangedAnswersTest, ContainerIsModifiedAfterADroppedMap) {
    m_model.manager()->m_modified = false;
    EXPECT_NE(WarningOf([this](zeLogicalTree&) {
                  m_model.add_label("music");
                  m_model.manager()->m_modified = false;  // as after the tree is written
              }),
              "");
    EXPECT_TRUE(m_model.manager()->m_modified);
}

TEST_F(ChangedAnswersTest, DamagedMapIsDroppedToo) {
    m_model.manager()->m_config.set_optional("zandrel.confidence", "damaged");
    EXPECT_NE(WarningOf([this](zeLogicalTree&) { m_model.add_label("music"); }), "");
    EXPECT_EQ(m_model.manager()->m_config.get_optional("zandrel.confidence"), nullptr);
}

TEST_F(ChangedAnswersTest, ContainerWithoutAMapGetsNoWarning) {
    m_model.drop_confidence();
    EXPECT_EQ(WarningOf([this](zeLogicalTree&) { m_model.add_label("music"); }), "");
}

}  // namespace

}  // namespace zandrel
