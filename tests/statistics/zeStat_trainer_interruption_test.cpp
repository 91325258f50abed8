// Training with likelihood tables and bootstrap, interrupted at every poll: the state afterwards,
// and that the model can be trained again.
#include "zandrel/statistics/zeStat_trainer.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/small_model.h"

namespace {

using testing::ElementsAre;

// The additive term, the counts, the table and the histogram that training gives a profile.
struct Learned {
    bool operator==(const Learned& other) const = default;

    double M;
    int msgs;
    int age;
    std::array<double, Zandrel::LIKELIHOOD_SIZE> likelihood;
    std::vector<double> bins;  // relevant weight and total of each bin
};

class zeStatTrainerInterruptionTest : public testing::Test {
protected:
    zeStatTrainerInterruptionTest() {
        m_settings.activation_inside = 2;
        m_settings.activation_total = 3;
        m_settings.suppress_M_threshold = 7;
    }

    // Three messages of each of two categories, all of the same weight. If any message is left out,
    // the model still has all concepts. Every message has keywords, every second one a title.
    void FillCorpus(Small_corpus& corpus) {
        for (int i = 0; i < 6; ++i) {
            const bool is_a = i % 2 == 0;
            MessageBuilder msg;
            msg.bag({{is_a ? "x" : "y", 5.0}, {i < 3 ? "u" : "v", 2.0}});
            msg.bag_at(1, {{is_a ? "k" : "l", 4.0}});
            if (is_a) {
                msg.bag_at(2, {{"t", 1.0}});
            }
            corpus.add(msg.weight(2.0), {is_a ? &m_a : &m_b});
        }
    }

    static std::vector<Learned> LearnedBy(const zeStat_storage& storage) {
        std::vector<Learned> all;
        for (const auto& profile : storage.m_profiles) {
            Learned learned = {profile->m_M,
                               profile->m_num_msgs,
                               profile->m_likelihood_age,
                               profile->m_likelihood,
                               {}};
            for (const zeStat_storage::Result_bin& bin : profile->m_bins) {
                learned.bins.push_back(bin.m_relevant);
                learned.bins.push_back(bin.m_total);
            }
            all.push_back(learned);
        }
        return all;
    }

    static std::vector<double> Scores(zeStat_matcher& matcher, const Small_corpus& corpus) {
        std::vector<double> scores;
        for (const auto& msg : corpus.corpus.msgs) {
            zeResult_set results(0.0, -1);
            matcher.classify(*msg, results, 1.0, false);
            for (const zeResult& result : results.results) {
                scores.push_back(result.score);
            }
        }
        return scores;
    }

    void SetAnew(zeStat_storage& storage) {
        zeSetDefaults all = zeSetDefaults::all(true);
        storage.create_skeleton();
        storage.set_defaults(m_settings, all);
    }

    // The objects that a run of training uses, with or without an interruption.
    struct Run {
        Run(zeStatTrainerInterruptionTest& test, int poll)
            : storage(new zeStat_storage(&manager, test.m_settings)),
              matcher(new zeStat_matcher(&manager, nullptr, *storage, false)),
              progress(poll) {
            test.FillCorpus(corpus);
            manager.m_progress = &progress;
        }

