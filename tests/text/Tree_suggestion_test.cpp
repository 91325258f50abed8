#include "text/suggest/Tree_suggestion.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"

#include "tests/cli/interrupted_progress.h"
#include "tests/support/expect_qtx.h"
#include "text/errors.h"
#include "text/model/Text_model.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<Labelled_text>;

const Model_options kWordModel = {{Analysis_kind::kWords}};

// Numbers that look random but are the same on every machine.
class Numbers {
public:
    std::size_t below(std::size_t end) {
        m_state = m_state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::size_t>((m_state >> 33U) % end);
    }

private:
    std::uint64_t m_state = 1;
};

// 60 labels in 6 groups of 10. A text has words of its group, one word of its label, which also
// belongs to labels of other groups, and words of any label.
Texts grouped_texts() {
    Numbers numbers;
    Texts texts;
    for (std::size_t i = 0; i < 1800; ++i) {
        const std::size_t label = i % 60;
        const std::size_t group = label / 10;
        std::string text;
        for (int j = 0; j < 2; ++j) {
            text += "topic" + std::to_string(group) + "x" + std::to_string(numbers.below(8)) + " ";
        }
        text += "own" + std::to_string(label % 10);
        for (int j = 0; j < 3; ++j) {
            text += " common" + std::to_string(numbers.below(40));
        }
        texts.push_back({{"label" + std::to_string(label)}, text});
    }
    return texts;
}

std::vector<std::string> lines_of_texts(const Texts& texts) {
    std::vector<std::string> lines;
    for (const Labelled_text& text : texts) {
        lines.push_back(text.labels.front() + "\t" + text.text);
    }
    return lines;
}

// The exact numbers for 150 labels are 6.12, 11.45, 21.43, 40.09 and 75; for 50
// labels 3.54, 5.76, 9.40, 15.33 and 25; for 49 labels 3.5, 9.26 and 24.5; for 8 labels 2, 2.83
// and 4.
TEST(TreeSuggestionTest, NumbersToTryGrowByEqualRatios) {
    EXPECT_THAT(group_counts_to_try(150), ElementsAre(6, 11, 21, 40, 75));
    EXPECT_THAT(group_counts_to_try(50), ElementsAre(3, 5, 9, 15, 25));
    EXPECT_THAT(group_counts_to_try(49), ElementsAre(3, 9, 24));
    EXPECT_THAT(group_counts_to_try(8), ElementsAre(2, 4));
    EXPECT_THAT(group_counts_to_try(4), ElementsAre(2));
    for (std::size_t labels = 0; labels < 4; ++labels) {
        EXPECT_THAT(group_counts_to_try(labels), IsEmpty());
    }
}

// The variance of the number of texts is 90 + 50 - 40^2 / 3000 = 139.47, its root 11.81.
TEST(TreeSuggestionTest, FiguresOfAComparisonAreThoseWorkedOutByHand) {
    const Tree_comparison comparison = {3000, 50, 90, 2400};

    EXPECT_DOUBLE_EQ(comparison.flat_accuracy(), 2450.0 / 3000.0);
    EXPECT_DOUBLE_EQ(comparison.tree_accuracy(), 2490.0 / 3000.0);
    EXPECT_NEAR(comparison.gain(), 40.0 / 3000.0, 1e-15);
    EXPECT_NEAR(comparison.gain_error(), 11.8095 / 3000.0, 1e-7);
    EXPECT_TRUE(comparison.is_clear());
}

// Two standard errors are 2 * sqrt(35 - 11^2 / 1000) = 11.81 texts in the first row, above the gain
// of 11, and 2 * sqrt(36 - 12^2 / 1000) = 11.98 in the second, below the gain of 12.
TEST(TreeSuggestionTest, GainIsClearAboveTwoStandardErrors) {
    EXPECT_FALSE((Tree_comparison{1000, 12, 23, 900}.is_clear()));
    EXPECT_TRUE((Tree_comparison{1000, 12, 24, 900}.is_clear()));
    EXPECT_FALSE((Tree_comparison{1000, 24, 12, 900}.is_clear()));
    EXPECT_FALSE((Tree_comparison{1000, 0, 0, 1000}.is_clear()));
    EXPECT_FALSE((Tree_comparison{}.is_clear()));
}

// Ten texts, of which the first ones are right.
std::vector<bool> first_right(std::size_t count) {
    std::vector<bool> rights(10, false);
    std::fill_n(rights.begin(), count, true);
    return rights;
}

