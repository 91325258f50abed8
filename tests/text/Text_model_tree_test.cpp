// Text models whose tree was given: rules and statistics in one walk.
#include "text/model/Text_model.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Desk_messages = std::vector<Labelled_text>;
using Scores = std::vector<std::pair<std::string, double>>;

// A line of the text form of a tree.
std::string tree_line(std::size_t level, const std::string& type, const std::string& category,
                      const std::string& rule = "") {
    const std::string score = type == "Leaf" ? "Score" : "NoScore";
    return std::string(level, '+') + "\t[" + type + "]\t[" + score + "]\t[]\t[" + category +
           "]\t[" + rule + "]\n";
}

// A help desk. Rules at the root read the pairs "language" and "amount" and a word:
//
//     desk (rules)
//       english (statistics): delivery, returns
//       german (statistics): delivery, returns
//       large
//       urgent
//       rest                                       the default
const std::string kDesk =
    tree_line(1, "Rule", "desk") + tree_line(2, "Stat", "english", "$language(s) == 'en'") +
    tree_line(3, "Leaf", "delivery") + tree_line(3, "Leaf", "returns") +
    tree_line(2, "Stat", "german", "$language(s) == 'de'") + tree_line(3, "Leaf", "delivery") +
    tree_line(3, "Leaf", "returns") + tree_line(2, "Leaf", "large", "$amount(n) > 500 ? 2 : 0") +
    tree_line(2, "Leaf", "urgent", "\"Urgent\"") + tree_line(2, "Leaf", "rest", "default");

Model_options options_of(const std::string& tree) {
    Model_options options;
    options.analysis = {Analysis_kind::kWords};
    options.tree = {tree, "desk.tree"};
    return options;
}

Pair text_pair(const std::string& name, const std::string& value) {
    return {name, mlMessageConverter::kString, {value}};
}

Labelled_text desk_message(const std::string& label, const std::string& text,
                           const std::string& language, const std::string& amount = "10") {
    Labelled_text made = {{label}, text};
    made.pairs = {text_pair("language", language), text_pair("amount", amount)};
    return made;
}

// Each text ten times, since words of few texts count for little.
Desk_messages desk_texts() {
    Desk_messages texts;
    for (int i = 0; i < 10; ++i) {
        texts.push_back(desk_message("delivery", "where is the parcel", "en"));
        texts.push_back(desk_message("returns", "the jacket is too small", "en"));
        texts.push_back(desk_message("delivery", "wo ist das paket", "de"));
        texts.push_back(desk_message("returns", "die jacke ist zu klein", "de"));
    }
    return texts;
}

Scores scores_of(const Ranking& ranking) {
    Scores scores;
    for (const Scored_label& entry : ranking) {
        scores.emplace_back(entry.label, entry.score);
    }
    return scores;
}

std::vector<std::string> names_of(const Ranking& ranking) {
    std::vector<std::string> names;
    for (const auto& [name, score] : scores_of(ranking)) {
        names.push_back(name);
    }
    return names;
}

// Interrupts at the poll `number` after the texts have been analysed, counted from 1.
class Interrupted_after_analysis : public CTProgress {
public:
    explicit Interrupted_after_analysis(int number) : m_left(number) {}

    void SetStatus(const char* status) override { m_status = status; }

    void SetTotal(int total) override { m_texts = total; }

    void Increment(unsigned int steps) override { m_texts -= static_cast<int>(steps); }

    // The analysis polls after each step, also after the last one.
    bool IsInterrupted() const override {
        if (m_texts == 0 && !m_is_analysed) {
            m_is_analysed = true;
            return false;
        }
        return m_is_analysed && --m_left == 0;
    }

    const std::string& status() const { return m_status; }

private:
    std::string m_status;
    int m_texts = -1;  // left to analyse
    mutable bool m_is_analysed = false;
    mutable int m_left;
};

class TextModelTreeTest : public testing::Test {
protected:
    TextModelTreeTest() { model.train(desk_texts()); }

