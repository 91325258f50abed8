#include "zandrel/options/zeOptMap.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/fake_classifier.h"
#include "tests/support/match_rows.h"
#include "tests/support/other_value.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = zeOptMap::Kind;

// One key: the text that a test sets, the value that the field then has, and the text that is then
// written. `new_value` and `new_written` are the value and the written text in a new container.
// Flags are given as numbers.
struct Key_row {
    const char* key;
    Kind kind;
    std::string text;
    double value;
    std::string written;
    double new_value;
    std::string new_written;
    std::function<double(const zeManager& manager)> field;
};

template <auto Field>
double setting(const zeManager& manager) {
    return static_cast<double>(manager.m_defaults.*Field);
}

template <auto Field>
double config(const zeManager& manager) {
    return static_cast<double>(manager.m_config.*Field);
}

template <std::size_t Slot>
double bag_weight(const zeManager& manager) {
    return manager.m_defaults.sml_weights[Slot];
}

using D = zeDefaults;
using C = zeConfig;

// Texts of integer keys lose their fractions.
// clang-format off
const Key_row kRows[] = {
    {"ClipValue", Kind::integer, "2.9", 2, "2", 3, "3", setting<&D::clip_value>},
    {"UseLikelihoodInTrain", Kind::flag, "0", 0, "0", 1, "1", setting<&D::use_likelihood_in_train>},
    {"UseLikelihoodInMatch", Kind::flag, "0", 0, "0", 1, "1", setting<&D::use_likelihood_in_match>},
    {"UseOmitMethod", Kind::flag, "0", 0, "0", 1, "1", setting<&D::use_omit_method>},
    {"LikelihoodHistogramResolution", Kind::integer, "4.9", 4, "4", 1, "1", setting<&D::likelihood_resolution>},
    {"ProfileSize", Kind::integer, "501.9", 501, "501", 1000, "1000", setting<&D::profile_size>},
    {"PLifeExpectancy", Kind::integer, "263", 7, "7", 10, "10", setting<&D::P_life_expectancy>},
    {"DeletePFactor", Kind::real, "1.25", 1.25, "1.25", 1.1, "1.1", setting<&D::delete_P_factor>},
    {"MinPsSize", Kind::integer, "1501.9", 1501, "1501", 2000, "2000", setting<&D::min_Ps_size>},
    {"MaxPsSize", Kind::integer, "3001.9", 3001, "3001", 4000, "4000", setting<&D::max_Ps_size>},
    {"NumberOfSlices", Kind::integer, "11.9", 11, "11", 10, "10", setting<&D::num_slices>},
    {"MinRlimit", Kind::integer, "31.9", 31, "31", 30, "30", setting<&D::min_Rlimit>},
    {"AverageRlimit", Kind::integer, "101.9", 101, "101", 100, "100", setting<&D::average_Rlimit>},
    {"MaxRlimit", Kind::integer, "9001.9", 9001, "9001", 10000, "10000", setting<&D::max_Rlimit>},
    {"SuppressM", Kind::flag, "0", 0, "0", 1, "1", setting<&D::suppress_M>},
    {"SuppressMThreshold", Kind::integer, "21.9", 21, "21", 0, "0", setting<&D::suppress_M_threshold>},
    {"UseNewZC", Kind::flag, "0", 0, "0", 1, "1", setting<&D::use_new_ZC>},
    {"UseNormalization", Kind::flag, "0", 0, "0", 1, "1", setting<&D::use_normalization>},
    {"ActivationInside", Kind::integer, "2.9", 2, "2", 1, "1", setting<&D::activation_inside>},
    {"ActivationOutside", Kind::integer, "5.9", 5, "5", 0, "0", setting<&D::activation_outside>},
    {"ActivationTotal", Kind::integer, "6.9", 6, "6", 1, "1", setting<&D::activation_total>},
    {"KeywordsFrequency", Kind::integer, "7.9", 7, "7", 6, "6", setting<&D::keywords_frequency>},
    {"KeywordsSmlWeight", Kind::real, "0.5", 0.5, "0.5", 5, "5", bag_weight<1>},
    {"TitleSmlWeight", Kind::real, "2.25", 2.25, "2.25", 3, "3", bag_weight<2>},
    {"CannedSmlWeight", Kind::real, "4.75", 4.75, "4.75", 3, "3", bag_weight<3>},
    {"WeakenSmallCatsFactor", Kind::real, "8.5", 8.5, "8.5", 10, "10", setting<&D::weaken_small_cats_factor>},
    {"LearnSpeedScale", Kind::learn_speed, "linear", 1, "linear", 0, "sqrt", setting<&D::learn_speed_scale>},
    {"EachCatReserveSize", Kind::unsigned_integer, "22.9", 22, "22", 20, "20", config<&C::each_cat_reserve_size>},
    {"EachCatTrainSize", Kind::unsigned_integer, "88.9", 88, "88", 80, "80", config<&C::each_cat_train_size>},
    {"AgeAdjustment", Kind::real, "6.5", 6.5, "6.5", 5, "5", config<&C::age_adjustment>},
    {"ActivateFeedback", Kind::unsigned_integer, "110.9", 110, "110", 100, "100", config<&C::activate_feedback>},
    {"FullPropogation", Kind::flag, "0", 0, "0", 1, "1", config<&C::full_propogation>},
};

