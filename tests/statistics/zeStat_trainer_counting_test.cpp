// Counting messages and removing them. All weights are sums of powers of two, so every expected
// value is exact.
#include "zandrel/statistics/zeStat_trainer.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

using zandrel::kTraceDebug;

namespace {

using testing::ElementsAre;

class zeStatTrainerCountingTest : public testing::Test {
protected:
    // Three messages of two categories; the third belongs to both. Shares of the messages:
    //
    //     first   weight 2   x: 2 * 1/4 = 0.5   y: 2 * 3/4 = 1.5
    //     second  weight 1                      y: 1 * 2/4 = 0.5   z: 1 * 2/4 = 0.5
    //     third   weight 4   x: 4 * 2/8 = 1.0   y: 4 * 2/8 = 1.0   z: 4 * 4/8 = 2.0
    void AddThree() {
        m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"y", 3.0}}).weight(2.0), {&m_a});
        m_corpus.add(MessageBuilder().bag({{"y", 2.0}, {"z", 2.0}}), {&m_b});
        m_corpus.add(MessageBuilder().bag({{"x", 2.0}, {"y", 2.0}, {"z", 4.0}}).weight(4.0),
                     {&m_a, &m_b});
    }

    void Train() { m_trainer.train(m_corpus.view, false); }

    void Remove(const std::vector<unsigned int>& positions) {
        m_trainer.calculate_corpus(positions, true);
    }

    void ExpectInfo(std::string_view text, double weight, double rate, int num_Ps) {
        SCOPED_TRACE(text);
        ASSERT_EQ(m_storage.m_concept_infos.count(term(text)), 1U);
        const zeStat_storage::Concept_info& info = info_of(m_storage, text);
        EXPECT_EQ(info.m_weight, weight);
        EXPECT_EQ(info.m_rate, rate);
        EXPECT_EQ(info.m_num_Ps, num_Ps);
    }

    void ExpectTotals(double weight, int num_msgs, double sml_weight) {
        EXPECT_EQ(m_storage.m_total_weight, weight);
        EXPECT_EQ(m_storage.m_total_msg_weight, weight);
        EXPECT_EQ(m_storage.m_num_msgs, num_msgs);
        EXPECT_EQ(m_storage.m_total_sml_weight, sml_weight);
    }

    void ExpectProfile(int iprofile, double weight, int num_msgs, std::size_t num_Ps) {
        SCOPED_TRACE(iprofile);
        EXPECT_EQ(m_storage.profile(iprofile).m_weight, weight);
        EXPECT_EQ(m_storage.profile(iprofile).m_msg_weight, weight);
        EXPECT_EQ(m_storage.profile(iprofile).m_num_msgs, num_msgs);
        EXPECT_EQ(m_storage.profile(iprofile).m_Ps.size(), num_Ps);
    }

    bool Knows(std::string_view text) { return m_storage.m_concept_infos.count(term(text)) == 1; }

    bool KnowsP(int iprofile, std::string_view text) {
        return m_storage.profile(iprofile).m_Ps.count(term(text)) == 1;
    }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_trainer m_trainer{m_storage};
    Small_corpus m_corpus;
};

TEST_F(zeStatTrainerCountingTest, TotalsOfAllMessagesAreSummed) {
    AddThree();

    Train();

    ExpectTotals(7.0, 3, 16.0);
}

TEST_F(zeStatTrainerCountingTest, SharesOfEachConceptAreSummed) {
    AddThree();

    Train();

    EXPECT_EQ(m_storage.m_concept_infos.size(), 3U);
    ExpectInfo("x", 1.5, 2.0, 2);
    ExpectInfo("y", 3.0, 3.0, 2);
    ExpectInfo("z", 2.5, 2.0, 2);
}

TEST_F(zeStatTrainerCountingTest, SharesAreSummedForEachCategoryOfAMessage) {
    AddThree();

    Train();

    ASSERT_EQ(m_storage.profile_count(), 2);
    EXPECT_EQ(m_storage.profile(0).m_node, &m_a);
    EXPECT_EQ(m_storage.profile(1).m_node, &m_b);
    ExpectProfile(0, 6.0, 2, 3);
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 1.5);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_weight, 2.5);
    EXPECT_EQ(P_of(m_storage, 0, "z").m_weight, 2.0);
    ExpectProfile(1, 5.0, 2, 3);
    EXPECT_EQ(P_of(m_storage, 1, "x").m_weight, 1.0);
    EXPECT_EQ(P_of(m_storage, 1, "y").m_weight, 1.5);
    EXPECT_EQ(P_of(m_storage, 1, "z").m_weight, 2.5);
}