    Text_model model{options_of(kDesk)};
};

TEST_F(TextModelTreeTest, RulesRouteByAPairAndTheStatisticsBehindRankByWords) {
    const Ranking english = model.rank(desk_message("", "the parcel", "en"), -1);
    const Ranking german = model.rank(desk_message("", "meine Jacke", "de"), -1);

    EXPECT_EQ(names_of(english).front(), "delivery");
    EXPECT_EQ(model.path_of(english.front()), "desk/english/delivery");
    EXPECT_EQ(names_of(german).front(), "returns");
    EXPECT_EQ(model.path_of(german.front()), "desk/german/returns");
}

// For a deep tree these passes take as long as the training. There are 40 texts. The search for
// blocked texts polls once for each text. The distribution that estimates the work polls for each
// of its two leaves and for the rule node that passes it down: 40 + 3 * 40 = 160 polls.
TEST_F(TextModelTreeTest, TrainingAndLearningAreInterruptedBeforeTheEngineBegins) {
    for (const int number : {1, 40, 41, 160}) {
        SCOPED_TRACE(number);
        Text_model fresh{options_of(kDesk)};
        Interrupted_after_analysis training(number);
        EXPECT_THROW(fresh.train(desk_texts(), &training), qtX<zeWorkflow>);
        EXPECT_EQ(training.status(), "Analysing the texts");
        EXPECT_EQ(fresh.manager()->m_progress, nullptr);

        Interrupted_after_analysis learning(number);
        EXPECT_THROW(model.learn(desk_texts(), &learning), qtX<zeWorkflow>);
        EXPECT_EQ(learning.status(), "Analysing the texts");
        EXPECT_EQ(model.manager()->m_progress, nullptr);
    }
}

TEST_F(TextModelTreeTest, DefaultIsGivenIfNoRuleFires) {
    EXPECT_THAT(scores_of(model.rank(desk_message("", "the parcel", "fr"), -1)),
                ElementsAre(testing::Pair("rest", 1.0)));
    EXPECT_THAT(scores_of(model.rank("the parcel", -1)), ElementsAre(testing::Pair("rest", 1.0)));
}

// The value of the rule is the score, also above 1.
TEST_F(TextModelTreeTest, ValueOfARuleIsTheScoreOfItsLeaf) {
    EXPECT_EQ(scores_of(model.rank(desk_message("", "die jacke", "de", "501"), -1)).front(),
              std::make_pair(std::string("large"), 2.0));
}

TEST_F(TextModelTreeTest, WordOfARuleIsFoundInTheFormOfTheAnalysis) {
    EXPECT_EQ(names_of(model.rank("URGENT!", -1)), std::vector<std::string>{"urgent"});
    EXPECT_EQ(names_of(model.rank("urgent!", -1)), std::vector<std::string>{"urgent"});
    EXPECT_EQ(names_of(model.rank("urgently", -1)), std::vector<std::string>{"rest"});
}

// The root's rules let a text through to one classifier only, so each learns its own language.
TEST_F(TextModelTreeTest, EachClassifierLearnsTheTextsThatReachIt) {
    const std::vector<zeStat_storage*> storages = model.storages();
    ASSERT_THAT(storages, SizeIs(2));
    for (zeStat_storage* const storage : storages) {
        EXPECT_EQ(storage->m_num_msgs, 20);
    }
    EXPECT_THAT(model.blocked_texts(), IsEmpty());
}

TEST_F(TextModelTreeTest, LabelOfTwoLeavesIsListedOnce) {
    EXPECT_THAT(model.labels(), ElementsAre("delivery", "returns", "large", "urgent", "rest"));
}

