#include "text/kc/Kept_choices.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/persistence/zeConfig.h"
#include "zandrel/persistence/zeDefaults.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class KeptChoicesTest : public testing::Test {
protected:
    KeptChoicesTest() {
        m_defaults.profile_size = 5;
        m_defaults.suppress_M = false;
        keep_choices({m_size, m_suppress}, m_config);
    }

    const Chosen_setting m_size = {"ProfileSize", "5"};
    const Chosen_setting m_suppress = {"SuppressM", "0"};
    zeConfig m_config;
    zeDefaults m_defaults;
};

TEST_F(KeptChoicesTest, KeptChoicesAreReadBack) {
    EXPECT_EQ(m_config.get_optional("zandrel.choices")->str(), "ProfileSize=5 SuppressM=0");
    EXPECT_THAT(kept_choices(m_config, m_defaults), ElementsAre(m_size, m_suppress));
}

TEST_F(KeptChoicesTest, EmptyChoicesRemoveThePreviousOnes) {
    keep_choices({}, m_config);

    EXPECT_EQ(m_config.get_optional("zandrel.choices"), nullptr);
    EXPECT_THAT(kept_choices(m_config, m_defaults), IsEmpty());
}

// A program that does not know the list of choices may change a setting without changing the list.
TEST_F(KeptChoicesTest, SettingWithAnotherValueIsNotAChoice) {
    m_defaults.profile_size = 6;

    EXPECT_THAT(kept_choices(m_config, m_defaults), ElementsAre(m_suppress));
}

TEST_F(KeptChoicesTest, SettingOfTheUserIsRemovedEvenIfItsValueIsEqual) {
    EXPECT_TRUE(forget_choices({{"SuppressM", "0"}}, m_config));

    EXPECT_THAT(kept_choices(m_config, m_defaults), ElementsAre(m_size));
    EXPECT_TRUE(forget_choices({{"ClipValue", "2"}, {"ProfileSize", "6"}}, m_config));
    EXPECT_EQ(m_config.get_optional("zandrel.choices"), nullptr);
}

TEST_F(KeptChoicesTest, OtherAndUnchangedSettingsRemoveNoChoice) {
    EXPECT_FALSE(forget_choices({{"ClipValue", "2"}}, m_config));
    EXPECT_FALSE(forget_choices({{"SuppressM", "leave"}, {"ProfileSize", ""}}, m_config));

    EXPECT_THAT(kept_choices(m_config, m_defaults), ElementsAre(m_size, m_suppress));
}

TEST_F(KeptChoicesTest, LimitOfTheUserRemovesAllThree) {
    keep_choices({{"AverageRlimit", "3000"}, {"MaxRlimit", "10000"}, m_suppress}, m_config);

    EXPECT_TRUE(forget_choices({{"MinRlimit", "5"}}, m_config));
    EXPECT_EQ(m_config.get_optional("zandrel.choices")->str(), "SuppressM=0");
}

TEST_F(KeptChoicesTest, WordsThatAreNoSettingsAreNotChoices) {
    for (const char* const text : {"", " ", "=", "SuppressM", "SuppressM=", "=0", "Size=1"}) {
        SCOPED_TRACE(text);
        m_config.set_optional("zandrel.choices", text);
        EXPECT_THAT(kept_choices(m_config, m_defaults), IsEmpty());
    }
}

}  // namespace

}  // namespace zandrel::cli
