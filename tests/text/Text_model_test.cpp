#include "text/model/Text_model.h"

#include <cmath>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/qtX.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/cli/interrupted_progress.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Each text ten times, since words of few texts count for little.
std::vector<Labelled_text> ten_of_each() {
    std::vector<Labelled_text> texts;
    for (int i = 0; i < 10; ++i) {
        texts.push_back({{"sport"}, "the goal of the match"});
        texts.push_back({{"food"}, "the bread and the cheese"});
        texts.push_back({{"travel"}, "the train to the coast"});
        texts.push_back({{"sport", "food"}, "apples at the match"});
    }
    return texts;
}

std::vector<std::string> labels_of(const Ranking& ranking) {
    std::vector<std::string> labels;
    for (const Scored_label& label : ranking) {
        labels.emplace_back(label.label);
    }
    return labels;
}

// The score of a label; NaN if it is not among the results.
double score_of(Text_model& model, const std::string& text, const std::string& label) {
    for (const Scored_label& entry : model.rank(text, -1)) {
        if (entry.label == label) {
            return entry.score;
        }
    }
    return std::nan("");
}

// The effect of a concept; NaN if the explanation does not have it.
double effect_of(const Explanation& explanation, const std::string& concept_text) {
    for (const Concept_effect& effect : explanation.concepts) {
        if (effect.concept_text == concept_text) {
            return effect.adds;
        }
    }
    return std::nan("");
}

TEST(TextModelTest, LabelWhoseWordsTheTextHasIsRankedFirst) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());

    EXPECT_THAT(labels_of(model.rank("Goal!", 1)), ElementsAre("sport"));
    EXPECT_THAT(labels_of(model.rank("more CHEESE", 1)), ElementsAre("food"));
    EXPECT_THAT(labels_of(model.rank("train, coast", 1)), ElementsAre("travel"));
}

Model_options grouped(const Label_groups& groups) {
    Model_options options;
    options.analysis = {Analysis_kind::kWords};
    options.groups = groups;
    return options;
}

// The labels sport and food are in the group leisure; travel is in no group. A label of the group
// file that no text has gets no node.
TEST(TextModelTest, TreeOfTwoLevelsIsTrained) {
    Text_model model(grouped(
        {"groups.tsv", {{"leisure", {"sport", "food", "music"}, 1}, {"empty", {"nothing"}, 4}}}));
    model.train(ten_of_each());

    EXPECT_THAT(labels_of(model.rank("Goal!", 1)), ElementsAre("sport"));
    EXPECT_THAT(labels_of(model.rank("train, coast", 1)), ElementsAre("travel"));
    EXPECT_THAT(labels_of(model.rank("bread", -1)),
                UnorderedElementsAre("sport", "food", "travel"));
    EXPECT_THAT(model.labels(), UnorderedElementsAre("sport", "food", "travel"));
    EXPECT_EQ(model.size().profiles, 4U);  // leisure and travel; sport and food
}

TEST(TextModelTest, NewLabelsAreAddedBelowTheRoot) {
    Text_model model(grouped({"groups.tsv", {{"leisure", {"sport", "food"}, 1}}}));
    model.train(ten_of_each());
    model.learn({{{"music"}, "guitar and drums"}, {{"music"}, "a guitar"}, {{"sport"}, "goal"}});

    EXPECT_THAT(labels_of(model.rank("guitar", 1)), ElementsAre("music"));
    EXPECT_EQ(model.size().profiles, 5U);
}

TEST(TextModelTest, GroupWithTheNameOfAnUngroupedLabelIsRefused) {
    Text_model model(grouped({"groups.tsv", {{"leisure", {"food"}, 1}, {"travel", {"sport"}, 7}}}));

    try {
        model.train(ten_of_each());
        ADD_FAILURE() << "no error";
    } catch (const Data_error& error) {
        EXPECT_STREQ(error.what(), "groups.tsv:7: \"travel\" is a label that stands in no group");
    }
}

// A group may have the name of one of its own labels.
TEST(TextModelTest, GroupWithTheNameOfAGroupedLabelIsAccepted) {
    Text_model model(grouped({"groups.tsv", {{"travel", {"sport", "travel"}, 1}}}));
    model.train(ten_of_each());

    EXPECT_THAT(labels_of(model.rank("train, coast", 1)), ElementsAre("travel"));
}

TEST(TextModelTest, InterruptionEndsTraining) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    Interrupted_progress progress;

    EXPECT_THROW(model.train(ten_of_each(), &progress), qtX<zeWorkflow>);
}

TEST(TextModelTest, GivenTextsAreLearnedAndEmptied) {
    const std::vector<Labelled_text> more = {{{"music"}, "guitar and drums, and a long text"}};
    std::vector<Labelled_text> given = ten_of_each();
    std::vector<Labelled_text> given_later = more;
    Text_model lent_to(Model_options{{Analysis_kind::kWords}});
    lent_to.train(ten_of_each());
    lent_to.learn(more);

    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.start_and_empty(given, false, nullptr);
    model.learn_and_empty(given_later, nullptr, {});

    given.insert(given.end(), given_later.begin(), given_later.end());
    for (const Labelled_text& text : given) {
        EXPECT_EQ(text.text, "");
        EXPECT_EQ(text.text.capacity(), std::string().capacity());
        EXPECT_FALSE(text.labels.empty());
    }
    EXPECT_EQ(model.size().entries, lent_to.size().entries);
    EXPECT_THAT(labels_of(model.rank("Goal!", 1)), ElementsAre("sport"));
    EXPECT_THAT(labels_of(model.rank("guitar", 1)), ElementsAre("music"));
}