TEST_F(zeStatTrainerCountingTest, EachProfileOfAConceptIsCountedOnce) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a});
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a});

    Train();

    ExpectInfo("x", 2.0, 2.0, 1);
}

TEST_F(zeStatTrainerCountingTest, UnlabelledMessageCountsOnlyInTheTotals) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {});

    Train();

    ExpectTotals(1.0, 1, 1.0);
    ExpectInfo("x", 1.0, 1.0, 0);
    EXPECT_EQ(m_storage.profile_count(), 0);
}

TEST_F(zeStatTrainerCountingTest, CategoryGivenTwiceCountsTwice) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a, &m_a});

    Train();

    ExpectProfile(0, 2.0, 2, 1);
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 2.0);
    ExpectInfo("x", 1.0, 1.0, 1);
}

TEST_F(zeStatTrainerCountingTest, ClippedWeightsAndTheClippedTotalAreCounted) {
    m_storage.m_clip_value = 3.0;
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"y", 7.0}}), {&m_a});

    Train();

    ExpectInfo("x", 0.25, 1.0, 1);
    ExpectInfo("y", 0.75, 1.0, 1);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_weight, 0.75);
    ExpectTotals(1.0, 1, 4.0);
    EXPECT_EQ(m_corpus.corpus.msgs[0]->smls[0]->m_total_weight, 8.0);
}

TEST_F(zeStatTrainerCountingTest, OnlyEntriesWithAPositiveWeightAreCounted) {
    m_corpus.add(MessageBuilder().bag({{"x", 4.0}, {"y", 0.0}, {"z", -2.0}, {"w", 2.0}}), {&m_a});

    Train();

    // The total is 4, since the negative weight counts there.
    ExpectInfo("x", 1.0, 1.0, 1);
    ExpectInfo("w", 0.5, 1.0, 1);
    EXPECT_EQ(m_storage.m_concept_infos.size(), 2U);
    EXPECT_EQ(m_storage.profile(0).m_Ps.size(), 2U);
}

TEST_F(zeStatTrainerCountingTest, AddingToAConceptRenewsItsLife) {
    m_storage.m_P_life_expectancy = 33;
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a});
    Train();
    P_of(m_storage, 0, "x").m_life = 1;

    Train();

    EXPECT_EQ(P_of(m_storage, 0, "x").m_life, 33);
}

TEST_F(zeStatTrainerCountingTest, ActiveSlotIsRead) {
    m_corpus.add(MessageBuilder().bag({{"text", 1.0}}).bag_at(2, {{"title", 1.0}}).active(2),
                 {&m_a});

    Train();

    EXPECT_TRUE(Knows("title"));
    EXPECT_FALSE(Knows("text"));
}

TEST_F(zeStatTrainerCountingTest, MessagesAreFoundByTheNumbersOfTheView) {
    AddThree();
    m_corpus.view.msgs = {{2, {&m_a}}};

    Train();

    ExpectTotals(4.0, 1, 8.0);
    EXPECT_EQ(P_of(m_storage, 0, "z").m_weight, 2.0);
}

TEST_F(zeStatTrainerCountingTest, OnlyTheGivenPositionsAreCounted) {
    AddThree();
    m_trainer.m_view = &m_corpus.view;
    m_trainer.m_model_is_matched = true;

    m_trainer.calculate_corpus({1, 0}, false);

    ExpectTotals(3.0, 2, 8.0);
    EXPECT_EQ(m_storage.profile(0).m_node, &m_b);
    EXPECT_FALSE(m_trainer.m_model_is_matched);
}

TEST_F(zeStatTrainerCountingTest, PositionsOfTheViewAreTrainedInOrder) {
    AddThree();
    m_trainer.m_msg_indices = {7, 7, 7, 7};

    Train();

    EXPECT_THAT(m_trainer.m_msg_indices, ElementsAre(0U, 1U, 2U));
    EXPECT_EQ(m_trainer.m_view, &m_corpus.view);
}