// clang-format on

double value_in(const zandrel::Setting& row, const zeManager& manager) {
    return row.in_config.get != nullptr ? row.in_config.get(manager.m_config)
                                        : row.in_defaults.get(manager.m_defaults);
}

// A row for a setting that is not in kRows. Its values are cut to integers, so the texts are
// integers too.
Key_row next_row(const zandrel::Setting& setting) {
    const auto new_value = static_cast<long>(value_in(setting, zeManager()));
    const auto value = static_cast<long>(other_value(setting, static_cast<double>(new_value)));
    return {setting.name,
            setting.kind,
            std::to_string(value),
            static_cast<double>(value),
            std::to_string(value),
            static_cast<double>(new_value),
            std::to_string(new_value),
            [&setting](const zeManager& manager) { return value_in(setting, manager); }};
}

// The rows above, and one for each further setting that has a key.
const std::vector<Key_row>& all_rows() {
    static const std::vector<Key_row> all = [] {
        std::vector<Key_row> rows(std::begin(kRows), std::end(kRows));
        for (const zandrel::Setting& setting : zandrel::Setting_table::kRows) {
            const bool is_above =
                std::any_of(std::begin(kRows), std::end(kRows), [&setting](const Key_row& row) {
                    return row.key == std::string_view(setting.name);
                });
            if (setting.has_key && !is_above) {
                rows.push_back(next_row(setting));
            }
        }
        return rows;
    }();
    return all;
}

std::vector<double> fields_of(const zeManager& manager) {
    std::vector<double> values;
    for (const Key_row& row : all_rows()) {
        values.push_back(row.field(manager));
    }
    return values;
}

double field_of(const zeManager& manager, std::string_view key) {
    for (const Key_row& row : all_rows()) {
        if (key == row.key) {
            return row.field(manager);
        }
    }
    ADD_FAILURE() << "no key " << key;
    return 0.0;
}

// A map that SetKcDefaults accepts.
zeOptMap switched_on() {
    zeOptMap map;
    map.Add("UseExtParms", 1);
    return map;
}

// A map with the texts of all rows.
zeOptMap full_map() {
    zeOptMap map = switched_on();
    for (const Key_row& row : all_rows()) {
        map.Add(row.key, row.text);
    }
    return map;
}

class zeOptMapSettingsTest : public testing::Test {
protected:
    // Sets one setting of the container.
    void Set(const char* key, const qtString& text) {
        zeOptMap map = switched_on();
        map.Add(key, text);
        map.SetKcDefaults(manager, false);
    }

    // The text that is written for the container's setting.
    qtString Written(const char* key) {
        zeOptMap map;
        map.GetKcDefaults(manager);
        return map.Get(key);
    }

    qtPtrLight<zeManager> manager{new zeManager};
    const std::vector<double> new_values = fields_of(*manager);
};

// The keys.

TEST_F(zeOptMapSettingsTest, KnownKeysAreThoseOfTheTableInItsOrder) {
    const std::vector<zeOptMap::Known_key> keys = zeOptMap::known_keys();

    ASSERT_EQ(keys.size(), all_rows().size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        SCOPED_TRACE(all_rows()[i].key);
        EXPECT_STREQ(keys[i].key, all_rows()[i].key);
        EXPECT_EQ(keys[i].kind, all_rows()[i].kind);
    }
}

