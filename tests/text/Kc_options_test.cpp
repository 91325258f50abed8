#include "text/kc/Kc_options.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/options/zeOptMap.h"

#include "tests/cli/small_kc.h"
#include "tests/support/kc_file.h"
#include "tests/support/options_file.h"
#include "text/errors.h"
#include "text/kc/Kc_tree.h"
#include "text/kc/Kept_choices.h"
#include "text/model/Engine_settings.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;

// For each key a value that no container of these tests has by default.
const std::map<std::string, std::string> kNewValues = {
    {"ClipValue", "7"},
    {"UseLikelihoodInTrain", "1"},
    {"UseLikelihoodInMatch", "1"},
    {"UseOmitMethod", "0"},
    {"LikelihoodHistogramResolution", "4"},
    {"ProfileSize", "77"},
    {"PLifeExpectancy", "33"},
    {"DeletePFactor", "1.25"},
    {"MinPsSize", "1234"},
    {"MaxPsSize", "5678"},
    {"NumberOfSlices", "5"},
    {"MinRlimit", "31"},
    {"AverageRlimit", "101"},
    {"MaxRlimit", "10001"},
    {"SuppressM", "1"},
    {"SuppressMThreshold", "9"},
    {"UseNewZC", "0"},
    {"UseNormalization", "0"},
    {"ActivationInside", "3"},
    {"ActivationOutside", "4"},
    {"ActivationTotal", "5"},
    {"KeywordsFrequency", "8"},
    {"KeywordsSmlWeight", "1.5"},
    {"TitleSmlWeight", "2.5"},
    {"CannedSmlWeight", "3.5"},
    {"WeakenSmallCatsFactor", "0.1"},
    {"LearnSpeedScale", "linear"},
    {"EachCatReserveSize", "4294967295"},
    {"EachCatTrainSize", "3000000000"},
    {"AgeAdjustment", "0.5"},
    {"ActivateFeedback", "11"},
    {"FullPropogation", "0"},
};

std::string value_of(Small_kc& kc, const std::string& key) {
    return kc_setting(kc.Pointer(), key).value;
}

// Returns a value that the container does not have: the value in kNewValues, or, for a key that is
// not in this table, the other value of a flag or the next number.
std::string new_value_of(Small_kc& kc, const zeOptMap::Known_key& known) {
    const auto entry = kNewValues.find(known.key);
    if (entry != kNewValues.end()) {
        return entry->second;
    }
    const int value = std::stoi(value_of(kc, known.key));
    return std::to_string(known.kind == zeOptMap::Kind::flag ? 1 - value : value + 1);
}

// The settings that a container's file has.
std::vector<zeOptMap::Known_key> stored_keys() {
    std::vector<zeOptMap::Known_key> keys = zeOptMap::known_keys();
    std::erase_if(keys, [](const zeOptMap::Known_key& key) { return !key.is_stored; });
    return keys;
}

bool set(Small_kc& kc, const std::vector<std::string>& words) {
    return set_kc_settings(kc.Pointer(), setting_values(words));
}

std::string refusal_of_words(const std::vector<std::string>& words) {
    try {
        setting_values(words);
    } catch (const Usage_error& error) {
        return error.what();
    }
    return "none";
}

TEST(KcOptionsTest, EveryKnownKeyIsListedInItsOrder) {
    Small_kc kc;
    std::vector<std::string> expected;
    for (const zeOptMap::Known_key& known : zeOptMap::known_keys()) {
        expected.emplace_back(known.key);
    }

    std::vector<std::string> keys;
    for (const Kc_setting& setting : kc_settings(kc.Pointer())) {
        keys.push_back(setting.key);
        EXPECT_NE(setting.value, "") << setting.key;
    }

    EXPECT_EQ(keys, expected);
}

TEST(KcOptionsTest, EachSetValueIsReturned) {
    for (const zeOptMap::Known_key& known : zeOptMap::known_keys()) {
        SCOPED_TRACE(known.key);
        Small_kc kc;
        const std::string value = new_value_of(kc, known);
        ASSERT_NE(value_of(kc, known.key), value);
        if (!known.is_stored) {
            EXPECT_THROW(set(kc, {std::string(known.key) + "=" + value}), Usage_error);
            continue;
        }

        EXPECT_TRUE(set(kc, {std::string(known.key) + "=" + value}));

        const Kc_setting setting = kc_setting(kc.Pointer(), known.key);
        EXPECT_EQ(setting.value, value);
        EXPECT_THAT(setting.others, ElementsAre()) << "the classifiers took it too";
        EXPECT_TRUE(kc.Manager().m_modified);
    }
}

