#include "cli/classify/Walk_report.h"

#include <cstddef>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "zandrel/messages/zeMsg.h"

#include "tests/cli/routed_kc.h"
#include "text/data/Labelled_text.h"
#include "text/model/Text_model.h"
#include "text/wording/Json.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// The tree of the example in Walk_test.cpp: a rule node routes by a pair, and a statistical node
// below it gives its children the scores 3/4, 1/2, 1/4 and 0.
class WalkReportTest : public testing::Test {
protected:
    WalkReportTest() { m_kc.Add(m_shop, "old"); }

    Walk_report Report(int wanted) {
        Text_model model(m_kc.Pointer(), {Analysis_kind::kWords});
        return {*m_kc.Manager().m_logical_tree, m_message.text, model.walk(m_message, wanted),
                m_node, m_top};
    }

    std::string Printed(int wanted = 1) {
        std::ostringstream out;
        print_walk(Report(wanted), out);
        return out.str();
    }

    nlohmann::ordered_json Json(int wanted = 1) { return walk_json(Report(wanted)); }

    // The last line, about the way to a node.
    std::string Way(unsigned int id) {
        m_node = m_kc.Node(id);
        const std::string printed = Printed();
        const std::size_t begin = printed.rfind('\n', printed.size() - 2) + 1;
        return printed.substr(begin, printed.size() - 1 - begin);
    }

    nlohmann::ordered_json Way_json(unsigned int id) {
        m_node = m_kc.Node(id);
        return Json()["way"];
    }

    Routed_kc m_kc{ZE_RULE};
    unsigned int m_urgent = m_kc.Add(m_kc.root, "urgent", ZE_LEAF, "$size(n) > 10 | \"fire\"");
    unsigned int m_shop =
        m_kc.Add(m_kc.root, "shop", ZE_STAT, "\"word\" | $size(n) > 5 ? 0.5 : 0", 0.2);
    unsigned int m_refund = m_kc.AddLearned(m_shop, "refund", kThreeQuarters);
    unsigned int m_late = m_kc.AddLearned(m_shop, "late", kHalf);
    unsigned int m_praise = m_kc.AddLearned(m_shop, "praise", kOneQuarter);
    unsigned int m_rest = m_kc.Add(m_kc.root, "rest", ZE_LEAF, "default");
    Labelled_text m_message = {{}, "A word", {},
                               {}, 0,        {{"size", mlMessageConverter::kInteger, {"7"}}}};
    zeNode* m_node = nullptr;
    std::optional<std::size_t> m_top;
};

TEST_F(WalkReportTest, StepsChildrenRulesAndReasonsArePrinted) {
    EXPECT_EQ(
        Printed(),
        "A word\n"
        "  0.375000  root/shop/refund\n"
        "  1. root  rule, score 1.000000, not scored\n"
        "       0.500000  shop    taken in step 2\n"
        "                   rule      \"word\" | $size(n) > 5 ? 0.5 : 0\n"
        "                   value     0.5\n"
        "                   \"word\"    found\n"
        "                   $size(n)  not evaluated\n"
        "              -  urgent  the rule is not above 0\n"
        "                   rule      $size(n) > 10 | \"fire\"\n"
        "                   value     0\n"
        "                   $size(n)  7\n"
        "                   \"fire\"    not found\n"
        "              -  rest    default, and a rule fired\n"
        "                   rule  default\n"
        "  2. root/shop  stat, score 0.500000, not scored, threshold 0.2\n"
        "       0.375000  refund  taken in step 3 (0.500000 x 0.750000)\n"
        "       0.250000  late    not taken: the walk had enough results (0.500000 x 0.500000)\n"
        "       0.125000  praise  below the threshold 0.2 of this node (0.500000 x 0.250000)\n"
        "       0.000000  old     score 0 (0.500000 x 0.000000)\n"
        "  3. root/shop/refund  leaf, score 0.375000, result 1\n");
}