TEST_F(zeOptMapSettingsTest, EachKeySetsOnlyItsOwnField) {
    for (std::size_t i = 0; i < all_rows().size(); ++i) {
        SCOPED_TRACE(all_rows()[i].key);
        manager = qtPtrLight<zeManager>(new zeManager);
        std::vector<double> expected = new_values;
        expected[i] = all_rows()[i].value;

        Set(all_rows()[i].key, all_rows()[i].text);

        EXPECT_EQ(fields_of(*manager), expected);
    }
}

TEST_F(zeOptMapSettingsTest, EachFieldIsWrittenBack) {
    for (const Key_row& row : all_rows()) {
        SCOPED_TRACE(row.key);

        Set(row.key, row.text);

        EXPECT_EQ(Written(row.key), row.written);
    }
}

TEST_F(zeOptMapSettingsTest, GetKcDefaultsWritesOnlyTheSettingsOfANewContainer) {
    zeOptMap map;

    map.GetKcDefaults(manager);

    EXPECT_EQ(map.options.size(), all_rows().size());
    for (const Key_row& row : all_rows()) {
        SCOPED_TRACE(row.key);
        EXPECT_EQ(row.field(*manager), row.new_value);
        EXPECT_EQ(map.Get(row.key), row.new_written);
    }
}

TEST_F(zeOptMapSettingsTest, GetKcDefaultsReplacesOldValuesAndKeepsOtherKeys) {
    zeOptMap map;
    map.Add("ClipValue", "old");
    map.Add("MyOwn", "kept");

    map.GetKcDefaults(manager);

    EXPECT_EQ(map.Get("ClipValue"), "3");
    EXPECT_EQ(map.Get("MyOwn"), "kept");
}

TEST_F(zeOptMapSettingsTest, GetKcDefaultsKeepsTheFractionEvenIfReadingDropsIt) {
    manager->m_defaults.clip_value = 2.5;
    manager->m_defaults.min_Rlimit = 0.25;

    EXPECT_EQ(Written("ClipValue"), "2.5");
    EXPECT_EQ(Written("MinRlimit"), "0.25");
}

TEST_F(zeOptMapSettingsTest, SettingsOfOneContainerCanBeGivenToAnother) {
    full_map().SetKcDefaults(manager, false);
    qtPtrLight<zeManager> other(new zeManager);
    zeOptMap map;

    map.GetKcDefaults(manager);
    map.Add("UseExtParms", true);
    map.SetKcDefaults(other, false);

    EXPECT_NE(fields_of(*manager), new_values);
    EXPECT_EQ(fields_of(*other), fields_of(*manager));
    EXPECT_TRUE(other->m_defaults == manager->m_defaults);
}

// How texts are read.

TEST_F(zeOptMapSettingsTest, AbsentValuesLeaveEachField) {
    full_map().SetKcDefaults(manager, false);
    const std::vector<double> values = fields_of(*manager);

    for (const char* const text : {"leave", ""}) {
        SCOPED_TRACE(text);
        zeOptMap map = switched_on();
        for (const Key_row& row : all_rows()) {
            map.Add(row.key, text);
        }

        map.SetKcDefaults(manager, false);

        EXPECT_EQ(fields_of(*manager), values);
    }
    switched_on().SetKcDefaults(manager, false);
    EXPECT_EQ(fields_of(*manager), values);
}

TEST_F(zeOptMapSettingsTest, AbsentClipValueKeepsAFraction) {
    manager->m_defaults.clip_value = 2.5;

    Set("ClipValue", "leave");

    EXPECT_EQ(manager->m_defaults.clip_value, 2.5);
}

TEST_F(zeOptMapSettingsTest, FlagsAreTrueForEveryNonZeroInteger) {
    struct Row {
        const char* text;
        bool flag;
    };

    const Row rows[] = {
        {"1", true},   {"2", true},    {"0", false},         {"-1", true},    {"0.9", false},
        {"256", true}, {"yes", false}, {"4294967296", true}, {"true", false}, {"1.0", true},
    };

    for (const Key_row& key : all_rows()) {
        if (key.kind != Kind::flag) {
            continue;
        }
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(key.key) + " = " + row.text);

            Set(key.key, row.flag ? "0" : "1");
            Set(key.key, row.text);

            EXPECT_EQ(key.field(*manager) != 0.0, row.flag);
        }
    }
}

