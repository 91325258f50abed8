// Training that runs out of memory. Afterwards the container must be usable, without pointers to
// deleted objects.
#include "zandrel/classification/zeWorkflow.h"

#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeLogicalTree.h"

#include "tests/support/cached_container.h"
#include "tests/support/failing_new.h"
#include "tests/support/kc_file.h"
#include "tests/support/news_desk.h"
#include "tests/support/progress_log.h"
#include "tests/support/scratch_file.h"
#include "tests/support/trained_tree.h"

namespace {

using testing::ElementsAre;

std::set<const zeNode*> nodes_of(const Trained_tree& tree) {
    std::set<const zeNode*> nodes;
    for (const auto& [id, node] : tree.manager.m_physical_tree->m_nodes) {
        nodes.insert(&node);
    }
    return nodes;
}

// Every pointer to a node is null or points to a node of the tree.
void expect_known_nodes(Trained_tree& tree) {
    const std::set<const zeNode*> known = nodes_of(tree);
    for (const zeNode* node : known) {
        EXPECT_TRUE(node->m_parent == nullptr || known.count(node->m_parent) == 1);
        for (const zeNode* child : node->m_children) {
            EXPECT_EQ(known.count(child), 1U);
        }
    }
    for (zeNode* node : {tree.root, tree.news, tree.shop}) {
        for (const auto& profile : tree.storage(node).m_profiles) {
            EXPECT_EQ(known.count(profile->m_node), 1U);
        }
    }
    for (const auto& [id, mirror] : tree.manager.m_logical_tree->nodes) {
        EXPECT_EQ(known.count(mirror.physical_node), 1U);
    }
}

void expect_to_be_of_use(Trained_tree& tree) {
    EXPECT_EQ(tree.manager.m_physical_tree.use_count(), 1U);
    EXPECT_EQ(tree.manager.m_logical_tree.use_count(), 1U);
    expect_known_nodes(tree);
    tree.manager.m_progress = nullptr;
    zeWorkflow workflow(&tree.manager);
    zeResult_set results(0.0, -1);
    const qtPtrLight<zeMsg> msg = Trained_tree::message({{"goal", 1.0}}).make();
    EXPECT_NO_THROW(workflow.classify(*msg, results, false, false));
    // Clearing a classifier links its children again, so the second call clears the children too.
    workflow.clear_statistics(nullptr, nullptr);
    workflow.clear_statistics(nullptr, nullptr);
    tree.make_corpus();
    workflow.train(tree.corpus.view, false, nullptr, false);
    EXPECT_THAT(tree.all_msgs(), ElementsAre(3, 2, 1));
}

// Lets each allocation of an operation fail in turn, each time with a new tree.
template <class Operation>
void expect_to_survive(Operation operation) {
    bool fails = true;
    unsigned int index = 0;
    for (; fails; ++index) {
        SCOPED_TRACE(index);
        Trained_tree tree;
        operation(tree);  // allocates everything that is made only once in a process
        Trained_tree fresh;
        fails = fails_at(index, [&] { operation(fresh); });
        expect_to_be_of_use(fresh);
    }
    EXPECT_GT(index, 5U);
}

// The records of the statistical nodes, classifier and model together, by id of the node.
std::map<unsigned int, std::string> stored_models(zeManager& manager) {
    Kc_items items(saved_plain(manager));
    std::map<unsigned int, std::string> models;
    for (const auto& [id, node] : manager.m_physical_tree->m_nodes) {
        if (node.m_classifier_type == ZE_STAT) {
            models[id] =
                items.object(node.m_classifier_id) + items.object(node.m_classifier_id - 1);
        }
    }
    return models;
}

// Lets allocations of an operation fail in turn while one classifier is in memory, each time in the
// same file. Afterwards each model is the one before or after the operation, or the file was being
// changed at that moment and is refused.
template <class Operation>
void expect_whole_models(Operation operation) {
    constexpr unsigned int kStep = 23;
    const Stopped_clock clock;
    const Scratch_file file;
    Trained_desk trained;
    write_cached(trained.manager, file.path());
    const std::string content = file.content();
    zeManager manager;
    News_desk desk(manager);
    read_cached(manager, file.path(), 1);
    const auto before = stored_models(manager);
    operation(desk);
    const auto after = stored_models(manager);
    EXPECT_FALSE(before == after);
    int whole_count = 0;
    bool has_failed = true;
    for (unsigned int index = 0; has_failed; index += kStep) {
        SCOPED_TRACE(index);
        manager.Release();
        file.write(content);
        read_cached(manager, file.path(), 1);
        has_failed = fails_at(index, [&] { operation(desk); });
        manager.m_progress = nullptr;
        manager.Release();
        try {
            read_cached(manager, file.path(), 1);
        } catch (const qtX<zeIO>& refusal) {
            EXPECT_EQ(refusal.number(), 8);
            continue;
        }
        ++whole_count;
        for (const auto& [id, model] : stored_models(manager)) {
            EXPECT_TRUE(model == before.at(id) || model == after.at(id)) << id;
        }
    }
    EXPECT_GT(whole_count, 5);
}

TEST(zeWorkflowMemoryTest, TrainingWithOneClassifierInMemoryLeavesWholeModels) {
    expect_whole_models([](News_desk& desk) { desk.Train(); });
}

TEST(zeWorkflowMemoryTest, LearningWithOneClassifierInMemoryLeavesWholeModels) {
    expect_whole_models([](News_desk& desk) { desk.Learn(); });
}

TEST(zeWorkflowMemoryTest, TrainingFailsSafelyAtEachAllocation) {
    expect_to_survive([](Trained_tree& tree) {
        zeWorkflow(&tree.manager).train(tree.corpus.view, false, nullptr, false);
    });
}

TEST(zeWorkflowMemoryTest, BootstrappingFailsSafelyAtEachAllocation) {
    expect_to_survive([](Trained_tree& tree) {
        zeWorkflow(&tree.manager).bootstrap(tree.corpus.view, false, nullptr, false);
    });
}

TEST(zeWorkflowMemoryTest, LearningFailsSafelyAtEachAllocation) {
    expect_to_survive([](Trained_tree& tree) {
        zeWorkflow(&tree.manager).learn(tree.corpus.view, nullptr, false, true);
    });
}

TEST(zeWorkflowMemoryTest, TrainingOnlyTheRootFailsSafelyAtEachAllocation) {
    expect_to_survive([](Trained_tree& tree) {
        for (zeCorpus_view::Msg& msg : tree.corpus.view.msgs) {
            msg.cats.front() = msg.cats.front()->m_parent;
        }
        zeWorkflow(&tree.manager).train(tree.corpus.view, true, nullptr, false);
    });
}

TEST(zeWorkflowMemoryTest, ClearingFailsSafelyAtEachAllocation) {
    expect_to_survive(
        [](Trained_tree& tree) { zeWorkflow(&tree.manager).clear_statistics(nullptr, nullptr); });
}

}  // namespace