// For each setting, the value of each classifier is compared with the value of the container.
TEST(KcOptionsTest, DifferentValueOfAClassifierIsReported) {
    for (const zeOptMap::Known_key& known : stored_keys()) {
        SCOPED_TRACE(known.key);
        Small_kc kc;
        const zeConfig config = kc.Manager().m_config;
        const zeDefaults defaults = kc.Manager().m_defaults;
        const std::string old_value = value_of(kc, known.key);
        const std::string new_value = new_value_of(kc, known);
        set(kc, {std::string(known.key) + "=" + new_value});
        const bool is_of_models = !(kc.Manager().m_defaults == defaults);

        kc.Manager().m_defaults = defaults;
        kc.Manager().m_config = config;

        const Kc_setting setting = kc_setting(kc.Pointer(), known.key);
        EXPECT_EQ(setting.value, old_value);
        if (is_of_models) {
            EXPECT_THAT(setting.others, ElementsAre(Other_value{"root", new_value},
                                                    Other_value{"root/news", new_value}));
        } else {
            EXPECT_THAT(setting.others, ElementsAre());
        }
    }
}

TEST(KcOptionsTest, ClassifiersKeepTheirOtherSettings) {
    Small_kc kc;
    kc.Storage("root/news").m_profile_size = 5;

    set(kc, {"ClipValue=2"});

    EXPECT_EQ(kc.Storage("root/news").m_profile_size, 5);
    EXPECT_EQ(kc.Storage("root/news").m_clip_value, 2.0);
    EXPECT_EQ(kc.Storage("root").m_profile_size, 1000);
    EXPECT_THAT(kc_setting(kc.Pointer(), "ProfileSize").others,
                ElementsAre(Other_value{"root/news", "5"}));
}

TEST(KcOptionsTest, ClassifiersAreMarkedAsChanged) {
    Small_kc kc;
    kc.Matcher("root/news").m_dirty = false;

    set(kc, {"ClipValue=2"});

    EXPECT_TRUE(kc.Matcher("root/news").m_dirty);
}

TEST(KcOptionsTest, LaterWordWins) {
    Small_kc kc;

    set(kc, {"ProfileSize=5", " ProfileSize = 6 "});

    EXPECT_EQ(value_of(kc, "ProfileSize"), "6");
}

TEST(KcOptionsTest, SetReturnsFalseIfNothingChanged) {
    Small_kc kc;

    EXPECT_FALSE(set(kc, {"ProfileSize=1000"}));
    EXPECT_FALSE(set(kc, {"ProfileSize="}));
    EXPECT_FALSE(set(kc, {"ProfileSize=leave"}));
    EXPECT_EQ(value_of(kc, "ProfileSize"), "1000");
}

TEST(KcOptionsTest, SettingAChosenValueAgainMakesItTheUsers) {
    Small_kc kc;
    keep_choices({{"ProfileSize", "1000"}, {"ClipValue", "3"}}, kc.Manager().m_config);

    EXPECT_TRUE(set(kc, {"ProfileSize=1000"}));
    EXPECT_EQ(kc.Manager().m_config.get_optional("zandrel.choices")->str(), "ClipValue=3");
    EXPECT_FALSE(set(kc, {"ProfileSize=1000"}));
}

// The value would be lost at the end of the command, without a message.
TEST(KcOptionsTest, SettingThatNoFileHasIsRefused) {
    const std::vector<zeOptMap::Known_key> known = {
        {"First", zeOptMap::Kind::flag, {0, 1}},
        {"Second", zeOptMap::Kind::flag, {0, 1}, false},
        {"Third", zeOptMap::Kind::integer, {0, 9}},
    };

    EXPECT_EQ(keeping_problem("First", known), "");
    EXPECT_EQ(keeping_problem("Third", known), "");
    EXPECT_EQ(
        keeping_problem("Second", known),
        "Second is read from options files and kept in no container; these settings are kept: "
        "First, Third");
    EXPECT_EQ(keeping_problem("first", known),
              "first is read from options files and kept in no container; these settings are kept: "
              "First, Third");
}

// If this test fails for a new setting, its row needs `.not_stored()`, or its record the field.
TEST(KcOptionsTest, OnlyStoredSettingsAreInTheFile) {
    for (const zeOptMap::Known_key& known : zeOptMap::known_keys()) {
        SCOPED_TRACE(known.key);
        Small_kc kc;
        qtPtrLight<zeManager> read(new zeManager);
        const std::string old_value = kc_setting(read, known.key).value;
        const std::string new_value = new_value_of(kc, known);
        zeOptMap map;
        map.Add("UseExtParms", true);
        map.Add(known.key, new_value.c_str());
        map.SetKcDefaults(kc.Pointer(), true);

        read_kc(*read, saved(kc.Manager()));

        EXPECT_EQ(kc_setting(read, known.key).value, known.is_stored ? new_value : old_value);
    }
}

