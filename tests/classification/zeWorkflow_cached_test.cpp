// Training, learning, clearing and explaining with few classifiers in memory, compared bit by bit
// with a container that is completely in memory; and the state after an interruption.
#include "zandrel/classification/zeWorkflow.h"

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "tests/support/bags.h"
#include "tests/support/cached_container.h"
#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/scratch_file.h"
#include "tests/support/small_model.h"
#include "tests/support/trained_tree.h"

namespace {

constexpr int kGroups = 6;

std::string group_of(int group) {
    return "group" + std::to_string(group);
}

std::string leaf_of(int group, int leaf) {
    return group_of(group) + "." + std::to_string(leaf);
}

unsigned int add_node(zeManager& manager, unsigned int parent, const std::string& category,
                      unsigned char type, const qtString& rule = "") {
    zeLogicalNode node;
    node.parent = parent;
    node.category = term(category);
    node.type = type;
    node.rule = rule;
    return manager.m_logical_tree->AddLogicalNode(node);
}

// root (statistics)
//   group0 ... group3 (statistics), each with three leaves
//   desk (rules)
//     group4 (statistics), with three leaves     if the message is marked "a"
//     group5 (statistics), with one leaf         otherwise
void build(zeManager& manager) {
    manager.m_config.kc_id = 7;
    manager.m_config.created = qtTimeDate(1);
    manager.m_defaults.min_Ps_size = 10;
    manager.m_defaults.max_Ps_size = 20;
    manager.m_defaults.profile_size = 8;
    Concept name = term("root");
    manager.InitWorkflow(name);
    unsigned int desk = 0;
    for (int group = 0; group < kGroups; ++group) {
        if (group == 4) {
            desk = add_node(manager, 1, "desk", ZE_RULE);
        }
        const unsigned int id = group < 4 ? add_node(manager, 1, group_of(group), ZE_STAT)
                                          : add_node(manager, desk, group_of(group), ZE_STAT,
                                                     group == 4 ? "$a(?)" : "default");
        for (int leaf = 0; leaf < (group == 5 ? 1 : 3); ++leaf) {
            add_node(manager, id, leaf_of(group, leaf), ZE_LEAF);
        }
    }
}

// Random messages whose words depend on their labels.
class Random_messages {
public:
    explicit Random_messages(unsigned int seed) : m_random(seed) {}

    void add(zeMemoryCorpus& corpus, int count) {
        for (int i = 0; i < count; ++i) {
            const int group = below(kGroups);
            const int leaf = group == 5 ? 0 : below(3);
            qtPtrLight<zeMsg> msg = message(group, leaf);
            msg->categories.push_back(term(leaf_of(group, leaf)));
            corpus.add_msg(msg);
        }
    }

    qtPtrLight<zeMsg> message(int group, int leaf) {
        zeSml_feeder feeder;
        for (int word = 0; word < 6; ++word) {
            feeder.add_concept(term(group_of(group) + "word" + std::to_string(below(9))), weight());
            feeder.add_concept(term(leaf_of(group, leaf) + "word" + std::to_string(below(9))),
                               weight());
            feeder.add_concept(term("word" + std::to_string(below(30))), weight());
        }
        qtPtrLight<zeMsg> msg(new zeMsg);
        for (const std::size_t slot : {0U, 1U, 2U}) {
            msg->smls.at(slot) = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
        }
        if (group == 4) {
            msg->add_value("a", mlMessageConverter::kString, "yes");
        }
        return msg;
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(m_random); }

private:
    double weight() { return 0.25 * (1 + below(12)); }

