// Bootstrap of zeStat_trainer: makes a model from keywords, titles and canned texts.
#include "zandrel/statistics/zeStat_trainer.h"

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"
#include "tests/support/trace_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;

// With the default settings, a bootstrap multiplies the total of a keywords bag by 6 and counts it
// with the message weight 5. Bags of titles and of canned texts are unchanged and are counted with
// the message weight 3.
class zeStatTrainerBootstrapTest : public testing::Test {
protected:
    // A message with the keywords k, the title t and the canned text c.
    static MessageBuilder FullMessage() {
        return MessageBuilder()
            .bag({{"body", 1.0}})
            .bag_at(1, {{"k", 2.0}})
            .bag_at(2, {{"t", 1.0}})
            .bag_at(3, {{"c", 4.0}});
    }

    void Bootstrap() { m_trainer.bootstrap(m_corpus.view); }

    zeMsg& Message(std::size_t position) { return *m_corpus.corpus.msgs[position]; }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_trainer m_trainer{m_storage};
    Small_corpus m_corpus;
};

// For the keywords the total is 2 * 6 = 12, so the share is 5 * 2 / 12. For the title the share is
// 3 * 1 / 1, and for the canned text 3 * 4 / 4.
TEST_F(zeStatTrainerBootstrapTest, PassesOfTheThreeSlotsAreAddedUp) {
    m_corpus.add(FullMessage(), {&m_a});

    Bootstrap();

    EXPECT_EQ(m_storage.m_num_msgs, 3);
    EXPECT_EQ(m_storage.m_total_weight, 11.0);
    EXPECT_EQ(m_storage.m_total_sml_weight, 17.0);
    EXPECT_EQ(m_storage.m_concept_infos.size(), 3U);
    EXPECT_EQ(m_storage.profile(0).m_weight, 11.0);
    EXPECT_EQ(m_storage.profile(0).m_num_msgs, 3);
    EXPECT_EQ(P_of(m_storage, 0, "k").m_weight, 10.0 / 12);
    EXPECT_EQ(P_of(m_storage, 0, "t").m_weight, 3.0);
    EXPECT_EQ(P_of(m_storage, 0, "c").m_weight, 3.0);
}

TEST_F(zeStatTrainerBootstrapTest, EachSlotIsWeightedByItsSetting) {
    m_storage.m_sml_weights = {100.0, 2.0, 0.5, 8.0};
    m_storage.m_keywords_frequency = 1.0;
    m_corpus.add(FullMessage().weight(7.0), {&m_a});

    Bootstrap();

    EXPECT_EQ(P_of(m_storage, 0, "k").m_weight, 2.0);
    EXPECT_EQ(P_of(m_storage, 0, "t").m_weight, 0.5);
    EXPECT_EQ(P_of(m_storage, 0, "c").m_weight, 8.0);
    EXPECT_EQ(m_storage.m_total_weight, 10.5);
    EXPECT_EQ(m_storage.m_total_sml_weight, 7.0);
}

TEST_F(zeStatTrainerBootstrapTest, BootstrapAddsToTheModel) {
    m_corpus.add(FullMessage(), {&m_a});
    Bootstrap();

    Bootstrap();

    EXPECT_EQ(m_storage.m_num_msgs, 6);
    EXPECT_EQ(P_of(m_storage, 0, "t").m_weight, 6.0);
}

TEST_F(zeStatTrainerBootstrapTest, TrainingOfEachSlotIsTraced) {
    m_corpus.add(FullMessage(), {&m_a});
    const Trace_capture trace;

    Bootstrap();

    EXPECT_THAT(trace.texts(),
                ElementsAre("Calculating global concept data", "Training completed",
                            "Calculating global concept data", "Training completed",
                            "Calculating global concept data", "Training completed"));
}

