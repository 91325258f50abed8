// Messages with a weight that is infinite or NaN. Each function that reads messages into a model
// skips them, so the model is the same as without them.
#include "zandrel/statistics/Finite_weights.h"

#include <cstddef>
#include <iterator>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/trace.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "tests/statistics/labelled_corpus.h"
#include "tests/statistics/random_corpus.h"
#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"
#include "tests/support/stored.h"
#include "tests/support/trace_capture.h"

using zandrel::kTraceDebug;
using zandrel::detail::has_finite_weights;

namespace {

using testing::ElementsAre;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

// Which weight of a message is not finite, and its value.
struct Spoilt {
    enum Part { kMessage, kTotal, kEntry, kSum };

    const char* name;
    Part part;
    double value;
};

void PrintTo(const Spoilt& shown, std::ostream* out) {
    *out << shown.name;
}

constexpr Spoilt kAllSpoilt[] = {
    {"MessageNaN", Spoilt::kMessage, kNotANumber},
    {"MessageInfinite", Spoilt::kMessage, kInfinity},
    {"MessageMinusInfinite", Spoilt::kMessage, -kInfinity},
    {"TotalNaN", Spoilt::kTotal, kNotANumber},
    {"TotalInfinite", Spoilt::kTotal, kInfinity},
    {"TotalMinusInfinite", Spoilt::kTotal, -kInfinity},
    {"EntryNaN", Spoilt::kEntry, kNotANumber},
    {"EntryInfinite", Spoilt::kEntry, kInfinity},
    {"EntryMinusInfinite", Spoilt::kEntry, -kInfinity},
    {"SumOfFiniteEntries", Spoilt::kSum, kInfinity},
};

std::string name_of(const testing::TestParamInfo<Spoilt>& row) {
    return row.param.name;
}

// A bag of x and y with one spoilt weight. A spoilt entry does not change the bag's total.
qtPtrLight<zeSml> make_spoilt_bag(const Spoilt& spoilt) {
    if (spoilt.part == Spoilt::kSum) {
        return make_bag({{"x", 1.5e308}, {"y", 1e308}});
    }
    qtPtrLight<zeSml> bag = make_bag({{"x", 1.0}, {"y", 3.0}});
    if (spoilt.part == Spoilt::kTotal) {
        bag->m_total_weight = spoilt.value;
    } else if (spoilt.part == Spoilt::kEntry) {
        bag->m_concepts.back().m_weight = spoilt.value;
    }
    return bag;
}

qtPtrLight<zeMsg> make_spoilt(const Spoilt& spoilt) {
    qtPtrLight<zeMsg> msg(new zeMsg);
    msg->smls[0] = make_spoilt_bag(spoilt);
    msg->weight = spoilt.part == Spoilt::kMessage ? spoilt.value : 1.0;
    return msg;
}

// A model of two categories with one message each, and another corpus with a spoilt message. The
// spoilt message has both categories and a third one.
class FiniteWeightsTest : public testing::TestWithParam<Spoilt> {
protected:
    FiniteWeightsTest() {
        m_a.m_node_id = 1;
        m_b.m_node_id = 2;
        m_storage.set_use_train_likelihood(true);
        m_storage.m_use_omit_method = false;
        m_storage.m_clip_value = 3.0;  // clipping would make infinite entries finite
        Small_corpus corpus;
        corpus.add(MessageBuilder().bag({{"x", 1.0}, {"z", 1.0}}), {&m_a});
        corpus.add(MessageBuilder().bag({{"y", 2.0}}), {&m_b});
        m_trainer.train(corpus.view, false);
        m_trainer.calculate_feature_selection();
        m_before = dumped(m_storage);
        m_spoilt.add(make_spoilt(GetParam()), {&m_a, &m_b, &m_c});
        m_trainer.m_view = &m_spoilt.view;
    }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeNode m_c{term("c")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_trainer m_trainer{m_storage};
    std::string m_before;
    Small_corpus m_spoilt;
};

TEST_P(FiniteWeightsTest, HasFiniteWeightsReturnsFalse) {
    EXPECT_FALSE(has_finite_weights(*make_spoilt(GetParam())));
}

TEST_P(FiniteWeightsTest, AddingAndRemovingSkipTheMessageWithATrace) {
    for (const bool remove : {false, true}) {
        SCOPED_TRACE(remove);
        const Trace_capture trace;

        m_trainer.calculate_msg(0, remove);

        EXPECT_THAT(trace.texts(),
                    ElementsAre("Message has a weight that is not finite (message 0)"));
        EXPECT_EQ(trace.lines.at(0).level, kTraceDebug);
        EXPECT_EQ(dumped(m_storage), m_before);
    }
}

TEST_P(FiniteWeightsTest, HistogramStepSkipsTheMessage) {
    zeStat_matcher matcher(nullptr, nullptr, m_storage, false);

    matcher.classify(*m_spoilt.corpus.msgs[0], m_spoilt.view, m_spoilt.view.msgs.cbegin());

    EXPECT_EQ(dumped(m_storage), m_before);
}

// The bag weighs 14 and its message has two categories, so the estimate is 2 x 14 / 2 concepts.
TEST_P(FiniteWeightsTest, EstimateOfTheLearnerSkipsTheMessage) {
    m_spoilt.add(MessageBuilder().bag({{"x", 14.0}}), {&m_a, &m_b});
    zeStat_diet_learner learner(m_storage);
    const Trace_capture trace;

    learner.learn(m_spoilt.view, false);

    EXPECT_EQ(trace.lines.at(1).text,
              "Prime bulk size: 2 (estimated num concepts: 14), total sub bulks: 1");
}

TEST_P(FiniteWeightsTest, LearningCountsTheMessageForNoCategoryAndTracesIt) {
    m_spoilt.add(MessageBuilder().bag({{"x", 1.0}}), {&m_b});
    P_of(m_storage, 0, "z").m_life = 3;
    zeStat_diet_learner learner(m_storage);
    const Trace_capture trace;

    learner.learn(m_spoilt.view, false);

    EXPECT_THAT(learner.m_num_msgs4profile, ElementsAre(0, 1));
    EXPECT_EQ(P_of(m_storage, 0, "z").m_life, 3);
    EXPECT_TRUE(trace.has(kTraceDebug, "Message has a weight that is not finite (message 0)"));
}

// The estimates are 2 / 2 concepts for the first message and 2 x 2 / 2 for the second, which has
// two categories. In a sub-bulk each of the two profiles has space for one concept.
TEST_P(FiniteWeightsTest, SubBulksAreDealtAsWithoutTheMessage) {
    m_spoilt.add(MessageBuilder().bag({{"x", 2.0}}), {&m_a});
    m_spoilt.add(MessageBuilder().bag({{"x", 2.0}}), {&m_a, &m_b});
    m_storage.m_min_Ps_size = 1;
    m_storage.m_max_Ps_size = 1;
    m_storage.m_profile_size = 1;
    zeStat_diet_learner learner(m_storage);
    const Trace_capture trace;

    learner.learn(m_spoilt.view, false);

    EXPECT_TRUE(trace.has(kTraceDebug,
                          "Prime bulk size: 3 (estimated num concepts: 3), total sub bulks: 2"));
    EXPECT_TRUE(trace.has(kTraceDebug, "Message has a weight that is not finite (message 0)"));
    EXPECT_TRUE(trace.has(kTraceDebug, "Starting secondary bulk 2"));
    EXPECT_THAT(learner.m_num_msgs4profile, ElementsAre(1, 1));  // of the second sub-bulk
    EXPECT_EQ(m_storage.m_num_msgs, 4);
}

// A message in another corpus has the same number.
TEST_P(FiniteWeightsTest, LearnerForgetsTheMessageAfterItsBatch) {
    Small_corpus other;
    other.add(MessageBuilder().bag({{"x", 1.0}}), {&m_b});
    zeStat_diet_learner learner(m_storage);

    learner.learn(m_spoilt.view, false);
    learner.m_view = &other.view;
    learner.build_num_msgs4profile();

    EXPECT_THAT(learner.m_num_msgs4profile, ElementsAre(0, 1));
}

TEST_P(FiniteWeightsTest, LearnerForgetsTheMessageOfAnInterruptedBatch) {
    Small_corpus other;
    other.add(MessageBuilder().bag({{"x", 1.0}}), {&m_b});
    zeManager manager;
    Interrupt_at progress(1);
    manager.m_progress = &progress;
    zeStat_diet_learner learner(m_storage);
    learner.m_manager = &manager;
    EXPECT_QTX(learner.learn(m_spoilt.view, false), zeWorkflow, 2, "Process interrupted");

    learner.m_view = &other.view;
    learner.build_num_msgs4profile();
    EXPECT_THAT(learner.m_num_msgs4profile, ElementsAre(0, 1));

    learner.learn(other.view, false);

    EXPECT_THAT(learner.m_num_msgs4profile, ElementsAre(0, 1));
}

INSTANTIATE_TEST_SUITE_P(Weights, FiniteWeightsTest, testing::ValuesIn(kAllSpoilt), name_of);

// Whole models.

// Trains, learns and bootstraps the same messages, with or without spoilt messages between them.
class Model_without_spoilt : public testing::TestWithParam<Spoilt> {
protected:
    Model_without_spoilt() {
        unsigned int id = 1;
        for (const char* const name : {"c0", "c1", "c2", "c3"}) {
            m_labels.node(name)->m_node_id = id++;
        }
        m_settings.use_likelihood_in_train = true;
        m_settings.use_likelihood_in_match = true;
        m_settings.clip_value = 3.0;
        m_settings.profile_size = 20;
    }

