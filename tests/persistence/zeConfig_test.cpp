#include "zandrel/persistence/zeConfig.h"

#include <cstdlib>
#include <ctime>
#include <set>

#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"

using zandrel::set_clock;
using zandrel::set_config_seed;

namespace {

using Signatures = std::set<unsigned int>;

// The id of a container that is made with this seed.
std::uint32_t IdOf(unsigned int seed) {
    std::srand(seed);
    return static_cast<std::uint32_t>(std::rand());
}

// Fixes the clock and the seed.
class zeConfigTest : public testing::Test {
protected:
    void SetUp() override {
        m_clock = set_clock([] { return std::int64_t{1700000000123456}; });
        m_seed = set_config_seed([] { return 4711U; });
    }

    void TearDown() override {
        set_clock(m_clock);
        set_config_seed(m_seed);
    }

    static Signatures SignaturesOf(const zeConfig& config) {
        Signatures signatures{99};
        config.get_nlp_signatures(signatures);
        return signatures;
    }

private:
    zandrel::qtClock m_clock = nullptr;
    zandrel::Config_seed m_seed = nullptr;
};

TEST_F(zeConfigTest, NewConfigHasTheDefaults) {
    const zeConfig config;

    EXPECT_EQ(config.kc_name, "root");
    EXPECT_EQ(config.activate_feedback, 100U);
    EXPECT_TRUE(config.flag_a);
    EXPECT_EQ(config.flag_b, 0);
    EXPECT_EQ(config.each_cat_reserve_size, 20U);
    EXPECT_EQ(config.each_cat_train_size, 80U);
    EXPECT_EQ(config.age_adjustment, 5.0);
    EXPECT_FALSE(config.flag_c);
    EXPECT_TRUE(config.full_propogation);
    EXPECT_TRUE(config.optional.empty());
}

TEST_F(zeConfigTest, CreatedAndTrainedAreTheCurrentTime) {
    const zeConfig config;

    EXPECT_EQ(config.created, qtTimeDate(1700000000123456));
    EXPECT_EQ(config.last_trained, config.created);
}

TEST_F(zeConfigTest, ClockIsReadOnce) {
    set_clock([] {
        static std::int64_t ticks = 0;
        return ++ticks;
    });

    const zeConfig config;

    EXPECT_EQ(config.last_trained, config.created);
}

TEST_F(zeConfigTest, IdIsTheFirstRandomNumberOfTheSeed) {
    const std::uint32_t expected = IdOf(4711);
    std::rand();

    EXPECT_EQ(zeConfig().kc_id, expected);
    EXPECT_EQ(zeConfig().kc_id, expected);
}

TEST_F(zeConfigTest, OtherSeedsGiveOtherIds) {
    const std::uint32_t first = zeConfig().kc_id;
    set_config_seed([] { return 4712U; });

    EXPECT_EQ(zeConfig().kc_id, IdOf(4712));
    EXPECT_NE(zeConfig().kc_id, first);
}

TEST_F(zeConfigTest, DefaultSeedIsTheTimeInSeconds) {
    set_config_seed(nullptr);
    const std::time_t before = std::time(nullptr);

    const std::uint32_t id = zeConfig().kc_id;

    const std::time_t after = std::time(nullptr);
    bool is_of_this_time = false;
    for (std::time_t second = before; second <= after; ++second) {
        is_of_this_time = is_of_this_time || id == IdOf(static_cast<unsigned int>(second));
    }
    EXPECT_TRUE(is_of_this_time) << before << ' ' << id;
}

TEST_F(zeConfigTest, SetConfigSeedReturnsThePreviousSource) {
    const zandrel::Config_seed mine = [] { return 1U; };

    set_config_seed(mine);

    EXPECT_EQ(set_config_seed(nullptr), mine);
}

TEST_F(zeConfigTest, OptionalSettingThatWasNotSetIsNotFound) {
    zeConfig config;
    config.set_optional("key", "value");

    EXPECT_EQ(config.get_optional(""), nullptr);
    EXPECT_EQ(config.get_optional("Key"), nullptr);
}

TEST_F(zeConfigTest, LastValueOfAnOptionalSettingIsKept) {
    zeConfig config;

    config.set_optional("key", "old");
    config.set_optional("other", "");
    config.set_optional("key", "new");

    ASSERT_NE(config.get_optional("key"), nullptr);
    EXPECT_EQ(*config.get_optional("key"), "new");
    ASSERT_NE(config.get_optional("other"), nullptr);
    EXPECT_EQ(*config.get_optional("other"), "");
    EXPECT_EQ(config.optional.size(), 2U);
}

TEST_F(zeConfigTest, WithoutTheSettingThereAreNoSignatures) {
    EXPECT_EQ(SignaturesOf(zeConfig()), Signatures());
}

TEST_F(zeConfigTest, SignaturesAreStoredInAscendingOrder) {
    zeConfig config;

    config.add_nlp_signature(7);
    config.add_nlp_signature(3);

    EXPECT_EQ(*config.get_optional("NlpSignatures"), "3;7");
    EXPECT_EQ(SignaturesOf(config), (Signatures{3, 7}));
}

TEST_F(zeConfigTest, SignaturesAreSortedByNumberAndStoredOnce) {
    zeConfig config;

    for (const unsigned int signature : {10U, 9U, 4294967295U, 0U, 10U}) {
        config.add_nlp_signature(signature);
    }

    EXPECT_EQ(*config.get_optional("NlpSignatures"), "0;9;10;4294967295");
    EXPECT_EQ(SignaturesOf(config), (Signatures{0, 9, 10, 4294967295}));
}

TEST_F(zeConfigTest, LeadingNumberOfEachElementIsRead) {
    struct Row {
        const char* value;
        Signatures signatures;
    };

    const Row rows[] = {
        {"", {}},   {"5", {5}},   {"5;5;3", {3, 5}}, {" 12 apples;+4;7.9", {4, 7, 12}},
        {"x", {0}}, {"5;\\", {}},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.value);
        zeConfig config;
        config.set_optional("NlpSignatures", row.value);

        EXPECT_EQ(SignaturesOf(config), row.signatures);
    }
}

TEST_F(zeConfigTest, SignatureAddedToACutOffListReplacesIt) {
    zeConfig config;
    config.set_optional("NlpSignatures", "5;\\");

    config.add_nlp_signature(7);

    EXPECT_EQ(SignaturesOf(config), Signatures{7});
}

}  // namespace
