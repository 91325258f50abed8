// The keys and the words that the rules of a tree read, and their listing as text.
#include "zandrel/knowledge/zeLogicalTree.h"

#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/logical_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Keys = std::map<qtString, char>;

std::set<Concept> WordsOf(const zeLogicalTree& tree, bool phrases_only) {
    std::set<Concept> words;
    tree.CollectWordRules(words, phrases_only);
    return words;
}

void UpperCaseToLower(BaseLPWrapper* /*wrapper*/, const Concept& word, Concept& form,
                      const Concept& /*top*/) {
    std::string text(word.view());
    for (char& letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    form = term(text);
}

// root (rules)
//   mail (rules)   $from(?)
//     work         "Office" & $size(n) > 5
//     late         "Not yet" | "by_hand" | "Office" | $lang(s) == 'de du'
//   rest           default
class zeLogicalTreeQueriesTest : public testing::Test {
protected:
    ~zeLogicalTreeQueriesTest() override { RuleParser::verification_func = nullptr; }

    Keys KeysOf(unsigned int id) const {
        Keys keys = {{"from before", 'n'}};
        kc.tree.GetRuleNvps(keys, id);
        return keys;
    }

    std::string Printed() const {
        std::ostringstream out;
        kc.tree.PrintConceptRules(out);
        return out.str();
    }

    // Stores a rule that no edit would accept.
    void Spoil(unsigned int id) { kc.tree.KCE_ChangeRule(kc.Physical(id), "$spoilt(n) + ("); }

    Edited_container kc;
    unsigned int root = kc.Root(ZE_RULE);
    unsigned int mail = kc.Add(root, "mail", "$from(?)", ZE_RULE);
    unsigned int rest = kc.Add(root, "rest", "default");
    unsigned int work = kc.Add(mail, "work", "\"Office\" & $size(n) > 5");
    unsigned int late =
        kc.Add(mail, "late", "\"Not yet\" | \"by_hand\" | \"Office\" | $lang(s) == 'de du'");
};

TEST_F(zeLogicalTreeQueriesTest, KeysOfAllRulesHaveTheirDatatypes) {
    EXPECT_THAT(KeysOf(0), ElementsAre(Pair("from", '?'), Pair("lang", 's'), Pair("size", 'n')));
}

TEST_F(zeLogicalTreeQueriesTest, KeysOfANodeAreThoseOfItsOwnRule) {
    EXPECT_THAT(KeysOf(work), ElementsAre(Pair("size", 'n')));
    EXPECT_THAT(KeysOf(mail), ElementsAre(Pair("from", '?')));
}

TEST_F(zeLogicalTreeQueriesTest, NodeWithoutARuleReadsNoKey) {
    EXPECT_THAT(KeysOf(root), IsEmpty());
    EXPECT_THAT(KeysOf(999), IsEmpty());
}

// Its text would not parse.
TEST_F(zeLogicalTreeQueriesTest, DefaultReadsNoKey) {
    EXPECT_THAT(KeysOf(rest), IsEmpty());
    kc.tree.KCE_ChangeRule(kc.Physical(mail), "default");
    EXPECT_THAT(KeysOf(0), ElementsAre(Pair("lang", 's'), Pair("size", 'n')));
}

TEST_F(zeLogicalTreeQueriesTest, KeysAreThoseOfTheLogicalRule) {
    kc.tree.KCE_ChangeRule(kc.Physical(work), "$other(s) == 'x'");

    EXPECT_THAT(KeysOf(work), ElementsAre(Pair("other", 's')));
}

TEST_F(zeLogicalTreeQueriesTest, EmptyTreeHasNoKeys) {
    kc.tree.Clear();

    EXPECT_THAT(KeysOf(0), IsEmpty());
    EXPECT_EQ(RuleParser::verification_func, nullptr);
}

// In the order of the tree the rule of `first` is the last one, since other comes after mail.
TEST_F(zeLogicalTreeQueriesTest, KeyOfTwoDatatypesHasThatOfTheGreaterId) {
    const unsigned int other = kc.Add(root, "other", "true", ZE_RULE);
    kc.Add(other, "first", "$lang(n) > 1");
    EXPECT_THAT(KeysOf(0), testing::Contains(Pair("lang", 'n')));

    kc.Add(mail, "second", "$lang(?)");
    EXPECT_THAT(KeysOf(0), testing::Contains(Pair("lang", '?')));
}

TEST_F(zeLogicalTreeQueriesTest, KeyOfTwoDatatypesInOneRuleHasTheLastOne) {
    const unsigned int one = kc.Add(root, "one", "$a(n) > 1 & $a(s) == 'x'");
    const unsigned int other = kc.Add(root, "other", "$a(s) == 'x' & $a(n) > 1");

    EXPECT_THAT(KeysOf(one), ElementsAre(Pair("a", 's')));
    EXPECT_THAT(KeysOf(other), ElementsAre(Pair("a", 'n')));
}

TEST_F(zeLogicalTreeQueriesTest, FunctionOfTheParserIsNullAfterwards) {
    RuleParser::verification_func = [](const char*, char) { return false; };

    EXPECT_THAT(KeysOf(work), ElementsAre(Pair("size", 'n')));
    EXPECT_EQ(RuleParser::verification_func, nullptr);
}

TEST_F(zeLogicalTreeQueriesTest, RuleThatDoesNotParseLeavesTheKeysBeforeIt) {
    Spoil(work);
    Keys keys;

    EXPECT_QTX(kc.tree.GetRuleNvps(keys, 0), RuleParser, 0, "Invalid tokens: ( , $end");

    EXPECT_THAT(keys, ElementsAre(Pair("from", '?')));
    EXPECT_QTX(kc.tree.GetRuleNvps(keys, work), RuleParser, 0, "Invalid tokens: ( , $end");
    EXPECT_THAT(keys, IsEmpty());
}

TEST_F(zeLogicalTreeQueriesTest, FunctionThatRemainsAfterAFailureLetsKeysPassAndStoresNone) {
    Spoil(work);
    {
        Keys keys;
        EXPECT_ANY_THROW(kc.tree.GetRuleNvps(keys, 0));
        ASSERT_NE(RuleParser::verification_func, nullptr);
        const Rule_checker passes("$new(n)");
        EXPECT_THAT(keys, ElementsAre(Pair("from", '?')));
    }
    const Rule_checker passes("$new(n)");  // the map is gone now

    EXPECT_THAT(KeysOf(late), ElementsAre(Pair("lang", 's')));
    EXPECT_EQ(RuleParser::verification_func, nullptr);
}

TEST_F(zeLogicalTreeQueriesTest, WordsOfAllRulesAreCollectedOnce) {
    EXPECT_THAT(WordsOf(kc.tree, false),
                ElementsAre(term("Not yet"), term("Office"), term("by_hand")));
}

TEST_F(zeLogicalTreeQueriesTest, PhrasesHaveABlankOrAnUnderscore) {
    kc.Add(mail, "others", "\"a-b\" | \"c\td\" | \" e\" | \"_\"");

    EXPECT_THAT(WordsOf(kc.tree, true),
                ElementsAre(term(" e"), term("Not yet"), term("_"), term("by_hand")));
}

TEST_F(zeLogicalTreeQueriesTest, CollectedWordsAreAddedToTheSet) {
    std::set<Concept> words = {term("before")};
    kc.tree.CollectWordRules(words, false);

    EXPECT_THAT(words,
                ElementsAre(term("Not yet"), term("Office"), term("before"), term("by_hand")));
}

// The words are those of the compiled rules, without their second forms.
TEST_F(zeLogicalTreeQueriesTest, WordsAreCollectedAsTheyAreWritten) {
    kc.tree.ProcessConceptRules(UpperCaseToLower, nullptr);
    kc.tree.KCE_ChangeRule(kc.Physical(work), "\"elsewhere\"");

    EXPECT_THAT(WordsOf(kc.tree, false),
                ElementsAre(term("Not yet"), term("Office"), term("by_hand")));
}

TEST_F(zeLogicalTreeQueriesTest, RulesWithConceptsArePrinted) {
    EXPECT_EQ(Printed(),
              "Path: root/mail/work\n"
              "Rule: \"Office\" & $size(n) > 5\n"
              "\n\n"
              "Path: root/mail/late\n"
              "Rule: \"Not yet\" | \"by_hand\" | \"Office\" | $lang(s) == 'de du'\n"
              "\n\n");
}

TEST_F(zeLogicalTreeQueriesTest, ConceptsWithASecondFormArePrintedBelowTheirRule) {
    kc.Add(mail, "a/b", "\"New\"");
    kc.tree.ProcessConceptRules(UpperCaseToLower, nullptr);

    EXPECT_EQ(Printed(),
              "Path: root/mail/work\n"
              "Rule: \"Office\" & $size(n) > 5\n"
              "  Original: [Office]   Processed: [office]\n"
              "\n\n"
              "Path: root/mail/late\n"
              "Rule: \"Not yet\" | \"by_hand\" | \"Office\" | $lang(s) == 'de du'\n"
              "  Original: [Not yet]   Processed: [not yet]\n"
              "  Original: [Office]   Processed: [office]\n"
              "\n\n"
              "Path: root/mail/a\\/b\n"
              "Rule: \"New\"\n"
              "  Original: [New]   Processed: [new]\n"
              "\n\n");
}

TEST_F(zeLogicalTreeQueriesTest, PrintedRuleIsThatOfTheLogicalNode) {
    kc.tree.KCE_ChangeRule(kc.Physical(work), "as the person wrote it");

    EXPECT_THAT(Printed(),
                testing::StartsWith("Path: root/mail/work\nRule: as the person wrote it\n\n\n"));
}

TEST_F(zeLogicalTreeQueriesTest, EmptyTreeHasNoWordsAndPrintsNothing) {
    kc.tree.Clear();

    EXPECT_THAT(WordsOf(kc.tree, false), IsEmpty());
    EXPECT_EQ(Printed(), "");
}

TEST_F(zeLogicalTreeQueriesTest, RuleNodeWithoutItsClassifierBreaksAnInvariant) {
    kc.tree.GetNodePtr(work)->type = ZE_RULE;
    std::set<Concept> words;
    std::ostringstream out;

    EXPECT_ASSERTS(kc.tree.CollectWordRules(words, false), "sw");
    EXPECT_ASSERTS(kc.tree.PrintConceptRules(out), "sw");
    EXPECT_EQ(out.str(), "");
}

// A random tree, and what its queries must return. This is noted while the tree grows, so no rule
// is parsed for it.
class Random_tree {
public:
    explicit Random_tree(unsigned int seed) : m_random(seed) {
        const bool has_rules = m_random() % 2 == 0;
        m_inner.push_back(kc.Root(has_rules ? ZE_RULE : ZE_STAT));
        m_tops.push_back(has_rules ? "" : "None");
        while (kc.tree.nodes.size() < 40) {
            AddNode();
        }
    }

    std::multiset<std::string> rules;  // "id text/top category"
    Keys keys;
    std::set<Concept> words;
    std::set<Concept> phrases;

    Edited_container kc;

private:
    void AddNode() {
        const std::size_t above = m_random() % m_inner.size();
        const bool is_inner = m_random() % 3 == 0;
        const unsigned int type = is_inner ? (m_random() % 2 == 0 ? ZE_RULE : ZE_STAT) : ZE_LEAF;
        const std::string name = std::to_string(kc.tree.next_id + 1);
        const bool has_rule = kc.Node(m_inner[above]).type == ZE_RULE;
        const std::string rule = has_rule ? RandomRule() : "";
        const unsigned int id = kc.Add(m_inner[above], name, qtString(rule), type);
        if (has_rule) {
            rules.insert(name + " " + rule + "/" + m_tops[above]);
        }
        if (is_inner) {
            m_inner.push_back(id);
            m_tops.push_back(m_tops[above].empty() ? name : m_tops[above]);
        }
    }

    std::string RandomRule() {
        const std::string word =
            (m_random() % 2 == 0 ? "w" : "p ") + std::to_string(m_random() % 9);
        const std::string key = "k" + std::to_string(m_random() % 5);
        const char datatype = "ns?"[m_random() % 3];
        words.insert(term(word));
        if (word[0] == 'p') {
            phrases.insert(term(word));
        }
        keys[qtString(key)] = datatype;  // ids ascend, so the last one counts
        const std::string read = "$" + key + "(" + datatype + ")";
        return "\"" + word + "\" | " + (datatype == 's' ? read + " == 'w'" : read + " > 0");
    }

    std::mt19937 m_random;
    std::vector<unsigned int> m_inner;
    std::vector<std::string> m_tops;  // of the rules of each inner node
};

TEST(zeLogicalTreeRandomQueriesTest, QueriesReturnWhatTheRulesOfATreeWereMadeOf) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        const Random_tree made(seed);
        std::vector<RuleInfo> rules;
        made.kc.tree.GetAllRules(rules);
        std::multiset<std::string> shown;
        for (const RuleInfo& rule : rules) {
            shown.insert(std::to_string(rule.id) + " " + rule.checker->text().str() + "/" +
                         std::string(rule.top_category.view()));
        }
        Keys keys;
        made.kc.tree.GetRuleNvps(keys, 0);

        EXPECT_EQ(shown, made.rules);
        EXPECT_EQ(keys, made.keys);
        EXPECT_EQ(WordsOf(made.kc.tree, false), made.words);
        EXPECT_EQ(WordsOf(made.kc.tree, true), made.phrases);
    }
}

}  // namespace
