#include "text/model/Chosen_settings.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

#include "tests/support/options_file.h"
#include "text/model/Engine_settings.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> words_of(const std::vector<Chosen_setting>& settings) {
    std::vector<std::string> words;
    for (const Chosen_setting& each : settings) {
        words.push_back(each.key + "=" + each.value);
    }
    return words;
}

std::vector<std::string> choice(Analysis_kind kind, std::size_t label_count,
                                const std::vector<std::string>& given = {}) {
    Engine_settings settings;
    settings.set(given);
    return words_of(choose_settings(kind, label_count, &settings));
}

const std::vector<std::string> kLimits = {"AverageRlimit=5"};

TEST(ChosenSettingsTest, PhrasesGetSizesByTheNumberOfLabelsAndNoSuppression) {
    EXPECT_THAT(
        choice(Analysis_kind::kPhrases, 30, kLimits),
        ElementsAre("MaxPsSize=40000", "MinPsSize=20000", "ProfileSize=10000", "SuppressM=0"));
    EXPECT_THAT(
        choice(Analysis_kind::kPhrases, 31, kLimits),
        ElementsAre("MaxPsSize=12000", "MinPsSize=6000", "ProfileSize=3000", "SuppressM=0"));
}

TEST(ChosenSettingsTest, EveryAnalysisGetsLimits) {
    const auto limits = ElementsAre("AverageRlimit=3000", "MaxRlimit=10000", "MinRlimit=30");

    EXPECT_THAT(choice(Analysis_kind::kWords, 2), limits);
    EXPECT_THAT(choice(Analysis_kind::kWhitespace, 2), limits);
    EXPECT_THAT(choice(Analysis_kind::kPhrases, 2, {"ProfileSize=1", "SuppressM=1"}), limits);
}

TEST(ChosenSettingsTest, SettingOfTheUserReplacesTheChoice) {
    const struct {
        std::vector<std::string> given;
        std::vector<std::string> chosen;
    } rows[] = {
        {{"SuppressM=1"}, {"MaxPsSize=40000", "MinPsSize=20000", "ProfileSize=10000"}},
        {{"SuppressM=0"}, {"MaxPsSize=40000", "MinPsSize=20000", "ProfileSize=10000"}},
        {{"ProfileSize=7"}, {"SuppressM=0"}},
        {{"MinPsSize=7"}, {"ProfileSize=10000", "SuppressM=0"}},
        {{"MaxPsSize=7"}, {"ProfileSize=10000", "SuppressM=0"}},
        {{"ProfileSize=7", "SuppressM=1"}, {}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.given));
        std::vector<std::string> given = row.given;
        given.insert(given.end(), kLimits.begin(), kLimits.end());
        EXPECT_EQ(choice(Analysis_kind::kPhrases, 2, given), row.chosen);
    }
}

TEST(ChosenSettingsTest, AnyLimitOfTheUserReplacesAllThreeChosenLimits) {
    for (const char* const limit : {"AverageRlimit=5", "MaxRlimit=5", "MinRlimit=5"}) {
        SCOPED_TRACE(limit);
        EXPECT_THAT(choice(Analysis_kind::kWords, 2, {limit}), IsEmpty());
    }
}

TEST(ChosenSettingsTest, ValuesThatLeaveASettingReplaceNoChoice) {
    EXPECT_EQ(choice(Analysis_kind::kPhrases, 2,
                     {"SuppressM=leave", "MaxRlimit=", "MinPsSize=leave", "ClipValue=2"}),
              choice(Analysis_kind::kPhrases, 2));
}

TEST(ChosenSettingsTest, SettingsThatAreSwitchedOffReplaceNoChoice) {
    EXPECT_EQ(choice(Analysis_kind::kPhrases, 2,
                     {"UseExtParms=0", "SuppressM=1", "MaxRlimit=7", "ProfileSize=5"}),
              choice(Analysis_kind::kPhrases, 2));
}

TEST(ChosenSettingsTest, OptionsFileOfTheUserReplacesTheChoice) {
    const Options_file file("SuppressM = 1\nMaxRlimit = 7\nProfileSize = 5\n");
    Engine_settings settings;
    settings.load(file.path().str());

    EXPECT_THAT(words_of(choose_settings(Analysis_kind::kPhrases, 2, &settings)), IsEmpty());
}

TEST(ChosenSettingsTest, OnlyTheAppliedSettingsOfTheContainerChange) {
    qtPtrLight<zeManager> manager(new zeManager);
    zeDefaults expected = manager->m_defaults;
    expected.average_Rlimit = 3000.0;
    expected.max_Rlimit = 10000.0;
    expected.min_Rlimit = 30.0;
    expected.max_Ps_size = 12000;
    expected.min_Ps_size = 6000;
    expected.profile_size = 3000;
    expected.suppress_M = false;

    apply_settings(choose_settings(Analysis_kind::kPhrases, 31, nullptr), manager);

    EXPECT_EQ(manager->m_defaults, expected);
}

}  // namespace

}  // namespace zandrel::cli
