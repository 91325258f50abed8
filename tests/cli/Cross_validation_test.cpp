#include "cli/evaluate/Cross_validation.h"

#include <cmath>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"

#include "cli/evaluate/Evaluation_observer.h"
#include "tests/cli/Typed_input.h"
#include "tests/cli/interrupted_progress.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string many(int count, const std::string& line) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        lines += line;
    }
    return lines;
}

class CrossValidationTest : public testing::Test {
protected:
    CrossValidationTest() {
        m_options.model.analysis = {Analysis_kind::kWords};
        m_options.fold_count = 2;
    }

    Cross_validation Validate(const std::string& data) {
        m_options.data_files = {m_folder.write("data.tsv", data)};
        return cross_validate(m_options);
    }

    Scratch_folder m_folder;
    Evaluation_options m_options;
};

// Each fold has two texts of sport and two of food. One fold, W, has the text of food "goal". Its
// model has learned only texts of sport with this word, so the text gets sport. The model of the
// other fold has learned the word in two texts of sport and one of food.
//   W:      3 of 4 right; F1 of sport 2*2 / (2+3) = 4/5, of food 2*1 / (2+1) = 2/3; mean 11/15
//   other:  4 of 4 right; macro F1 1
//   accuracy: mean 7/8, deviation sqrt(2 * (1/8)^2 / 1); macro F1: mean 13/15,
//   deviation sqrt(2 * (2/15)^2 / 1)
//   all texts: 7 of 8 right; F1 of sport 2*4 / (4+5) = 8/9, of food 2*3 / (4+3) = 6/7; mean 55/63
TEST_F(CrossValidationTest, MeanSpreadAndFigureOfAllTextsAreThoseOfTheFolds) {
    for (m_options.seed = 1; m_options.seed <= 5; ++m_options.seed) {
        const Cross_validation result =
            Validate(many(4, "sport\tgoal\n") + many(3, "food\tbread\n") + "food\tgoal\n");

        ASSERT_EQ(result.folds.size(), 2U);
        const Figure& accuracy = quality_figures()[1];
        const Figure& macro_f1 = quality_figures()[2];
        ASSERT_STREQ(accuracy.member, "accuracy");
        ASSERT_STREQ(macro_f1.member, "macro_f1_top");
        EXPECT_DOUBLE_EQ(spread_of(accuracy, result.folds).mean, 7.0 / 8);
        EXPECT_DOUBLE_EQ(spread_of(accuracy, result.folds).deviation, std::sqrt(2.0) / 8);
        EXPECT_DOUBLE_EQ(spread_of(macro_f1, result.folds).mean, 13.0 / 15);
        EXPECT_DOUBLE_EQ(spread_of(macro_f1, result.folds).deviation, std::sqrt(2.0) * 2 / 15);
        EXPECT_EQ(result.all.metrics.correct, 7U);
        EXPECT_DOUBLE_EQ(result.all.metrics.macro_f1_top, 55.0 / 63);
        ASSERT_EQ(result.all.metrics.confusions.size(), 1U);
        EXPECT_EQ(result.all.metrics.confusions[0].expected, "food");
        EXPECT_EQ(result.seed, m_options.seed);
    }
}