TEST_F(zeStatTrainerCountingTest, StepsAreTraced) {
    AddThree();
    const Trace_capture trace;

    Train();

    EXPECT_THAT(trace.texts(),
                ElementsAre("Calculating global concept data", "Training completed"));
}

TEST_F(zeStatTrainerCountingTest, NothingIsSelected) {
    AddThree();

    Train();

    EXPECT_TRUE(m_storage.profile(0).m_weights.empty());
    EXPECT_EQ(m_storage.profile(0).m_selection_mark, 1);
}

TEST_F(zeStatTrainerCountingTest, MessagesWithoutAUsableBagAreIgnored) {
    struct Row {
        const char* rule;
        MessageBuilder msg;
    };

    for (const Row& row : {
             Row{"no bag", MessageBuilder()},
             Row{"empty bag", MessageBuilder().bag({})},
             Row{"total of 0", MessageBuilder().bag({{"x", 0.0}})},
             Row{"total of 0 from both signs", MessageBuilder().bag({{"x", 1.0}, {"y", -1.0}})},
             Row{"empty active slot", MessageBuilder().bag({{"x", 1.0}}).active(1)},
             Row{"active slot that does not exist", MessageBuilder().bag({{"x", 1.0}}).active(9)},
         }) {
        SCOPED_TRACE(row.rule);
        Small_corpus corpus;
        corpus.add(row.msg, {&m_a});
        for (const bool remove : {false, true}) {
            const Trace_capture trace;

            m_trainer.train(corpus.view, remove);

            EXPECT_TRUE(trace.has(kTraceDebug, "SML does not exist or empty (message 0)"));
        }
        ExpectTotals(0.0, 0, 0.0);
        EXPECT_TRUE(m_storage.m_concept_infos.empty());
        EXPECT_EQ(m_storage.profile_count(), 0);
    }
}

// Clipping a weight also subtracts the difference from the total. Here the clipped total is 0,
// although the bag's own total is not.
TEST_F(zeStatTrainerCountingTest, MessagesWhoseClippedBagHasNoWeightAreIgnored) {
    struct Row {
        const char* rule;
        MessageBuilder msg;
    };

    m_storage.m_clip_value = 3.0;
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"z", 1.0}}), {&m_a});
    Train();
    for (const Row& row : {
             Row{"3 - 3", MessageBuilder().bag({{"x", 10.0}, {"z", -3.0}})},
             Row{"1 is lost beside 1e17", MessageBuilder().bag({{"x", 1e17}, {"y", 1.0}})},
         }) {
        Small_corpus corpus;
        corpus.add(row.msg, {&m_a, &m_b});
        for (const bool remove : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.rule << ", remove " << remove);
            const Trace_capture trace;

            m_trainer.train(corpus.view, remove);

            EXPECT_TRUE(trace.has(kTraceDebug, "SML does not exist or empty (message 0)"));
            ExpectTotals(1.0, 1, 2.0);
            EXPECT_EQ(m_storage.m_concept_infos.size(), 2U);
            ExpectInfo("x", 0.5, 1.0, 1);
            ExpectInfo("z", 0.5, 1.0, 1);
            EXPECT_EQ(m_storage.profile_count(), 1);
            ExpectProfile(0, 1.0, 1, 2);
        }
    }
}

TEST_F(zeStatTrainerCountingTest, NumberOfTheMessageIsTracedNotItsPosition) {
    AddThree();
    m_corpus.add(MessageBuilder(), {&m_a});
    m_corpus.view.msgs = {{3, {&m_a}}, {0, {&m_a}}};
    const Trace_capture trace;

    Train();

    EXPECT_TRUE(trace.has(kTraceDebug, "SML does not exist or empty (message 3)"));
    EXPECT_EQ(m_storage.m_num_msgs, 1);
}

TEST_F(zeStatTrainerCountingTest, RemovingTheLastMessageRestoresTheModelBeforeIt) {
    AddThree();
    Train();

    Remove({2});

    ExpectTotals(3.0, 2, 8.0);
    ExpectInfo("x", 0.5, 1.0, 1);
    ExpectInfo("y", 2.0, 2.0, 2);
    ExpectInfo("z", 0.5, 1.0, 1);
    ExpectProfile(0, 2.0, 1, 2);
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 0.5);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_weight, 1.5);
    ExpectProfile(1, 1.0, 1, 2);
    EXPECT_EQ(P_of(m_storage, 1, "y").m_weight, 0.5);
    EXPECT_EQ(P_of(m_storage, 1, "z").m_weight, 0.5);
}