TEST(TextModelTest, NewLabelIsLearned) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());
    model.learn({{{"music"}, "guitar and drums"}, {{"music"}, "a guitar"}, {{"sport"}, "goal"}});

    EXPECT_THAT(labels_of(model.rank("guitar", 1)), ElementsAre("music"));
    EXPECT_THAT(labels_of(model.rank("Goal!", 1)), ElementsAre("sport"));
    EXPECT_EQ(model.size().profiles, 4U);
}

TEST(TextModelTest, BootstrapUsesOnlyTitlesAndKeywords) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.bootstrap({{{"sport"}, "words of a text", "goal", "match ball"},
                     {{"food"}, "more words", "bread", ""}});

    EXPECT_EQ(model.size().concepts, 4U);
    EXPECT_EQ(model.size().largest, 3U);
    EXPECT_THAT(labels_of(model.rank("ball", 1)), ElementsAre("sport"));
    EXPECT_THAT(labels_of(model.rank("bread", 1)), ElementsAre("food"));
}

TEST(TextModelTest, ScoresWithoutTablesAreGivenIfRequested) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());
    ASSERT_TRUE(model.uses_tables());
    const double corrected = score_of(model, "bread goal", "food");

    model.use_tables(false);
    EXPECT_FALSE(model.uses_tables());
    EXPECT_NE(score_of(model, "bread goal", "food"), corrected);
    model.use_tables(true);
    EXPECT_EQ(score_of(model, "bread goal", "food"), corrected);
}

// A tree may have classifiers with and without tables.
TEST(TextModelTest, TablesThatWereOffBeforeStayOff) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());
    model.manager()->GetRootStorage()->m_use_likelihood_in_match = false;

    EXPECT_FALSE(model.uses_tables());
    model.use_tables(false);
    model.use_tables(true);
    EXPECT_FALSE(model.uses_tables());
}

TEST(TextModelTest, ModelIsMadeFromAnExistingContainer) {
    Text_model made(Model_options{{Analysis_kind::kWords}});
    made.train(ten_of_each());
    Text_model model(made.manager(), {Analysis_kind::kWords});

    EXPECT_EQ(score_of(model, "Goal!", "sport"), score_of(made, "Goal!", "sport"));
    EXPECT_THAT(model.labels(), UnorderedElementsAre("sport", "food", "travel"));
}

TEST(TextModelTest, EmptyContainerIsRefused) {
    EXPECT_THROW(Text_model(qtPtrLight<zeManager>(new zeManager), {}), qtX<zeWorkflow>);
}

TEST(TextModelTest, OnlyLeavesAreLabels) {
    Text_model model(grouped({"groups.tsv", {{"leisure", {"sport", "food"}, 1}}}));
    model.train(ten_of_each());

    EXPECT_TRUE(model.knows("sport"));
    EXPECT_TRUE(model.knows("travel"));
    EXPECT_FALSE(model.knows("leisure"));
    EXPECT_FALSE(model.knows("music"));
}

TEST(TextModelTest, NodesAreFoundByTheirPathsAndPathsByNodes) {
    Text_model model(grouped({"groups.tsv", {{"leisure", {"sport", "food"}, 1}}}));
    model.train(ten_of_each());

    const Ranking ranking = model.rank("goal", 1);

    EXPECT_EQ(model.path_of(ranking.front()), "root/leisure/sport");
    EXPECT_EQ(model.find("root/leisure/sport"), ranking.front().node);
    EXPECT_NE(model.find("root/leisure"), nullptr);
    EXPECT_EQ(model.find("root/sport"), nullptr);
    EXPECT_EQ(model.find(""), nullptr);
}

TEST(TextModelTest, BestIsRankedFirstWithScoresUpToOne) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());

    const Ranking ranking = model.rank("bread and goal", 3);

    EXPECT_THAT(labels_of(ranking), UnorderedElementsAre("sport", "food", "travel"));
    for (std::size_t i = 0; i < ranking.size(); ++i) {
        EXPECT_GT(ranking[i].score, 0.0);
        EXPECT_LE(ranking[i].score, i == 0 ? 1.0 : ranking[i - 1].score);
    }
}

TEST(TextModelTest, RequestedNumberOfLabelsIsGiven) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());

    EXPECT_EQ(model.rank("bread", 2).size(), 2U);
    EXPECT_EQ(model.rank("bread", 100).size(), 3U);
}

TEST(TextModelTest, NegativeNumberGivesAllLabels) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());

    EXPECT_THAT(labels_of(model.rank("bread", -1)),
                UnorderedElementsAre("sport", "food", "travel"));
}