    // Three spoilt messages come before every fifth message: one with the same categories as that
    // message, one with a category that no other message has, and one without a category.
    void Fill(Small_corpus& corpus, bool has_spoilt, unsigned int seed) {
        const std::vector<Slow_message> messages = Random_corpus(seed).Messages(40);
        for (std::size_t i = 0; i < messages.size(); ++i) {
            if (has_spoilt && i % 5 == 0) {
                corpus.add(Spoilt_message(), m_labels.nodes(messages[i].cats));
                corpus.add(Spoilt_message(), {m_labels.node("only")});
                corpus.add(Spoilt_message(), {});
            }
            corpus.add(In_all_slots(make_msg(messages[i])), m_labels.nodes(messages[i].cats));
        }
    }

    static qtPtrLight<zeMsg> Spoilt_message() { return In_all_slots(make_spoilt(GetParam())); }

    static qtPtrLight<zeMsg> In_all_slots(qtPtrLight<zeMsg> msg) {
        for (const std::size_t slot : {1U, 2U, 3U}) {
            msg->smls[slot] = msg->smls[0];
        }
        return msg;
    }

    // The record of the model, and the scores of other messages.
    std::string State(zeStat_storage& storage, zeStat_matcher& matcher) {
        std::string state = dumped(storage);
        Small_corpus corpus;
        Fill(corpus, false, 9);
        for (const qtPtrLight<zeMsg>& msg : corpus.corpus.msgs) {
            zeResult_set results(0.0, -1);
            matcher.classify(*msg, results, 1.0, false);
            for (const zeResult& result : results.results) {
                state += std::to_string(result.score) + " ";
            }
        }
        return state;
    }