TEST_F(WalkReportTest, SecondLabelIsTheSecondResult) {
    EXPECT_THAT(Printed(2), HasSubstr("A word\n  0.375000  root/shop/refund\n"
                                      "  0.250000  root/shop/late\n  1. root "));
    EXPECT_THAT(Printed(2), EndsWith("  4. root/shop/late  leaf, score 0.250000, result 2\n"));
}

TEST_F(WalkReportTest, TextWithoutWordsSaysSo) {
    m_message.text = "";

    EXPECT_THAT(Printed(), HasSubstr("\n  (no result)\n  (the text has no words)\n  1. root "));
    EXPECT_EQ(Json()["has_words"], false);
    EXPECT_THAT(Json()["results"], IsEmpty());
    EXPECT_EQ(Json()["ended"], "nothing left");
}

// The children that were taken are always shown.
TEST_F(WalkReportTest, OnlyTheFirstRejectedChildrenAreShown) {
    m_top = 1;

    EXPECT_THAT(Printed(),
                HasSubstr("  2. root/shop  stat, score 0.500000, not scored, threshold 0.2\n"
                          "       0.375000  refund  taken"));
    EXPECT_THAT(Printed(), HasSubstr("x 0.500000)\n                 (2 more)\n"));
    EXPECT_THAT(Printed(), Not(HasSubstr("praise")));
    EXPECT_EQ(Json()["steps"][1]["children"].size(), 2U);
    EXPECT_EQ(Json()["steps"][1]["left_out"], 2);
    EXPECT_FALSE(Json()["steps"][2].contains("left_out"));
}

TEST_F(WalkReportTest, WayToANodeEndsWhereItWasLeft) {
    EXPECT_EQ(Way(m_refund), "  root/shop/refund was taken in step 3: result 1");
    EXPECT_EQ(Way(m_shop), "  root/shop was taken in step 2: not scored");
    m_node = m_kc.Node(m_late);
    EXPECT_THAT(Printed(), EndsWith("\n  the way to root/shop/late ended in step 2 at late, score "
                                    "0.250000: not taken: the walk had enough\n  results\n"));
    m_node = m_kc.Node(m_praise);
    EXPECT_THAT(Printed(),
                EndsWith("\n  the way to root/shop/praise ended in step 2 at praise, score "
                         "0.125000: below the threshold 0.2 of\n  this node\n"));
    EXPECT_EQ(Way(m_urgent),
              "  the way to root/urgent ended in step 1 at urgent: the rule is not above 0");
    EXPECT_EQ(Way(m_rest),
              "  the way to root/rest ended in step 1 at rest: default, and a rule fired");
}

TEST_F(WalkReportTest, WayToANodeBelowARejectedNodeEndsThere) {
    m_message.text = "none";
    m_message.pairs.clear();

    EXPECT_EQ(Way(m_refund),
              "  the way to root/shop/refund ended in step 1 at shop: the rule is not above 0");
    EXPECT_EQ(Way_json(m_refund).dump(),
              R"({"path":"root/shop/refund","step":1,"outcome":"rule not positive","score":null})");
}

// A scored node that is the one wanted result ends the walk.
TEST_F(WalkReportTest, WayBelowANodeThatWasNotAskedEndsThere) {
    m_kc.Score(m_shop);

    EXPECT_THAT(Printed(),
                EndsWith("  2. root/shop  stat, score 0.500000, result 1, threshold 0.2; "
                         "the walk ended before its classifier\n"
                         "                was asked\n"));
    m_node = m_kc.Node(m_refund);
    EXPECT_THAT(Printed(), EndsWith("\n  the way to root/shop/refund ended in step 2 at root/shop: "
                                    "the walk had enough results before its\n"
                                    "  classifier was asked\n"));
    EXPECT_EQ(Way_json(m_refund)["outcome"], "not asked");
    EXPECT_EQ(Way_json(m_shop)["outcome"], "taken");
}

