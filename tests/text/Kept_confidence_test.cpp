#include "text/kc/Kept_confidence.h"

#include <vector>

#include <gtest/gtest.h>

#include "zandrel/persistence/zeConfig.h"

namespace zandrel {

namespace {

const std::vector<Judged_answer> kOneAnswer = {{{0.5, 0.25}, true}};

TEST(KeptConfidenceTest, KeptMapIsReadBack) {
    const Confidence_map map = Confidence_map::fit(kOneAnswer);
    zeConfig config;
    keep_confidence(map, config);

    EXPECT_EQ(config.get_optional("zandrel.confidence")->str(), map.text());
    ASSERT_TRUE(kept_confidence(config).has_value());
    EXPECT_EQ(kept_confidence(config)->text(), map.text());
    EXPECT_EQ(missing_confidence("a.kc", config), "");
}

TEST(KeptConfidenceTest, ContainerWithoutAMapSaysHowToMakeOne) {
    const zeConfig config;

    EXPECT_FALSE(kept_confidence(config).has_value());
    EXPECT_EQ(missing_confidence("a.kc", config),
              "a.kc has no confidence map; zandrel train --keep-tree --calibrate makes "
              "one");
}

TEST(KeptConfidenceTest, DamagedMapCountsAsMissing) {
    zeConfig config;
    config.set_optional("zandrel.confidence", "1 2 broken");

    EXPECT_FALSE(kept_confidence(config).has_value());
    EXPECT_EQ(missing_confidence("a.kc", config),
              "the confidence map of a.kc is damaged; zandrel train --keep-tree --calibrate makes "
              "one");
    EXPECT_TRUE(has_damaged_confidence(config));
    EXPECT_TRUE(forget_confidence(config));
    EXPECT_FALSE(has_damaged_confidence(config));
}

TEST(KeptConfidenceTest, ForgettingRemovesTheSettingOnce) {
    zeConfig config;
    keep_confidence(Confidence_map::fit(kOneAnswer), config);

    EXPECT_TRUE(forget_confidence(config));
    EXPECT_EQ(config.get_optional("zandrel.confidence"), nullptr);
    EXPECT_FALSE(forget_confidence(config));
}

TEST(KeptConfidenceTest, WarningNamesFileAndReason) {
    EXPECT_EQ(forgotten_confidence("a.kc", "its tree has changed"),
              "a.kc has no confidence map any more, since its tree has changed; zandrel train "
              "--keep-tree --calibrate makes one");
}

}  // namespace

}  // namespace zandrel