    // The state of a model that was filled twice in the same way.
    template <class Way>
    std::string Filled(bool has_spoilt, Way way) {
        zeStat_storage storage(nullptr, m_settings);
        zeStat_matcher matcher(nullptr, nullptr, storage, false);
        for (const unsigned int seed : {1U, 2U}) {
            Small_corpus corpus;
            Fill(corpus, has_spoilt, seed);
            way(matcher, corpus.view);
        }
        EXPECT_EQ(storage.profile_count(), 4);
        return State(storage, matcher);
    }

    Labels m_labels;
    zeDefaults m_settings = plain_settings();
};

class FiniteWeightsModelTest : public Model_without_spoilt {};

TEST_P(FiniteWeightsModelTest, TrainedModelIsTheSameAsWithoutTheMessages) {
    const auto train = [](zeStat_matcher& matcher, zeCorpus_view& view) { matcher.train(view); };
    for (const int slices : {0, 3, 10, 1000}) {
        for (const bool omits : {false, true}) {
            SCOPED_TRACE(testing::Message() << "slices " << slices << ", omits " << omits);
            m_settings.num_slices = slices;
            m_settings.use_omit_method = omits;

            EXPECT_EQ(Filled(true, train), Filled(false, train));
        }
    }
}

TEST_P(FiniteWeightsModelTest, LearnedModelIsTheSameAsWithoutTheMessages) {
    const auto learn = [](zeStat_matcher& matcher, zeCorpus_view& view) {
        matcher.learn(view, true);
    };
    m_settings.P_life_expectancy = 30;
    m_settings.min_Ps_size = 5;
    m_settings.min_Rlimit = 2.0;
    m_settings.average_Rlimit = 5.0;
    m_settings.max_Rlimit = 8.0;
    for (const int most : {20, 1000}) {  // many sub-bulks, and one
        for (const int slices : {0, 10}) {
            SCOPED_TRACE(testing::Message() << "most concepts " << most << ", slices " << slices);
            m_settings.max_Ps_size = most;
            m_settings.num_slices = slices;

            EXPECT_EQ(Filled(true, learn), Filled(false, learn));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Weights, FiniteWeightsModelTest, testing::ValuesIn(kAllSpoilt), name_of);

// Bootstrap gives each message the weight of its slot, so only bags can be spoilt.
class FiniteWeightsBootstrapTest : public Model_without_spoilt {};

TEST_P(FiniteWeightsBootstrapTest, BootstrappedModelIsTheSameAsWithoutTheBags) {
    const auto bootstrap = [](zeStat_matcher& matcher, zeCorpus_view& view) {
        matcher.bootstrap(view);
    };

    EXPECT_EQ(Filled(true, bootstrap), Filled(false, bootstrap));
}

INSTANTIATE_TEST_SUITE_P(Bags, FiniteWeightsBootstrapTest,
                         testing::ValuesIn(std::begin(kAllSpoilt) + 3, std::end(kAllSpoilt)),
                         name_of);

// Messages that must not be skipped.

TEST(FiniteWeightsLimitTest, LargestAndSmallestWeightsAreFinite) {
    const double largest = std::numeric_limits<double>::max();
    const double least = std::numeric_limits<double>::denorm_min();
    for (const double value : {largest, -largest, least, -least, 0.0, -1.0}) {
        SCOPED_TRACE(value);
        EXPECT_TRUE(has_finite_weights(*MessageBuilder().bag({{"x", value}}).weight(value).make()));
    }
}

TEST(FiniteWeightsLimitTest, OnlyTheActiveBagIsChecked) {
    const qtPtrLight<zeMsg> msg =
        MessageBuilder().bag({{"x", 1.0}}).bag_at(1, {{"x", kInfinity}}).make();
    EXPECT_TRUE(has_finite_weights(*msg));

    msg->active_sml = 1;
    EXPECT_FALSE(has_finite_weights(*msg));
}

TEST(FiniteWeightsLimitTest, OnlyTheWeightIsCheckedOfAMessageWithoutABag) {
    EXPECT_TRUE(has_finite_weights(*MessageBuilder().make()));
    EXPECT_FALSE(has_finite_weights(*MessageBuilder().weight(kNotANumber).make()));
}

// The total is -1e308. Clipping reduces x to 3, so the total becomes 3 - 1e308 - 1e308, which is
// minus infinity.
TEST(FiniteWeightsLimitTest, MessageWhoseTotalIsInfiniteAfterClippingCountsForNothing) {
    zeNode node(term("a"));
    zeDefaults settings = plain_settings();
    settings.clip_value = 3.0;
    zeStat_storage storage(nullptr, settings);
    zeStat_trainer trainer(storage);
    Small_corpus corpus;
    corpus.add(MessageBuilder().bag({{"x", 1e308}, {"y", -1e308}, {"z", -1e308}}), {&node});
    ASSERT_TRUE(has_finite_weights(*corpus.corpus.msgs[0]));
    for (const bool remove : {false, true}) {
        trainer.train(corpus.view, remove);

        EXPECT_EQ(storage.m_num_msgs, 0);
        EXPECT_EQ(storage.m_total_sml_weight, 0.0);
        EXPECT_EQ(storage.profile_count(), 0);
    }
}

}  // namespace
