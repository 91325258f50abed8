#include "text/kc/Kept_confidence.h"

#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

namespace zandrel {

namespace {

const std::vector<Judged_answer> kOneAnswer = {{{0.5, 0.25}, true}};

TEST(KeptConfidenceTest, KeptMapIsReadBack) {
    const Confidence_map map = Confidence_map::fit(kOneAnswer);
    zeManager manager;
    manager.m_modified = false;
    keep_confidence(map, manager);
    const zeConfig& config = manager.m_config;

    EXPECT_TRUE(manager.m_modified);
    EXPECT_FALSE(has_damaged_confidence(config));
    EXPECT_EQ(config.get_optional("zandrel.confidence")->str(), map.text());
    ASSERT_TRUE(kept_confidence(config).has_value());
    EXPECT_EQ(kept_confidence(config)->text(), map.text());
    EXPECT_EQ(missing_confidence("a.kc", config), "");
}

TEST(KeptConfidenceTest, ContainerWithoutAMapSaysHowToMakeOne) {
    const zeConfig config;

    EXPECT_FALSE(kept_confidence(config).has_value());
    EXPECT_FALSE(has_damaged_confidence(config));
    EXPECT_EQ(missing_confidence("a.kc", config),
              "a.kc has no confidence map; zandrel train --keep-tree --calibrate makes one");
    EXPECT_EQ(missing_confidence("a.kc", config, true),
              "a.kc has no confidence map; zandrel train --keep-tree --calibrate makes one after "
              "zandrel convert --plain");
}

TEST(KeptConfidenceTest, DamagedMapCountsAsMissing) {
    zeManager manager;
    manager.m_config.set_optional("zandrel.confidence", "1 2 broken");

    EXPECT_FALSE(kept_confidence(manager.m_config).has_value());
    EXPECT_TRUE(has_damaged_confidence(manager.m_config));
    EXPECT_EQ(missing_confidence("a.kc", manager.m_config),
              "the confidence map of a.kc is damaged; zandrel train --keep-tree --calibrate makes "
              "one");
    EXPECT_TRUE(forget_confidence(manager));
}

TEST(KeptConfidenceTest, ForgettingRemovesTheSettingOnce) {
    zeManager manager;
    keep_confidence(Confidence_map::fit(kOneAnswer), manager);
    manager.m_modified = false;

    EXPECT_TRUE(forget_confidence(manager));
    EXPECT_EQ(manager.m_config.get_optional("zandrel.confidence"), nullptr);
    EXPECT_TRUE(manager.m_modified);
    manager.m_modified = false;
    EXPECT_FALSE(forget_confidence(manager));
    EXPECT_FALSE(manager.m_modified);
}

TEST(KeptConfidenceTest, WarningNamesFileAndReason) {
    EXPECT_EQ(forgotten_confidence("a.kc", "its tree has changed", false),
              "a.kc has no confidence map any more, since its tree has changed; zandrel train "
              "--keep-tree --calibrate makes one");
    EXPECT_EQ(forgotten_confidence("a.kc", "its tree has changed", true),
              "a.kc has no confidence map any more, since its tree has changed; zandrel train "
              "--keep-tree --calibrate makes one after zandrel convert --plain");
}

}  // namespace

}  // namespace zandrel
