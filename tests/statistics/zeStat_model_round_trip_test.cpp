// A model that was saved and read continues exactly, to the last bit, like one that was not saved.
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/statistics/labelled_corpus.h"
#include "tests/statistics/likelihood_comparison.h"
#include "tests/support/small_model.h"
#include "tests/support/stored.h"

namespace {

using Messages = std::vector<Slow_message>;

// The results of a matcher for one message: a score for each category, and then for each category
// its explanation: the score, and the score without each concept.
std::vector<double> answers_of(zeStat_matcher& matcher, zeMsg& msg) {
    std::vector<double> answers;
    if (msg.active_bag().IsNull()) {
        return answers;
    }
    const qtPtrLight<zeSml> view =
        zeSml::get_clipped_sml(msg.active_bag(), matcher.m_storage->m_clip_value);
    matcher.classify_sml(*view);
    for (int i = 0; i < matcher.m_storage->profile_count(); ++i) {
        answers.push_back(matcher.adjust_match_value(*view, i));
    }
    std::vector<zeNode*> cats;
    matcher.get_all_categories(cats);
    for (zeNode* cat : cats) {
        std::vector<zeStat_matcher::Concept_score> lines;
        answers.push_back(matcher.classify_concepts(msg, cat, lines));
        for (const auto& line : lines) {
            answers.push_back(line.m_score);
        }
    }
    return answers;
}

// A container with one classifier.
class Container {
public:
    Container() = default;

    explicit Container(const zeDefaults& settings) {
        m_manager.m_defaults = settings;
        m_manager.m_root =
            m_manager.m_physical_tree->MakeNode(term("root"), ZE_STAT, zeNode::NoScore, 0.0);
    }

    void Train(const Messages& messages) {
        Small_corpus corpus;
        Fill(corpus, messages);
        Matcher().train(corpus.view);
    }

    void Learn(const Messages& messages, bool first) {
        Small_corpus corpus;
        Fill(corpus, messages);
        Matcher().learn(corpus.view, first);
    }

    void Forget(const char* cat, bool whole) {
        zeNode* node = NodeOf(cat);
        if (whole) {
            Matcher().delete_cat(node, true, true);
        } else {
            Matcher().clear_cat(node, true, true);
        }
    }

    qtPtr<qtBuffer> Saved(bool is_compact) {
        KcIoMode mode;
        mode.compact = is_compact;
        qtPtr<qtBuffer> buffer;
        m_manager.Write(buffer, &mode, nullptr);
        return buffer;
    }

    void Read(qtPtr<qtBuffer> buffer) { m_manager.Read(buffer, nullptr, nullptr); }

    std::vector<std::vector<double>> Answers(const Messages& messages) {
        std::vector<std::vector<double>> answers;
        for (const Slow_message& msg : messages) {
            answers.push_back(answers_of(Matcher(), *make_msg(msg)));
        }
        return answers;
    }

    // The model's record. The table is not in it, but the answers depend on the table.
    std::string Model() { return dumped(*Matcher().m_storage); }

    zeStat_matcher& Matcher() {
        return dynamic_cast<zeStat_matcher&>(*m_manager.GetRootClassifier());
    }

private:
    zeNode* NodeOf(const std::string& name) {
        for (zeNode* child : m_manager.m_root->m_children) {
            if (child->m_concept.view() == name) {
                return child;
            }
        }
        zeNode* const made = m_manager.m_physical_tree->MakeNode(term(name), ZE_LEAF, 0, 0.0);
        zeNode* added = made;
        Matcher().add_cat(added);
        return made;
    }

    void Fill(Small_corpus& corpus, const Messages& messages) {
        for (const Slow_message& msg : messages) {
            std::vector<zeNode*> cats;
            for (const std::string& cat : msg.cats) {
                cats.push_back(NodeOf(cat));
            }
            corpus.add(make_msg(msg), cats);
        }
    }