TEST_F(zeOptMapSettingsTest, NegativeClipValueBecomesZero) {
    for (const char* const text : {"-2", "-1", "0", "-0.5", "-99999999999", "none"}) {
        SCOPED_TRACE(text);
        manager->m_defaults.clip_value = 3.0;

        Set("ClipValue", text);

        EXPECT_EQ(manager->m_defaults.clip_value, 0.0);
    }
}

TEST_F(zeOptMapSettingsTest, OtherSignedNumbersMayBeNegative) {
    struct Row {
        const char* key;
        double value;
    };

    const Row rows[] = {
        {"MinRlimit", -2.0},         {"AverageRlimit", -2.0}, {"MaxRlimit", -2.0},
        {"KeywordsFrequency", -2.0}, {"ProfileSize", -2.0},   {"DeletePFactor", -2.5},
        {"TitleSmlWeight", -2.5},    {"AgeAdjustment", -2.5},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);

        Set(row.key, "-2.5");

        EXPECT_EQ(field_of(*manager, row.key), row.value);
    }
}

TEST_F(zeOptMapSettingsTest, NegativeUnsignedNumbersBecomeZero) {
    for (const char* const key : {"EachCatReserveSize", "EachCatTrainSize", "ActivateFeedback"}) {
        SCOPED_TRACE(key);

        Set(key, "-5");

        EXPECT_EQ(field_of(*manager, key), 0.0);
    }
}

TEST_F(zeOptMapSettingsTest, UnsignedNumbersMayBeAboveTheSignedMaximum) {
    Set("ActivateFeedback", "4000000000");

    EXPECT_EQ(manager->m_config.activate_feedback, 4000000000U);
    EXPECT_EQ(Written("ActivateFeedback"), "4000000000");
}

TEST_F(zeOptMapSettingsTest, LifeExpectancyKeepsTheLowByte) {
    struct Row {
        const char* text;
        int value;
        const char* written;
    };

    const Row rows[] = {
        {"255", 255, "255"}, {"256", 0, "0"}, {"263", 7, "7"}, {"-1", 255, "255"}, {"0", 0, "0"},
    };

    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);

        Set("PLifeExpectancy", row.text);

        EXPECT_EQ(manager->m_defaults.P_life_expectancy, row.value);
        EXPECT_EQ(Written("PLifeExpectancy"), row.written);
    }
}

TEST_F(zeOptMapSettingsTest, LearnSpeedScaleAcceptsTwoWords) {
    manager->m_defaults.learn_speed_scale = 2;

    Set("LearnSpeedScale", "sqrt");
    EXPECT_EQ(manager->m_defaults.learn_speed_scale, 0);
    Set("LearnSpeedScale", "linear");

    EXPECT_EQ(manager->m_defaults.learn_speed_scale, 1);
}

TEST_F(zeOptMapSettingsTest, LearnSpeedScaleRefusesOtherTexts) {
    manager->m_defaults.learn_speed_scale = 1;

    for (const char* const text : {"Sqrt", "LINEAR", "1", "0", "??", "sqrt linear"}) {
        SCOPED_TRACE(text);

        EXPECT_QTX_ARGS(Set("LearnSpeedScale", text), zeOptMap, 2,
                        std::string("Invalid Learn Speed Scale: ") + text,
                        {"LearnSpeedScale", text});

        EXPECT_EQ(manager->m_defaults.learn_speed_scale, 1);
    }
}

TEST_F(zeOptMapSettingsTest, LearnSpeedScaleOutOfRangeIsWrittenAsQuestionMarks) {
    for (const int scale : {2, -1}) {
        SCOPED_TRACE(scale);
        manager->m_defaults.learn_speed_scale = scale;

        EXPECT_EQ(Written("LearnSpeedScale"), "??");
    }
}

TEST_F(zeOptMapSettingsTest, FailureAtLearnSpeedScaleLeavesTheKeysBeforeItStored) {
    zeOptMap map = full_map();
    map.Add("LearnSpeedScale", "fast");
    manager->m_modified = false;
    bool is_before = true;

    EXPECT_QTX_ARGS(map.SetKcDefaults(manager, true), zeOptMap, 2,
                    "Invalid Learn Speed Scale: fast", {"LearnSpeedScale", "fast"});

    EXPECT_TRUE(manager->m_modified);
    for (const Key_row& row : all_rows()) {
        SCOPED_TRACE(row.key);
        is_before = is_before && row.key != std::string_view("LearnSpeedScale");
        EXPECT_EQ(row.field(*manager), is_before ? row.value : row.new_value);
    }
}