TEST_F(WalkReportTest, JsonHasTheWalk) {
    m_node = m_kc.Node(m_praise);
    const nlohmann::ordered_json json = Json();

    EXPECT_EQ(json["text"], "A word");
    EXPECT_EQ(json["has_words"], true);
    EXPECT_EQ(json["ended"], "enough results");
    EXPECT_EQ(json["results"].dump(),
              R"([{"category":"refund","path":"root/shop/refund","score":0.375}])");
    EXPECT_EQ(json["steps"].size(), 3U);
    nlohmann::ordered_json root = json["steps"][0];
    root["children"][0]["rule"].erase("tree");
    root["children"][1].erase("rule");
    EXPECT_EQ(
        root.dump(),
        R"({"step":1,"parent":null,"id":1,"name":"root","classifier":"rule","score":1.0,)"
        R"("threshold":0.0,"outcome":"not scored","asked":true,"children":[)"
        R"({"id":3,"name":"shop","score":0.5,"factor":0.5,"outcome":"taken","step":2,)"
        R"("rule":{"text":"\"word\" | $size(n) > 5 ? 0.5 : 0","value":0.5}},)"
        R"({"id":2,"name":"urgent","score":null,"factor":0.0,"outcome":"rule not positive"},)"
        R"({"id":7,"name":"rest","score":null,"factor":null,)"
        R"("outcome":"default not reached","rule":{"text":"default","value":null,"tree":[]}}]})");
    EXPECT_EQ(json["steps"][1].dump(),
              R"({"step":2,"parent":1,"id":3,"name":"shop","classifier":"stat","score":0.5,)"
              R"("threshold":0.2,"outcome":"not scored","asked":true,"children":[)"
              R"({"id":4,"name":"refund","score":0.375,"factor":0.75,"outcome":"taken","step":3},)"
              R"({"id":5,"name":"late","score":0.25,"factor":0.5,"outcome":"waits"},)"
              R"({"id":6,"name":"praise","score":0.125,"factor":0.25,"outcome":"below threshold"},)"
              R"({"id":8,"name":"old","score":0.0,"factor":0.0,"outcome":"score 0"}]})");
    EXPECT_EQ(json["steps"][2].dump(),
              R"({"step":3,"parent":2,"id":4,"name":"refund","classifier":"leaf","score":0.375,)"
              R"("threshold":0.0,"outcome":"result","rank":1,"asked":false,"children":[]})");
    EXPECT_EQ(json["way"].dump(),
              R"({"path":"root/shop/praise","step":2,"outcome":"below threshold","score":0.125})");
}

TEST_F(WalkReportTest, JsonHasThePartsOfARule) {
    EXPECT_EQ(Json()["steps"][0]["children"][1]["rule"].dump(),
              R"({"text":"$size(n) > 10 | \"fire\"","value":0.0,"tree":[)"
              R"({"level":0,"type":"n","node":"to number","value":0.0},)"
              R"({"level":1,"type":"b","node":"or","value":false},)"
              R"({"level":2,"type":"b","node":"greater","value":false},)"
              R"j({"level":3,"type":"n","node":"$size(n)","value":7.0},)j"
              R"({"level":3,"type":"n","node":"10","value":10.0},)"
              R"({"level":2,"type":"b","node":"\"fire\"","value":false}]})");
}