// The second way: write the texts of each fold and of the others to files, and evaluate these.
TEST_F(CrossValidationTest, EachFoldHasTheFiguresOfSeparateFiles) {
    std::string data;
    for (int i = 0; i < 60; ++i) {
        const std::string word = "w" + std::to_string(i * i % 11);
        data += (i % 5 == 0   ? "a,b\t"
                 : i % 2 == 0 ? "a\t"
                              : "b\t") +
                word + " x" + std::to_string(i % 7) + "\n";
    }
    m_options.fold_count = 3;
    const Cross_validation result = Validate(data);

    const std::vector<Labelled_text> texts = read_labelled_file(m_options.data_files.front());
    const std::vector<std::size_t> folds = folds_of(label_lists_of(texts), 3, kDefaultSeed);
    for (std::size_t fold = 0; fold < 3; ++fold) {
        std::string parts[2];
        for (std::size_t i = 0; i < texts.size(); ++i) {
            const std::string labels = texts[i].labels.size() == 2 ? "a,b" : texts[i].labels[0];
            parts[folds[i] == fold ? 1 : 0] += labels + "\t" + texts[i].text + "\n";
        }
        Evaluation_options options;
        options.model = m_options.model;
        options.train_file = m_folder.write("train.tsv", parts[0]);
        options.test_file = m_folder.write("test.tsv", parts[1]);
        const Evaluation expected = evaluate(options);
        for (const Figure& figure : quality_figures()) {
            ASSERT_EQ(has_figures(figure.group, result.folds[fold]),
                      has_figures(figure.group, expected));
            if (has_figures(figure.group, expected)) {
                EXPECT_EQ(figure.of(result.folds[fold]), figure.of(expected))
                    << figure.member << " of fold " << fold;
            }
        }
        EXPECT_EQ(result.folds[fold].training->texts, expected.training->texts);
    }
    EXPECT_EQ(result.all.classifying.texts, 60U);
    EXPECT_EQ(result.all.training->texts, 120U);
    EXPECT_EQ(result.all.classifying.bytes, text_bytes(texts));
}

// The holdout of a half is the fold 0 of two: round(1/2) = 1.
TEST_F(CrossValidationTest, HoldoutOfAHalfIsOneOfTwoFolds) {
    const std::string data = many(6, "a\tx\n") + many(4, "b\ty\n") + many(4, "b\tx\n");
    const Cross_validation result = Validate(data);

    m_options.held_out_share = 0.5;
    const Evaluation held_out = evaluate(m_options);

    EXPECT_EQ(held_out.metrics.correct, result.folds[0].metrics.correct);
    EXPECT_EQ(held_out.assignments.micro.f1, result.folds[0].assignments.micro.f1);
    EXPECT_EQ(held_out.calibration.brier, result.folds[0].calibration.brier);
    EXPECT_EQ(held_out.training->texts, 7U);
    EXPECT_EQ(held_out.classifying.texts, 7U);
}

TEST_F(CrossValidationTest, SameSeedGivesTheSameFigures) {
    std::string data;
    for (int i = 0; i < 40; ++i) {
        data += (i % 3 == 0 ? "a\tw" : "b\tw") + std::to_string(i % 9) + "\n";
    }
    const Cross_validation first = Validate(data);
    const Cross_validation second = Validate(data);
    m_options.seed = 2;
    const Cross_validation other = Validate(data);

    for (const Figure& figure : quality_figures()) {
        if (have_figures(figure.group, first.folds)) {
            EXPECT_EQ(spread_of(figure, first.folds).mean, spread_of(figure, second.folds).mean);
        }
    }
    EXPECT_NE(first.all.calibration.brier, other.all.calibration.brier);
}

TEST_F(CrossValidationTest, OneLabelOnlyIsAlwaysRight) {
    const Cross_validation result = Validate(many(5, "a\tx y\n"));

    EXPECT_EQ(result.all.metrics.correct, 5U);
    EXPECT_EQ(spread_of(quality_figures()[1], result.folds).mean, 1.0);
    EXPECT_EQ(spread_of(quality_figures()[1], result.folds).deviation, 0.0);
}

TEST_F(CrossValidationTest, AsManyFoldsAsTextsTestEachTextOnAllOthers) {
    m_options.fold_count = 5;
    const Cross_validation result = Validate(many(3, "a\tx\n") + "b\ty\nb\ty\n");

    ASSERT_EQ(result.folds.size(), 5U);
    for (const Evaluation& fold : result.folds) {
        EXPECT_EQ(fold.metrics.texts, 1U);
        EXPECT_EQ(fold.training->texts, 4U);
    }
    EXPECT_EQ(result.all.metrics.correct, 5U);
}

TEST_F(CrossValidationTest, MoreFoldsThanTextsAreRefused) {
    m_options.fold_count = 4;
    try {
        Validate("a\tx\na\tx\nb\ty\n");
        FAIL() << "no error";
    } catch (const Usage_error& error) {
        EXPECT_STREQ(error.what(), "there are fewer texts (3) than folds (4)");
    }
}

