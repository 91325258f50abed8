#include "text/model/Engine_settings.h"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"

#include "tests/support/options_file.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

// The error of `set` for these words; empty if it accepts them.
std::string refusal_of(const std::vector<std::string>& assignments) {
    Engine_settings settings;
    try {
        settings.set(assignments);
    } catch (const Usage_error& error) {
        return error.what();
    }
    return "";
}

// The error of `load` for a file with this content, without its path; empty if it accepts the file.
std::string refusal_of_file(std::string_view content) {
    const Options_file file(content);
    Engine_settings settings;
    try {
        settings.load(file.path().str());
    } catch (const Data_error& error) {
        const std::string message = error.what();
        EXPECT_EQ(message.substr(0, file.path().size()), file.path().str());
        return message.substr(file.path().size());
    }
    return "";
}

qtPtrLight<zeManager> container_with(Engine_settings& settings) {
    qtPtrLight<zeManager> manager(new zeManager);
    settings.apply(manager);
    return manager;
}

struct Value_row {
    const char* key;
    const char* value;
    const char* problem;  // null if there is no error
};

constexpr const char* kNoInteger = "is not an integer";
constexpr const char* kNoNumber = "is not a number";
constexpr const char* kBelow0 = "is below 0";
constexpr const char* kNoFlag = "is neither 0 nor 1";
constexpr const char* kOutside0 = "is not between 0 and 2147483647";
constexpr const char* kOutside1 = "is not between 1 and 2147483647";
constexpr const char* kOutsideByte = "is not between 0 and 255";
constexpr const char* kOutsideUnsigned = "is not between 0 and 4294967295";

const Value_row kValueRows[] = {
    {"UseExtParms", "1", nullptr},
    {"UseExtParms", "yes", kNoFlag},
    {"UseExtParms", "2", kNoFlag},
    {"UseNewZC", "0", nullptr},
    {"UseNewZC", "true", kNoFlag},
    {"UseNewZC", "2", kNoFlag},
    {"FullPropogation", "-1", kNoFlag},
    {"ProfileSize", "+5", nullptr},
    {"ProfileSize", "+-5", kNoInteger},
    {"ProfileSize", "5x", kNoInteger},
    {"ProfileSize", "2.5", kNoInteger},
    {"ProfileSize", "", nullptr},
    {"ProfileSize", "leave", nullptr},
    {"ProfileSize", "Leave", kNoInteger},
    {"ProfileSize", "2147483647", nullptr},
    {"ProfileSize", "2147483648", kOutside1},
    {"ProfileSize", "1", nullptr},
    {"ProfileSize", "0", kOutside1},
    {"ProfileSize", "-4", kOutside1},
    {"NumberOfSlices", "1", nullptr},
    {"NumberOfSlices", "0", kOutside1},
    {"AverageRlimit", "0", kOutside1},
    {"MaxRlimit", "0", kOutside1},
    {"KeywordsFrequency", "1", nullptr},
    {"KeywordsFrequency", "0", kOutside1},
    {"MinRlimit", "0", nullptr},
    {"MinRlimit", "-1", kOutside0},
    {"MinPsSize", "0", nullptr},
    {"MinPsSize", "-1", kOutside0},
    {"MaxPsSize", "0", nullptr},
    {"MaxPsSize", "-1", kOutside0},
    {"SuppressMThreshold", "0", nullptr},
    {"SuppressMThreshold", "2147483648", kOutside0},
    {"SuppressMThreshold", "-1", kOutside0},
    {"ActivationInside", "0", nullptr},
    {"ActivationInside", "-1", kOutside0},
    {"ActivationOutside", "-1", kOutside0},
    {"ActivationTotal", "-1", kOutside0},
    {"ClipValue", "0", nullptr},
    {"ClipValue", "-1", kOutside0},
    {"ClipValue", "2.5", kNoInteger},
    {"PLifeExpectancy", "0", nullptr},
    {"PLifeExpectancy", "255", nullptr},
    {"PLifeExpectancy", "256", kOutsideByte},
    {"PLifeExpectancy", "-1", kOutsideByte},
    {"LikelihoodHistogramResolution", "1", nullptr},
    {"LikelihoodHistogramResolution", "1000", nullptr},
    {"LikelihoodHistogramResolution", "0", "is not between 1 and 1000"},
    {"LikelihoodHistogramResolution", "1001", "is not between 1 and 1000"},
    {"LikelihoodHistogramResolution", "few", kNoInteger},
    {"ActivateFeedback", "0", nullptr},
    {"ActivateFeedback", "2147483648", nullptr},
    {"ActivateFeedback", "4294967295", nullptr},
    {"ActivateFeedback", "4294967296", kOutsideUnsigned},
    {"ActivateFeedback", "-1", kOutsideUnsigned},
    {"EachCatReserveSize", "4294967295", nullptr},
    {"EachCatReserveSize", "many", kNoInteger},
    {"EachCatTrainSize", "4294967295", nullptr},
    {"EachCatTrainSize", "-1", kOutsideUnsigned},
    {"DeletePFactor", "+1.5e2", nullptr},
    {"DeletePFactor", "1,5", kNoNumber},
    {"DeletePFactor", "inf", kNoNumber},
    {"DeletePFactor", "nan", kNoNumber},
    {"DeletePFactor", "1e999", kNoNumber},
    {"DeletePFactor", "0", nullptr},
    {"DeletePFactor", "-0.1", kBelow0},
    {"KeywordsSmlWeight", "-1", kBelow0},
    {"TitleSmlWeight", "-1", kBelow0},
    {"CannedSmlWeight", "-1", kBelow0},
    {"WeakenSmallCatsFactor", "0", nullptr},
    {"WeakenSmallCatsFactor", "-1", kBelow0},
    {"AgeAdjustment", "0", nullptr},
    {"AgeAdjustment", "-0.5", kBelow0},
    {"LearnSpeedScale", "sqrt", nullptr},
    {"LearnSpeedScale", "linear", nullptr},
    {"LearnSpeedScale", "Linear", "is neither sqrt nor linear"},
};