        zeManager manager;
        zeStat_storage* storage;  // owned by the manager
        zeStat_matcher* matcher;  // owned by the manager
        Small_corpus corpus;
        Interrupt_at progress;
    };

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings;
};

// A way to train, and the numbers of polls: the first poll with changed settings, the first with
// restored ones, and all.
struct Way {
    const char* name;
    bool use_omit_method;
    int num_slices;
    int first_of_pass;
    int first_behind_pass;
    int all;
};

// There are six messages and two categories. Counting has 6 polls, a selection 2, matching 6, and
// the tables 2. Each slice has 3 polls for each of its 3 or 2 messages, 2 polls for its selection
// and 1 at its end. A model without categories has no selection and no tables.
constexpr std::array<Way, 4> kWays = {{
    {"NotOmitting", false, 10, 7, 15, 18},
    {"TwoSlices", true, 2, 7, 31, 34},
    {"ThreeSlices", true, 3, 7, 34, 37},
    {"OneSlice", true, 1, 1, 13, 16},
}};

class zeStatLikelihoodInterruptionTest : public zeStatTrainerInterruptionTest,
                                         public testing::WithParamInterface<Way> {
protected:
    zeStatLikelihoodInterruptionTest() {
        m_settings.use_omit_method = GetParam().use_omit_method;
        m_settings.num_slices = GetParam().num_slices;
    }

    // Checks the thresholds and the correction. They have the values of the pass during the pass,
    // and also after an interruption in it.
    void ExpectSettings(const zeStat_storage& storage, bool are_of_pass) {
        EXPECT_EQ(storage.m_use_likelihood_in_match, !are_of_pass);
        EXPECT_EQ(storage.m_activation_inside, are_of_pass ? 1 : 2);
        EXPECT_EQ(storage.m_activation_outside, are_of_pass ? 1 : 0);
        EXPECT_EQ(storage.m_activation_total, are_of_pass ? 1 : 3);
    }
};

TEST_P(zeStatLikelihoodInterruptionTest, PollsAreOnePerStep) {
    Run run(*this, 0);

    run.matcher->train(run.corpus.view);

    EXPECT_EQ(run.progress.polls, GetParam().all);
    ExpectSettings(*run.storage, false);
}

TEST_P(zeStatLikelihoodInterruptionTest, InterruptionLeavesTheSettingsOfThePass) {
    for (int poll = 1; poll <= GetParam().all; ++poll) {
        SCOPED_TRACE(poll);
        Run run(*this, poll);

        EXPECT_QTX(run.matcher->train(run.corpus.view), zeWorkflow, 2, "Process interrupted");

        EXPECT_EQ(run.progress.polls, poll);
        ExpectSettings(*run.storage,
                       GetParam().first_of_pass <= poll && poll < GetParam().first_behind_pass);
    }
}

TEST_P(zeStatLikelihoodInterruptionTest, ModelCanBeTrainedAgainAfterSettingItsSettingsAgain) {
    Run whole(*this, 0);
    whole.matcher->train(whole.corpus.view);
    const std::vector<Learned> expected = LearnedBy(*whole.storage);
    const std::vector<double> scores = Scores(*whole.matcher, whole.corpus);
    for (int poll = 1; poll <= GetParam().all; ++poll) {
        SCOPED_TRACE(poll);
        Run run(*this, poll);
        EXPECT_QTX(run.matcher->train(run.corpus.view), zeWorkflow, 2, "Process interrupted");
        EXPECT_NO_THROW(Scores(*run.matcher, run.corpus));

        SetAnew(*run.storage);
        run.matcher->train(run.corpus.view);

        EXPECT_EQ(LearnedBy(*run.storage), expected);
        EXPECT_EQ(Scores(*run.matcher, run.corpus), scores);
        ExpectSettings(*run.storage, false);
    }
}

std::string name_of_way(const testing::TestParamInfo<Way>& instance) {
    return instance.param.name;
}

INSTANTIATE_TEST_SUITE_P(Ways, zeStatLikelihoodInterruptionTest, testing::ValuesIn(kWays),
                         name_of_way);

// A slice that was taken out is missing from the model until it is put back. Six polls count the
// messages, three take out the first slice, two select, three match, and three put it back.
TEST_F(zeStatTrainerInterruptionTest, InterruptedModelMayLackMessagesOfASlice) {
    m_settings.num_slices = 2;
    const std::vector<int> expected = {1, 2, 3, 4, 5, 6, 5, 4, 3, 3, 3, 3, 3, 3, 4, 5, 6, 6};
    std::vector<int> counts;
    for (int poll = 1; poll <= 18; ++poll) {
        Run run(*this, poll);

        EXPECT_QTX(run.matcher->train(run.corpus.view), zeWorkflow, 2, "Process interrupted");

        counts.push_back(run.storage->m_num_msgs);
    }

    EXPECT_EQ(counts, expected);
}

// Bootstrap polls once for each of the six messages in each of its three passes. These are 18
// polls. Then the matcher polls once for each of the two categories.
constexpr int kBootstrapPolls = 18;

TEST_F(zeStatTrainerInterruptionTest, BootstrapPollsForEachMessageOfEachSlot) {
    Run run(*this, 0);

    run.matcher->bootstrap(run.corpus.view);

    EXPECT_EQ(run.progress.polls, kBootstrapPolls + 2);
}

TEST_F(zeStatTrainerInterruptionTest, InterruptedBootstrapLeavesItsSettings) {
    for (int poll = 1; poll <= kBootstrapPolls + 2; ++poll) {
        SCOPED_TRACE(poll);
        const bool is_broken_off = poll <= kBootstrapPolls;
        Run run(*this, poll);

        EXPECT_QTX(run.matcher->bootstrap(run.corpus.view), zeWorkflow, 2, "Process interrupted");

        EXPECT_EQ(run.storage->m_clip_value, is_broken_off ? 0.0 : 3.0);
        EXPECT_EQ(run.storage->m_suppress_M, !is_broken_off);
        EXPECT_EQ(run.storage->m_use_train_likelihood, !is_broken_off);
    }
}

// The weights of the three slots are 5, 3 and 3.
TEST_F(zeStatTrainerInterruptionTest, InterruptedBootstrapLeavesItsBagsAndWeightsInTheMessages) {
    for (int poll = 1; poll <= kBootstrapPolls; ++poll) {
        SCOPED_TRACE(poll);
        Run run(*this, poll);

        EXPECT_QTX(run.matcher->bootstrap(run.corpus.view), zeWorkflow, 2, "Process interrupted");

        for (const auto& msg : run.corpus.corpus.msgs) {
            EXPECT_EQ(msg->active_sml, 4U);
            EXPECT_EQ(msg->weight, poll <= 6 ? 5.0 : 3.0);
        }
        const bool has_title =
            run.corpus.corpus.msgs[0]->smls[4] == run.corpus.corpus.msgs[0]->smls[2];
        EXPECT_EQ(has_title, 6 < poll && poll <= 12);
    }
}

TEST_F(zeStatTrainerInterruptionTest, ModelCanBeBootstrappedAgainFromOtherMessages) {
    Run whole(*this, 0);
    whole.matcher->bootstrap(whole.corpus.view);
    const std::vector<Learned> expected = LearnedBy(*whole.storage);
    for (int poll = 1; poll <= kBootstrapPolls + 2; ++poll) {
        SCOPED_TRACE(poll);
        Run run(*this, poll);
        EXPECT_QTX(run.matcher->bootstrap(run.corpus.view), zeWorkflow, 2, "Process interrupted");
        Small_corpus corpus;
        FillCorpus(corpus);

        SetAnew(*run.storage);
        run.matcher->bootstrap(corpus.view);

        EXPECT_EQ(LearnedBy(*run.storage), expected);
        EXPECT_EQ(Scores(*run.matcher, corpus), Scores(*whole.matcher, whole.corpus));
        EXPECT_EQ(corpus.corpus.msgs[5]->weight, 2.0);
    }
}

}  // namespace