TEST_F(CrossValidationTest, EmptyFileIsRefused) {
    try {
        Validate("\n\r\n");
        FAIL() << "no error";
    } catch (const Data_error& error) {
        EXPECT_THAT(error.what(), EndsWith("data.tsv: no data line"));
    }
}

TEST_F(CrossValidationTest, HoldoutWithoutATextIsRefused) {
    m_options.data_files = {m_folder.write("data.tsv", "a\tx\nb\ty\n")};

    const struct {
        double share;
        const char* message;
    } rows[] = {
        {0.2, "data.tsv: too few texts (2) for the share: no text is held out"},
        {0.8, "data.tsv: too few texts (2) for the share: all are held out"},
    };

    for (const auto& row : rows) {
        m_options.held_out_share = row.share;
        try {
            evaluate(m_options);
            FAIL() << "no error";
        } catch (const Data_error& error) {
            EXPECT_THAT(error.what(), EndsWith(row.message));
        }
    }
}

// A label with one text is tested by a model that does not know it.
TEST_F(CrossValidationTest, LabelOfOneTextIsTestedOnce) {
    const Cross_validation result = Validate(many(4, "a\tx\n") + "b\tx\n");

    EXPECT_EQ(result.all.metrics.correct, 4U);
    ASSERT_EQ(result.all.assignments.categories.size(), 2U);
    EXPECT_EQ(result.all.assignments.categories[1].label, "b");
    EXPECT_EQ(result.all.assignments.categories[1].tally.misses, 1U);
}

TEST_F(CrossValidationTest, FewTextsAndIdenticalTextsAreWarnedOf) {
    std::vector<std::string> warnings;
    m_options.warn = [&](const std::string& text) { warnings.push_back(text); };
    m_options.fold_count = 3;
    std::string data = many(8, "a\t\n") + "b\tsame\nb\tsame\n";
    Validate(data);

    EXPECT_THAT(warnings,
                ElementsAre(EndsWith("data.tsv: 1 label has fewer texts than the 3 folds, so some "
                                     "folds do not test it: \"b\""),
                            EndsWith("data.tsv: 2 of 10 texts are identical to texts of another "
                                     "fold; the model has learned them, so the figures are too "
                                     "good")));
}

TEST_F(CrossValidationTest, SeveralFilesAreDividedTogether) {
    m_options.data_files = {m_folder.write("1.tsv", many(3, "a\tx\n")),
                            m_folder.write("2.tsv", many(3, "b\ty\n"))};
    std::vector<std::string> warnings;
    m_options.warn = [&](const std::string& text) { warnings.push_back(text); };

    const Cross_validation result = cross_validate(m_options);

    EXPECT_EQ(result.all.metrics.texts, 6U);
    EXPECT_EQ(result.all.metrics.correct, 6U);
    EXPECT_THAT(warnings, ElementsAre(StartsWith("2 data files: there are more labels"),
                                      StartsWith("2 data files: 6 of 6 texts are identical")));
}

TEST_F(CrossValidationTest, StandardInputIsRead) {
    m_options.data_files = {"-"};
    const Typed_input typed("a\tx\nb\ty\na\tx\nb\ty\n");

    EXPECT_EQ(cross_validate(m_options).all.metrics.texts, 4U);
}

TEST_F(CrossValidationTest, StandardInputNamedTwiceIsRefused) {
    m_options.data_files = {"-", "-"};

    EXPECT_THROW(cross_validate(m_options), Usage_error);
    EXPECT_THROW(evaluate(m_options), Usage_error);
}

TEST_F(CrossValidationTest, SkippedLinesAreCounted) {
    EXPECT_THROW(Validate("a\tx\nbad\na\tx\n"), Data_error);
    m_options.skips_bad_lines = true;

    EXPECT_EQ(Validate("a\tx\nbad\na\tx\n").all.skipped.count, 1U);
}