TEST_F(zeStatTrainerBootstrapTest, NullAndEmptySlotsAreSkipped) {
    m_corpus.add(FullMessage(), {&m_a});
    m_corpus.add(MessageBuilder().bag_at(1, {}).bag_at(2, {{"t", 1.0}}), {&m_b});
    const Trace_capture trace;

    Bootstrap();

    const std::string skips = "SML does not exist or empty (message 1)";
    EXPECT_THAT(trace.texts(),
                ElementsAre("Calculating global concept data", skips, "Training completed",
                            "Calculating global concept data", "Training completed",
                            "Calculating global concept data", skips, "Training completed"));
    EXPECT_EQ(m_storage.profile(1).m_num_msgs, 1);
    EXPECT_EQ(P_of(m_storage, 1, "t").m_weight, 3.0);
}

// A bag that was in slot 4 before is used instead of missing keywords. Afterwards the slot is
// empty.
TEST_F(zeStatTrainerBootstrapTest, MessageWithoutKeywordsUsesItsBagOfSlotFour) {
    m_corpus.add(MessageBuilder().bag_at(4, {{"s", 1.0}}), {&m_a});
    const Trace_capture trace;

    Bootstrap();

    EXPECT_EQ(P_of(m_storage, 0, "s").m_weight, 5.0);
    EXPECT_EQ(m_storage.m_num_msgs, 1);
    EXPECT_TRUE(trace.has(zandrel::kTraceDebug, "SML does not exist or empty (message 0)"));
    EXPECT_TRUE(Message(0).smls[4].IsNull());
}

TEST_F(zeStatTrainerBootstrapTest, AfterwardsSlotZeroIsActiveAndSlotFourEmpty) {
    m_corpus.add(FullMessage().active(2), {&m_a});
    m_corpus.add(MessageBuilder().bag_at(4, {{"s", 1.0}}).active(4), {&m_a});

    Bootstrap();

    for (const std::size_t position : {0U, 1U}) {
        SCOPED_TRACE(position);
        EXPECT_EQ(Message(position).active_sml, 0U);
        EXPECT_TRUE(Message(position).smls[4].IsNull());
    }
}

TEST_F(zeStatTrainerBootstrapTest, AfterwardsAllMessagesHaveTheWeightOfTheFirst) {
    m_corpus.add(FullMessage().weight(2.5), {&m_a});
    m_corpus.add(FullMessage().weight(0.5), {&m_b});
    m_corpus.add(MessageBuilder().weight(4.0), {&m_b});

    Bootstrap();

    for (const std::size_t position : {0U, 1U, 2U}) {
        SCOPED_TRACE(position);
        EXPECT_EQ(Message(position).weight, 2.5);
    }
}

// The messages of the view get the weight of the first message of the view, not of the corpus.
// Messages outside the view do not change.
TEST_F(zeStatTrainerBootstrapTest, FirstMessageIsThatOfTheView) {
    m_corpus.add(FullMessage().weight(2.5).active(1), {&m_a});
    m_corpus.add(FullMessage().weight(0.5), {&m_b});
    m_corpus.add(FullMessage().weight(8.0), {&m_b});
    m_corpus.view.msgs = {{2, {&m_a}}, {1, {&m_b}}};

    Bootstrap();

    EXPECT_EQ(Message(0).weight, 2.5);
    EXPECT_EQ(Message(0).active_sml, 1U);
    EXPECT_EQ(Message(1).weight, 8.0);
    EXPECT_EQ(Message(2).weight, 8.0);
}

TEST_F(zeStatTrainerBootstrapTest, EveryMessageIsMarkedAsChanged) {
    m_corpus.add(FullMessage(), {&m_a});
    m_corpus.add(MessageBuilder(), {&m_a});
    Message(0).changed = false;
    Message(1).changed = false;

    Bootstrap();

    EXPECT_TRUE(Message(0).changed);
    EXPECT_TRUE(Message(1).changed);
}

