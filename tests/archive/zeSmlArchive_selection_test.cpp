// Lists for training and deletion, estimates, and the weights of a training set.
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/messages/zeMemoryCorpus.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/small_archive.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::DoubleEq;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using List = std::vector<unsigned int>;
using Weights = std::map<Concept, double>;

// Eight messages, 0 to 7, which arrived at 1001 to 1008. Only 2 and 5, of the category "rare", are
// reserved.
class zeSmlArchiveListTest : public Archive_test {
protected:
    zeSmlArchiveListTest() {
        for (unsigned int number = 0; number < 8; ++number) {
            if (number == 2 || number == 5) {
                add(archive, {"rare"});
            } else {
                add(archive, {"often"});
            }
        }
        archive.ReleaseOneCat(term("often"));
        list = {99};  // every list is cleared first
    }

    List list;
};

TEST_F(zeSmlArchiveListTest, LearningListHasAllMessagesIfNoneWasLearned) {
    archive.GetLearningListByNewSmls(list);
    EXPECT_THAT(list, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST_F(zeSmlArchiveListTest, LearningListBeginsAfterTheLastLearnedMessage) {
    archive.m_manager.last_learned_sml = 5;
    archive.GetLearningListByNewSmls(list);
    EXPECT_THAT(list, ElementsAre(6, 7));

    archive.m_manager.last_learned_sml = 7;
    archive.GetLearningListByNewSmls(list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(zeSmlArchiveListTest, LearningListHasAllMessagesIfTheLastLearnedOneWasDeleted) {
    archive.m_manager.last_learned_sml = 4;
    archive.DelSml(4);
    archive.GetLearningListByNewSmls(list);
    EXPECT_THAT(list, ElementsAre(0, 1, 2, 3, 5, 6, 7));
}

TEST_F(zeSmlArchiveListTest, TrainingListByCountHasReservedMessagesThenTheNewestFreeOnes) {
    archive.GetTrainingListByCount(4, list);  // the walk: 7 6 5 4
    EXPECT_THAT(list, ElementsAre(2, 5, 7, 6, 4));
    archive.GetTrainingListByCount(0, list);
    EXPECT_THAT(list, ElementsAre(2, 5));
    archive.GetTrainingListByCount(4294967295U, list);
    EXPECT_THAT(list, ElementsAre(2, 5, 7, 6, 4, 3, 1, 0));
}

TEST_F(zeSmlArchiveListTest, TrainingListOfNoneWithoutReservedMessagesIsEmpty) {
    archive.ReleaseOneCat(term("rare"));
    archive.GetTrainingListByCount(0, list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(zeSmlArchiveListTest, ReservedMessagesAreInAscendingOrder) {
    archive.m_manager.locked_smls.clear();
    for (const unsigned int number : {900U, 7U, 450U, 3U, 899U}) {
        archive.m_manager.locked_smls[number] = 1;
    }
    archive.GetTrainingListByCount(0, list);
    EXPECT_THAT(list, ElementsAre(3, 7, 450, 899, 900));
}

TEST_F(zeSmlArchiveListTest, MessageAtTheDateIsInTheTrainingListAndNotInTheDeleteList) {
    const qtTimeDate date(1004);  // of message 3

    archive.GetTrainingListByDate(date, list);
    EXPECT_THAT(list, ElementsAre(2, 5, 7, 6, 4, 3));
    archive.GetDeleteListByDate(date, list);
    EXPECT_THAT(list, ElementsAre(0, 1));
}

TEST_F(zeSmlArchiveListTest, ListsByDateTakeAllOrNothing) {
    archive.GetTrainingListByDate(qtTimeDate(1009), list);
    EXPECT_THAT(list, ElementsAre(2, 5));
    archive.GetDeleteListByDate(qtTimeDate(1009), list);
    EXPECT_THAT(list, ElementsAre(0, 1, 3, 4, 6, 7));
    archive.GetTrainingListByDate(qtTimeDate(1001), list);
    EXPECT_THAT(list, ElementsAre(2, 5, 7, 6, 4, 3, 1, 0));
    archive.GetDeleteListByDate(qtTimeDate(1001), list);
    EXPECT_THAT(list, IsEmpty());
}

// The clock may have been set back. Both walks end at the first message on the other side.
TEST_F(zeSmlArchiveListTest, WalksByDateEndAtTheFirstMessageOnTheOtherSide) {
    archive.m_manager.sml_dates[6] = qtTimeDate(1);

    archive.GetTrainingListByDate(qtTimeDate(1004), list);
    EXPECT_THAT(list, ElementsAre(2, 5, 7));
    archive.m_manager.sml_dates[0] = qtTimeDate(2000);
    archive.GetDeleteListByDate(qtTimeDate(1004), list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(zeSmlArchiveListTest, ReservedMessageUsesUpOneOfTheCountOfADeleteList) {
    archive.GetDeleteListByCount(4, list);  // the walk: 0 1 2 3
    EXPECT_THAT(list, ElementsAre(0, 1, 3));
    archive.GetDeleteListByCount(0, list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(zeSmlArchiveListTest, DeleteListByALargeCountHasAllFreeMessages) {
    archive.GetDeleteListByCount(9, list);
    EXPECT_THAT(list, ElementsAre(0, 1, 3, 4, 6, 7));
}

TEST_F(zeSmlArchiveListTest, DeleteListByKeepingNewPassesOverTheNewestAndRunsToTheOldest) {
    archive.GetDeleteListByKeepingNew(2, list);
    EXPECT_THAT(list, ElementsAre(4, 3, 1, 0));
    archive.GetDeleteListByKeepingNew(0, list);
    EXPECT_THAT(list, ElementsAre(7, 6, 4, 3, 1, 0));
}

TEST_F(zeSmlArchiveListTest, DeleteListByKeepingMoreThanThereAreIsEmpty) {
    archive.GetDeleteListByKeepingNew(8, list);
    EXPECT_THAT(list, IsEmpty());
    archive.GetDeleteListByKeepingNew(4294967295U, list);
    EXPECT_THAT(list, IsEmpty());
}

// Two categories of 1 or 2 messages each.
TEST_F(zeSmlArchiveListTest, ListsByMinimalSizeDivideTheArchive) {
    archive.SetCatMinimalSize(1);
    archive.GetTrainingListByMinimalSize(list);
    EXPECT_THAT(list, ElementsAre(2, 5, 7, 6));
    archive.GetDeleteListByMinimalSize(list);
    EXPECT_THAT(list, ElementsAre(4, 3, 1, 0));

    archive.SetCatMinimalSize(2);
    archive.GetTrainingListByMinimalSize(list);
    EXPECT_THAT(list, ElementsAre(2, 5, 7, 6, 4));
    archive.GetDeleteListByMinimalSize(list);
    EXPECT_THAT(list, ElementsAre(3, 1, 0));
}

// 2 * 4294967295 does not fit 32 bits: with 32 bits the product would be 4294967294, which is large
// too. 2 * 2147483648 would be 0.
TEST_F(zeSmlArchiveListTest, ProductOfSizeAndCategoriesHas64Bits) {
    archive.SetCatMinimalSize(2147483648U);
    archive.GetTrainingListByMinimalSize(list);
    EXPECT_EQ(list.size(), 8U);
    archive.GetDeleteListByMinimalSize(list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(zeSmlArchiveListTest, ListsOfAnEmptyArchiveAreEmpty) {
    for (unsigned int number = 0; number < 8; ++number) {
        archive.ReleaseOneSml(number);
        archive.DelSml(number);
    }
    for (const auto& make : std::vector<void (*)(const zeSmlArchive&, List&)>{
             [](const zeSmlArchive&a, List&l) { a.GetLearningListByNewSmls(l); },
             [](const zeSmlArchive&a, List&l) { a.GetTrainingListByCount(3, l); },
             [](const zeSmlArchive&a, List&l) { a.GetTrainingListByDate(qtTimeDate(3), l); },
             [](const zeSmlArchive&a, List&l) { a.GetTrainingListByMinimalSize(l); },
             [](const zeSmlArchive&a, List&l) { a.GetDeleteListByCount(3, l); },
             [](const zeSmlArchive&a, List&l) { a.GetDeleteListByDate(qtTimeDate(3), l); },
             [](const zeSmlArchive&a, List&l) { a.GetDeleteListByKeepingNew(0, l); },
             [](const zeSmlArchive&a, List&l) { a.GetDeleteListByMinimalSize(l); }}) {
        list = {99};
        make(archive, list);
        EXPECT_THAT(list, IsEmpty());
    }
}

class zeSmlArchiveWeightTest : public Archive_test {
protected:
    // Replaces the estimates and counts of categories, and the number of messages.
    void set_summary(std::size_t message_count, const std::map<std::string, CatData>& categories) {
        archive.m_manager.category_info.clear();
        for (const auto& [name, data] : categories) {
            archive.m_manager.category_info[term(name)] = data;
        }
        archive.m_manager.sml_dates.clear();
        for (unsigned int number = 0; number < message_count; ++number) {
            archive.m_manager.sml_dates[number] = qtTimeDate(number);
        }
        archive.m_manager.next_sml_id = static_cast<unsigned int>(message_count);
    }

    std::vector<double> training_weights(List list, zeSmlArchive::Algorithm algorithm) {
        zeMemoryCorpus corpus;
        archive.MakeTrainingCorpus(list, corpus, algorithm);
        std::vector<double> weights;
        for (const qtPtrLight<zeMsg>& msg : corpus.msgs) {
            weights.push_back(msg->weight);
        }
        return weights;
    }
};

// With one category the half-life is 100: d = 2^(-1/100) = 0.9930924954370359.
TEST_F(zeSmlArchiveWeightTest, EstimatesHaveAHalfLifeOfAtLeast100Arrivals) {
    archive.SetCatMinimalSize(99);
    set_summary(4, {{"red", {3, 0.25, 7.0, {}}}});
    std::set<Concept> red{term("red")};
    std::set<Concept> other{term("other")};
    archive.FlushArchive(false);

    archive.UpdateApriori(red);

    EXPECT_TRUE(archive.m_manager.modified);
    // 0.006907504562964073 + 0.9930924954370359 * 0.25, and 0.85 * 7 + 0.15
    EXPECT_DOUBLE_EQ(category(archive, "red").apriori, 0.25518062842222305);
    EXPECT_DOUBLE_EQ(category(archive, "red").recursion1, 6.1);

    archive.UpdateApriori(other);

    EXPECT_DOUBLE_EQ(category(archive, "red").apriori, 0.25518062842222305 * 0.9930924954370359);
    EXPECT_DOUBLE_EQ(category(archive, "red").recursion1, 6.25);
    EXPECT_EQ(archive.m_manager.category_info.size(), 1U);
}

// 100 arrivals of another category halve the share.
TEST_F(zeSmlArchiveWeightTest, ShareIsHalvedInOneHalfLife) {
    archive.SetCatMinimalSize(0);
    set_summary(4, {{"red", {3, 0.5, 7.0, {}}}});
    std::set<Concept> other{term("other")};

    for (int arrival = 0; arrival < 100; ++arrival) {
        archive.UpdateApriori(other);
    }

    EXPECT_NEAR(category(archive, "red").apriori, 0.25, 1e-13);
}

// 160 for two categories of 80: d = 2^(-1/160) = 0.995677200433284.
TEST_F(zeSmlArchiveWeightTest, HalfLifeGrowsWithSizeAndCategories) {
    add(archive, {"red"});
    EXPECT_DOUBLE_EQ(category(archive, "red").apriori, 0.006907504562964073);
    EXPECT_DOUBLE_EQ(category(archive, "red").recursion1, 85.15);

    add(archive, {"blue"});

    EXPECT_DOUBLE_EQ(category(archive, "red").apriori, 0.006877644805232203);
    EXPECT_DOUBLE_EQ(category(archive, "red").recursion1, 85.30);
    EXPECT_DOUBLE_EQ(category(archive, "blue").apriori, 0.004322799566715996);
    EXPECT_DOUBLE_EQ(category(archive, "blue").recursion1, 85.15);
}

// The half-life is a float: 16777217 becomes 16777216, so both sizes give the same share.
TEST_F(zeSmlArchiveWeightTest, HalfLifeIsASinglePrecisionNumber) {
    std::set<Concept> red{term("red")};
    double shares[2] = {};
    for (const unsigned int more : {0U, 1U}) {
        archive.SetCatMinimalSize(16777216U + more);
        set_summary(4, {{"red", {3, 0.0, 7.0, {}}}});
        archive.UpdateApriori(red);
        shares[more] = category(archive, "red").apriori;
    }

    EXPECT_EQ(shares[0], shares[1]);
    EXPECT_NEAR(shares[0], 0.6931471805599453 / 16777216, 1e-14);  // 1 - 2^(-x) is nearly x ln 2
}

// Each 4th arrival is of the category. The estimate moves around 4: it is r before an arrival of
// the category, 0.85 r + 0.15 after it, and 0.45 more after three others, so r = 0.6 / 0.15 = 4.
TEST_F(zeSmlArchiveWeightTest, RecursionSettlesAtTheArrivalsPerMessage) {
    set_summary(4, {{"red", {3, 0.5, 60.0, {}}}});
    std::set<Concept> red{term("red")};
    std::set<Concept> other{term("other")};

    for (int round = 0; round < 400; ++round) {
        for (int arrival = 0; arrival < 3; ++arrival) {
            archive.UpdateApriori(other);
        }
        archive.UpdateApriori(red);
    }

    EXPECT_NEAR(category(archive, "red").recursion1, 0.85 * 4 + 0.15, 1e-12);
}

TEST_F(zeSmlArchiveWeightTest, InitialEstimatesAreTheSharesInTheArchive) {
    set_summary(8, {{"red", {2, 0.9, 7.0, {}}}, {"blue", {8, 0.9, 7.0, {}}}});
    archive.FlushArchive(false);

    archive.SetInitialApriori();

    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_EQ(category(archive, "red").apriori, 0.25);
    EXPECT_EQ(category(archive, "red").recursion1, 4.0);
    EXPECT_EQ(category(archive, "blue").apriori, 1.0);
    EXPECT_EQ(category(archive, "blue").recursion1, 1.0);
}

// The shares would be infinite, and such a summary could not be opened again.
TEST_F(zeSmlArchiveWeightTest, InitialSharesOfAnArchiveWithoutMessagesDoNotChange) {
    set_summary(0, {{"red", {2, 0.9, 7.0, {}}}});
    archive.FlushArchive(true);

    archive.SetInitialApriori();

    EXPECT_FALSE(archive.m_manager.modified);
    EXPECT_EQ(category(archive, "red").apriori, 0.9);
    EXPECT_EQ(category(archive, "red").recursion1, 7.0);
}

// The two messages have the weights 2 / (r + 1) and 2 r / (r + 1) with r = sqrt(A).
TEST_F(zeSmlArchiveWeightTest, GreatestAgeRatioGivesFiniteWeights) {
    archive.SetAgeRatio(static_cast<double>(std::numeric_limits<float>::max()));
    add(archive, {"two"});
    add(archive, {"two"});

    // A = 2^128 * (1 - 2^-24), so r = 2^64 * (1 - 2^-25), and r + 1 is nearly r.
    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kNoWeights),
                ElementsAre(DoubleNear(std::ldexp(1.0, -63), 1e-26), DoubleNear(2.0, 1e-12)));
}

TEST_F(zeSmlArchiveWeightTest, CategoryWithoutMessagesBreaksAnInvariant) {
    set_summary(8, {{"red", {0, 0.9, 7.0, {}}}});
    Weights weights;
    List list = {1};
    zeMemoryCorpus corpus;

    EXPECT_ASSERTS(archive.SetInitialApriori(), "cd.category_counter");
    EXPECT_ASSERTS(archive.GetAprioriWithAdjustment(weights, true), "cd.category_counter");
    EXPECT_ASSERTS(archive.MakeTrainingCorpus(list, corpus, zeSmlArchive::kNoWeights),
                   "cd.category_counter");
}

// The share in the stream divided by the share in the archive.
TEST_F(zeSmlArchiveWeightTest, AdjustedWeightsCompareStreamAndArchive) {
    set_summary(10, {{"red", {5, 0.25, 8.0, {}}}, {"blue", {2, 0.5, 2.0, {}}}});
    Weights weights{{term("red"), 77.0}, {term("old"), 3.0}};

    archive.GetAprioriWithAdjustment(weights, true);
    EXPECT_THAT(weights, ElementsAre(Pair(term("blue"), DoubleEq(2.5)), Pair(term("old"), 3.0),
                                     Pair(term("red"), DoubleEq(0.5))));

    archive.GetAprioriWithAdjustment(weights, false);
    EXPECT_THAT(weights, ElementsAre(Pair(term("blue"), DoubleEq(2.5)), Pair(term("old"), 3.0),
                                     Pair(term("red"), DoubleEq(0.25))));
}

TEST_F(zeSmlArchiveWeightTest, RecursionOf0IsRepairedWithAWarning) {
    set_summary(10, {{"red", {5, 0.25, 0.0, {}}}, {"blue", {2, 0.5, 2.0, {}}}});
    archive.FlushArchive(false);
    Weights weights;
    const Trace_capture trace;

    archive.GetAprioriWithAdjustment(weights, false);

    EXPECT_TRUE(trace.has(4, "Found recursion1 parameter 0 in category red"));
    EXPECT_EQ(trace.lines.size(), 1U);
    EXPECT_EQ(category(archive, "red").recursion1, 100.0);
    EXPECT_TRUE(archive.m_manager.modified);
    EXPECT_DOUBLE_EQ(weights.at(term("red")), 0.02);  // (1 / 100) / (5 / 10)
}

TEST_F(zeSmlArchiveWeightTest, RepairedRecursionDependsOnMoreThanTenCategories) {
    std::map<std::string, CatData> categories;
    for (char name = 'a'; name <= 'k'; ++name) {
        categories[std::string(1, name)] = {1, 0.1, 0.0, {}};
    }
    set_summary(11, categories);
    Weights weights;

    archive.GetAprioriWithAdjustment(weights, true);

    EXPECT_EQ(category(archive, "a").recursion1, 110.0);
    EXPECT_EQ(category(archive, "k").recursion1, 110.0);
}

// n is 10 of 100 numbers.
TEST_F(zeSmlArchiveWeightTest, SlideWeighsDownOldCategoriesWithOnlyReservedMessages) {
    archive.SetCatReservedSize(3);
    set_summary(100, {{"few and old", {3, 0.1, 1.0, {60, 70, 80}}},  // 10 / 40
                      {"few and new", {2, 0.1, 1.0, {90, 95}}},      // the age is 10: not above
                      {"few and a bit older", {1, 0.1, 1.0, {89}}},  // 10 / 11
                      {"many", {4, 0.1, 1.0, {10, 11, 12}}},         // more than are reserved
                      {"released", {1, 0.1, 1.0, {}}}});
    Weights weights{{term("other"), 2.0}};

    archive.GetCategoryWeightsByNSlide(weights, 10.0);

    EXPECT_EQ(weights.size(), 6U);
    EXPECT_DOUBLE_EQ(weights.at(term("few and old")), 0.25);
    EXPECT_EQ(weights.at(term("few and new")), 1.0);
    EXPECT_DOUBLE_EQ(weights.at(term("few and a bit older")), 10.0 / 11.0);
    EXPECT_EQ(weights.at(term("many")), 1.0);
    EXPECT_EQ(weights.at(term("released")), 1.0);
    EXPECT_EQ(weights.at(term("other")), 2.0);
}

TEST_F(zeSmlArchiveWeightTest, EmptyListMakesNoCorpusWhateverTheAlgorithm) {
    List list;
    zeMemoryCorpus corpus;

    archive.MakeTrainingCorpus(list, corpus, static_cast<zeSmlArchive::Algorithm>(9));

    EXPECT_EQ(corpus.get_num_msgs(), 0);
}

TEST_F(zeSmlArchiveWeightTest, UnknownAlgorithmIsRefused) {
    add(archive, {"red"});
    List list = {0};
    zeMemoryCorpus corpus;

    EXPECT_QTX_ARGS(
        archive.MakeTrainingCorpus(list, corpus, static_cast<zeSmlArchive::Algorithm>(4)),
        zeSmlArchive, 5, "Invalid weight algorithm", {});

    EXPECT_EQ(corpus.get_num_msgs(), 0);
}

TEST_F(zeSmlArchiveWeightTest, CorpusHasTheMessagesFromTheOldestToTheNewest) {
    archive.SetAgeRatio(1.0);
    add(archive, {"red"}, "a");
    add(archive, {"blue"}, "b");
    add(archive, {"red"}, "c");
    List list = {2, 0, 1};
    zeMemoryCorpus corpus;

    archive.MakeTrainingCorpus(list, corpus, zeSmlArchive::kNoWeights);

    EXPECT_THAT(list, ElementsAre(0, 1, 2));
    ASSERT_EQ(corpus.get_num_msgs(), 3);
    EXPECT_EQ(*corpus.msgs[0]->get_value(term("_ExternalId")), "a");
    EXPECT_EQ(*corpus.msgs[2]->get_value(term("_ExternalId")), "c");
    EXPECT_EQ(corpus.msgs[0]->weight, 1.0);
    EXPECT_FALSE(corpus.msgs[0]->changed);
}

// A stored weight is replaced, and only a message whose weight changes is marked.
TEST_F(zeSmlArchiveWeightTest, WeightReplacesTheStoredOne) {
    archive.SetAgeRatio(1.0);
    qtPtrLight<zeMsg> heavy = labelled({"red"});
    heavy->weight = 3.0;
    archive.AddSml(heavy, "a");
    add(archive, {"red"});
    List list = {0, 1};
    zeMemoryCorpus corpus;

    archive.MakeTrainingCorpus(list, corpus, zeSmlArchive::kNoWeights);

    EXPECT_EQ(corpus.msgs[0]->weight, 1.0);
    EXPECT_TRUE(corpus.msgs[0]->changed);
    EXPECT_FALSE(corpus.msgs[1]->changed);
}

// With A = 5: one message has weight 1; two have 5^(1/2) = 2.236..., so (2.236... - 1) * 2 / 4 and
// 2.236... times that.
TEST_F(zeSmlArchiveWeightTest, AgeWeightsFormARowWhoseSumIsTheCount) {
    add(archive, {"one"});
    add(archive, {"two"});
    add(archive, {"three"});
    add(archive, {"two"});
    add(archive, {"three"});
    add(archive, {"three"});

    EXPECT_THAT(
        training_weights({0, 1, 2, 3, 4, 5}, zeSmlArchive::kNoWeights),
        ElementsAre(DoubleNear(1.0, 1e-15), DoubleNear(0.6180339887498949, 1e-15),
                    DoubleNear(0.5324819600075226, 1e-14), DoubleNear(1.3819660112501053, 1e-14),
                    DoubleNear(0.9105313436521264, 1e-14), DoubleNear(1.5569866963403496, 1e-14)));
}

// The messages of a list that is not complete take the first weights of the row.
TEST_F(zeSmlArchiveWeightTest, MessagesThatAreNotListedTakeNoWeight) {
    add(archive, {"two"});
    add(archive, {"two"});

    EXPECT_THAT(training_weights({1}, zeSmlArchive::kNoWeights),
                ElementsAre(DoubleNear(0.6180339887498949, 1e-15)));
}

TEST_F(zeSmlArchiveWeightTest, AgeRatioOfAtMost1GivesNoAgeWeights) {
    add(archive, {"two"});
    add(archive, {"two"});
    // The third is above 1, but not as a single-precision number.
    for (const double ratio : {1.0, 0.5, 1.0 + 1e-9, 0.0, -3.0}) {
        SCOPED_TRACE(ratio);
        archive.SetAgeRatio(ratio);

        EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kNoWeights), ElementsAre(1.0, 1.0));
    }
}

// The ratio of the formula is a float: 5.1 becomes 5.099999904632568.
TEST_F(zeSmlArchiveWeightTest, AgeRatioIsUsedAsASinglePrecisionNumber) {
    archive.SetAgeRatio(5.1);
    add(archive, {"two"});
    add(archive, {"two"});

    // r = sqrt(5.099999904632568) = 2.2583179370..., and the first weight is (r - 1) * 2 / (A - 1)
    // = 2 / (r + 1)
    EXPECT_THAT(
        training_weights({0, 1}, zeSmlArchive::kNoWeights),
        ElementsAre(DoubleNear(0.6138136420885141, 1e-12), DoubleNear(1.386186357911486, 1e-12)));
}

// "a" has one message, weight 1; "b" has two, 0.618... and 1.38... A message of both has the
// geometric mean.
TEST_F(zeSmlArchiveWeightTest, AgeWeightOfSeveralCategoriesIsTheGeometricMean) {
    add(archive, {"a", "b"});
    add(archive, {"b"});

    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kNoWeights),
                ElementsAre(DoubleNear(0.7861513777574233, 1e-14),  // sqrt(0.618...)
                            DoubleNear(1.3819660112501053, 1e-14)));
}

// Category weights: red (1/4) / (2/4) = 0.5, blue (1/8) / (1/4) = 0.5, green (1/1) / (2/4) = 2.
TEST_F(zeSmlArchiveWeightTest, CategoryWeightOfSeveralCategoriesIsTheMean) {
    archive.SetAgeRatio(1.0);
    add(archive, {"red"});
    add(archive, {"red", "green"});
    add(archive, {"green"});
    add(archive, {"blue"});
    archive.m_manager.category_info.at(term("red")).recursion1 = 4.0;
    archive.m_manager.category_info.at(term("blue")).recursion1 = 8.0;
    archive.m_manager.category_info.at(term("green")).recursion1 = 1.0;

    EXPECT_THAT(training_weights({0, 1, 2, 3}, zeSmlArchive::kRecursion),
                ElementsAre(0.5, 1.25, 2.0, 0.5));
}

TEST_F(zeSmlArchiveWeightTest, AlgorithmsUseTheirOwnWeights) {
    archive.SetAgeRatio(1.0);
    add(archive, {"red"});
    add(archive, {"blue"});
    CatData& red = archive.m_manager.category_info.at(term("red"));
    CatData& blue = archive.m_manager.category_info.at(term("blue"));
    red.apriori = 0.25;
    red.recursion1 = 8.0;
    blue.apriori = 1.0;
    blue.recursion1 = 1.0;
    archive.m_manager.next_sml_id = 8;  // the ages are 8 and 7, and n is 2

    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kNoWeights), ElementsAre(1.0, 1.0));
    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kApriori), ElementsAre(0.5, 2.0));
    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kSlide), ElementsAre(0.25, 2.0 / 7.0));
    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kRecursion), ElementsAre(0.25, 2.0));
}