TEST_F(CrossValidationTest, InterruptionEndsTheWork) {
    Interrupted_progress progress;
    m_options.progress = &progress;

    EXPECT_THROW(Validate("a\tx\na\tx\n"), qtX<zeWorkflow>);
}

// desk (rules): shop with delivery and returns if the text has the word "shop", otherwise other
const char* const kDeskTree =
    "+\t[Rule]\t[NoScore]\t[]\t[desk]\t[]\n"
    "++\t[Stat]\t[NoScore]\t[]\t[shop]\t[\"shop\"]\n"
    "+++\t[Leaf]\t[Score]\t[]\t[delivery]\t[]\n"
    "+++\t[Leaf]\t[Score]\t[]\t[returns]\t[]\n"
    "++\t[Leaf]\t[Score]\t[]\t[other]\t[default]\n";

class TreeCrossValidationTest : public CrossValidationTest {
protected:
    TreeCrossValidationTest() {
        m_options.model.tree = {kDeskTree, "desk.tree"};
        m_options.warn = [this](const std::string& text) {
            if (text.find("of the tree") != std::string::npos) {
                m_warnings.push_back(text);
            }
        };
    }

    // Returns the error of cross_validate or evaluate.
    template <class Work>
    std::string ErrorOf(const Work& work) {
        try {
            work(m_options);
        } catch (const Data_error& error) {
            return error.what();
        }
        return "no error";
    }

    std::vector<std::string> m_warnings;  // about the tree
};

// The second line is empty, so payment is first in line 10 of its file. Three texts of the label
// cannot all be in one of two folds, or in a held-out half.
TEST_F(TreeCrossValidationTest, LabelWithoutALeafIsNamedWithFileAndLineAfterTheDivision) {
    const std::string good = "delivery\tshop parcel\n\n" + many(7, "other\thello\n");
    const std::string bad = good + many(3, "payment\tshop bill\n") + good;
    const std::string message =
        ": label \"payment\" has no leaf in desk.tree; add a leaf for it there, or remove the text";
    const std::string first = m_folder.write("first.tsv", good);
    const std::string second = m_folder.write("second.tsv", bad);
    m_options.held_out_share = 0.5;
    for (m_options.seed = 1; m_options.seed <= 5; ++m_options.seed) {
        for (const std::vector<std::string>& files :
             {std::vector<std::string>{second}, {first, second}, {second, first}}) {
            m_options.data_files = files;
            for (const std::string& error :
                 {ErrorOf(cross_validate),
                  ErrorOf([](const auto& options) { evaluate(options); })}) {
                EXPECT_THAT(error,
                            testing::AnyOf(second + ":10" + message, second + ":11" + message,
                                           second + ":12" + message));
            }
        }
    }
}

// The model of the first or second fold gets the only text of the label, which is number 10 in the
// second file.
TEST_F(TreeCrossValidationTest, OnlyTextOfALabelWithoutALeafIsNamed) {
    m_options.data_files = {
        m_folder.write("first.tsv", many(5, "other\thello\n")),
        m_folder.write("second.tsv", many(9, "other\thello\n") + "payment\tshop bill\n")};
    m_options.fold_count = 15;

    EXPECT_THAT(ErrorOf(cross_validate),
                StartsWith(m_options.data_files[1] + ":10: label \"payment\" has no leaf"));
}

TEST_F(TreeCrossValidationTest, BlockedTextsOfAllFoldsAreWarnedOfOnce) {
    m_options.data_files = {
        m_folder.write("first.tsv", many(4, "delivery\tshop parcel\nreturns\tshop jacket\n")),
        m_folder.write("second.tsv", "other\thello\nother\tshop\nreturns\tjacket\nother\thi\n")};
    for (m_options.fold_count = 2; m_options.fold_count <= 4; ++m_options.fold_count) {
        m_warnings.clear();
        cross_validate(m_options);

        EXPECT_THAT(m_warnings,
                    ElementsAre("the rules of the tree block 2 of 12 texts from their labels, so "
                                "nothing learns them; the first is " +
                                m_options.data_files[1] + ":2 with the label \"other\""));
    }
}