// The best number has 6 right texts. A number with 4 is not clearly worse: the gain of the best one
// is 2/10, with the standard error sqrt(2 - 2^2/10) / 10 = 0.126. But without groups 5 texts are
// right.
TEST(TreeSuggestionTest, NumberThatLosesToNoGroupsIsNotChosen) {
    const std::vector<std::vector<bool>> rights = {first_right(4), first_right(4), first_right(6)};

    EXPECT_EQ(middle_of_good({2, 4, 8}, rights, 5), 8U);
    EXPECT_EQ(middle_of_good({2, 4, 8}, rights, 4), 8U);
    EXPECT_EQ(middle_of_good({2, 4, 8}, rights, 3), 4U);
}

TEST(TreeSuggestionTest, WithoutANumberThatBeatsNoGroupsNoneIsChosen) {
    const std::vector<std::vector<bool>> rights = {first_right(4), first_right(6)};

    EXPECT_EQ(middle_of_good({2, 4}, rights, 6), 0U);
    EXPECT_EQ(middle_of_good({2, 4}, rights, 7), 0U);
}

// The best number has 9 right texts, and the gain over 3 right texts is clear: 6/10, with the
// standard error sqrt(6 - 6^2/10) / 10 = 0.155.
TEST(TreeSuggestionTest, NumberThatIsClearlyWorseThanTheBestIsNotChosen) {
    const std::vector<std::vector<bool>> rights = {first_right(3), first_right(3), first_right(9)};

    EXPECT_EQ(middle_of_good({2, 4, 8}, rights, 1), 8U);
}

// Of two numbers in the middle the greater one is chosen.
TEST(TreeSuggestionTest, MiddleOfTheGoodNumbersIsChosen) {
    const std::vector<std::vector<bool>> rights(4, first_right(6));

    EXPECT_EQ(middle_of_good({2, 4, 8, 16}, rights, 5), 8U);
}

TEST(TreeSuggestionTest, LabelsOfOneTopicAreGroupedIfThatHelps) {
    Texts texts = grouped_texts();
    const Tree_suggestion found = suggest_tree(texts, kWordModel, false);

    EXPECT_EQ(found.texts, 1800U);
    EXPECT_EQ(found.labels.size(), 60U);
    EXPECT_EQ(found.tried_texts, 600U);
    EXPECT_EQ(found.tried.size(), 6U);
    EXPECT_EQ(found.comparison.texts, 1200U);
    EXPECT_TRUE(found.comparison.is_clear());
    ASSERT_FALSE(found.groups.groups.empty());
    for (const Label_group& group : found.groups.groups) {
        for (const std::string& label : group.labels) {
            // "label7" and "label12": all but the last digit is the topic.
            EXPECT_EQ(label.substr(5, label.size() - 6),
                      group.labels.front().substr(5, group.labels.front().size() - 6));
        }
    }
}

TEST(TreeSuggestionTest, TextsAreInTheirPlacesAfterwards) {
    Texts texts = grouped_texts();
    suggest_tree(texts, kWordModel, false);

    EXPECT_EQ(lines_of_texts(texts), lines_of_texts(grouped_texts()));
}

TEST(TreeSuggestionTest, SecondSearchFindsTheSame) {
    Texts texts = grouped_texts();
    const Tree_suggestion first = suggest_tree(texts, kWordModel, false);
    const Tree_suggestion second = suggest_tree(texts, kWordModel, false);

    ASSERT_EQ(first.groups.groups.size(), second.groups.groups.size());
    for (std::size_t i = 0; i < first.groups.groups.size(); ++i) {
        EXPECT_EQ(first.groups.groups[i].name, second.groups.groups[i].name);
        EXPECT_EQ(first.groups.groups[i].labels, second.groups.groups[i].labels);
    }
    EXPECT_EQ(first.comparison.both, second.comparison.both);
}

// Both kinds of model are right for each text, so groups gain nothing.
TEST(TreeSuggestionTest, LabelsStayTogetherIfGroupsDoNotHelp) {
    Texts texts;
    for (int i = 0; i < 120; ++i) {
        const std::string label = std::to_string(i % 6);
        texts.push_back({{"l" + label}, "word" + label + " own" + label});
    }
    const Tree_suggestion found = suggest_tree(texts, kWordModel, false);

    EXPECT_THAT(found.groups.groups, IsEmpty());
    EXPECT_EQ(found.group_count, 0U);
    EXPECT_EQ(found.comparison.texts, 0U);
    ASSERT_EQ(found.tried.size(), 3U);  // none, 2 and 3 groups
    EXPECT_EQ(found.tried[0].right_texts, 40U);
}

