// The histogram step of zeStat_matcher: adds the scores of a labelled message to the histograms.
#include "zandrel/statistics/zeStat_matcher.h"

#include <cmath>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/statistics/Histogram_filler.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "tests/support/bags.h"
#include "tests/support/small_model.h"

using zandrel::detail::Histogram_filler;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// Two categories with 2 of 4 messages each. The concept x has the weight 1 for a and -1 for b; y
// has 2 for b only. A bag of only x scores atan(pi) / pi + 0.5, which is 0.9019, for a, and 0.0981
// for b. A bag of only y scores 0.5 for a, and atan(2 pi) / pi + 0.5, which is 0.9498, for b.
class zeStatMatcherHistogramTest : public testing::Test {
protected:
    zeStatMatcherHistogramTest() {
        bool added = false;
        m_storage.m_use_train_likelihood = true;
        m_storage.get_or_add_profile(&m_a, added);
        m_storage.get_or_add_profile(&m_b, added);
        m_storage.m_num_msgs = 4;
        for (const int iprofile : {0, 1}) {
            m_storage.profile(iprofile).m_num_msgs = 2;
        }
        m_storage.profile(0).m_weights = {{term("x"), 1.0F}};
        m_storage.profile(1).m_weights = {{term("y"), 2.0F}, {term("x"), -1.0F}};
        m_matcher.feed(m_storage, false);
    }

    // Runs the step for one message.
    void Enter(const MessageBuilder& msg, const std::vector<zeNode*>& cats) {
        Small_corpus corpus;
        corpus.add(msg, cats);
        m_matcher.classify(*corpus.corpus.msgs[0], corpus.view, corpus.view.msgs.cbegin());
    }

    // The non-empty bins of a profile by position: relevant weight and total.
    std::map<std::size_t, std::pair<double, double>> Bins(int iprofile) {
        std::map<std::size_t, std::pair<double, double>> filled;
        const auto& bins = m_storage.profile(iprofile).m_bins;
        for (std::size_t i = 0; i < bins.size(); ++i) {
            if (bins[i].m_total != 0.0 || bins[i].m_relevant != 0.0) {
                filled[i] = {bins[i].m_relevant, bins[i].m_total};
            }
        }
        return filled;
    }

    int Age(int iprofile) { return m_storage.profile(iprofile).m_likelihood_age; }

    double& Accumulator(int iprofile) { return m_storage.profile(iprofile).m_match_value; }

    zeNode m_a{term("a")};
    zeNode m_b{term("b")};
    zeDefaults m_settings = plain_settings();
    zeStat_storage m_storage{nullptr, m_settings};
    zeStat_matcher m_matcher{nullptr, nullptr, m_storage, false};
};

// 30 * 0.9019 is 27.06, and 30 * 0.0981 is 2.94.
TEST_F(zeStatMatcherHistogramTest, ScoreOfEachCategoryIsAddedToItsBin) {
    Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(27, Pair(1.0, 1.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(2, Pair(0.0, 1.0))));
    EXPECT_EQ(Accumulator(0), 0.0);
    EXPECT_EQ(Accumulator(1), 0.0);
}