// The only text of returns is in one fold, so one model gets no text of the label.
TEST_F(TreeCrossValidationTest, LeavesWithoutATextInAnyFoldAreWarnedOfOnce) {
    Validate(many(6, "delivery\tshop parcel\n") + "returns\tshop jacket\n");
    EXPECT_THAT(m_warnings, testing::IsEmpty());

    Validate(many(6, "delivery\tshop parcel\n"));
    EXPECT_THAT(m_warnings,
                ElementsAre("a leaf of the tree has learned no text: \"desk/shop/returns\""));
}

TEST_F(TreeCrossValidationTest, HoldoutWarnsOfTheTree) {
    m_options.data_files = {m_folder.write("data.tsv", many(12, "delivery\tparcel\n"))};
    m_options.held_out_share = 0.25;
    evaluate(m_options);

    EXPECT_THAT(m_warnings, ElementsAre(StartsWith("the rules of the tree block 9 of 9 texts"),
                                        "2 leaves of the tree have learned no text: "
                                        "\"desk/shop/delivery\", \"desk/shop/returns\""));
}

TEST_F(CrossValidationTest, NoteAboutSuggestedGroupsNamesItsFold) {
    std::vector<std::string> warnings;
    m_options.warn = [&](const std::string& text) { warnings.push_back(text); };
    m_options.fold_count = 3;
    m_options.model.suggests_groups = true;
    std::string data;
    for (int i = 0; i < 9; ++i) {
        const std::string number = std::to_string(i);
        data += "a\tred x" + number + "\nb\tgreen x" + number + "\n";
        data += "c\tblue x" + number + "\nd\tgrey x" + number + "\n";
    }
    Validate(data);

    const std::string note =
        ": --tree auto: no groups, since no number of groups gains accuracy in cross-validation";
    EXPECT_THAT(warnings, ElementsAre("fold 1" + note, "fold 2" + note, "fold 3" + note));
}

TEST_F(CrossValidationTest, HintAtSuggestedGroupsAppearsOnce) {
    std::vector<std::string> warnings;
    m_options.warn = [&](const std::string& text) { warnings.push_back(text); };
    std::string data;
    for (int i = 0; i < 6 * 51; ++i) {
        const std::string label = std::to_string(i % 51);
        data += label + "\tword" + label + " x" + std::to_string(i) + "\n";
    }
    Validate(data);

    EXPECT_THAT(warnings, ElementsAre("51 labels are in one classifier; groups of labels may be "
                                      "more accurate: try --tree auto"));
}

class Noted_progress : public CTProgress {
public:
    void SetStatus(const char* status) override { statuses.emplace_back(status); }

    std::vector<std::string> statuses;
};

TEST_F(CrossValidationTest, ProgressNamesTheFold) {
    Noted_progress progress;
    m_options.progress = &progress;
    Validate("a\tx\na\tx\nb\ty\nb\ty\n");

    EXPECT_THAT(progress.statuses, testing::Contains("Fold 1 of 2: Classifying"));
    EXPECT_THAT(progress.statuses, testing::Contains("Fold 2 of 2: Analysing the texts"));
}

// Values 1, 2 and 6: mean 3, squares 4 + 1 + 9 = 14, deviation sqrt(14 / 2).
TEST_F(CrossValidationTest, DeviationDividesByOneLessThanTheNumber) {
    EXPECT_DOUBLE_EQ(spread_of({1.0, 2.0, 6.0}).mean, 3.0);
    EXPECT_DOUBLE_EQ(spread_of({1.0, 2.0, 6.0}).deviation, std::sqrt(7.0));
}