TEST_F(TextModelTreeTest, TextThatReachesNoneOfItsLeavesIsBlocked) {
    Desk_messages texts = desk_texts();
    texts.push_back(desk_message("delivery", "ou est le paquet", "fr"));
    texts.push_back(
        desk_message("rest", "the parcel", "en"));  // a rule fires, so the default is closed
    texts.push_back(desk_message("rest", "le paquet", "fr"));
    texts.push_back(desk_message("large", "the sofa", "en", "900"));
    Text_model other(options_of(kDesk));
    other.train(texts);

    EXPECT_THAT(other.blocked_texts(), ElementsAre(40U, 41U));
}

TEST_F(TextModelTreeTest, LearningReachesTheSameClassifiers) {
    std::vector<std::size_t> reached;
    model.learn({desk_message("delivery", "das paket kommt nicht", "de")}, nullptr,
                [&](const Storages& storages) {
                    std::size_t count = 0;
                    storages([&count](zeStat_storage& /*storage*/) { ++count; });
                    reached.push_back(count);
                });
    EXPECT_THAT(reached, ElementsAre(1U));
    EXPECT_THAT(model.blocked_texts(), IsEmpty());

    model.learn({desk_message("returns", "le paquet", "fr")});
    EXPECT_THAT(model.blocked_texts(), ElementsAre(0U));
}

TEST_F(TextModelTreeTest, NewLabelBelowARuleRootIsRefused) {
    try {
        model.learn(
            {desk_message("delivery", "paket", "de"), desk_message("payment", "rechnung", "de")});
        ADD_FAILURE() << "no error";
    } catch (const Unknown_label& error) {
        EXPECT_EQ(error.index, 1U);
        EXPECT_THAT(error.reason, testing::StartsWith("label \"payment\" cannot be added: "));
    }
}

// large, urgent and rest need no texts, since rules decide about them.
TEST_F(TextModelTreeTest, StatisticalLeavesThatHaveLearnedNoTextAreFound) {
    EXPECT_THAT(model.empty_leaves(), IsEmpty());

    Desk_messages texts = {desk_message("delivery", "the parcel", "en"),
                           desk_message("returns", "die jacke", "de"),
                           desk_message("delivery", "le paquet", "fr")};  // blocked
    model.train_again_and_empty(texts, false, "desk.kc", nullptr);
    EXPECT_THAT(model.empty_leaves(), ElementsAre("desk/english/returns", "desk/german/delivery"));
}

// A label is not enough: the rules have to let the text pass to the leaf.
TEST_F(TextModelTreeTest, LeafThatWouldLearnAnotherTextIsNotEmpty) {
    Desk_messages texts = {desk_message("delivery", "the parcel", "en")};
    model.train_again_and_empty(texts, false, "desk.kc", nullptr);

    EXPECT_THAT(model.empty_leaves({desk_message("returns", "die jacke", "de"),
                                    desk_message("delivery", "le paquet", "fr"),
                                    desk_message("large", "the sofa", "en", "900")}),
                ElementsAre("desk/english/returns", "desk/german/delivery"));
}

TEST(TextModelGivenTreeTest, LabelWithoutALeafIsRefusedBeforeTraining) {
    Text_model model(options_of(kDesk));
    Desk_messages texts = desk_texts();
    texts.push_back(desk_message("payment", "the invoice", "en"));

    try {
        model.train(texts);
        ADD_FAILURE() << "no error";
    } catch (const Unknown_label& error) {
        EXPECT_EQ(error.index, 40U);
        EXPECT_STREQ(error.what(),
                     "desk.tree: label \"payment\" has no leaf in desk.tree; add a leaf for it "
                     "there, or remove the text");
    }
}

// A label names a leaf, not an inner node.
TEST(TextModelGivenTreeTest, LabelThatNamesAnInnerNodeIsRefused) {
    Text_model model(options_of(kDesk));

    EXPECT_THROW(model.train({desk_message("english", "the parcel", "en")}), Unknown_label);
}

