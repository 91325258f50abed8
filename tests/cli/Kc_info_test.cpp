#include "cli/kc/Kc_info.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/small_kc.h"
#include "tests/support/answers_of_kc.h"
#include "tests/support/match_rows.h"

namespace zandrel::cli {

namespace {

TEST(KcInfoTest, CountsNodesByKind) {
    Small_kc kc;
    // A second leaf of an existing category.
    zeLogicalNode mail = node_to_add(kc.Node("root/news").id, "mail");
    kc.Manager().m_logical_tree->AddLogicalNode(mail);

    const Kc_info info = kc_info(kc.Manager());

    EXPECT_EQ(info.nodes, 9U);
    EXPECT_EQ(info.leaves, 6U);
    EXPECT_EQ(info.categories, 5U);
    EXPECT_EQ(info.rule_classifiers, 1U);
    EXPECT_EQ(info.classifiers.size(), 2U);
    EXPECT_EQ(info.depth, 3);
}

TEST(KcInfoTest, EachStatisticalClassifierIsMeasured) {
    Small_kc kc;

    const Kc_info info = kc_info(kc.Manager());

    ASSERT_EQ(info.classifiers.size(), 2U);
    const Stat_info& root = info.classifiers[0];
    EXPECT_EQ(root.path, "root");
    EXPECT_EQ(root.categories, 3U);
    EXPECT_EQ(root.messages, 4);
    EXPECT_EQ(root.concepts, 6U);
    const Stat_info& news = info.classifiers[1];
    EXPECT_EQ(news.path, "root/news");
    EXPECT_EQ(news.categories, 2U);
    EXPECT_EQ(news.messages, 3);
    EXPECT_EQ(news.concepts, 4U);
}

TEST(KcInfoTest, FeatureIsCountedForEachCategoryThatHasIt) {
    zeManager manager;
    zeDefaults settings = plain_settings();
    manager.m_defaults = settings;
    zeLogicalNode root = node_to_add(0, "root", "", ZE_STAT);
    manager.m_logical_tree->AddLogicalNode(root);
    zeStat_matcher& matcher = dynamic_cast<zeStat_matcher&>(*manager.GetRootClassifier());
    set_row(matcher.m_table, term("both"), {{1.0F, 0}, {1.0F, 1}});
    set_row(matcher.m_table, term("one"), {{1.0F, 0}});

    EXPECT_EQ(kc_info(manager).classifiers[0].features, 3U);
}

TEST(KcInfoTest, CompactContainerHasFeaturesAndNoConcepts) {
    Small_kc whole;
    Small_kc kc = Small_kc::Compact();

    const Kc_info info = kc_info(kc.Manager());

    EXPECT_TRUE(info.is_compact);
    EXPECT_EQ(info.classifiers[0].concepts, 0U);
    EXPECT_EQ(info.classifiers[0].messages, 4);
    EXPECT_EQ(info.classifiers[0].features, kc_info(whole.Manager()).classifiers[0].features);
    EXPECT_GT(info.classifiers[0].features, 0U);
}

TEST(KcInfoTest, CompactContainerWithoutItsFlagIsShownAsSuch) {
    Kc_items items(answering_kc(true));
    items.flags = 0;
    zeManager manager;
    read_kc(manager, items.file());

    const Kc_info info = kc_info(manager);
    std::ostringstream out;
    print_kc_info(info, out);

    EXPECT_TRUE(info.is_compact);
    EXPECT_NE(out.str().find("\n  compact             yes (the file does not say so)\n"),
              std::string::npos);
    EXPECT_EQ(kc_info_json(info)["compact_flag"], false);
}

TEST(KcInfoTest, CompactContainerWithItsFlagAndFullContainerAreShownNormally) {
    for (const bool is_compact : {true, false}) {
        zeManager manager;
        read_kc(manager, answering_kc(is_compact));

        const Kc_info info = kc_info(manager);
        std::ostringstream out;
        print_kc_info(info, out);

        EXPECT_EQ(info.is_compact, is_compact);
        EXPECT_NE(out.str().find(is_compact ? "\n  compact             yes\n"
                                            : "\n  compact             no\n"),
                  std::string::npos);
        EXPECT_FALSE(kc_info_json(info).contains("compact_flag"));
    }
}

TEST(KcInfoTest, IdentityAndOptionalSettingsAreShown) {
    zeManager manager;
    manager.m_config.kc_id = 7;
    manager.m_config.kc_name = "shop";
    manager.m_config.set_optional("zandrel.analysis", "words");
    manager.m_config.set_optional("zandrel.stem", "german");
    manager.m_config.set_optional("mine", "a\nb");

    const Kc_info info = kc_info(manager);

    EXPECT_EQ(info.id, 7U);
    EXPECT_EQ(info.name, "shop");
    EXPECT_EQ(info.analysis, "words");
    EXPECT_EQ(info.stem_language, "german");
    const std::vector<std::pair<std::string, std::string>> optional = {
        {"mine", "a\nb"}, {"zandrel.analysis", "words"}, {"zandrel.stem", "german"}};
    EXPECT_EQ(info.optional, optional);
    EXPECT_EQ(info.depth, 0);
}

TEST(KcInfoTest, ConfidenceMapIsShownByItsAnswersOnly) {
    zeManager manager;
    manager.m_config.set_optional("zandrel.confidence", "1 2 0 10000 0 31:1000:1000:900");
    const Kc_info whole = kc_info(manager);
    manager.m_config.set_optional("zandrel.confidence", "broken");
    const Kc_info damaged = kc_info(manager);

    std::ostringstream out;
    print_kc_info(whole, out);
    EXPECT_THAT(out.str(), testing::HasSubstr("  confidence          from 2 answers\n"));
    EXPECT_THAT(out.str(), testing::Not(testing::HasSubstr("31:1000")));
    EXPECT_EQ(kc_info_json(whole)["confidence_answers"], 2);
    EXPECT_FALSE(kc_info_json(whole).contains("confidence"));
    EXPECT_TRUE(kc_info_json(whole)["optional"].empty());
    out.str("");
    print_kc_info(damaged, out);
    EXPECT_THAT(out.str(), testing::HasSubstr("  confidence          damaged\n"));
    EXPECT_THAT(out.str(), testing::Not(testing::HasSubstr("broken")));
    EXPECT_EQ(kc_info_json(damaged)["confidence"], "damaged");
    EXPECT_FALSE(kc_info_json(damaged).contains("confidence_answers"));
}

TEST(KcInfoTest, OnlyChosenSettingsThatTheContainerStillHasAreShown) {
    zeManager manager;
    manager.m_defaults.profile_size = 5;
    manager.m_config.set_optional("zandrel.choices", "ProfileSize=5 SuppressM=0");

    const std::vector<Chosen_setting> expected = {{"ProfileSize", "5"}};
    EXPECT_EQ(kc_info(manager).choices, expected);
}

TEST(KcInfoTest, TimesAreShownInUtc) {
    const struct {
        std::int64_t microseconds;
        const char* text;
    } rows[] = {
        {0, "1970-01-01 00:00:00 UTC"},
        {-1, "1969-12-31 23:59:59 UTC"},
        {951827696999999, "2000-02-29 12:34:56 UTC"},
        {253402300799999999, "9999-12-31 23:59:59 UTC"},
        {253402300800000000, "253402300800000000 microseconds since 1970"},
        {-62167219200000000, "0000-01-01 00:00:00 UTC"},
        {-62167219200000001, "-62167219200000001 microseconds since 1970"},
    };

    for (const auto& row : rows) {
        EXPECT_EQ(moment_text(qtTimeDate(row.microseconds)), row.text);
    }
}

Kc_info example() {
    Kc_info info;
    info.file = Kc_file_facts{"a\n.kc", 12345, true, true};
    info.version = 2;
    info.is_compact = true;
    info.id = 7;
    info.name = "shop";
    info.last_trained = qtTimeDate(1000000);
    info.nodes = 3;
    info.leaves = 2;
    info.categories = 2;
    info.depth = 2;
    info.classifiers = {{"shop", 2, 4, 0, 1200}};
    info.analysis = "words";
    info.stem_language = "german";
    info.choices = {{"ProfileSize", "3000"}, {"SuppressM", "0"}};
    info.optional = {{"key", "a\nb"}};
    return info;
}

TEST(KcInfoTest, ContainerIsPrintedAsText) {
    std::ostringstream out;
    print_kc_info(example(), out);

    EXPECT_EQ(out.str(),
              "container\n"
              "  file                a\\x0A.kc\n"
              "  size                12,345 bytes\n"
              "  form                plain\n"
              "  unicode             yes\n"
              "  seal                yes\n"
              "  format version      2\n"
              "  compact             yes\n"
              "  id                  7\n"
              "  name                shop\n"
              "  text analysis       words, stem german\n"
              "  program's choices   ProfileSize=3000, SuppressM=0\n"
              "  created             1970-01-01 00:00:00 UTC\n"
              "  last trained        1970-01-01 00:00:01 UTC\n"
              "tree\n"
              "  nodes               3\n"
              "  leaves              2\n"
              "  rule nodes          0\n"
              "  statistical nodes   1\n"
              "  categories          2\n"
              "  levels              2\n"
              "statistical classifiers\n"
              "    categories      messages      concepts      features  path\n"
              "             2             4             0         1,200  shop\n"
              "optional settings\n"
              "  key=a\\x0Ab\n");
}

TEST(KcInfoTest, CachedFormIsPrintedWithItsBound) {
    Kc_info info = example();
    info.file->form = Kc_form::kCached;
    info.cache_bound = 1;
    std::ostringstream out;
    print_kc_info(info, out);

    EXPECT_THAT(out.str(), testing::HasSubstr(
                               "  form                cached, at most 1 classifier in memory\n"));
    EXPECT_EQ(kc_info_json(info)["form"], "cached");
    EXPECT_EQ(kc_info_json(info)["cache_bound"], 1);
}

TEST(KcInfoTest, JsonHasTheSameContents) {
    EXPECT_EQ(
        kc_info_json(example()).dump(),
        R"({"file":"a\n.kc","size":12345,"form":"plain","unicode":true,"seal":true,"version":2,"compact":true,)"
        R"("id":7,"name":"shop","analysis":"words","stem":"german",)"
        R"("choices":{"ProfileSize":3000,"SuppressM":0},)"
        R"("created":"1970-01-01 00:00:00 UTC","last_trained":"1970-01-01 00:00:01 UTC",)"
        R"("nodes":3,"leaves":2,"rule_classifiers":0,"categories":2,"depth":2,)"
        R"("statistical_classifiers":[{"path":"shop","categories":2,"messages":4,)"
        R"("concepts":0,"features":1200}],"optional":{"key":"a\nb"}})");
}

}  // namespace

}  // namespace zandrel::cli
