#include "text/suggest/Label_clusters.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Texts = std::vector<Labelled_text>;

Label_clusters clusters_of_texts(const Texts& texts, Analysis_kind kind = Analysis_kind::kWords) {
    return Label_clusters(texts, *make_text_analysis({kind}));
}

// "name: label label" for each group.
std::vector<std::string> lines_of_groups(const Label_groups& groups) {
    std::vector<std::string> lines;
    for (const Label_group& group : groups.groups) {
        std::string& line = lines.emplace_back(group.name + ":");
        for (const std::string& label : group.labels) {
            line += " " + label;
        }
    }
    return lines;
}

// ball and flat are in two of four labels, so their weight is ln 2; the others have ln 4 = 2 ln 2.
// Each vector is (1, 2) / sqrt 5, so golf and polo, and rent and loan, have the product 1/5 and the
// squared distance 2 - 2/5 = 1.6. All other pairs have the squared distance 2.
const Texts kFourLabels = {{{"rent"}, "flat month"},
                           {{"golf"}, "ball green"},
                           {{"loan"}, "flat bank"},
                           {{"polo"}, "ball horse"}};

TEST(LabelClustersTest, LabelsWithCommonWordsAreGrouped) {
    const Label_clusters clusters = clusters_of_texts(kFourLabels);

    EXPECT_EQ(clusters.label_count(), 4U);
    EXPECT_THAT(lines_of_groups(clusters.groups(4)), IsEmpty());
    EXPECT_THAT(lines_of_groups(clusters.groups(3)), ElementsAre("ball-green: golf polo"));
    EXPECT_THAT(lines_of_groups(clusters.groups(2)),
                ElementsAre("ball-green: golf polo", "bank-flat: loan rent"));
    EXPECT_THAT(lines_of_groups(clusters.groups(1)), ElementsAre("ball-bank: golf loan polo rent"));
}

TEST(LabelClustersTest, OrderOfTheTextsChangesNothing) {
    Texts texts = kFourLabels;
    std::sort(texts.begin(), texts.end(),
              [](const Labelled_text& a, const Labelled_text& b) { return a.text < b.text; });

    EXPECT_EQ(lines_of_groups(clusters_of_texts(texts).groups(2)),
              lines_of_groups(clusters_of_texts(kFourLabels).groups(2)));
}

// With three more labels the weights of ball and green are ln(7/2) = 1.25 and ln 7 = 1.95, so the
// sum of ball in two labels is greater than that of green in one.
TEST(LabelClustersTest, NameOfALabelGetsAFurtherWord) {
    Texts texts = kFourLabels;
    texts.push_back({{"ball-green"}, ""});
    texts.push_back({{"flat-bank-month"}, ""});
    texts.push_back({{"flat-bank"}, ""});

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(2)),
                ElementsAre("ball-green-horse: golf polo", "flat-bank-month-2: loan rent"));
}

TEST(LabelClustersTest, NameOfAnotherGroupOrOfTheRootIsNotUsedAgain) {
    const Texts texts = {{{"a"}, "root"}, {{"b"}, "root"}, {{"c"}, "other"}};

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(2)), ElementsAre("root-2: a b"));
}

TEST(LabelClustersTest, NumbersAndWordsThatBeginAlikeAreLeftOutOfNames) {
    const Texts texts = {{{"a"}, "123 reserve 4 reservation reservations"},
                         {{"b"}, "123 reserve 4 reservation reservations"},
                         {{"c"}, "other"}};

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(2)),
                ElementsAre("reservation-reserve: a b"));
}

TEST(LabelClustersTest, WordsThatPathsAndTreesCannotHaveAreLeftOutOfNames) {
    const std::string text = "[x] a/b back\\slash c\x01trol \xFFlatin " + std::string(31, 'w');
    const Texts texts = {{{"a"}, text}, {{"b"}, text}, {{"c"}, "other"}};

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts, Analysis_kind::kWhitespace).groups(2)),
                ElementsAre("group-1: a b"));
}

TEST(LabelClustersTest, LabelsWithoutWordsAreInNoGroup) {
    Texts texts = kFourLabels;
    texts.push_back({{"empty"}, ""});
    texts.push_back({{"marks"}, "?!"});
    const Label_clusters clusters = clusters_of_texts(texts);

    EXPECT_EQ(clusters.label_count(), 4U);
    EXPECT_THAT(lines_of_groups(clusters.groups(1)), ElementsAre("ball-flat: golf loan polo rent"));
}

TEST(LabelClustersTest, IdenticalLabelsAreGroupedByName) {
    const Texts texts = {
        {{"d"}, "same"}, {{"b"}, "same"}, {{"z"}, "other"}, {{"a"}, "same"}, {{"c"}, "same"}};

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(2)), ElementsAre("same: a b c d"));
    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(4)), ElementsAre("same: a b"));
}

TEST(LabelClustersTest, NoTextOrOneLabelHasNothingToGroup) {
    EXPECT_EQ(clusters_of_texts({}).label_count(), 0U);
    EXPECT_EQ(clusters_of_texts({{{"a"}, "word"}}).label_count(), 0U);
}

TEST(LabelClustersTest, TwoLabelsCanFormOneGroup) {
    const Texts texts = {{{"a"}, "cat"}, {{"b"}, "dog"}};

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(2)), IsEmpty());
    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(1)), ElementsAre("cat-dog: a b"));
}

TEST(LabelClustersTest, LabelsWithTabsAndBracketsAreGroupedUnchanged) {
    const Texts texts = {{{"a\tb"}, "cat"}, {{"[b]"}, "cat"}, {{"c"}, "dog"}};

    EXPECT_THAT(lines_of_groups(clusters_of_texts(texts).groups(2)), ElementsAre("cat: [b] a\tb"));
}

}  // namespace

}  // namespace zandrel::cli
