#include "text/data/Data_warnings.h"

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

using Texts = std::vector<Labelled_text>;
using Lines = std::vector<std::string>;

// If each label has this many texts, there is no warning about too many labels or about labels with
// a single text.
constexpr int kMany = 10;

std::string times(int count, const std::string& lines) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += lines;
    }
    return all;
}

Texts texts_of(const std::string& data) {
    std::istringstream input(data);
    return read_labelled_texts(input, "data.tsv");
}

Lines warnings_of_training(const std::string& data) {
    const Texts texts = texts_of(data);
    return training_warnings({{"train.tsv", texts}});
}

Lines warnings_of_evaluation(const std::string& training, const std::string& test) {
    const Texts training_texts = texts_of(training);
    const Texts test_texts = texts_of(test);
    return evaluation_warnings({"train.tsv", training_texts}, {"test.tsv", test_texts});
}

Lines warnings_of_test(const std::vector<std::string>& known, const std::string& test) {
    const Texts texts = texts_of(test);
    return evaluation_warnings(known, {"test.tsv", texts});
}

const std::string kGood = times(kMany, "sport\tgoal\nfood\tbread\n");

TEST(DataWarningsTest, GoodDataGiveNoWarning) {
    EXPECT_THAT(warnings_of_training(kGood), IsEmpty());
    EXPECT_THAT(warnings_of_evaluation(kGood, kGood), IsEmpty());
    EXPECT_THAT(warnings_of_test({"food", "sport", "travel"}, kGood), IsEmpty());
}

// ---- Header lines ----

TEST(DataWarningsTest, HeaderLineIsNamedAndItsSingleLabelToo) {
    EXPECT_THAT(warnings_of_training("\n"
                                     "category\ttext\n" +
                                     kGood),
                ElementsAre("train.tsv:2: this looks like a header line, and counts as a text with "
                            "the label \"category\"; remove it if it is one, or read "
                            "it with --header",
                            "train.tsv: 1 label has a single text: \"category\""));
}

TEST(DataWarningsTest, HeaderLineIsRecognisedByBothFields) {
    const struct {
        std::string line;
        bool is_header;
    } rows[] = {
        {"label\ttext", true},        {"#Label\t\"Text\"", true}, {"CLASS\tmessage\ttitle", true},
        {"label\tthe text", false},   {"sport\ttext", false},     {"label\t", false},
        {"label,class\ttext", false}, {"text\tlabel", false},     {"label 1\tsentence", true},
    };

    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const Lines warnings = warnings_of_training(row.line + "\n" + kGood);
        const bool is_named = !warnings.empty() &&
                              warnings.front().starts_with("train.tsv:1: this looks like a header");
        EXPECT_EQ(is_named, row.is_header);
    }
}

TEST(DataWarningsTest, WordOfAHeaderThatOtherTextsHaveIsALabel) {
    EXPECT_THAT(warnings_of_training("class\ttext\n" + kGood + "food,class\tschool\n"), IsEmpty());
}

TEST(DataWarningsTest, HeaderAfterTheFirstTextIsAText) {
    EXPECT_THAT(warnings_of_training(kGood + "label\ttext\n"),
                ElementsAre("train.tsv: 1 label has a single text: \"label\""));
}

TEST(DataWarningsTest, EachFileMayHaveAHeader) {
    const Texts first = texts_of(kGood);
    const Texts second = texts_of("label\ttext\n" + kGood);

    EXPECT_THAT(training_warnings({{"a.tsv", first}, {"b.tsv", second}, {"c.tsv", second}}),
                ElementsAre(StartsWith("b.tsv:1: this looks like a header line"),
                            StartsWith("c.tsv:1: this looks like a header line")));
}

// ---- Bytes ----

TEST(DataWarningsTest, BytesThatAreNotUtf8AreCounted) {
    // Two bytes of line 21, one of line 23 and three of line 24 are not UTF-8. In line 24 a
    // character of four bytes has lost its last byte, so its other three bytes are counted.
    const std::string data = kGood + "sport\t\xFCgoal \xFF\nfood\tcaf\u00E9\n" +
                             "foo\xE4"
                             "d,food\tbread\nfood\t\xF0\x9F\x98\n";

    EXPECT_THAT(warnings_of_training(data + times(kMany,
                                                  "foo\xE4"
                                                  "d\tbread\n")),
                ElementsAre("train.tsv: 16 bytes in 13 lines are not UTF-8, the first in line 21; "
                            "is the file in another encoding?"));
}

TEST(DataWarningsTest, SingleByteThatIsNotUtf8IsNamed) {
    EXPECT_THAT(warnings_of_training(kGood + "food\tcaf\xE9\n"),
                ElementsAre("train.tsv: 1 byte in 1 line is not UTF-8, the first in line 21; is "
                            "the file in another encoding?"));
}