// In a text of four words we replace one by a word that the model has not learned. The length of
// the text stays the same, and the new word adds nothing to the score.
TEST(TextModelTest, EachWordsPartOfTheBestScoreIsExplained) {
    Text_model model(Model_options{{Analysis_kind::kWhitespace}});
    model.train(ten_of_each());
    const Explanation explanation = model.explain("goal bread match the");

    EXPECT_EQ(explanation.concepts.size(), 4U);

    const struct {
        std::string word;
        std::string text_without;
    } rows[] = {
        {"goal", "unknown bread match the"},
        {"bread", "goal unknown match the"},
        {"match", "goal bread unknown the"},
        {"the", "goal bread match unknown"},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.word);
        EXPECT_NEAR(effect_of(explanation, row.word),
                    explanation.score - score_of(model, row.text_without, "sport"), 1e-12);
    }
}

// "the" is in every text, so its weight is 0. But it was learned.
TEST(TextModelTest, WordsThatWereNeverLearnedAreMarked) {
    Text_model model(Model_options{{Analysis_kind::kWhitespace}});
    model.train(ten_of_each());

    const Explanation explanation = model.explain("goal goals the");

    std::map<std::string, bool> known;
    for (const Concept_effect& effect : explanation.concepts) {
        known[effect.concept_text] = effect.is_known;
    }
    const std::map<std::string, bool> expected = {{"goal", true}, {"goals", false}, {"the", true}};
    EXPECT_EQ(known, expected);
}

TEST(TextModelTest, BestLabelAndItsScoreAreExplained) {
    Text_model model(Model_options{{Analysis_kind::kWhitespace}});
    model.train(ten_of_each());

    const Explanation explanation = model.explain("goal bread match");

    EXPECT_EQ(explanation.text, "goal bread match");
    EXPECT_EQ(explanation.label, "sport");
    EXPECT_EQ(explanation.score, score_of(model, "goal bread match", "sport"));
    EXPECT_GT(effect_of(explanation, "goal"), 0.0);
    EXPECT_LT(effect_of(explanation, "bread"), 0.0);
}

TEST(TextModelTest, ExplanationIsOrderedByGreatestEffect) {
    Text_model model(Model_options{{Analysis_kind::kWhitespace}});
    model.train(ten_of_each());

    const Explanation explanation = model.explain("goal bread match unknown the");

    for (std::size_t i = 1; i < explanation.concepts.size(); ++i) {
        EXPECT_GE(std::abs(explanation.concepts[i - 1].adds),
                  std::abs(explanation.concepts[i].adds));
    }
    EXPECT_EQ(effect_of(explanation, "unknown"), 0.0);
}

// The classifier of a group gives a factor for each label of the group. The score of the label is
// this factor times the score of the group.
TEST(TextModelTest, AnyNodeCanBeExplained) {
    Text_model model(grouped({"groups.tsv", {{"leisure", {"sport", "food"}, 1}}}));
    model.train(ten_of_each());

    const Explanation food = model.explain("goal bread", model.find("root/leisure/food"));
    const Explanation leisure = model.explain("goal bread", model.find("root/leisure"));

    EXPECT_EQ(food.label, "food");
    EXPECT_EQ(food.score, score_of(model, "goal bread", "food"));
    EXPECT_GT(effect_of(food, "bread"), 0.0);
    EXPECT_LT(effect_of(food, "goal"), 0.0);
    EXPECT_EQ(leisure.label, "leisure");
    EXPECT_GT(leisure.score, food.score);
}

TEST(TextModelTest, WithoutResultThereIsNothingToExplain) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());

    const Explanation explanation = model.explain(":-)");

    EXPECT_EQ(explanation.text, ":-)");
    EXPECT_EQ(explanation.label, "");
    EXPECT_EQ(explanation.score, 0.0);
    EXPECT_THAT(explanation.concepts, IsEmpty());
}

TEST(TextModelTest, TextWithoutWordHasNoResult) {
    Text_model model(Model_options{{Analysis_kind::kWords}});
    model.train(ten_of_each());

    EXPECT_THAT(model.rank("", 3), IsEmpty());
    EXPECT_THAT(model.rank(":-)", 3), IsEmpty());
}

TEST(TextModelTest, LabelsAreListedOnce) {
    Text_model model(Model_options{{Analysis_kind::kWords}});

    EXPECT_THAT(model.labels(), IsEmpty());
    model.train(ten_of_each());
    EXPECT_THAT(model.labels(), UnorderedElementsAre("sport", "food", "travel"));
}

TEST(TextModelTest, AnalysisOfTheConstructionIsUsed) {
    const std::vector<Labelled_text> texts = {{{"upper"}, "GO :-)"}, {{"lower"}, "go :-("}};
    Text_model model(Model_options{{Analysis_kind::kWhitespace}});
    model.train(texts);

    EXPECT_THAT(labels_of(model.rank("GO", 1)), ElementsAre("upper"));
    EXPECT_THAT(labels_of(model.rank("go", 1)), ElementsAre("lower"));
    EXPECT_THAT(labels_of(model.rank(":-(", 1)), ElementsAre("lower"));
}

}  // namespace

}  // namespace zandrel::cli
