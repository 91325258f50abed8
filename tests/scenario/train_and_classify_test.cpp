// From labelled texts to a ranked result, as in an application. Uses only public classes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/Concept.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Labelled_text {
    std::string_view text;
    std::vector<std::string_view> labels;
};

const std::vector<Labelled_text>& training_texts() {
    static const std::vector<Labelled_text> texts = {
        {"the keeper saved a late goal in the final match", {"sport"}},
        {"our team won the match with a goal by the captain", {"sport"}},
        {"the coach praised the team after the match", {"sport"}},
        {"a fast race and a new record for the runner", {"sport"}},
        {"boil the rice and fry the onion in butter", {"food"}},
        {"add salt and pepper to the soup and stir", {"food"}},
        {"bake the bread until the crust is brown", {"food"}},
        {"fry the fish in butter with salt and lemon", {"food"}},
        {"the bank raised the interest rate on the loan", {"money"}},
        {"shares fell after the bank cut the dividend", {"money"}},
        {"pay the loan back before the rate goes up", {"money"}},
        {"the market expects a higher interest rate", {"money"}},
        {"the club sold shares to pay the new coach of the team", {"money", "sport"}},
    };
    return texts;
}

std::vector<std::string> words_of(std::string_view text) {
    std::istringstream in{std::string(text)};
    std::vector<std::string> words;
    for (std::string word; in >> word;) {
        words.push_back(word);
    }
    return words;
}

// Choices that must not influence a result.
struct History {
    bool goes_backwards;         // through the words of a text
    std::size_t feeder_buckets;  // of the feeder that all texts share
    bool interns_ahead;          // the dictionary already has the texts, in another order
};

// An application: one container with a statistical root, and the texts that it was trained on.
class Application {
public:
    explicit Application(const History& history = {false, 0, false}, bool suppress_M = false)
        : m_history(history) {
        m_manager.m_defaults.use_likelihood_in_train = false;
        m_manager.m_defaults.suppress_M = suppress_M;
        if (history.interns_ahead) {
            Intern();
        }
        if (history.feeder_buckets != 0) {
            m_feeder.m_concepts.rehash(history.feeder_buckets);
        }
        Start();
    }

    // Makes the root of an empty container.
    void Start() {
        m_manager.m_root = m_manager.m_physical_tree->MakeNode(Concept::insert("root"), ZE_STAT,
                                                               zeNode::NoScore, 0.0);
    }

    // Learns all training texts from a corpus of its own.
    void Train() {
        zeMemoryCorpus corpus;
        for (const Labelled_text& each : training_texts()) {
            qtPtrLight<zeMsg> msg = Message(each.text);
            for (const std::string_view label : each.labels) {
                msg->categories.push_back(Concept::insert_view(label));
            }
            corpus.add_msg(msg);
        }
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&m_manager);
        dynamic_cast<zeStat_matcher&>(*m_manager.GetRootClassifier()).train(view);
    }

    // The names and scores of the results, best first.
    std::vector<std::pair<std::string, double>> Classify(std::string_view text, double threshold,
                                                         int wanted) {
        const qtPtrLight<zeMsg> msg = Message(text);
        zeResult_set results(threshold, wanted);
        m_manager.GetWorkflow()->classify(*msg, results, true, false);
        std::vector<std::pair<std::string, double>> ranked;
        for (int rank = 0; rank < results.count(); ++rank) {
            const zeResult& result = results.get_result(rank);
            ranked.emplace_back(result.node->m_concept.view(), result.score);
        }
        return ranked;
    }

    std::vector<std::string> Names(std::string_view text, double threshold = 0.0, int wanted = -1) {
        std::vector<std::string> names;
        for (const auto& [name, score] : Classify(text, threshold, wanted)) {
            names.push_back(name);
        }
        return names;
    }

    zeManager& Manager() { return m_manager; }

private:
    qtPtrLight<zeMsg> Message(std::string_view text) {
        std::vector<std::string> words = words_of(text);
        if (m_history.goes_backwards) {
            std::reverse(words.begin(), words.end());
        }
        m_feeder.clear();
        for (const std::string& word : words) {
            m_feeder.add_concept(Concept::insert_view(word), 1.0);
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        msg->smls[0] = qtPtrLight<zeSml>(new zeSml(m_feeder, 0.0));
        return msg;
    }

    void Intern() {
        for (int i = 0; i < 2000; ++i) {
            m_interned.push_back(Concept::insert_view("noise" + std::to_string(i)));
        }
        for (auto each = training_texts().rbegin(); each != training_texts().rend(); ++each) {
            for (const std::string& word : words_of(each->text)) {
                m_interned.push_back(Concept::insert_view(word));
            }
        }
    }

    History m_history;
    std::vector<Concept> m_interned;
    zeSml_feeder m_feeder;
    zeManager m_manager;
};