TEST_F(zeStatTrainerCountingTest, RemovingAllMessagesInAnyOrderLeavesEmptyProfiles) {
    AddThree();
    for (const std::vector<unsigned int>& order :
         std::vector<std::vector<unsigned int>>{{0, 1, 2}, {2, 0, 1}, {1, 2, 0}}) {
        Train();

        Remove(order);

        ExpectTotals(0.0, 0, 0.0);
        EXPECT_TRUE(m_storage.m_concept_infos.empty());
        ExpectProfile(0, 0.0, 0, 0);
        ExpectProfile(1, 0.0, 0, 0);
    }
}

TEST_F(zeStatTrainerCountingTest, TrainRemovesToo) {
    AddThree();
    Train();

    m_trainer.train(m_corpus.view, true);

    ExpectTotals(0.0, 0, 0.0);
    EXPECT_TRUE(m_storage.m_concept_infos.empty());
}

TEST_F(zeStatTrainerCountingTest, ConceptOfOneMessageIsRemovedWithItFromEachCategory) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"y", 1.0}}), {&m_a, &m_b});
    m_corpus.add(MessageBuilder().bag({{"y", 1.0}}), {&m_a, &m_b});
    Train();

    Remove({0});

    EXPECT_FALSE(Knows("x"));
    EXPECT_FALSE(KnowsP(0, "x"));
    EXPECT_FALSE(KnowsP(1, "x"));
    ExpectInfo("y", 1.0, 1.0, 2);
}

TEST_F(zeStatTrainerCountingTest, RestOfAMillionthOfTheShareCountsAsZero) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"y", 1.0}}), {&m_a});
    Train();
    // A millionth of a share of 0.5 is 5e-7. 2^-22 is less than that, and 2^-20 is more.
    constexpr double kLess = 1.0 / (1 << 22);
    constexpr double kMore = 1.0 / (1 << 20);
    info_of(m_storage, "x") = {0.5 + kLess, 5.0, 1};
    info_of(m_storage, "y") = {0.5 + kMore, 5.0, 1};
    P_of(m_storage, 0, "x").m_weight = 0.5 + kLess;
    P_of(m_storage, 0, "y").m_weight = 0.5 + kMore;

    Remove({0});

    EXPECT_FALSE(Knows("x"));
    EXPECT_FALSE(KnowsP(0, "x"));
    ExpectInfo("y", kMore, 4.0, 1);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_weight, kMore);
}

// The share is 1e6, and the rest of both weights is exactly a millionth of it.
TEST_F(zeStatTrainerCountingTest, RestOfExactlyAMillionthOfTheShareCountsAsZero) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}).weight(1e6), {&m_a});
    Train();
    info_of(m_storage, "x") = {1000001.0, 5.0, 1};
    P_of(m_storage, 0, "x").m_weight = 1000001.0;

    Remove({0});

    EXPECT_FALSE(Knows("x"));
    EXPECT_FALSE(KnowsP(0, "x"));
}

// With a ceiling of 3 the first bag weighs 3 + 1; without one it weighs 11.
TEST_F(zeStatTrainerCountingTest, ClippedWeightsAndTheClippedTotalAreRemoved) {
    m_storage.m_clip_value = 3.0;
    m_corpus.add(MessageBuilder().bag({{"x", 10.0}, {"y", 1.0}}), {&m_a});
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}, {"z", 1.0}}), {&m_a});
    Train();
    ExpectTotals(2.0, 2, 6.0);

    Remove({0});

    ExpectTotals(1.0, 1, 2.0);
    ExpectInfo("x", 0.5, 1.0, 1);
    EXPECT_FALSE(Knows("y"));
    ExpectInfo("z", 0.5, 1.0, 1);
    EXPECT_EQ(P_of(m_storage, 0, "x").m_weight, 0.5);
}

TEST_F(zeStatTrainerCountingTest, OnlyEntriesWithAPositiveWeightAreRemoved) {
    m_corpus.add(MessageBuilder().bag({{"x", 4.0}, {"z", -2.0}, {"y", 0.0}}), {&m_a});
    m_corpus.add(MessageBuilder().bag({{"y", 1.0}, {"z", 1.0}}), {&m_a});
    Train();

    Remove({0});

    EXPECT_FALSE(Knows("x"));
    ExpectInfo("y", 0.5, 1.0, 1);
    ExpectInfo("z", 0.5, 1.0, 1);
    EXPECT_EQ(P_of(m_storage, 0, "y").m_weight, 0.5);
    EXPECT_EQ(P_of(m_storage, 0, "z").m_weight, 0.5);
}

