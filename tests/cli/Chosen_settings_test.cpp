#include "cli/model/Chosen_settings.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

#include "cli/model/Engine_settings.h"
#include "tests/support/options_file.h"

namespace cli {

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

TEST(ChosenSettingsTest, PhrasesGetProfilesByTheNumberOfLabelsAndNoSuppression) {
    EXPECT_THAT(choice(Analysis_kind::kPhrases, 1),
                ElementsAre("ProfileSize=10000", "SuppressM=0"));
    EXPECT_THAT(choice(Analysis_kind::kPhrases, 30),
                ElementsAre("ProfileSize=10000", "SuppressM=0"));
    EXPECT_THAT(choice(Analysis_kind::kPhrases, 31),
                ElementsAre("ProfileSize=3000", "SuppressM=0"));
}

TEST(ChosenSettingsTest, OtherAnalysesKeepTheDefaultsOfTheEngine) {
    EXPECT_THAT(choice(Analysis_kind::kWords, 2), IsEmpty());
    EXPECT_THAT(choice(Analysis_kind::kWhitespace, 2), IsEmpty());
}

TEST(ChosenSettingsTest, SettingOfTheUserReplacesTheChoice) {
    const struct {
        std::vector<std::string> given;
        std::vector<std::string> chosen;
    } rows[] = {
        {{"SuppressM=1"}, {"ProfileSize=10000"}},
        {{"SuppressM=0"}, {"ProfileSize=10000"}},
        {{"ProfileSize=7"}, {"SuppressM=0"}},
        {{"ProfileSize=7", "SuppressM=1"}, {}},
        {{"SuppressM=leave", "ClipValue=2"}, {"ProfileSize=10000", "SuppressM=0"}},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.given));
        EXPECT_EQ(choice(Analysis_kind::kPhrases, 2, row.given), row.chosen);
    }
}

TEST(ChosenSettingsTest, OptionsFileOfTheUserReplacesTheChoice) {
    const Options_file file("SuppressM = 1\n");
    Engine_settings settings;
    settings.load(file.path().str());

    EXPECT_THAT(words_of(choose_settings(Analysis_kind::kPhrases, 2, &settings)),
                ElementsAre("ProfileSize=10000"));
}

TEST(ChosenSettingsTest, AppliedSettingsReachTheContainerAndNoOthersChange) {
    qtPtrLight<zeManager> manager(new zeManager);
    zeDefaults expected = manager->m_defaults;
    expected.profile_size = 3000;
    expected.suppress_M = false;

    apply_settings(choose_settings(Analysis_kind::kPhrases, 31, nullptr), manager);

    EXPECT_EQ(manager->m_defaults, expected);
}

}  // namespace

}  // namespace cli