    zeManager m_manager;
};

// Settings of all kinds, with bounds that learning reaches.
zeDefaults settings_of(unsigned int seed) {
    constexpr unsigned int kStep = 7919;  // a prime that does not divide the number of combinations
    zeDefaults settings =
        likelihood_comparison::combination(seed * kStep % likelihood_comparison::kCombinations);
    settings.use_likelihood_in_train = seed % 5 != 0;
    settings.min_Ps_size = seed % 3 == 0 ? 2 : 2000;
    settings.max_Ps_size = seed % 3 == 0 ? 6 : 4000;
    settings.P_life_expectancy = static_cast<unsigned char>(seed % 4);
    settings.average_Rlimit = seed % 2 == 0 ? 8.0 : 100.0;
    settings.min_Rlimit = 1.0;
    return settings;
}

// 36 messages and 7 copies with weights that are not finite. They are different in each batch.
Messages batch(unsigned int seed, unsigned int number) {
    return likelihood_comparison::messages_of(10 * seed + number);
}

void begin(Container& container, unsigned int seed) {
    container.Train(batch(seed, 0));
    container.Learn(batch(seed, 1), true);
}

void go_on(Container& container, unsigned int seed) {
    container.Learn(batch(seed, 2), false);
    container.Forget("c1", false);
    container.Train(batch(seed, 3));
    container.Forget("c2", true);
    container.Learn(batch(seed, 4), true);
}

class zeStatModelRoundTripTest : public testing::TestWithParam<unsigned int> {
protected:
    zeStatModelRoundTripTest() { begin(m_never_saved, GetParam()); }

    // Makes a container with the same history, and saves and reads it.
    void SaveAndRead(bool is_compact) {
        Container saved(settings_of(GetParam()));
        begin(saved, GetParam());
        m_read.Read(saved.Saved(is_compact));
    }

    void ExpectSameAnswers() {
        const Messages messages = batch(GetParam(), 5);
        EXPECT_EQ(m_read.Answers(messages), m_never_saved.Answers(messages));
    }

    Container m_never_saved{settings_of(GetParam())};
    Container m_read;
};

TEST_P(zeStatModelRoundTripTest, NoPartOfTheModelIsLost) {
    SaveAndRead(false);

    EXPECT_EQ(m_read.Model(), m_never_saved.Model());
    EXPECT_EQ(m_read.Matcher().m_avg_likelihood, m_never_saved.Matcher().m_avg_likelihood);
}

TEST_P(zeStatModelRoundTripTest, ScoresAndExplanationsAreTheSame) {
    SaveAndRead(false);

    ExpectSameAnswers();
}

TEST_P(zeStatModelRoundTripTest, CompactModelAnswersTheSame) {
    SaveAndRead(true);

    EXPECT_TRUE(m_read.Matcher().m_storage->m_concept_infos.empty());
    ExpectSameAnswers();
}

TEST_P(zeStatModelRoundTripTest, TrainingContinuesAsWithoutASave) {
    SaveAndRead(false);

    go_on(m_read, GetParam());
    go_on(m_never_saved, GetParam());

    EXPECT_EQ(m_read.Model(), m_never_saved.Model());
    ExpectSameAnswers();
}

TEST_P(zeStatModelRoundTripTest, SecondSaveHasTheSameBytes) {
    SaveAndRead(false);
    Container again;

    const qtPtr<qtBuffer> first = m_read.Saved(false);
    again.Read(first);

    EXPECT_EQ(again.Saved(false)->bytes, first->bytes);
}

INSTANTIATE_TEST_SUITE_P(Seeds, zeStatModelRoundTripTest, testing::Range(0U, 40U));

TEST(zeStatModelRoundTripOfLittleTest, UntrainedModelIsReadAndTrained) {
    const zeDefaults settings = settings_of(1);
    Container never_saved(settings);
    Container read;
    read.Read(Container(settings).Saved(false));
    EXPECT_EQ(read.Model(), never_saved.Model());

    for (Container* const each : {&read, &never_saved}) {
        begin(*each, 1);
    }

    EXPECT_EQ(read.Model(), never_saved.Model());
    EXPECT_EQ(read.Answers(batch(1, 5)), never_saved.Answers(batch(1, 5)));
}

}  // namespace