TEST(TreeSuggestionTest, FewLabelsOrTextsAreNotTried) {
    Texts one = {{{"a"}, "x"}, {{"a"}, "y"}, {{"a"}, "z"}};
    Texts two = {{{"a"}, "x"}, {{"b"}, "y"}, {{"a"}, "z"}};
    Texts four_in_two_texts = {{{"a", "b"}, "x"}, {{"c", "d"}, "y"}};
    Texts none;

    for (Texts* const texts : {&one, &two, &four_in_two_texts, &none}) {
        const Tree_suggestion found = suggest_tree(*texts, kWordModel, false);
        EXPECT_THAT(found.tried, IsEmpty());
        EXPECT_THAT(found.groups.groups, IsEmpty());
    }
}

TEST(TreeSuggestionTest, IdenticalAndEmptyTextsGetNoGroups) {
    Texts texts;
    for (int i = 0; i < 30; ++i) {
        texts.push_back({{"l" + std::to_string(i % 5)}, i % 5 == 4 ? "" : "the same"});
    }
    const Tree_suggestion found = suggest_tree(texts, kWordModel, false);

    EXPECT_EQ(found.labels.size(), 5U);
    EXPECT_THAT(found.groups.groups, IsEmpty());
}

TEST(TreeSuggestionTest, TextsWithSeveralLabelsAreRightWithEither) {
    Texts texts;
    for (int i = 0; i < 60; ++i) {
        const std::string number = std::to_string(i % 3);
        texts.push_back({{"a" + number, "b" + number}, "word" + number});
    }
    const Tree_suggestion found = suggest_tree(texts, kWordModel, false);

    EXPECT_EQ(found.labels.size(), 6U);
    EXPECT_EQ(found.tried_texts, 20U);
    EXPECT_EQ(found.tried.front().right_texts, 20U);
}

TEST(TreeSuggestionTest, LabelsInASingleTextAreAccepted) {
    Texts texts;
    for (int i = 0; i < 9; ++i) {
        texts.push_back({{"l" + std::to_string(i)}, "word" + std::to_string(i)});
    }
    const Tree_suggestion found = suggest_tree(texts, kWordModel, false);

    EXPECT_EQ(found.tried.front().right_texts, 0U);
    EXPECT_THAT(found.groups.groups, IsEmpty());
}

TEST(TreeSuggestionTest, TooManyLabelsAreRefused) {
    Texts texts;
    for (std::size_t i = 0; i <= kMostLabels; ++i) {
        texts.push_back({{"l" + std::to_string(i)}, "x"});
    }
    try {
        suggest_tree(texts, kWordModel, false);
        ADD_FAILURE() << "no error";
    } catch (const Usage_error& error) {
        EXPECT_STREQ(error.what(),
                     "there are 10,001 labels, but groups are suggested only for up to 10,000");
    }
}

TEST(TreeSuggestionTest, NumberThatMakesNoGroupsIsReported) {
    Texts texts = {{{"a"}, "goal match"}, {{"b"}, "bread cheese"}, {{"c"}, "goal bread"}};
    Model_options options = kWordModel;
    std::vector<std::string> notes;
    const auto warn = [&notes](const std::string& note) { notes.push_back(note); };

    options.group_count = 40;
    EXPECT_THAT(with_suggested_groups(options, texts, false, nullptr, warn).groups.groups,
                IsEmpty());
    EXPECT_THAT(notes, ElementsAre("Tree = 40 makes no groups of 3 labels"));

    notes.clear();
    options.group_count = 2;
    EXPECT_EQ(with_suggested_groups(options, texts, false, nullptr, warn).groups.groups.size(), 1U);
    EXPECT_THAT(notes, IsEmpty());
}

TEST(TreeSuggestionTest, InterruptionEndsTheSearch) {
    Texts texts = grouped_texts();
    Interrupted_progress progress;

    EXPECT_QTX(suggest_tree(texts, kWordModel, false, &progress), zeWorkflow, 2,
               "Process interrupted");
}

}  // namespace

}  // namespace zandrel::cli