// UseExtParms.

TEST_F(zeOptMapSettingsTest, SetKcDefaultsRaisesWithoutUseExtParmsAndChangesNothing) {
    zeOptMap map = full_map();
    map.options.erase("UseExtParms");
    manager->m_modified = false;

    EXPECT_QTX_ARGS(map.SetKcDefaults(manager, true), zeOptMap, 1, "Missing Option: UseExtParms",
                    {"UseExtParms"});

    EXPECT_FALSE(manager->m_modified);
    EXPECT_EQ(fields_of(*manager), new_values);
}

TEST_F(zeOptMapSettingsTest, MapFilledByGetKcDefaultsIsRefusedWithoutUseExtParms) {
    zeOptMap map;
    map.GetKcDefaults(manager);

    EXPECT_QTX_ARGS(map.SetKcDefaults(manager, false), zeOptMap, 1, "Missing Option: UseExtParms",
                    {"UseExtParms"});
}

TEST_F(zeOptMapSettingsTest, UseExtParmsOfZeroIgnoresTheMap) {
    zeOptMap map = full_map();
    map.Add("LearnSpeedScale", "fast");

    for (const char* const text : {"0", "", "leave", "no", "0.5"}) {
        SCOPED_TRACE(text);
        map.Add("UseExtParms", text);
        manager->m_modified = false;

        map.SetKcDefaults(manager, true);

        EXPECT_FALSE(manager->m_modified);
        EXPECT_EQ(fields_of(*manager), new_values);
    }
}

TEST_F(zeOptMapSettingsTest, UseExtParmsOfAnyOtherIntegerAppliesTheMap) {
    for (const char* const text : {"1", "2", "-1"}) {
        SCOPED_TRACE(text);
        manager->m_defaults.profile_size = 1000;
        zeOptMap map = full_map();
        map.Add("UseExtParms", text);

        map.SetKcDefaults(manager, false);

        EXPECT_EQ(manager->m_defaults.profile_size, 501);
    }
}

// PropogateChange.

// All settings of a model.
std::vector<double> settings_of(const zeStat_storage& model) {
    std::vector<double> values;
    for (const zandrel::Setting& row : zandrel::Setting_table::kRows) {
        if (row.in_model.get != nullptr) {
            values.push_back(row.in_model.get(model));
        }
    }
    return values;
}

// A statistical root, a rule node below it, and another statistical node below that. A further
// statistical node is outside the tree. All classifiers are marked as just written to a file.
class zeOptMapPropagationTest : public testing::Test {
protected:
    zeOptMapPropagationTest() {
        manager->m_root = root_matcher.m_node;
        manager->m_root->add_child(rule_node);
        rule_node->add_child(inner_matcher.m_node);
        manager->m_physical_tree->set_classifier(rule_node, rule_classifier);
        for (zeClassifier* classifier :
             {static_cast<zeClassifier*>(&root_matcher), static_cast<zeClassifier*>(&inner_matcher),
              static_cast<zeClassifier*>(&outer_matcher),
              static_cast<zeClassifier*>(rule_classifier)}) {
            classifier->m_dirty = false;
        }
    }

    zeNode* MakeNode(std::string_view name) {
        return manager->m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
    }

    zeStat_matcher& MakeMatcher(std::string_view name) {
        return dynamic_cast<zeStat_matcher&>(*manager->AddClassifier(MakeNode(name), ZE_STAT));
    }

    qtPtrLight<zeManager> manager{new zeManager};
    zeStat_matcher& root_matcher = MakeMatcher("root");
    zeStat_matcher& inner_matcher = MakeMatcher("inner");
    zeStat_matcher& outer_matcher = MakeMatcher("outer");
    zeNode* rule_node = MakeNode("rule");
    FakeClassifier* rule_classifier = new FakeClassifier(manager.operator->(), rule_node, ZE_RULE);
    zeOptMap map = full_map();
};