    std::mt19937 m_random;
};

void train(zeManager& manager, unsigned int seed, int count, CTProgress* progress = nullptr) {
    zeMemoryCorpus corpus;
    Random_messages(seed).add(corpus, count);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->train(view, false, progress, false);
}

void learn(zeManager& manager, unsigned int seed, int count, CTProgress* progress = nullptr) {
    zeMemoryCorpus corpus;
    Random_messages(seed).add(corpus, count);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->learn(view, progress, false, true);
}

void bootstrap(zeManager& manager, unsigned int seed, int count) {
    zeMemoryCorpus corpus;
    Random_messages(seed).add(corpus, count);
    zeCorpus_view view(&corpus);
    view.add_all_msgs(&manager);
    manager.GetWorkflow()->bootstrap(view, false, nullptr, false);
}

zeNode* node_of(zeManager& manager, const std::string& name) {
    return manager.m_physical_tree->GetInnerNodes(term(name)).front();
}

// Classifies and explains random messages.
std::vector<Named_scores> answers(zeManager& manager, unsigned int seed) {
    std::vector<Named_scores> all;
    Random_messages messages(seed);
    for (int i = 0; i < 20; ++i) {
        const qtPtrLight<zeMsg> msg = messages.message(i % kGroups, 0);
        zeResult_set results(0.0, i % 2 == 0 ? -1 : 1);
        manager.GetWorkflow()->classify(*msg, results, true, i % 3 == 0);
        Named_scores ranking;
        std::vector<zeNode*> nodes;
        for (int rank = 0; rank < results.count(); ++rank) {
            ranking.emplace_back(results.get_result(rank).node->m_concept.view(),
                                 results.get_result(rank).score);
            nodes.push_back(results.get_result(rank).node);
        }
        std::vector<zeStat_matcher::Concept_score> scores;
        manager.GetWorkflow()->classify_concepts(*msg, nodes, scores);
        for (const auto& [word, score] : scores) {
            ranking.emplace_back(word.view(), score);
        }
        all.push_back(ranking);
    }
    return all;
}

// The same container in memory and with a limit of classifiers in memory.
class zeWorkflowCachedTest : public testing::TestWithParam<unsigned int> {
protected:
    zeWorkflowCachedTest() {
        build(plain);
        build(limited);
        continue_cached(limited, file.path(), GetParam());
    }

    // Does the same with both and compares all records.
    template <class Operation>
    void Do(Operation&& operation) {
        operation(plain);
        operation(limited);
        EXPECT_LE(count_in_memory(limited), GetParam());
        EXPECT_TRUE(same_bytes(saved_plain(limited), saved(plain)));
    }