TEST(TextModelGivenTreeTest, WrongTreeIsRefusedWithItsLine) {
    Text_model model(
        options_of(tree_line(1, "Rule", "desk") + "\n" + tree_line(2, "Leaf", "large", "1 +")));

    try {
        model.train(desk_texts());
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(),
                     "desk.tree:3: Invalid rule: [1 +]: Invalid number of operations");
    }
}

// The second way: the same labels without a rule node above.
TEST(TextModelGivenTreeTest, SubtreeBehindAnOpenRuleScoresLikeATreeOfItsOwn) {
    const std::string leaves = tree_line(3, "Leaf", "delivery") + tree_line(3, "Leaf", "returns");
    Text_model ruled(
        options_of(tree_line(1, "Rule", "desk") + tree_line(2, "Stat", "all", "0.5") + leaves));
    Text_model flat(Model_options{{Analysis_kind::kWords}});
    ruled.train(desk_texts());
    flat.train(desk_texts());

    for (const char* const text : {"the parcel", "jacke", "the small parcel", "nothing", ""}) {
        SCOPED_TRACE(text);
        const Scores expected = scores_of(flat.rank(text, -1));
        const Scores scores = scores_of(ruled.rank(text, -1));
        ASSERT_EQ(scores.size(), expected.size());
        for (std::size_t i = 0; i < scores.size(); ++i) {
            EXPECT_EQ(scores[i].first, expected[i].first);
            EXPECT_DOUBLE_EQ(scores[i].second, expected[i].second / 2);
        }
    }
}

// root (statistics): praise, mail (rules): work (statistics): bills, meetings; home
TEST(TextModelGivenTreeTest, RuleNodeBelowAStatisticalNodeIsTrained) {
    Text_model model(options_of(tree_line(1, "Stat", "root") + tree_line(2, "Leaf", "praise") +
                                tree_line(2, "Rule", "mail") +
                                tree_line(3, "Stat", "work", "\"Office\"") +
                                tree_line(4, "Leaf", "bills") + tree_line(4, "Leaf", "meetings") +
                                tree_line(3, "Leaf", "home", "default")));
    Desk_messages texts;
    for (int i = 0; i < 10; ++i) {
        texts.push_back({{"praise"}, "thanks for the great service"});
        texts.push_back({{"bills"}, "office bill to pay"});
        texts.push_back({{"meetings"}, "office meeting on monday"});
        texts.push_back({{"home"}, "family photos"});
        texts.push_back({{"bills"}, "bill without the word"});  // blocked
    }
    model.train(texts);

    EXPECT_THAT(model.blocked_texts(), SizeIs(10));
    EXPECT_EQ(names_of(model.rank("great thanks", 1)).front(), "praise");
    EXPECT_EQ(names_of(model.rank("office bill", 1)).front(), "bills");
    EXPECT_EQ(names_of(model.rank("family", 1)).front(), "home");
    EXPECT_EQ(model.size().profiles, 4U);  // praise and mail; bills and meetings
}

// A node name that differs from its category asks for names of all nodes.
TEST(TextModelGivenTreeTest, NewLabelIsAddedToATreeWithNames) {
    Text_model model(options_of(tree_line(1, "Stat", "root") +
                                "++\t[Leaf]\t[Score]\t[Parcels]\t[delivery]\t[]\n" +
                                tree_line(2, "Leaf", "returns")));
    Desk_messages texts = desk_texts();
    model.train(texts);
    EXPECT_EQ(names_of(model.rank("parcel", 1)).front(), "delivery");
    model.learn({{{"praise"}, "thanks"}, {{"praise"}, "many thanks"}});

    EXPECT_EQ(names_of(model.rank("thanks", 1)).front(), "praise");
    EXPECT_EQ(model.path_of(model.rank("parcel", 1).front()), "root/Parcels");
}

TEST(TextModelGivenTreeTest, TreeIsBootstrapped) {
    Text_model model(options_of(kDesk));
    Desk_messages texts = desk_texts();
    for (Labelled_text& text : texts) {
        text.title = text.keywords = std::exchange(text.text, "");
    }
    model.bootstrap(texts);

    EXPECT_EQ(names_of(model.rank(desk_message("", "parcel", "en"), 1)).front(), "delivery");
    EXPECT_THAT(model.empty_leaves(), IsEmpty());
}