TEST(DataWarningsTest, TitlesAndKeywordsAreChecked) {
    Texts texts(kMany, {{"sport"}, "goal", "\xFF", "\xFE\xFE"});

    EXPECT_THAT(training_warnings({{"train.tsv", texts}}),
                ElementsAre(StartsWith("train.tsv: 30 bytes in 10 lines are not UTF-8")));
}

// ---- Numbers of texts ----

TEST(DataWarningsTest, MoreLabelsThanAFifthOfTheTextsAreTooMany) {
    EXPECT_THAT(warnings_of_training(times(5, "a\tx\nb\tx\n")), IsEmpty());
    EXPECT_THAT(warnings_of_training(times(4, "a\tx\nb\tx\n") + "a\tx\n"),
                ElementsAre("train.tsv: there are more labels (2) than a fifth of the texts (9); "
                            "does each line have the form label<TAB>text?"));
}

TEST(DataWarningsTest, FilesOfATrainingAreCountedTogether) {
    const Texts first = texts_of(times(5, "a\tx\n") + "b\tx\n");
    const Texts second = texts_of("b\tx\nc\tx\n");

    EXPECT_THAT(training_warnings({{"1.tsv", first}, {"2.tsv", second}}),
                ElementsAre("2 data files: there are more labels (3) than a fifth of the texts "
                            "(8); does each line have the form label<TAB>text?",
                            "2 data files: 1 label has a single text: \"c\""));
}

TEST(DataWarningsTest, FirstLabelsWithASingleTextAreNamed) {
    EXPECT_THAT(warnings_of_training(kGood + "d\tx\nc,food\tx\nb\tx\n" + kGood),
                ElementsAre("train.tsv: 3 labels have a single text: \"b\", \"c\", \"d\""));
    EXPECT_THAT(
        warnings_of_training(kGood + "e\tx\nd\tx\nc,food\tx\nb,a\x1b\tx\n" + kGood),
        ElementsAre("train.tsv: 5 labels have a single text: \"a\\x1B\", \"b\", \"c\" and 2 more"));
}

TEST(DataWarningsTest, LongLabelsAreCutAtACharacter) {
    const std::string label = times(40, "\u00E9");

    EXPECT_THAT(warnings_of_training(kGood + label + "\tx\n"),
                ElementsAre(EndsWith(" text: \"" + label + "\"")));
    EXPECT_THAT(warnings_of_training(kGood + label + "\u00E9\tx\n"),
                ElementsAre(EndsWith(" text: \"" + label + "...\"")));
}

// ---- Similar labels ----

const std::string kAlike = ": labels that differ only in case or blanks are different labels: ";

TEST(DataWarningsTest, LabelsThatDifferOnlyInCaseOrBlanksAreNamed) {
    EXPECT_THAT(warnings_of_training(times(kMany, "new york\tx\nNew  York \tx\nnewyork\tx\n")),
                ElementsAre("train.tsv" + kAlike + "\"New  York \", \"new york\", \"newyork\""));
    EXPECT_THAT(warnings_of_training(times(kMany, "\u00C4rger\tx\n\u00E4rger\u00A0\tx\n")),
                ElementsAre("train.tsv" + kAlike + "\"\u00C4rger\", \"\u00E4rger\u00A0\""));
}

TEST(DataWarningsTest, LabelsWithOtherDifferencesAreNotSimilar) {
    EXPECT_THAT(warnings_of_training(times(kMany, "new-york\tx\nnew york\tx\n")), IsEmpty());
    EXPECT_THAT(warnings_of_training(times(kMany, "a\tx\n\u00E4\tx\n")), IsEmpty());
    EXPECT_THAT(warnings_of_training(times(kMany, "a\xFF\tx\na\xFE\tx\n")),
                ElementsAre(StartsWith("train.tsv: 20 bytes in 20 lines")));
}

TEST(DataWarningsTest, FirstGroupsOfSimilarLabelsAreNamed) {
    EXPECT_THAT(warnings_of_training(times(kMany, "a\tx\nA\tx\nb\tx\nB\tx\nc\tx\nC\tx\n")),
                ElementsAre(EndsWith(": \"A\", \"a\"; \"B\", \"b\"; \"C\", \"c\"")));
    EXPECT_THAT(warnings_of_training(
                    times(kMany, "a\tx\nA\tx\nb\tx\nB\tx\nc\tx\nC\tx\nd\tx\nD\tx\ne\tx\nE\tx\n")),
                ElementsAre(EndsWith("; \"C\", \"c\"; and 2 more such groups")));
}

// ---- Test files ----

TEST(DataWarningsTest, LabelsOfTrainingAndTestAreComparedTogether) {
    EXPECT_THAT(warnings_of_evaluation(kGood, times(kMany, "Sport\tgoal\nfood\tbread\n")),
                ElementsAre("train.tsv and test.tsv" + kAlike + "\"Sport\", \"sport\""));
}

TEST(DataWarningsTest, LabelsOfTheModelCountOnlyWithLabelsOfTheTest) {
    EXPECT_THAT(warnings_of_test({"food", "sport", "Food", "travel", "Travel"}, kGood),
                ElementsAre("test.tsv" + kAlike + "\"Food\", \"food\""));
}