// Both factors: 0.25 and 2 as above, and the age weight 1 of a single message.
TEST_F(zeSmlArchiveWeightTest, WeightIsTheProductOfCategoryAndAge) {
    add(archive, {"red"});
    add(archive, {"red"});
    archive.m_manager.category_info.at(term("red")).recursion1 = 4.0;

    // (1 / 4) / (2 / 2) = 0.25
    EXPECT_THAT(training_weights({0, 1}, zeSmlArchive::kRecursion),
                ElementsAre(DoubleNear(0.25 * 0.6180339887498949, 1e-15),
                            DoubleNear(0.25 * 1.3819660112501053, 1e-15)));
}

// A rename that was interrupted can leave such a message.
TEST_F(zeSmlArchiveWeightTest, CategoryWithoutAnEntryDoesNotCount) {
    add(archive, {"red"});
    qtPtrLight<zeMsg> msg = labelled({"unknown"});
    archive.WriteSml(0, *msg, true);
    archive.m_manager.category_info.at(term("red")).recursion1 = 4.0;

    EXPECT_THAT(training_weights({0}, zeSmlArchive::kRecursion), ElementsAre(1.0));
}

TEST_F(zeSmlArchiveWeightTest, UnreadableMessageEndsTheCorpus) {
    add(archive, {"red"});
    List list = {0, 7};
    zeMemoryCorpus corpus;

    EXPECT_QTX(archive.MakeTrainingCorpus(list, corpus, zeSmlArchive::kNoWeights), zeSmlArchive, 4,
               "Can't read Sml 7 from Archive");

    EXPECT_EQ(corpus.get_num_msgs(), 1);
}

}  // namespace