    const Stopped_clock clock;
    zeManager plain;
    const Scratch_file file;
    zeManager limited;
};

TEST_P(zeWorkflowCachedTest, TrainingGivesTheRecordsOfAContainerInMemory) {
    Do([](zeManager& manager) { train(manager, 1, 80); });
    Do([](zeManager& manager) { train(manager, 2, 40); });
}

TEST_P(zeWorkflowCachedTest, LearningGivesTheRecordsOfAContainerInMemory) {
    Do([](zeManager& manager) { train(manager, 3, 60); });
    for (unsigned int seed = 10; seed < 14; ++seed) {
        Do([seed](zeManager& manager) { learn(manager, seed, 20); });
    }
}

TEST_P(zeWorkflowCachedTest, MixOfOperationsGivesTheRecordsAndAnswersOfAContainerInMemory) {
    Do([](zeManager& manager) { bootstrap(manager, 20, 40); });
    EXPECT_EQ(answers(limited, 21), answers(plain, 21));
    Do([](zeManager& manager) { train(manager, 22, 60); });
    EXPECT_EQ(answers(limited, 23), answers(plain, 23));
    Do([](zeManager& manager) { learn(manager, 24, 30); });
    Do([](zeManager& manager) {
        manager.GetWorkflow()->clear_statistics(node_of(manager, "group1"), nullptr);
    });
    Do([](zeManager& manager) { learn(manager, 25, 30); });
    EXPECT_EQ(answers(limited, 26), answers(plain, 26));
    Do([](zeManager& manager) { manager.GetWorkflow()->clear_statistics(nullptr, nullptr); });
    Do([](zeManager& manager) { train(manager, 27, 50); });
    EXPECT_EQ(answers(limited, 28), answers(plain, 28));
}

// A training can leave sums in accumulators, which are part of the record. The first classification
// takes them, and a classifier that is fetched again must not have them again.
TEST_P(zeWorkflowCachedTest, ClassificationThatResetsAnAccumulatorIsAChange) {
    Do([](zeManager& manager) { train(manager, 30, 60); });
    Do([](zeManager& manager) {
        zeClassifier* const classifier =
            manager.m_physical_tree->get_classifier(node_of(manager, "group0"));
        zeStat_storage& storage = *dynamic_cast<zeStat_matcher&>(*classifier).m_storage;
        storage.profile(0).m_match_value = 2.5;
        storage.m_dirty = true;
    });
    EXPECT_EQ(answers(limited, 31), answers(plain, 31));
    Do([](zeManager& manager) { answers(manager, 32); });
    Do([](zeManager& manager) { learn(manager, 33, 40); });
}

TEST_P(zeWorkflowCachedTest, TrainingOnlyTheRootGivesTheRecordsOfAContainerInMemory) {
    const auto train_root = [](zeManager& manager) {
        zeMemoryCorpus corpus;
        Random_messages(40).add(corpus, 30);
        zeCorpus_view view(&corpus);
        view.add_all_msgs(&manager);
        manager.GetWorkflow()->train(view, true, nullptr, false);
    };
    Do([](zeManager& manager) { train(manager, 41, 30); });
    Do(train_root);
    // The root now knows leaves of other classifiers. Deleting a leaf removes it from the root too.
    Do([](zeManager& manager) {
        zeLogicalTree& tree = *manager.m_logical_tree;
        zeNode* const leaf = manager.m_physical_tree->GetLeafNodes(term(leaf_of(2, 1))).front();
        tree.DelLogicalNode(tree.FindCategory(leaf).id, true);
    });
    read_cached(limited, file.path(), GetParam());
    read_kc(plain, saved(plain));
    Do([](zeManager& manager) {
        zeLogicalTree& tree = *manager.m_logical_tree;
        zeNode* const leaf = manager.m_physical_tree->GetLeafNodes(term(leaf_of(3, 0))).front();
        tree.DelLogicalNode(tree.FindCategory(leaf).id, false);
    });
    EXPECT_EQ(answers(limited, 42), answers(plain, 42));
}

INSTANTIATE_TEST_SUITE_P(Limits, zeWorkflowCachedTest, testing::Values(1U, 2U, 20U));

TEST(zeWorkflowCachedLoadTest, FailureOfALoadIsPassedOnAndKeepsEarlierResults) {
    Cached_desk kc(2);
    const std::string key = kc.key_of(News_desk::kHome);
    kc.manager.m_io->DeleteItem(5);  // the classifier of home
    kc.manager.m_io->FlushCache(false, nullptr);
    const qtPtrLight<zeMsg> msg = MessageBuilder().bag({{"goal", 2.0}}).make();
    msg->add_value("home", mlMessageConverter::kString, "yes");
    const std::string text = "Missing key in index: " + object_key(5);
    zeResult_set results(0.0, -1);

    EXPECT_QTX_ARGS(kc.manager.GetWorkflow()->classify(*msg, results, false, false),
                    AbstractHreclaim, AbstractHreclaim::kWrongKey, text,
                    {kc.file.path(), qtString(key)});

    ASSERT_EQ(results.results.size(), 2U);
    EXPECT_EQ(results.results[0].node, kc.node(News_desk::kDesk));
    EXPECT_EQ(results.results[1].node, kc.node(News_desk::kPress));
    EXPECT_EQ(kc.manager.m_physical_tree.use_count(), 1U);

    std::vector<zeStat_matcher::Concept_score> scores;
    EXPECT_QTX_ARGS(
        kc.manager.GetWorkflow()->classify_concepts(*msg, {kc.node(News_desk::kSport)}, scores),
        AbstractHreclaim, AbstractHreclaim::kWrongKey, text, {kc.file.path(), qtString(key)});
    EXPECT_EQ(kc.manager.m_physical_tree.use_count(), 1U);
}

// The records of the statistical nodes, classifier and model together, by id of the node.
using Models = std::map<unsigned int, std::string>;

Models models_of(zeManager& manager) {
    Kc_items items(saved_plain(manager));
    Models models;
    for (const auto& [id, node] : manager.m_physical_tree->m_nodes) {
        if (node.m_classifier_type == ZE_STAT) {
            // The storage is made before its classifier.
            models[id] =
                items.object(node.m_classifier_id) + items.object(node.m_classifier_id - 1);
        }
    }
    return models;
}

// Interrupts an operation at each poll. Then each model up to the interruption has been changed as
// a whole, and each later one has not been changed. This is so in memory, and in the file after it
// was closed and opened again.
class zeWorkflowCachedInterruptionTest : public testing::Test {
protected:
    zeWorkflowCachedInterruptionTest() {
        zeManager built;
        build(built);
        train(built, 50, 30);
        write_cached(built, file.path());
        m_content = file.content();
        read_cached(manager, file.path(), kLimit);
    }