std::string bad_value(const Value_row& row) {
    return std::string("bad value for ") + row.key + ": \"" + row.value + "\" " + row.problem;
}

TEST(EngineSettingsTest, EachKindOfValueIsCheckedInTheWords) {
    for (const Value_row& row : kValueRows) {
        SCOPED_TRACE(std::string(row.key) + "=" + row.value);

        const std::string refusal = refusal_of({std::string(row.key) + "=" + row.value});

        EXPECT_EQ(refusal, row.problem == nullptr ? "" : "--set: " + bad_value(row));
    }
}

TEST(EngineSettingsTest, EachKindOfValueIsCheckedInTheFile) {
    for (const Value_row& row : kValueRows) {
        SCOPED_TRACE(std::string(row.key) + " = " + row.value);

        const std::string refusal = refusal_of_file(std::string(row.key) + " = " + row.value);

        EXPECT_EQ(refusal, row.problem == nullptr ? "" : ":1: " + bad_value(row));
    }
}

TEST(EngineSettingsTest, MisspelledKeyIsRefused) {
    for (const char* const key : {"ProfileSice", "profilesize", ""}) {
        SCOPED_TRACE(key);

        const std::string refusal = refusal_of({std::string(key) + "=7"});

        EXPECT_EQ(refusal, std::string("--set: unknown setting \"") + key + "\"");
    }
}

TEST(EngineSettingsTest, WordsNeedAnEqualsSign) {
    EXPECT_EQ(refusal_of({"ProfileSize"}), "--set ProfileSize: no \"=\" between key and value");
}