TEST(DataWarningsTest, TestWithoutAKnownLabelIsNamed) {
    EXPECT_THAT(warnings_of_evaluation(kGood, times(kMany, "a\tx\nb\tx\n")),
                ElementsAre("test.tsv: the model knows none of the labels: \"a\", \"b\""));
    EXPECT_THAT(warnings_of_test({"A", "food"}, times(kMany, "a\tx\nb\tx\n")),
                ElementsAre("test.tsv: the model knows none of the labels: \"a\", \"b\"",
                            "test.tsv" + kAlike + "\"A\", \"a\""));
}

TEST(DataWarningsTest, OneKnownLabelOfATestIsEnough) {
    EXPECT_THAT(warnings_of_test({"sport"}, times(kMany, "a\tx\n") + "b,sport\tx\nb\tx\n"),
                ElementsAre("test.tsv: there are more labels (3) than a fifth of the texts (12); "
                            "does each line have the form label<TAB>text?",
                            "test.tsv: 1 label has a single text: \"sport\""));
}

TEST(DataWarningsTest, BothFilesOfAnEvaluationAreChecked) {
    EXPECT_THAT(warnings_of_evaluation("label\ttext\n" + kGood, kGood + "food\t\xFF\n"),
                ElementsAre(StartsWith("train.tsv:1: this looks like a header line"),
                            "train.tsv: 1 label has a single text: \"label\"",
                            "test.tsv: 1 byte in 1 line is not UTF-8, the first in line 21; is the "
                            "file in another encoding?"));
}

// ---- Data that are divided ----

Lines warnings_of_folds(const std::string& data, const std::vector<std::size_t>& folds,
                        std::size_t fold_count) {
    const Texts texts = texts_of(data);
    return fold_warnings({"data.tsv", texts}, folds, fold_count);
}

Lines warnings_of_share(const std::string& data, const std::vector<bool>& held_out) {
    const Texts texts = texts_of(data);
    return held_out_warnings({"data.tsv", texts}, held_out);
}

TEST(DataWarningsTest, IdenticalTextsOfOneFoldAreNotNamed) {
    EXPECT_THAT(warnings_of_folds("a\tx\na\tx\na\ty\na\ty\n", {0, 0, 1, 1}, 2), IsEmpty());
}

// Texts 0, 1 and 3 are "x", in both folds; the empty texts are not counted. Labels do not matter.
TEST(DataWarningsTest, IdenticalTextsOfTwoFoldsAreCounted) {
    EXPECT_THAT(warnings_of_folds("a\tx\na\tx\na\t\nb\tx\na\t\nb\ty\n", {0, 0, 0, 1, 1, 1}, 2),
                ElementsAre("data.tsv: 3 of 6 texts are identical to texts of another fold; the "
                            "model has learned them, so the figures are too good"));
}

TEST(DataWarningsTest, LabelsWithFewerTextsThanFoldsAreNamed) {
    EXPECT_THAT(warnings_of_folds("a\t1\na\t2\na\t3\nb,c\t4\nb\t5\n", {0, 1, 2, 0, 1}, 3),
                ElementsAre("data.tsv: 2 labels have fewer texts than the 3 folds, so some folds "
                            "do not test them: \"b\", \"c\""));
    EXPECT_THAT(warnings_of_folds("a\t1\na\t2\na\t3\n", {0, 1, 2}, 3), IsEmpty());
}

TEST(DataWarningsTest, HeldOutTextsWithoutAKnownLabelAreNamed) {
    const std::string data = "a\tx\na\ty\nb,c\tz\n";

    EXPECT_THAT(warnings_of_share(data, {false, false, true}),
                ElementsAre("data.tsv: the model knows none of the labels of the held-out texts: "
                            "\"b\", \"c\""));
    EXPECT_THAT(warnings_of_share(data, {false, true, true}), IsEmpty());
    EXPECT_THAT(warnings_of_share(data, {true, true, false}),
                ElementsAre("data.tsv: the model knows none of the labels of the held-out texts: "
                            "\"a\""));
}

TEST(DataWarningsTest, HeldOutTextsThatAreLearnedTooAreCounted) {
    const std::string data = "a\tx\na\tx\na\ty\na\tz\n";

    EXPECT_THAT(warnings_of_share(data, {false, false, true, true}), IsEmpty());
    EXPECT_THAT(warnings_of_share(data, {false, true, true, true}),
                ElementsAre("data.tsv: 1 of 3 held-out texts is identical to texts that are not "
                            "held out; the model has learned them, so the figures are too good"));
    EXPECT_THAT(warnings_of_share("a\tx\na\tx\na\tx\n", {true, true, false}),
                ElementsAre(StartsWith("data.tsv: 2 of 2 held-out texts are identical to texts")));
}

}  // namespace

}  // namespace zandrel::cli