TEST_F(zeStatTrainerCountingTest, RateOfZeroErasesAConceptThatHasWeight) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {});
    Train();
    info_of(m_storage, "x") = {10.0, 0.75, 0};

    Remove({0});

    EXPECT_FALSE(Knows("x"));
}

TEST_F(zeStatTrainerCountingTest, RemovingTheLastWeightOfAPReducesTheConceptsCount) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a, &m_b});
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_b});
    Train();

    Remove({0});

    ExpectInfo("x", 1.0, 1.0, 1);
    EXPECT_FALSE(KnowsP(0, "x"));
    EXPECT_TRUE(KnowsP(1, "x"));
}

TEST_F(zeStatTrainerCountingTest, NothingFallsBelowZero) {
    m_corpus.add(MessageBuilder().bag({{"x", 4.0}}).weight(2.0), {&m_a});
    m_corpus.add(MessageBuilder().bag({{"x", 4.0}}).weight(2.0), {});
    Train();
    info_of(m_storage, "x").m_num_Ps = 0;
    m_storage.m_total_weight = 0.5;
    m_storage.m_total_msg_weight = 0.5;
    m_storage.m_total_sml_weight = 0.5;
    m_storage.m_num_msgs = 0;
    m_storage.profile(0).m_weight = 0.5;
    m_storage.profile(0).m_msg_weight = 0.5;
    m_storage.profile(0).m_num_msgs = 0;
    P_of(m_storage, 0, "x").m_weight = 0.5;

    Remove({0});

    ExpectTotals(0.0, 0, 0.0);
    ExpectProfile(0, 0.0, 0, 0);
    ExpectInfo("x", 2.0, 1.0, 0);
}

TEST_F(zeStatTrainerCountingTest, RemovingMakesNoEntries) {
    AddThree();
    m_trainer.m_view = &m_corpus.view;

    Remove({0, 1, 2});

    EXPECT_EQ(m_storage.profile_count(), 0);
    EXPECT_TRUE(m_storage.m_concept_infos.empty());
}

TEST_F(zeStatTrainerCountingTest, RemovingKeepsTheLifeOfAConcept) {
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a});
    m_corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_a});
    Train();
    P_of(m_storage, 0, "x").m_life = 1;

    Remove({0});

    EXPECT_EQ(P_of(m_storage, 0, "x").m_life, 1);
}

TEST_F(zeStatTrainerCountingTest, ManagerIsTakenFromTheStorage) {
    zeManager manager;
    auto* const storage = new zeStat_storage(&manager, m_settings);

    const zeStat_trainer trainer(*storage);

    EXPECT_EQ(trainer.m_manager, &manager);
    EXPECT_EQ(trainer.m_storage, storage);
    EXPECT_EQ(trainer.m_matcher, nullptr);
}

TEST_F(zeStatTrainerCountingTest, PollFollowsEachMessageAndAnInterruptionKeepsTheCountSoFar) {
    AddThree();
    for (int poll = 1; poll <= 3; ++poll) {
        SCOPED_TRACE(poll);
        zeManager manager;
        auto* const storage = new zeStat_storage(&manager, m_settings);
        zeStat_trainer trainer(*storage);
        Interrupt_at progress(poll);
        manager.m_progress = &progress;

        EXPECT_QTX(trainer.train(m_corpus.view, false), zeWorkflow, 2, "Process interrupted");

        EXPECT_EQ(storage->m_num_msgs, poll);
    }
}

TEST_F(zeStatTrainerCountingTest, ThereIsOnePollForEachMessage) {
    AddThree();
    zeManager manager;
    auto* const storage = new zeStat_storage(&manager, m_settings);
    zeStat_trainer trainer(*storage);
    Interrupt_at progress(4);
    manager.m_progress = &progress;

    trainer.train(m_corpus.view, false);

    EXPECT_EQ(progress.polls, 3);
    EXPECT_EQ(storage->m_num_msgs, 3);
}

}  // namespace