TEST_F(zeStatTrainerBootstrapTest, OwnBagsOfTheMessagesAreUnchanged) {
    m_corpus.add(FullMessage(), {&m_a});
    const qtPtrLight<zeSml> keywords = Message(0).smls[1];
    const qtPtrLight<zeSml> title = Message(0).smls[2];
    keywords->m_is_new = false;
    title->m_is_new = false;

    Bootstrap();

    EXPECT_EQ(&*Message(0).smls[1], &*keywords);
    EXPECT_EQ(&*Message(0).smls[2], &*title);
    EXPECT_EQ(*keywords, *make_bag({{"k", 2.0}}));
    EXPECT_EQ(*title, *make_bag({{"t", 1.0}}));
    EXPECT_FALSE(keywords->m_is_new);
    EXPECT_FALSE(title->m_is_new);
}

// The concepts weigh 10 and 2. Their shares are 5 * 10 / 72 and 5 * 2 / 72 in the keywords, and 2.5
// and 0.5 in the title.
TEST_F(zeStatTrainerBootstrapTest, CeilingIsOffDuringTheBootstrapAndRestored) {
    m_storage.m_clip_value = 3.0;
    m_corpus.add(
        MessageBuilder().bag_at(1, {{"k", 10.0}, {"l", 2.0}}).bag_at(2, {{"t", 10.0}, {"u", 2.0}}),
        {&m_a});

    Bootstrap();

    EXPECT_EQ(P_of(m_storage, 0, "k").m_weight, 50.0 / 72);
    EXPECT_EQ(P_of(m_storage, 0, "l").m_weight, 10.0 / 72);
    EXPECT_EQ(P_of(m_storage, 0, "t").m_weight, 2.5);
    EXPECT_EQ(P_of(m_storage, 0, "u").m_weight, 0.5);
    EXPECT_EQ(m_storage.m_clip_value, 3.0);
}

// The bag was clipped to 3 when it was made, so its weights are 3 and 2 and its total is 5.
TEST_F(zeStatTrainerBootstrapTest, BagKeepsItsOwnCeiling) {
    m_corpus.add(MessageBuilder().bag_at(1, {{"k", 10.0}, {"l", 2.0}}, 3.0), {&m_a});

    Bootstrap();

    EXPECT_EQ(P_of(m_storage, 0, "k").m_weight, 15.0 / 30);
    EXPECT_EQ(m_storage.m_total_sml_weight, 30.0);
}

TEST_F(zeStatTrainerBootstrapTest, SuppressionIsRestored) {
    m_corpus.add(FullMessage(), {&m_a});
    for (const bool suppress_M : {false, true}) {
        m_storage.m_suppress_M = suppress_M;

        Bootstrap();

        EXPECT_EQ(m_storage.m_suppress_M, suppress_M);
    }
}

TEST_F(zeStatTrainerBootstrapTest, NoTablesAreBuiltAndHistogramsAreRestarted) {
    bool added = false;
    m_storage.set_use_train_likelihood(true);
    m_storage.get_or_add_profile(&m_a, added);
    zeStat_storage::Profile& profile = m_storage.profile(0);
    profile.m_likelihood.fill(0.25);
    profile.m_likelihood_age = 9;
    profile.m_bins[3] = {1.0, 2.0};
    m_corpus.add(FullMessage(), {&m_a});
    m_corpus.add(FullMessage(), {&m_b});

    Bootstrap();

    EXPECT_TRUE(m_storage.m_use_train_likelihood);
    EXPECT_EQ(profile.m_likelihood_age, 0);
    EXPECT_THAT(profile.m_likelihood, Each(0.25));
    for (const int iprofile : {0, 1}) {
        SCOPED_TRACE(iprofile);
        ASSERT_EQ(m_storage.profile(iprofile).m_bins.size(), 30U);
        EXPECT_THAT(m_storage.profile(iprofile).m_bins,
                    Each(testing::Field(&zeStat_storage::Result_bin::m_total, 0.0)));
    }
}

TEST_F(zeStatTrainerBootstrapTest, TablesStayOffIfTheyWereOff) {
    m_corpus.add(FullMessage(), {&m_a});

    Bootstrap();

    EXPECT_FALSE(m_storage.m_use_train_likelihood);
}