// 90 * 0.5 is 45, and 90 * 0.9498 is 85.48.
TEST_F(zeStatMatcherHistogramTest, ResolutionDecidesTheBin) {
    m_storage.set_likelihood_histogram_resolution(3);

    Enter(MessageBuilder().bag({{"y", 1.0}}), {&m_b});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(45, Pair(0.0, 1.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(85, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, WeightOfTheMessageIsAdded) {
    Enter(MessageBuilder().bag({{"x", 1.0}}).weight(2.5), {&m_a});
    Enter(MessageBuilder().bag({{"x", 2.0}}).weight(0.25), {});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(27, Pair(2.5, 2.75))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(2, Pair(0.0, 2.75))));
    EXPECT_EQ(Age(0), 2);
}

TEST_F(zeStatMatcherHistogramTest, MessageMayBeRelevantForSeveralCategories) {
    Enter(MessageBuilder().bag({{"u", 1.0}}), {&m_b, &m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(1.0, 1.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(15, Pair(1.0, 1.0))));
}

// The labels of the message itself are ignored.
TEST_F(zeStatMatcherHistogramTest, ViewDecidesTheRelevance) {
    Enter(MessageBuilder().bag({{"u", 1.0}}).labels({"a"}), {&m_b});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(0.0, 1.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(15, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, PositionInTheViewIsUsedNotTheNumber) {
    Small_corpus corpus;
    corpus.add(MessageBuilder().bag({{"x", 1.0}}), {});
    corpus.add(MessageBuilder().bag({{"u", 1.0}}), {});
    corpus.view.msgs = {{1, {&m_a}}, {0, {&m_b}}};

    m_matcher.classify(*corpus.corpus.msgs[0], corpus.view, corpus.view.msgs.cbegin() + 1);

    EXPECT_THAT(Bins(0), ElementsAre(Pair(27, Pair(0.0, 1.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(2, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, ScoreOfOneIsInTheLastBin) {
    m_storage.profile(0).m_M = 1e300;

    Enter(MessageBuilder().bag({{"x", 1.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(29, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, ScoreOfZeroIsInTheFirstBin) {
    m_storage.profile(0).m_M = -1e300;

    Enter(MessageBuilder().bag({{"x", 1.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(0, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, ScoreThatIsNaNIsInTheFirstBin) {
    m_storage.profile(0).m_M = std::numeric_limits<double>::quiet_NaN();

    Enter(MessageBuilder().bag({{"x", 1.0}}), {});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(0, Pair(0.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, EmptyBagScoresZeroAndIsEntered) {
    Enter(MessageBuilder().bag({}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(0, Pair(1.0, 1.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(0, Pair(0.0, 1.0))));
    EXPECT_EQ(Age(1), 1);
}

TEST_F(zeStatMatcherHistogramTest, NothingHappensWithoutABag) {
    Accumulator(0) = 0.25;

    Enter(MessageBuilder(), {&m_a});
    Enter(MessageBuilder().bag({{"x", 1.0}}).active(1), {&m_a});

    EXPECT_THAT(Bins(0), IsEmpty());
    EXPECT_EQ(Age(0), 0);
    EXPECT_EQ(Accumulator(0), 0.25);
}

// After clipping the bag is x 2, u 1, v 1, so a's accumulator is half of the bag's total. The score
// is atan(pi / 2) / pi + 0.5, which is 0.8195; 30 times this is 24.58.
TEST_F(zeStatMatcherHistogramTest, BagIsClipped) {
    m_storage.m_clip_value = 2.0;

    Enter(MessageBuilder().bag({{"x", 10.0}, {"u", 1.0}, {"v", 1.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(24, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, ActiveSlotIsRead) {
    Enter(MessageBuilder().bag({{"u", 1.0}}).bag_at(2, {{"x", 1.0}}).active(2), {});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(27, Pair(0.0, 1.0))));
}

// The score of a category with no message, or with every message, has no meaning.
TEST_F(zeStatMatcherHistogramTest, CategoriesWithNoOrAllMessagesAreLeftOut) {
    for (const int msg_count : {0, 4}) {
        SCOPED_TRACE(msg_count);
        m_storage.profile(0).m_num_msgs = msg_count;

        Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});

        EXPECT_THAT(Bins(0), IsEmpty());
        EXPECT_EQ(Age(0), 0);
    }
    EXPECT_THAT(Bins(1), ElementsAre(Pair(2, Pair(0.0, 2.0))));
    EXPECT_EQ(Age(1), 2);
}

// After two messages the accumulator is 6. The third message makes it 9, while the total of its bag
// is 3. So the score is that of the match value 3 instead of 1: atan(3 pi) / pi + 0.5, which is
// 0.9664; 30 times this is 28.99.
TEST_F(zeStatMatcherHistogramTest, AccumulatorOfACategoryLeftOutCountsForTheNextScore) {
    m_storage.profile(0).m_num_msgs = 0;
    Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});
    Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});
    EXPECT_EQ(Accumulator(0), 6.0);
    m_storage.profile(0).m_num_msgs = 2;

    Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(28, Pair(1.0, 1.0))));
    EXPECT_EQ(Accumulator(0), 0.0);
}

TEST_F(zeStatMatcherHistogramTest, CategoryBelowActivationScoresZeroAndIsEntered) {
    m_storage.m_activation_inside = 3;

    Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(0, Pair(1.0, 1.0))));
}

TEST_F(zeStatMatcherHistogramTest, AgeStopsAtAThousand) {
    m_storage.profile(0).m_likelihood_age = 999;

    Enter(MessageBuilder().bag({{"x", 1.0}}), {});
    EXPECT_EQ(Age(0), 1000);
    Enter(MessageBuilder().bag({{"x", 1.0}}), {});

    EXPECT_EQ(Age(0), 1000);
    EXPECT_THAT(Bins(0), ElementsAre(Pair(27, Pair(0.0, 2.0))));
}

// 99 % of 0.7 and 1 % of the raw score, 0.9019, are 0.702: 21.06 bins. The raw score is in bin 27.
TEST_F(zeStatMatcherHistogramTest, CorrectedScoreIsFromTheTables) {
    m_storage.m_use_likelihood_in_match = true;
    m_storage.profile(0).m_likelihood_age = 1000;
    m_storage.profile(0).m_likelihood.fill(0.7);

    Enter(MessageBuilder().bag({{"x", 3.0}}), {&m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(21, Pair(1.0, 1.0))));
}

// 40 messages fill two blocks of 16 and half of a third one. For a, the 20 bags of x score in bin
// 27 and the 20 bags of y in bin 15. The messages of x have the odd weights up to 39, whose sum is
// 400; those of y have the even weights up to 40, whose sum is 420.
TEST_F(zeStatMatcherHistogramTest, FillerEntersManyMessagesAsTheStepDoesOneByOne) {
    Small_corpus corpus;
    for (int i = 1; i <= 40; ++i) {
        const bool is_odd = i % 2 == 1;
        corpus.add(MessageBuilder().bag({{is_odd ? "x" : "y", 1.0}}).weight(i),
                   {is_odd ? &m_a : &m_b});
    }
    {
        Histogram_filler filler(m_matcher);
        for (std::size_t i = 0; i < 40; ++i) {
            filler.add(*corpus.corpus.msgs[i], corpus.view.msgs[i]);
        }
    }
    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(0.0, 420.0)), Pair(27, Pair(400.0, 400.0))));
    EXPECT_THAT(Bins(1), ElementsAre(Pair(2, Pair(0.0, 400.0)), Pair(28, Pair(420.0, 420.0))));
    EXPECT_EQ(Age(0), 40);
    EXPECT_EQ(Age(1), 40);
}

// b has no messages in the model, so it gets no score. Its accumulator begins at 0.5 and collects
// -1 for each of 20 messages.
TEST_F(zeStatMatcherHistogramTest, FillerLeavesSumsOfAProfileWithoutMessagesInItsAccumulator) {
    m_storage.profile(1).m_num_msgs = 0;
    Accumulator(1) = 0.5;
    Small_corpus corpus;
    corpus.add(MessageBuilder().bag({{"x", 1.0}}), {&m_b});
    {
        Histogram_filler filler(m_matcher);
        for (int i = 0; i < 20; ++i) {
            filler.add(*corpus.corpus.msgs[0], corpus.view.msgs[0]);
        }
    }
    EXPECT_EQ(Accumulator(1), -19.5);
    EXPECT_THAT(Bins(1), IsEmpty());
    EXPECT_THAT(Bins(0), ElementsAre(Pair(27, Pair(0.0, 20.0))));
}

// 40 categories. The concept w0 counts for all of them, w1 for every second one, and so on up to w4
// for every fifth one, so that rows have different lengths. The scores of single profiles give the
// expected bins.
TEST(zeStatMatcherManyHistogramsTest, FillerFindsTheBinsOfTheScoresOfSingleProfiles) {
    constexpr int kProfiles = 40;
    std::deque<zeNode> nodes;
    zeDefaults settings = plain_settings();
    zeStat_storage storage(nullptr, settings);
    storage.m_use_train_likelihood = true;
    storage.m_num_msgs = 2 * kProfiles;
    bool added = false;
    for (int i = 0; i < kProfiles; ++i) {
        storage.get_or_add_profile(&nodes.emplace_back(term("c" + std::to_string(i))), added);
        zeStat_storage::Profile& profile = storage.profile(i);
        profile.m_num_msgs = 2;
        for (int word = 0; word < 5; ++word) {
            if (i % (word + 1) == 0) {
                const double weight = (i * 7 + word) % 11 * 0.3 - 1.4;
                profile.m_weights.push_back(
                    {term("w" + std::to_string(word)), static_cast<float>(weight)});
            }
        }
    }
    zeStat_matcher matcher(nullptr, nullptr, storage, false);
    std::map<std::pair<int, int>, double> expected;
    {
        Histogram_filler filler(matcher);
        for (int word = 0; word < 5; ++word) {
            Small_corpus corpus;
            corpus.add(MessageBuilder().bag({{"w" + std::to_string(word), 1.0 + word},
                                             {"w" + std::to_string(4 - word), 2.5}}),
                       {});
            filler.add(*corpus.corpus.msgs[0], corpus.view.msgs[0]);
            zeSml& bag = *corpus.corpus.msgs[0]->active_bag();
            for (int i = 0; i < kProfiles; ++i) {
                matcher.classify_sml_with_profile(bag, i);
                ++expected[{i, static_cast<int>(30 * matcher.adjust_match_value(bag, i))}];
            }
        }
    }
    for (int i = 0; i < kProfiles; ++i) {
        for (int bin = 0; bin < 30; ++bin) {
            const auto found = expected.find({i, bin});
            EXPECT_EQ(storage.profile(i).m_bins[static_cast<std::size_t>(bin)].m_total,
                      found == expected.end() ? 0.0 : found->second)
                << i << " " << bin;
        }
    }
}

TEST_F(zeStatMatcherHistogramTest, MessageWithANodeTwiceIsRelevantOnce) {
    Enter(MessageBuilder().bag({{"u", 1.0}}), {&m_a, &m_a});

    EXPECT_THAT(Bins(0), ElementsAre(Pair(15, Pair(1.0, 1.0))));
}

// The only profile of the model has 2 of the 3 messages.
TEST_F(zeStatMatcherHistogramTest, OnlyCategoryScoresOneIfMessagesAreOutside) {
    zeStat_storage storage(nullptr, m_settings);
    storage.m_use_train_likelihood = true;
    bool added = false;
    storage.get_or_add_profile(&m_a, added);
    storage.profile(0).m_num_msgs = 2;
    storage.m_num_msgs = 3;
    m_matcher.feed(storage, false);
    Small_corpus corpus;
    corpus.add(MessageBuilder().bag({{"u", 1.0}}), {});

    m_matcher.classify(*corpus.corpus.msgs[0], corpus.view, corpus.view.msgs.cbegin());

    EXPECT_EQ(storage.profile(0).m_bins[29].m_total, 1.0);
    EXPECT_EQ(storage.profile(0).m_bins[29].m_relevant, 0.0);
}

}  // namespace