TEST(TrainAndClassifyTest, RightCategoryIsRankedFirst) {
    struct Row {
        std::string_view text;
        const char* first;
    };

    Application application;
    application.Train();
    for (const Row& row : {
             Row{"the captain scored a goal for his team", "sport"},
             Row{"fry an onion in butter and add pepper", "food"},
             Row{"the interest on my loan is too high says the bank", "money"},
         }) {
        SCOPED_TRACE(row.text);

        const std::vector<std::string> names = application.Names(row.text);

        ASSERT_EQ(names.size(), 3U);
        EXPECT_EQ(names.front(), row.first);
    }
}

TEST(TrainAndClassifyTest, RightCategoryIsRankedFirstWithSuppressionToo) {
    Application application({false, 0, false}, true);
    application.Train();

    EXPECT_EQ(application.Names("a goal in the match won by the team").front(), "sport");
    EXPECT_EQ(application.Names("the bank and the interest rate of the loan").front(), "money");
}

TEST(TrainAndClassifyTest, EachTrainingTextGetsItsLabels) {
    Application application;
    application.Train();
    for (const Labelled_text& each : training_texts()) {
        SCOPED_TRACE(each.text);
        std::vector<std::string> expected(each.labels.begin(), each.labels.end());

        std::vector<std::string> names =
            application.Names(each.text, 0.0, static_cast<int>(expected.size()));

        EXPECT_THAT(names, testing::UnorderedElementsAreArray(expected));
    }
}

TEST(TrainAndClassifyTest, ScoresAreBetweenZeroAndOneInDescendingOrder) {
    Application application;
    application.Train();

    const auto ranked = application.Classify("the team pays its loan", 0.0, -1);

    ASSERT_EQ(ranked.size(), 3U);
    EXPECT_LT(ranked[0].second, 1.0);
    EXPECT_GE(ranked[0].second, ranked[1].second);
    EXPECT_GE(ranked[1].second, ranked[2].second);
    EXPECT_GT(ranked[2].second, 0.0);
}

TEST(TrainAndClassifyTest, NoMoreResultsThanWantedAreGiven) {
    Application application;
    application.Train();

    EXPECT_THAT(application.Names("a goal for the team", 0.0, 1), ElementsAre("sport"));
    EXPECT_EQ(application.Names("a goal for the team", 0.0, 2).size(), 2U);
    EXPECT_THAT(application.Names("a goal for the team", 0.0, 0), IsEmpty());
}

TEST(TrainAndClassifyTest, NoResultIsBelowTheThreshold) {
    Application application;
    application.Train();
    const auto all = application.Classify("a goal for the team", 0.0, -1);
    ASSERT_EQ(all.size(), 3U);

    EXPECT_THAT(application.Names("a goal for the team", all[0].second), ElementsAre("sport"));
    EXPECT_THAT(application.Names("a goal for the team", 1.0), IsEmpty());
}

TEST(TrainAndClassifyTest, EmptyTextAndUntrainedContainerGiveNoResult) {
    Application application;
    EXPECT_THAT(application.Names("a goal for the team"), IsEmpty());

    application.Train();

    EXPECT_THAT(application.Names(""), IsEmpty());
}

TEST(TrainAndClassifyTest, LabelsBecomeTheRootsChildrenInTheOrderOfTheCorpus) {
    Application application;
    application.Train();

    std::vector<std::string> names;
    for (const zeNode* child : application.Manager().m_root->m_children) {
        names.emplace_back(child->m_concept.view());
    }

    EXPECT_THAT(names, ElementsAre("sport", "food", "money"));
}

TEST(TrainAndClassifyTest, ContainerCanBeEmptiedAndUsedAgain) {
    Application application;
    application.Train();
    const auto before = application.Classify("a goal for the team", 0.0, -1);

    application.Manager().Release();
    EXPECT_EQ(application.Manager().m_root, nullptr);
    EXPECT_TRUE(application.Manager().m_physical_tree->m_nodes.empty());
    application.Start();
    application.Train();

    EXPECT_EQ(application.Classify("a goal for the team", 0.0, -1), before);
}

TEST(TrainAndClassifyTest, HistoryOfTheTablesDoesNotChangeTheResults) {
    constexpr std::array<History, 4> kHistories = {{
        {true, 0, false},
        {false, 10007, false},
        {false, 0, true},
        {true, 503, true},
    }};
    for (const bool suppress_M : {false, true}) {
        // Each application ends before the next one begins, so the dictionary is empty at the
        // start.
        std::vector<std::vector<std::pair<std::string, double>>> expected;
        {
            Application plain({false, 0, false}, suppress_M);
            plain.Train();
            for (const Labelled_text& each : training_texts()) {
                expected.push_back(plain.Classify(each.text, 0.0, -1));
            }
        }
        for (std::size_t number = 0; number < kHistories.size(); ++number) {
            SCOPED_TRACE(number);
            Application other(kHistories[number], suppress_M);
            other.Train();

            std::vector<std::vector<std::pair<std::string, double>>> found;
            for (const Labelled_text& each : training_texts()) {
                found.push_back(other.Classify(each.text, 0.0, -1));
            }

            EXPECT_EQ(found, expected);
        }
    }
}

}  // namespace