TEST(EngineSettingsTest, TrainersSwitchesAreAcceptedOnlyFromAFile) {
    for (const std::string key : {"PositiveMethod", "GeomAverage"}) {
        SCOPED_TRACE(key);

        EXPECT_EQ(refusal_of({key + " = 1"}),
                  "--set " + key +
                      ": the trainers read this switch from an options file alone; give it with "
                      "--options");
        EXPECT_EQ(refusal_of_file(key + " = 1\n"), "");
        EXPECT_EQ(refusal_of_file(key + " = 0\n"), "");
        EXPECT_EQ(refusal_of_file(key + " = 2\n"),
                  ":1: bad value for " + key + ": \"2\" is neither 0 nor 1");
    }
}

TEST(EngineSettingsTest, LineOfAnErrorIsReported) {
    const struct {
        const char* what;
        const char* content;
        const char* refusal;
    } rows[] = {
        {"first line", "Size = 1\nProfileSize = 1\n", ":1: unknown setting \"Size\""},
        {"behind empty lines", "\n \t\n\r\nSize = 1\n", ":4: unknown setting \"Size\""},
        {"behind comments", "# Size = 2\n  #Size = 3\nSize = 1\n", ":3: unknown setting \"Size\""},
        {"before empty lines and comments", "Size = 1\n\n#Size\n", ":1: unknown setting \"Size\""},
        {"last line without its end", "ProfileSize = 1\nSize", ":2: unknown setting \"Size\""},
        {"key that begins like another", "ProfileSize = 1\nProfile=2\n\n",
         ":2: unknown setting \"Profile\""},
        {"indented", "ProfileSize = 1\n\t Size\t1\n", ":2: unknown setting \"Size\""},
        {"empty key among empty lines", "\n= 1\n\n\n", ":2: unknown setting \"\""},
        {"the line that wins", "ProfileSize = 1\nProfileSize = a\n\nProfileSize = b # no number\n",
         ":4: bad value for ProfileSize: \"b\" is not an integer"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);

        EXPECT_EQ(refusal_of_file(row.content), row.refusal);
    }
}

TEST(EngineSettingsTest, LaterLineWins) {
    const Options_file file("ProfileSize = many\n\n# better\nProfileSize = 7\n");
    Engine_settings settings;

    settings.load(file.path().str());

    EXPECT_EQ(container_with(settings)->m_defaults.profile_size, 7);
}

TEST(EngineSettingsTest, WordsOverrideTheFileAndLaterWordsEarlierOnes) {
    const Options_file file("ProfileSize = 7\nMinPsSize = 8\n");
    Engine_settings settings;
    settings.load(file.path().str());

    settings.set({"ProfileSize=9", " ProfileSize = 10 "});

    const qtPtrLight<zeManager> manager = container_with(settings);
    EXPECT_EQ(manager->m_defaults.profile_size, 10);
    EXPECT_EQ(manager->m_defaults.min_Ps_size, 8);
}

TEST(EngineSettingsTest, LargeUnsignedSettingsReachTheContainerUnchanged) {
    Engine_settings settings;
    settings.set({"ActivateFeedback=4294967295", "EachCatReserveSize=2147483648",
                  "EachCatTrainSize=+3000000000"});

    const qtPtrLight<zeManager> manager = container_with(settings);

    EXPECT_EQ(manager->m_config.activate_feedback, 4294967295U);
    EXPECT_EQ(manager->m_config.each_cat_reserve_size, 2147483648U);
    EXPECT_EQ(manager->m_config.each_cat_train_size, 3000000000U);
}

TEST(EngineSettingsTest, SettingsAreSwitchedOffByTheirSwitch) {
    Engine_settings settings;
    settings.set({"ProfileSize=7", "UseExtParms=0"});

    EXPECT_EQ(container_with(settings)->m_defaults.profile_size, 1000);
    EXPECT_FALSE(settings.has("ProfileSize")) << "the program chooses";
    EXPECT_THAT(settings.unused_settings(), ElementsAre("ProfileSize"));
}