TEST(KcOptionsTest, BadWordsAreRefusedBeforeAnythingIsRead) {
    std::string kept_in_none =
        " is read from options files and kept in no container; these settings are kept: ";
    const char* separator = "";
    for (const zeOptMap::Known_key& known : stored_keys()) {
        kept_in_none += separator + std::string(known.key);
        separator = ", ";
    }

    const struct {
        std::string word;
        std::string refusal;
    } rows[] = {
        {"ProfileSize", R"(ProfileSize: no "=" between key and value)"},
        {"ProfileSice=1", R"(unknown setting "ProfileSice")"},
        {"=1", R"(unknown setting "")"},
        {"ProfileSize=many", R"(bad value for ProfileSize: "many" is not an integer)"},
        {"ProfileSize=0", R"(bad value for ProfileSize: "0" is not between 1 and 2147483647)"},
        {"AgeAdjustment=-0.5", R"(bad value for AgeAdjustment: "-0.5" is below 0)"},
        {"UseExtParms=1", "UseExtParms" + kept_in_none},
        {"GeomAverage=1", "GeomAverage" + kept_in_none},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.word);
        EXPECT_EQ(refusal_of_words({"ClipValue=2", row.word}), row.refusal);
    }
}

TEST(KcOptionsTest, UnknownKeyIsRefused) {
    Small_kc kc;

    EXPECT_THROW(kc_setting(kc.Pointer(), "ProfileSice"), Usage_error);
}

TEST(KcOptionsTest, CompactContainerKeepsItsLikelihoodTables) {
    for (const char* const word : {"UseLikelihoodInTrain=1", "LikelihoodHistogramResolution=2"}) {
        SCOPED_TRACE(word);
        Small_kc kc = Small_kc::Compact();
        const std::vector<Kc_setting> before = kc_settings(kc.Pointer());

        EXPECT_THROW(set(kc, {"ClipValue=2", word}), Edit_refused);

        EXPECT_EQ(kc_settings(kc.Pointer()), before);
        EXPECT_FALSE(kc.Manager().m_modified);
    }
}

TEST(KcOptionsTest, OtherSettingsOfACompactContainerCanBeSet) {
    Small_kc kc = Small_kc::Compact();
    const std::size_t features = kc.Matcher("root").m_table.size();

    EXPECT_TRUE(set(kc, {"ClipValue=2", "UseLikelihoodInTrain=0", "ActivationInside=2"}));

    EXPECT_EQ(kc.Storage("root").m_activation_inside, 2);
    EXPECT_EQ(kc.Matcher("root").m_table.size(), features);
}

TEST(KcOptionsTest, OutputIsAValidOptionsFile) {
    std::ostringstream out;
    print_settings(
        {{"ClipValue", "3", {}}, {"ProfileSize", "1000", {{"root", "5"}, {"root/news", "6"}}}},
        out);

    EXPECT_EQ(out.str(), "ClipValue=3\nProfileSize=1000  # 5 at root, 6 at root/news\n");
}

// A program that embeds the library writes the same file by GetKcDefaults, Add and Dump.
TEST(KcOptionsTest, WrittenOptionsFileIsTheOneOfTheLibrary) {
    Small_kc kc;
    set(kc, {"ProfileSize=77", "AgeAdjustment=0.5", "LearnSpeedScale=linear"});
    zeOptMap map;
    map.GetKcDefaults(kc.Pointer());
    map.Add("UseExtParms", true);
    const Options_file file;
    map.Dump(file.path());

    std::ostringstream out;
    write_options_file(kc.Manager(), out);

    EXPECT_EQ(out.str(), file.content());
}

TEST(KcOptionsTest, WrittenOptionsFileGivesAnotherContainerTheSettings) {
    for (const zeOptMap::Known_key& known : zeOptMap::known_keys()) {
        SCOPED_TRACE(known.key);
        Small_kc from;
        set(from, {std::string(known.key) + "=" + new_value_of(from, known)});
        std::ostringstream out;
        write_options_file(from.Manager(), out);
        const Options_file file(out.str());
        Engine_settings settings;
        settings.load(file.path().str());
        Small_kc to;

        EXPECT_TRUE(set_kc_settings(to.Pointer(), settings.used_settings()));

        EXPECT_EQ(kc_settings(to.Pointer()), kc_settings(from.Pointer()));
    }
}

TEST(KcOptionsTest, ClassifiersWithOtherValuesAreListedOnceInOrder) {
    EXPECT_THAT(classifiers_with_other_values({}), ElementsAre());
    EXPECT_THAT(
        classifiers_with_other_values({{"ClipValue", "3", {}},
                                       {"MinPsSize", "7", {{"root/news", "6"}}},
                                       {"ProfileSize", "9", {{"root", "5"}, {"root/news", "6"}}}}),
        ElementsAre("root", "root/news"));
}

TEST(KcOptionsTest, JsonHasNumbersForNumbers) {
    EXPECT_EQ(settings_json({{"ClipValue", "3", {}},
                             {"DeletePFactor", "1.1", {{"root", "inf"}}},
                             {"LearnSpeedScale", "sqrt", {}}})
                  .dump(),
              R"({"ClipValue":{"value":3,"classifiers":[]},)"
              R"("DeletePFactor":{"value":1.1,"classifiers":[{"path":"root","value":"inf"}]},)"
              R"("LearnSpeedScale":{"value":"sqrt","classifiers":[]}})");
}

}  // namespace

}  // namespace zandrel::cli