TEST(WalkReportFormTest, LeavesOfOneCategoryAreCompared) {
    Routed_kc kc(ZE_RULE);
    kc.SetCategory(kc.Add(kc.root, "low", ZE_LEAF, "0.25"), "money");
    kc.SetCategory(kc.Add(kc.root, "high", ZE_LEAF, "0.5"), "money");
    const unsigned int group = kc.Add(kc.root, "group", ZE_RULE, "0.125");
    kc.Add(group, "money", ZE_LEAF, "1");
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});
    const Walk_report report{*kc.Manager().m_logical_tree, "x", model.walk({{}, "x"}, -1)};

    std::ostringstream out;
    print_walk(report, out);

    EXPECT_THAT(out.str(), HasSubstr("low    same category as high, which is better\n"));
    EXPECT_THAT(
        out.str(),
        HasSubstr("  4. root/group/money  leaf, score 0.125000, same category as result 1\n"));
    const nlohmann::ordered_json json = walk_json(report);
    EXPECT_EQ(json["steps"][0]["children"][2]["outcome"], "taken");
    EXPECT_EQ(json["steps"][0]["children"][1]["outcome"], "same category");
    EXPECT_EQ(json["steps"][0]["children"][1]["better"], "high");
    EXPECT_EQ(json["steps"][3]["outcome"], "same category");
    EXPECT_EQ(json["steps"][3]["rank"], 1);
}

// Only a damaged tree has a child without a rule.
TEST(WalkReportFormTest, ChildThatTheClassifierDoesNotKnowIsReported) {
    Routed_kc kc(ZE_RULE);
    const unsigned int leaf = kc.Add(kc.root, "leaf", ZE_LEAF, "1");
    dynamic_cast<zeSwitcher&>(*kc.Node(kc.root)->m_classifier).m_rules.erase(kc.Node(leaf));
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});
    const Walk_report report{*kc.Manager().m_logical_tree, "x", model.walk({{}, "x"}, 1),
                             kc.Node(leaf)};

    std::ostringstream out;
    print_walk(report, out);

    EXPECT_EQ(out.str(),
              "x\n"
              "  (no result)\n"
              "  1. root  rule, score 1.000000, not scored\n"
              "              -  leaf  unknown to the classifier\n"
              "  the way to root/leaf ended in step 1 at leaf: unknown to the "
              "classifier\n");
    EXPECT_EQ(walk_json(report)["steps"][0]["children"][0].dump(),
              R"({"id":2,"name":"leaf","score":null,"factor":null,"outcome":"unknown"})");
}

// A logical child of a leaf is a physical child of the node above the leaf. Its name shows where it
// is in the logical tree.
TEST(WalkReportFormTest, NodeNestedBelowALeafIsShownWithBothNames) {
    Routed_kc kc(ZE_STAT);
    const unsigned int leaf = kc.AddLearned(kc.root, "money", kOneQuarter);
    kc.Learn(kc.root, kc.Add(leaf, "refund"), kHalf);
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});

    std::ostringstream out;
    print_walk({*kc.Manager().m_logical_tree, "x", model.walk({{}, "x"}, 1)}, out);

    EXPECT_THAT(out.str(), HasSubstr("0.500000  money/refund  taken in step 2\n"));
    EXPECT_THAT(out.str(), HasSubstr("  2. root/money/refund  leaf"));
}

// Rules, names, words and values that are long; a long path; and scores that are not usual.
TEST(WalkReportFormTest, NoLineBehindTheFirstIsLongerThanAHundredCharacters) {
    const std::string name(70, 'n');
    const std::string words =
        "\"" + std::string(80, 'w') + "\" | \"" + std::string(150, 'v') + "\"";
    Routed_kc kc(ZE_RULE);
    unsigned int parent = kc.root;
    for (int level = 0; level < 12; ++level) {
        kc.Add(parent, name + "a", ZE_LEAF, words + " | $key(s) == 'a b' | $key(n) > 1 & \"b c\"");
        kc.Add(parent, name + "b", ZE_LEAF, level % 2 == 0 ? "0.00000000001" : "-1");
        parent = kc.Add(parent, name + std::to_string(level), ZE_RULE, "90000000.25");
    }
    kc.Add(parent, "leaf", ZE_LEAF, "1");
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});
    Labelled_text message{{}, "x"};
    message.pairs = {{"key", mlMessageConverter::kString, {std::string(500, 'y')}}};

    std::ostringstream out;
    print_walk({*kc.Manager().m_logical_tree, "x", model.walk(message, -1)}, out);

    std::istringstream lines(out.str());
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_LE(width_of(line), 100U) << line;
    }
    EXPECT_GT(count, 150U);
    EXPECT_THAT(out.str(), HasSubstr("\u2026/"));
}