TEST(EngineSettingsTest, SwitchWithoutAValueLeavesTheSettingsOn) {
    for (const char* const word : {"UseExtParms=", "UseExtParms=leave", "UseExtParms=1"}) {
        SCOPED_TRACE(word);
        Engine_settings settings;
        settings.set({"ProfileSize=7", word});

        EXPECT_EQ(container_with(settings)->m_defaults.profile_size, 7);
        EXPECT_TRUE(settings.has("ProfileSize"));
        EXPECT_THAT(settings.unused_settings(), ElementsAre());
    }
}

TEST(EngineSettingsTest, UnusedSettingsAreThoseWithAValueInFileAndWords) {
    const Options_file file(
        "UseExtParms = 0\nMinPsSize = 8\nSuppressM = leave\nPositiveMethod = 0\n");
    Engine_settings settings;
    settings.load(file.path().str());
    settings.set({"ClipValue=2", "MaxPsSize="});

    EXPECT_THAT(settings.unused_settings(), ElementsAre("ClipValue", "MinPsSize"));
}

TEST(EngineSettingsTest, UsedSettingsAreThoseWithAGivenValue) {
    const Options_file file(
        "ProfileSize = 8\nMinPsSize = leave\nMaxPsSize\nUseExtParms = 1\nGeomAverage = 0\n");
    Engine_settings settings;
    settings.load(file.path().str());
    settings.set({"ClipValue=2"});

    EXPECT_THAT(settings.used_settings(),
                ElementsAre(Key_value{"ClipValue", "2"}, Key_value{"ProfileSize", "8"}));

    settings.set({"UseExtParms=0"});
    EXPECT_THAT(settings.used_settings(), ElementsAre());
}

TEST(EngineSettingsTest, TrainerSwitchesAreThoseWithAGivenValue) {
    const Options_file file("PositiveMethod = 0\nProfileSize = 8\nGeomAverage = leave\n");
    Engine_settings settings;
    EXPECT_THAT(settings.trainer_switches(), ElementsAre());

    settings.load(file.path().str());

    EXPECT_THAT(settings.trainer_switches(), ElementsAre("PositiveMethod"));
}

TEST(EngineSettingsTest, HasIsTrueForSettingsWithAGivenValue) {
    const Options_file file("ProfileSize = 7\nMinPsSize = leave\nMaxPsSize\n");
    Engine_settings settings;
    settings.load(file.path().str());
    settings.set({"NumberOfSlices=3", "SuppressM="});

    EXPECT_TRUE(settings.has("ProfileSize"));
    EXPECT_TRUE(settings.has("NumberOfSlices"));
    EXPECT_FALSE(settings.has("MinPsSize")) << "is left as it is";
    EXPECT_FALSE(settings.has("MaxPsSize")) << "has no value";
    EXPECT_FALSE(settings.has("SuppressM")) << "has no value";
    EXPECT_FALSE(settings.has("ClipValue")) << "is not named";
}

TEST(EngineSettingsTest, EmptyPathReadsNoFile) {
    Engine_settings settings;

    settings.load("");

    EXPECT_FALSE(settings.has("ProfileSize"));
}

TEST(EngineSettingsTest, FileThatCannotBeReadIsReported) {
    const Options_file absent;
    const std::string path = absent.path().str();
    Engine_settings settings;

    try {
        settings.load(path);
        ADD_FAILURE() << "no error";
    } catch (const Input_error& error) {
        EXPECT_EQ(error.what(), "cannot read " + path + ": it is no readable options file");
    }
}

TEST(EngineSettingsTest, StandardInputIsNoOptionsFile) {
    Engine_settings settings;

    try {
        settings.load("-");
        ADD_FAILURE() << "no error";
    } catch (const Input_error& error) {
        EXPECT_STREQ(error.what(),
                     "cannot read -: settings are read from a file, and not from standard input");
    }
}

}  // namespace

}  // namespace zandrel::cli