TEST_F(TextModelTreeTest, ExplanationPassesTheRules) {
    const Explanation explanation = model.explain(desk_message("", "the parcel", "en"));
    EXPECT_EQ(explanation.label, "delivery");
    EXPECT_THAT(explanation.concepts, SizeIs(2));

    const Explanation by_rule = model.explain(desk_message("", "the sofa", "fr", "900"));
    EXPECT_EQ(by_rule.label, "large");
    EXPECT_EQ(by_rule.score, 2.0);
    EXPECT_THAT(by_rule.concepts, IsEmpty());

    zeNode* const german = model.find("desk/german/delivery");
    ASSERT_NE(german, nullptr);
    EXPECT_EQ(model.explain(desk_message("", "the parcel", "en"), german).score, 0.0);
}

TEST_F(TextModelTreeTest, PairsReachTheRulesOfAPreparedMessage) {
    const qtPtrLight<zeMsg> prepared = model.make_message(desk_message("", "the parcel", "en"));

    EXPECT_EQ(scores_of(model.rank(*prepared, -1)),
              scores_of(model.rank(desk_message("", "the parcel", "en"), -1)));
}

// The rankings of a model for some questions, compared bit by bit.
std::vector<Scores> answers_of(Text_model& model) {
    std::vector<Scores> answers;
    for (const char* const language : {"en", "de", "fr"}) {
        for (const char* const text : {"the parcel", "die jacke ist klein", "urgent jacket"}) {
            answers.push_back(scores_of(model.rank(desk_message("", text, language), -1)));
        }
    }
    return answers;
}

TEST_F(TextModelTreeTest, TrainingAgainForgetsWhatWasLearnedAndKeepsTheTree) {
    const std::vector<Scores> expected = answers_of(model);
    const unsigned int last_object = model.manager()->m_last_object_id;
    model.learn({desk_message("returns", "where is the parcel", "en"),
                 desk_message("delivery", "jacke jacke jacke", "de")});
    ASSERT_NE(answers_of(model), expected);

    Desk_messages texts = desk_texts();
    model.train_again_and_empty(texts, false, "desk.kc", nullptr);

    EXPECT_EQ(answers_of(model), expected);
    EXPECT_EQ(model.manager()->m_last_object_id, last_object);
    EXPECT_TRUE(std::all_of(texts.begin(), texts.end(),
                            [](const Labelled_text& text) { return text.text.empty(); }));
}

// The German classifier gets no text, and keeps nothing.
TEST_F(TextModelTreeTest, ClassifierWithoutTextsIsEmptyAfterTrainingAgain) {
    Desk_messages texts = {desk_message("delivery", "the parcel", "en"),
                           desk_message("returns", "the coat", "en")};
    model.train_again_and_empty(texts, false, "desk.kc", nullptr);

    EXPECT_THAT(names_of(model.rank(desk_message("", "paket", "de"), -1)), IsEmpty());
}

TEST_F(TextModelTreeTest, UnknownLabelIsRefusedBeforeAnythingIsForgotten) {
    const std::vector<Scores> expected = answers_of(model);
    Desk_messages texts = {desk_message("delivery", "the parcel", "en"),
                           desk_message("payment", "bill", "en")};

    try {
        model.train_again_and_empty(texts, false, "desk.kc", nullptr);
        ADD_FAILURE() << "no error";
    } catch (const Unknown_label& error) {
        EXPECT_EQ(error.index, 1U);
        EXPECT_EQ(error.reason,
                  "label \"payment\" has no leaf in desk.kc; add a leaf for it there, or remove "
                  "the text");
    }
    EXPECT_EQ(answers_of(model), expected);
}

}  // namespace

}  // namespace zandrel::cli