// A path has 56 characters: 10 for each of these names with its slash.
TEST(WalkReportFormTest, LongPathLosesWholeNamesFromItsBeginning) {
    Routed_kc kc(ZE_RULE);
    unsigned int parent = kc.root;
    std::string path = "root";
    std::vector<std::string> paths = {path};
    for (int level = 1; level <= 7; ++level) {
        const std::string name = "level-" + std::to_string(level) + "-x";  // 9 characters
        parent = kc.Add(parent, name, ZE_RULE, "1");
        paths.push_back(path += "/" + name);
    }
    kc.Add(parent, std::string(60, 'n'), ZE_LEAF, "1");
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});

    std::ostringstream out;
    print_walk({*kc.Manager().m_logical_tree, "x", model.walk({{}, "x"}, 1)}, out);

    const std::string text = out.str();
    // 54 characters, the whole path
    EXPECT_THAT(text, HasSubstr("  6. " + paths[5] + "  rule"));
    // With level-1-x it would have 61.
    EXPECT_THAT(text,
                HasSubstr("  7. \u2026/level-2-x/level-3-x/level-4-x/level-5-x/level-6-x  rule"));
    EXPECT_THAT(text,
                HasSubstr("  8. \u2026/level-3-x/level-4-x/level-5-x/level-6-x/level-7-x  rule"));
    // The last name has 54 characters left: 27 before the ellipsis and 26 behind it.
    const std::regex last("\n  9\\. \u2026/n+\u2026n+  leaf");
    EXPECT_TRUE(std::regex_search(text, last)) << text;
    for (const std::string& line : {std::string("nnn/"), std::string("\u2026level")}) {
        EXPECT_EQ(text.find(line), std::string::npos) << text;
    }
}

TEST(WalkReportFormTest, HostileNamesAreEscapedInTextAndKeptInJson) {
    Routed_kc kc(ZE_RULE);
    kc.Add(kc.root, "a\tb/c", ZE_LEAF, "$x\x01(n) + 1");
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});
    const Walk_report report{*kc.Manager().m_logical_tree, "x\x1B", model.walk({{}, "x\x1B"}, 1)};

    std::ostringstream out;
    print_walk(report, out);

    EXPECT_THAT(out.str(), HasSubstr("x\\x1B\n"));
    EXPECT_THAT(out.str(), HasSubstr("1.000000  a\\x09b\\/c  taken in step 2\n"));
    EXPECT_THAT(out.str(), HasSubstr("$x\\x01(n)  0 (no pair)\n"));
    EXPECT_EQ(walk_json(report)["steps"][1]["name"], "a\tb/c");
    EXPECT_EQ(walk_json(report)["results"][0]["path"], "root/a\tb\\/c");
}

TEST(WalkReportFormTest, InfiniteScoreIsPrinted) {
    Routed_kc kc(ZE_RULE);
    kc.Add(kc.root, "all", ZE_LEAF, "$x(n)");
    Text_model model(kc.Pointer(), {Analysis_kind::kWords});
    Labelled_text message{{}, "x"};
    message.pairs = {{"x", mlMessageConverter::kString, {"inf"}}};
    const Walk_report report{*kc.Manager().m_logical_tree, "x", model.walk(message, 1)};

    std::ostringstream out;
    print_walk(report, out);

    EXPECT_THAT(out.str(), HasSubstr("x\n  inf  root/all\n"));
    EXPECT_EQ(walk_json(report)["results"][0]["score"], "inf");
}

}  // namespace

}  // namespace zandrel::cli