TEST_F(zeOptMapPropagationTest, EachModelOfTheTreeGetsAllSettings) {
    qtPtrLight<zeManager> source(new zeManager);
    map.SetKcDefaults(source, false);
    zeDefaults settings = source->m_defaults;
    const zeStat_storage model(nullptr, settings);

    zeOptMap().PropogateChange(manager, settings);

    EXPECT_EQ(root_matcher.m_storage->m_profile_size, 501);
    EXPECT_EQ(settings_of(*root_matcher.m_storage), settings_of(model));
    EXPECT_EQ(settings_of(*inner_matcher.m_storage), settings_of(model));
}

TEST_F(zeOptMapPropagationTest, MatchersOfTheTreeAreMarkedAsChanged) {
    zeOptMap().PropogateChange(manager, manager->m_defaults);

    EXPECT_TRUE(root_matcher.m_dirty);
    EXPECT_TRUE(inner_matcher.m_dirty);
}

TEST_F(zeOptMapPropagationTest, OtherClassifiersAreUnchanged) {
    zeOptMap().PropogateChange(manager, manager->m_defaults);

    EXPECT_FALSE(rule_classifier->m_dirty);
    EXPECT_THAT(rule_classifier->calls, IsEmpty());
    EXPECT_THAT(rule_classifier->asked_children, IsEmpty());
}

TEST_F(zeOptMapPropagationTest, ClassifiersOutsideTheTreeAreUnchanged) {
    zeDefaults settings;
    settings.profile_size = 501;

    zeOptMap().PropogateChange(manager, settings);

    EXPECT_FALSE(outer_matcher.m_dirty);
    EXPECT_EQ(outer_matcher.m_storage->m_profile_size, 1000);
}

TEST_F(zeOptMapPropagationTest, ContainersOwnSettingsAreUnchanged) {
    zeDefaults settings;
    settings.profile_size = 501;

    zeOptMap().PropogateChange(manager, settings);

    EXPECT_TRUE(manager->m_defaults == zeDefaults());
}

TEST_F(zeOptMapPropagationTest, NoMatcherIsFedAgain) {
    zeNode* category = MakeNode("category");
    bool added = false;
    root_matcher.m_storage->get_or_add_profile(category, added);
    root_matcher.m_storage->profile(0).m_weights = {{term("waiting"), 1.0F}};
    set_row(root_matcher.m_table, term("known"), {{2.0F, 0}});

    zeOptMap().PropogateChange(manager, manager->m_defaults);

    EXPECT_EQ(root_matcher.m_storage->profile(0).m_weights.size(), 1U);
    EXPECT_EQ(root_matcher.m_table.size(), 1U);
    EXPECT_EQ(root_matcher.m_table.count(term("known")), 1U);
    EXPECT_THAT(root_matcher.m_node->m_children, ElementsAre(rule_node));
}

TEST_F(zeOptMapPropagationTest, NothingHappensInAnEmptyContainer) {
    qtPtrLight<zeManager> empty(new zeManager);

    map.SetKcDefaults(empty, true);

    EXPECT_EQ(empty->m_root, nullptr);
    EXPECT_THAT(empty->m_objects, IsEmpty());
    EXPECT_EQ(empty->m_defaults.profile_size, 501);
}

TEST_F(zeOptMapPropagationTest, SetKcDefaultsPropagatesOnlyIfRequested) {
    map.SetKcDefaults(manager, false);
    EXPECT_EQ(manager->m_defaults.profile_size, 501);
    EXPECT_EQ(root_matcher.m_storage->m_profile_size, 1000);
    EXPECT_FALSE(root_matcher.m_dirty);

    map.SetKcDefaults(manager, true);

    EXPECT_EQ(root_matcher.m_storage->m_profile_size, 501);
    EXPECT_EQ(inner_matcher.m_storage->m_profile_size, 501);
    EXPECT_TRUE(root_matcher.m_dirty);
}

TEST_F(zeOptMapPropagationTest, RefusedOrIgnoredMapChangesNoModel) {
    map.Add("LearnSpeedScale", "fast");
    EXPECT_QTX(map.SetKcDefaults(manager, true), zeOptMap, 2, "Invalid Learn Speed Scale: fast");
    map.Add("LearnSpeedScale", "sqrt");
    map.Add("UseExtParms", 0);
    map.SetKcDefaults(manager, true);

    EXPECT_EQ(root_matcher.m_storage->m_profile_size, 1000);
    EXPECT_FALSE(root_matcher.m_dirty);
}

}  // namespace