// With --reject, no text of the second fold is answered: the others have the accuracies 1 and 1/2.
TEST(SpreadTest, FoldWithoutAnsweredTextsIsLeftOut) {
    const Figure& accuracy = quality_figures()[1];
    std::vector<Evaluation> folds(3);
    for (Evaluation& fold : folds) {
        fold.rejection = {0.5, 4, 0};
    }
    folds[0].metrics.texts = 4;
    folds[0].metrics.accuracy = 1.0;
    EXPECT_FALSE(has_spread(accuracy.group, folds));
    EXPECT_EQ(spread_of(accuracy, folds).mean, 0.0);
    folds[2].metrics.texts = 4;
    folds[2].metrics.accuracy = 0.5;

    EXPECT_TRUE(has_spread(accuracy.group, folds));
    EXPECT_DOUBLE_EQ(spread_of(accuracy, folds).mean, 0.75);
    EXPECT_DOUBLE_EQ(spread_of(accuracy, folds).deviation, std::sqrt(0.125));
}

// Figures of single folds have a spread instead.
TEST_F(CrossValidationTest, AllTextsTogetherHaveIntervals) {
    const Cross_validation result = Validate(many(6, "sport\tgoal\n") + many(6, "food\tbread\n"));

    for (const Figure& figure : quality_figures()) {
        if (has_figures(figure.group, result.all)) {
            EXPECT_TRUE(figure.interval_of(result.all).has_value()) << figure.member;
        }
    }
    EXPECT_FALSE(result.folds[0].metrics.macro_f1_interval.has_value());
    EXPECT_FALSE(result.folds[0].calibration.intervals.has_value());
    EXPECT_EQ(result.all.answered.points.front().texts, 12U);
}

// The texts of an evaluation with their indexes, and the number of texts before the end of each
// model.
class Fold_recorder : public Evaluation_observer {
public:
    void add(const Evaluated_text& text) override {
        indexes.push_back(text.index);
        texts.push_back(text.text.text);
    }

    void end_model(Text_model& /*model*/) override { ends.push_back(texts.size()); }

    std::vector<std::size_t> indexes;
    std::vector<std::string> texts;
    std::vector<std::size_t> ends;
};

TEST_F(CrossValidationTest, ObserverGetsTheTextsFoldByFoldWithTheirIndexesAmongAllTexts) {
    std::string data;
    for (int i = 0; i < 9; ++i) {
        data += (i % 2 == 0 ? "sport\tgoal t" : "food\tbread t") + std::to_string(i) + "\n";
    }
    Fold_recorder recorder;
    m_options.observer = &recorder;
    m_options.fold_count = 3;
    Validate(data);

    const std::vector<Labelled_text> texts = read_labelled_file(m_options.data_files.front());
    const std::vector<std::size_t> folds = folds_of(label_lists_of(texts), 3, kDefaultSeed);
    EXPECT_THAT(recorder.ends, ElementsAre(3, 6, 9));
    ASSERT_EQ(recorder.indexes.size(), 9U);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(recorder.texts[i], texts[recorder.indexes[i]].text);
        EXPECT_EQ(folds[recorder.indexes[i]], i / 3);
    }
}

TEST_F(CrossValidationTest, FoldsChooseTheThresholdOfAWantedPrecision) {
    m_options.wanted_precision = 0.8;
    const Cross_validation result = Validate(many(30, "sport\tgoal\n") + many(30, "food\tbread\n"));

    ASSERT_TRUE(result.all.wanted_precision.has_value());
    EXPECT_EQ(result.all.wanted_precision->fold_count, 2U);
    EXPECT_EQ(result.all.wanted_precision->chosen_from, 60U);
    EXPECT_EQ(result.all.wanted_precision->right, 60U);
    EXPECT_FALSE(result.folds[0].wanted_precision.has_value());
}

TEST_F(CrossValidationTest, EachFoldIsCalibrated) {
    m_options.calibrates = true;
    m_options.least_confidence = 0.0;
    const Cross_validation result = Validate(many(12, "sport\tgoal\n") + many(12, "food\tbread\n"));

    EXPECT_TRUE(have_figures(Figure_group::kConfidence, result.folds));
    EXPECT_TRUE(result.all.answered.is_confidence);
    ASSERT_TRUE(result.all.rejection.has_value());
    EXPECT_EQ(result.all.rejection->texts, 24U);
    EXPECT_EQ(result.all.rejection->answered, 24U);
}

}  // namespace

}  // namespace zandrel::cli