TEST_F(zeStatTrainerBootstrapTest, MetConceptsGetAHighRate) {
    m_corpus.add(FullMessage(), {&m_a});

    Bootstrap();

    for (const char* const text : {"k", "t", "c"}) {
        EXPECT_EQ(info_of(m_storage, text).m_rate, 10.0) << text;
    }
}

TEST_F(zeStatTrainerBootstrapTest, RateAboveTenIsNotLowered) {
    for (int i = 0; i < 11; ++i) {
        m_corpus.add(FullMessage(), {&m_a});
    }

    Bootstrap();

    EXPECT_EQ(info_of(m_storage, "k").m_rate, 11.0);
}

// Clipped to 3 the bag would be finite, but bootstrap has no ceiling.
TEST_F(zeStatTrainerBootstrapTest, ConceptsOfABagThatIsNotFiniteGetNoHighRate) {
    m_storage.m_clip_value = 3.0;
    m_corpus.add(MessageBuilder().bag({{"k", 1.0}}), {&m_a});
    m_trainer.train(m_corpus.view, false);
    for (const std::size_t slot : {1U, 2U, 3U}) {
        SCOPED_TRACE(slot);
        Small_corpus corpus;
        corpus.add(MessageBuilder().bag_at(
                       slot, {{"k", 1.0}, {"z", std::numeric_limits<double>::infinity()}}),
                   {&m_a});

        m_trainer.bootstrap(corpus.view);

        EXPECT_EQ(info_of(m_storage, "k").m_rate, 1.0);
        EXPECT_EQ(m_storage.m_concept_infos.size(), 1U);
        EXPECT_EQ(m_storage.m_num_msgs, 1);
    }
}

TEST_F(zeStatTrainerBootstrapTest, OtherConceptsGetNoHighRate) {
    m_corpus.add(FullMessage(), {&m_a});
    m_trainer.train(m_corpus.view, false);

    Bootstrap();

    EXPECT_EQ(info_of(m_storage, "body").m_rate, 1.0);
}

// A concept with the weight 0 is not counted.
TEST_F(zeStatTrainerBootstrapTest, ConceptThatWasNotCountedGetsNoEntry) {
    m_corpus.add(MessageBuilder().bag_at(2, {{"t", 1.0}, {"nothing", 0.0}}), {&m_a});

    Bootstrap();

    EXPECT_EQ(m_storage.m_concept_infos.size(), 1U);
}

TEST_F(zeStatTrainerBootstrapTest, EmptyViewChangesNothing) {
    bool added = false;
    m_storage.set_use_train_likelihood(true);
    m_storage.get_or_add_profile(&m_a, added);
    m_storage.profile(0).m_likelihood_age = 9;
    const Trace_capture trace;

    Bootstrap();

    EXPECT_EQ(m_storage.profile(0).m_likelihood_age, 9);
    EXPECT_TRUE(trace.lines.empty());
}

// The messages then get the weight of the first message that the corpus has.
TEST_F(zeStatTrainerBootstrapTest, MessagesThatTheCorpusDoesNotHaveAreSkipped) {
    m_corpus.add(qtPtrLight<zeMsg>(), {&m_a});
    m_corpus.add(FullMessage().weight(2.5), {&m_a});

    Bootstrap();

    EXPECT_EQ(m_storage.m_num_msgs, 3);
    EXPECT_EQ(Message(1).weight, 2.5);
}

TEST_F(zeStatTrainerBootstrapTest, MatcherCompilesItsTableAfterwards) {
    zeNode root(term("root"));
    zeStat_matcher matcher(nullptr, &root, m_storage, false);
    m_corpus.add(FullMessage(), {&m_a});
    m_corpus.add(MessageBuilder().bag_at(2, {{"u", 1.0}}), {&m_b});

    matcher.bootstrap(m_corpus.view);

    EXPECT_THAT(root.m_children, ElementsAre(&m_a, &m_b));
    EXPECT_FALSE(matcher.m_table.empty());
}

}  // namespace
