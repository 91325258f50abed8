#include "text/confidence/Out_of_fold.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"

#include "text/model/Text_model.h"

namespace zandrel {

namespace {

const Model_options kWordModel = {{Analysis_kind::kWords}};

// Texts of two topics, ten of each, which differ only in their numbers.
std::vector<Labelled_text> two_topics() {
    std::vector<Labelled_text> texts;
    for (int i = 0; i < 10; ++i) {
        const std::string number = std::to_string(i);
        texts.push_back({{"sport"}, "the goal of the match " + number});
        texts.push_back({{"food"}, "the bread and the cheese " + number});
    }
    return texts;
}

TEST(OutOfFoldTest, TextsThatOtherFoldsExplainAreAnsweredRight) {
    std::vector<Labelled_text> texts = two_topics();
    const Judged_answers answers = out_of_fold_answers(texts, kWordModel);

    ASSERT_EQ(answers.size(), 20U);
    for (const Judged_answer& answer : answers) {
        EXPECT_TRUE(answer.is_right);
        EXPECT_GT(answer.scores.best, answer.scores.second);
    }
    EXPECT_EQ(texts[0].text, "the goal of the match 0");
    EXPECT_EQ(texts[19].text, "the bread and the cheese 9");
}

// The answer to text 7 is that of a model that does not know its label.
TEST(OutOfFoldTest, TextWithALabelOfItsOwnHasAWrongAnswerAtItsPlace) {
    std::vector<Labelled_text> texts = two_topics();
    texts[7] = {{"music"}, "the song of the band"};
    const Judged_answers answers = out_of_fold_answers(texts, kWordModel);

    for (std::size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i].is_right, i != 7) << i;
    }
}

TEST(OutOfFoldTest, BestLabelOfSeveralLabelsIsRight) {
    std::vector<Labelled_text> texts = two_topics();
    texts.push_back({{"food", "rare"}, "the bread and the cheese"});
    const Judged_answers answers = out_of_fold_answers(texts, kWordModel);

    EXPECT_TRUE(answers.back().is_right);
}

TEST(OutOfFoldTest, TextWithoutWordsHasAWrongAnswerWithoutScores) {
    std::vector<Labelled_text> texts = two_topics();
    texts.push_back({{"food"}, ""});
    const Judged_answers answers = out_of_fold_answers(texts, kWordModel);

    EXPECT_FALSE(answers.back().is_right);
    EXPECT_EQ(answers.back().scores.best, 0.0);
}

TEST(OutOfFoldTest, EachModelHasLearnedOnlyTheOtherFolds) {
    std::vector<Labelled_text> texts = two_topics();
    for (std::size_t i = 0; i < texts.size(); ++i) {
        texts[i].line = i + 1;
    }
    std::vector<std::size_t> learned(texts.size() + 1);
    std::size_t models = 0;
    const auto make_model = [&](const std::vector<Labelled_text>& others, CTProgress*) {
        ++models;
        for (const Labelled_text& text : others) {
            ++learned[text.line];
        }
        auto model = std::make_unique<Text_model>(kWordModel);
        model->train(others);
        return model;
    };
    out_of_fold_answers(texts, make_model);

    EXPECT_EQ(models, 3U);
    for (std::size_t line = 1; line < learned.size(); ++line) {
        EXPECT_EQ(learned[line], 2U);
    }
}

TEST(OutOfFoldTest, TwoTextsMakeTwoFolds) {
    std::vector<Labelled_text> texts = {{{"sport"}, "goal"}, {{"food"}, "bread"}};
    const Judged_answers answers = out_of_fold_answers(texts, kWordModel);

    ASSERT_EQ(answers.size(), 2U);
    EXPECT_FALSE(answers[0].is_right);
    EXPECT_FALSE(answers[1].is_right);
}

TEST(OutOfFoldTest, OneTextHasNoOtherFold) {
    std::vector<Labelled_text> texts = {{{"sport"}, "goal"}};

    EXPECT_TRUE(out_of_fold_answers(texts, kWordModel).empty());
}

TEST(OutOfFoldTest, CopiesOfOneTextHaveNoOtherFold) {
    std::vector<Labelled_text> texts(6, {{"sport"}, "goal"});

    EXPECT_TRUE(out_of_fold_answers(texts, kWordModel).empty());
}

// Each text has words of its own, so only a model that has learned its copy could answer it.
TEST(OutOfFoldTest, CopiesOfATextAreNeverLearnedBeforeTheyAreAnswered) {
    std::vector<Labelled_text> texts;
    for (const char* const word : {"ant", "bee", "cat", "dog", "eel", "fox"}) {
        texts.push_back({{word}, word});
        texts.push_back({{word}, word});
        texts.push_back({{word}, word});
    }
    for (const Judged_answer& answer : out_of_fold_answers(texts, kWordModel)) {
        EXPECT_FALSE(answer.is_right);
    }
}

TEST(OutOfFoldTest, ModelsOfOneLabelAreAlwaysRight) {
    std::vector<Labelled_text> texts;
    for (int i = 0; i < 6; ++i) {
        texts.push_back({{"sport"}, "the goal of the match " + std::to_string(i)});
    }
    const Judged_answers answers = out_of_fold_answers(texts, kWordModel);

    ASSERT_EQ(answers.size(), 6U);
    for (const Judged_answer& answer : answers) {
        EXPECT_TRUE(answer.is_right);
        EXPECT_EQ(answer.scores.second, 0.0);
    }
}

// Keeps the statuses, and interrupts as soon as a status begins with a text.
class Watching_progress : public CTProgress {
public:
    explicit Watching_progress(std::string end = "never") : m_end(std::move(end)) {}

    void SetStatus(const char* status) override {
        statuses.insert(status);
        m_is_over = m_is_over || std::string(status).starts_with(m_end);
    }

    bool IsInterrupted() const override { return m_is_over; }

    std::set<std::string> statuses;

private:
    std::string m_end;
    bool m_is_over = false;
};

TEST(OutOfFoldTest, ProgressNamesTheFold) {
    std::vector<Labelled_text> texts = two_topics();
    Watching_progress progress;
    Out_of_fold_options options;
    options.progress = &progress;
    out_of_fold_answers(texts, kWordModel, options);

    EXPECT_EQ(progress.statuses.count("Calibrating, fold 1 of 3: Analysing the texts"), 1U);
    EXPECT_EQ(progress.statuses.count("Calibrating, fold 3 of 3: Classifying the texts"), 1U);
}

TEST(OutOfFoldTest, InterruptionLeavesTheTextsAsTheyWere) {
    for (const char* const end : {"Calibrating, fold 1 of 3: Analysing", "Calibrating, fold 2 of 3",
                                  "Calibrating, fold 3 of 3: Classifying"}) {
        std::vector<Labelled_text> texts = two_topics();
        Watching_progress progress(end);
        Out_of_fold_options options;
        options.progress = &progress;

        EXPECT_THROW(out_of_fold_answers(texts, kWordModel, options), qtX<zeWorkflow>) << end;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            EXPECT_EQ(texts[i].text, two_topics()[i].text);
        }
    }
}

}  // namespace

}  // namespace zandrel