    template <class Operation>
    void ExpectWholeModels(Operation&& operation) {
        Reset();
        const Models before = models_of(manager);
        Interrupt_at counting(0);
        operation(manager, &counting);
        const Models after = models_of(manager);
        ASSERT_GT(counting.polls, 50);
        std::size_t most_changed = 0;
        for (int poll = 1; poll <= counting.polls; poll += 19) {
            SCOPED_TRACE(poll);
            Reset();
            Interrupt_at progress(poll);
            EXPECT_QTX(operation(manager, &progress), zeWorkflow, 2, "Process interrupted");
            manager.m_progress = nullptr;
            const Models left = models_of(manager);
            const std::size_t changed = CountChanged(left, before, after);
            EXPECT_GE(changed, most_changed);
            most_changed = changed;
            ExpectChildrenAreCategories();
            read_cached(manager, file.path(), kLimit);
            EXPECT_TRUE(models_of(manager) == left);
        }
        EXPECT_GT(most_changed, 3U);
    }

    void Reset() {
        manager.Release();
        file.write(m_content);
        read_cached(manager, file.path(), kLimit);
    }

    static std::size_t CountChanged(const Models& models, const Models& before,
                                    const Models& after) {
        std::size_t changed = 0;
        bool is_end = false;
        for (const auto& [id, model] : models) {
            if (model == after.at(id) && !is_end) {
                ++changed;
            } else {
                is_end = true;
                EXPECT_TRUE(model == before.at(id)) << id;
            }
        }
        return changed;
    }

    void ExpectChildrenAreCategories() {
        for (auto& [id, node] : manager.m_physical_tree->m_nodes) {
            if (node.m_classifier_type == ZE_STAT) {
                zeClassifier& classifier = *manager.m_physical_tree->get_classifier(&node);
                EXPECT_EQ(classifier.category_count(), node.m_children.size());
                for (zeNode* const child : node.m_children) {
                    EXPECT_TRUE(classifier.knows(child));
                    EXPECT_EQ(child->m_parent, &node);
                }
            }
        }
    }

    static constexpr unsigned int kLimit = 2;

    const Stopped_clock clock;
    const Scratch_file file;
    zeManager manager;

private:
    std::string m_content;
};

TEST_F(zeWorkflowCachedInterruptionTest, TrainingLeavesWholeModels) {
    ExpectWholeModels([](zeManager& kc, CTProgress* progress) { train(kc, 51, 25, progress); });
}

TEST_F(zeWorkflowCachedInterruptionTest, LearningLeavesWholeModels) {
    ExpectWholeModels([](zeManager& kc, CTProgress* progress) { learn(kc, 52, 25, progress); });
}

// A change that is in memory only is not lost when a later operation is interrupted.
TEST_F(zeWorkflowCachedInterruptionTest, ChangesBeforeTheOperationRemain) {
    zeManager plain;
    build(plain);
    train(plain, 50, 30);
    learn(plain, 53, 20);
    learn(manager, 53, 20);
    Interrupt_at progress(120);
    EXPECT_QTX(train(manager, 54, 25, &progress), zeWorkflow, 2, "Process interrupted");
    manager.m_progress = nullptr;

    const std::size_t size = node_of(manager, "desk")->m_children.size();
    EXPECT_EQ(size, 2U);
    const auto* const matcher = dynamic_cast<const zeStat_matcher*>(
        manager.m_physical_tree->get_classifier(node_of(manager, "group3")));
    const auto* const expected = dynamic_cast<const zeStat_matcher*>(
        plain.m_physical_tree->get_classifier(node_of(plain, "group3")));
    EXPECT_EQ(matcher->m_storage->m_num_msgs, expected->m_storage->m_num_msgs);
    EXPECT_EQ(matcher->m_storage->m_total_weight, expected->m_storage->m_total_weight);
    EXPECT_TRUE(matcher->m_storage->m_use_likelihood_in_match);
}

}  // namespace
