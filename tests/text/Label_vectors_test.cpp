#include "text/suggest/Label_vectors.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"

#include "tests/cli/interrupted_progress.h"
#include "tests/support/expect_qtx.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<Labelled_text>;

std::vector<Label_vector> label_vectors_of(const Texts& texts,
                                           Analysis_kind kind = Analysis_kind::kWords) {
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis({kind});
    return label_vectors(texts, *analysis);
}

std::vector<std::string> words_of_vector(const Label_vector& vector) {
    std::vector<std::string> words;
    for (const Weighted_word& each : vector.words) {
        words.emplace_back(each.word.view());
    }
    return words;
}

// golf: ball is in two of three labels, green in one, "the" in all.
TEST(LabelVectorsTest, WeightsAreThoseWorkedOutByHand) {
    const std::vector<Label_vector> vectors =
        label_vectors_of({{{"polo"}, "The ball, the score"},
                          {{"golf"}, "the ball the BALL the"},
                          {{"chess"}, "the board the board the the"},
                          {{"golf"}, "ball the green the"}});

    ASSERT_EQ(vectors.size(), 3U);
    EXPECT_EQ(vectors[0].label, "chess");
    EXPECT_EQ(vectors[1].label, "golf");
    EXPECT_EQ(vectors[2].label, "polo");
    EXPECT_THAT(words_of_vector(vectors[0]), ElementsAre("board"));
    EXPECT_DOUBLE_EQ(vectors[0].words[0].weight, 1.0);
    ASSERT_THAT(words_of_vector(vectors[1]), ElementsAre("ball", "green"));
    const double ball = (1.0 + std::log(3.0)) * std::log(3.0 / 2.0);
    const double green = std::log(3.0);
    EXPECT_NEAR(vectors[1].words[0].weight, ball / std::hypot(ball, green), 1e-15);
    EXPECT_NEAR(vectors[1].words[1].weight, green / std::hypot(ball, green), 1e-15);
    EXPECT_THAT(words_of_vector(vectors[2]), ElementsAre("ball", "score"));
}

TEST(LabelVectorsTest, TextWithSeveralLabelsCountsForEach) {
    const std::vector<Label_vector> vectors =
        label_vectors_of({{{"a", "b"}, "shared"}, {{"b"}, "own"}, {{"c"}, "other"}});

    EXPECT_THAT(words_of_vector(vectors[0]), ElementsAre("shared"));
    EXPECT_THAT(words_of_vector(vectors[1]), ElementsAre("own", "shared"));
}

TEST(LabelVectorsTest, TitleAndKeywordsCountAsText) {
    const std::vector<Label_vector> vectors =
        label_vectors_of({{{"a"}, "", "headline", "tag"}, {{"b"}, "body"}});

    EXPECT_THAT(words_of_vector(vectors[0]), ElementsAre("headline", "tag"));
}

TEST(LabelVectorsTest, LabelWithoutDistinguishingWordHasNoWord) {
    const std::vector<Label_vector> vectors =
        label_vectors_of({{{"a"}, ""}, {{"b"}, "?!"}, {{"c"}, "word"}, {{"d"}, "word"}});

    EXPECT_THAT(vectors[0].words, IsEmpty());
    EXPECT_THAT(vectors[1].words, IsEmpty());
    EXPECT_THAT(words_of_vector(vectors[2]), ElementsAre("word"));
}

TEST(LabelVectorsTest, WordsInEveryLabelAreLeftOut) {
    const std::vector<Label_vector> vectors = label_vectors_of({{{"a"}, "same"}, {{"b"}, "same"}});

    EXPECT_THAT(vectors[0].words, IsEmpty());
    EXPECT_THAT(vectors[1].words, IsEmpty());
    EXPECT_THAT(label_vectors_of({{{"a"}, "one label"}}).front().words, IsEmpty());
    EXPECT_THAT(label_vectors_of({}), IsEmpty());
}

// All words have the same weight except "zz", which is there twice.
TEST(LabelVectorsTest, OnlyTheHeaviestWordsAreKept) {
    std::string text = "zz zz";
    for (int i = 1000; i < 2005; ++i) {
        text += " w" + std::to_string(i);
    }
    const std::vector<std::string> words =
        words_of_vector(label_vectors_of({{{"a"}, text}, {{"b"}, "x"}}).front());

    ASSERT_EQ(words.size(), kMostWords);
    EXPECT_EQ(words.front(), "w1000");
    EXPECT_EQ(words[kMostWords - 2], "w1998");
    EXPECT_EQ(words.back(), "zz");
}

TEST(LabelVectorsTest, OrderOfTheTextsDoesNotChangeABit) {
    Texts texts;
    for (int i = 0; i < 200; ++i) {
        texts.push_back({{"l" + std::to_string(i % 7)},
                         "w" + std::to_string(i % 13) + " w" + std::to_string(i % 5) + " v" +
                             std::to_string(i * i % 31)});
    }
    const std::vector<Label_vector> first = label_vectors_of(texts);
    std::reverse(texts.begin(), texts.end());
    const std::vector<Label_vector> second = label_vectors_of(texts);

    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        ASSERT_EQ(words_of_vector(first[i]), words_of_vector(second[i]));
        for (std::size_t j = 0; j < first[i].words.size(); ++j) {
            EXPECT_EQ(first[i].words[j].weight, second[i].words[j].weight);
        }
    }
}

TEST(LabelVectorsTest, InterruptionEndsTheCounting) {
    const std::unique_ptr<Text_analysis> analysis = make_text_analysis({Analysis_kind::kWords});
    Interrupted_progress progress;

    EXPECT_QTX(label_vectors({{{"a"}, "x"}}, *analysis, &progress), zeWorkflow, 2,
               "Process interrupted");
}

TEST(PortableLogTest, LogarithmIsThatOfTheCLibraryExceptForTheLastBits) {
    EXPECT_EQ(portable_log(1.0), 0.0);
    for (double number = 1.0; number < 1e9; number *= 1.0173) {
        EXPECT_NEAR(portable_log(number), std::log(number),
                    1e-15 * std::max(1.0, std::log(number)));
    }
}

// The bits were computed by a program in another language from the formula of portable_log. Those
// of 3 and 10 differ from the nearest double by one.
TEST(PortableLogTest, BitsAreTheSameOnEveryMachine) {
    EXPECT_EQ(portable_log(2.0), 0x1.62e42fefa39efp-1);
    EXPECT_EQ(portable_log(3.0), 0x1.193ea7aad030ap+0);
    EXPECT_EQ(portable_log(10.0), 0x1.26bb1bbb55515p+1);
    EXPECT_EQ(portable_log(75.5), 0x1.14be96e58b915p+2);
    EXPECT_EQ(portable_log(4.0 / 3.0), 0x1.269621134db92p-2);
}

}  // namespace

}  // namespace zandrel::cli
