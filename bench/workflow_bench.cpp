// Training a whole tree: only the distribution of the corpus, and the whole training.
#include <cstddef>
#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMemoryCorpus.h"
#include "zandrel/statistics/zeStat_matcher.h"

#include "bench/synthetic_texts.h"

namespace {

constexpr std::size_t kTextLength = 100;

zeNode* make_node(zeManager& manager, const std::string& name, unsigned int type) {
    return manager.m_physical_tree->MakeNode(Concept::insert(name), type, 0, 0.0);
}

void add_by_rule(zeNode* parent, zeNode* child) {
    dynamic_cast<zeSwitcher&>(*parent->m_classifier).add_rule(child, "1");
}

zeStat_matcher& matcher_of(zeNode* node) {
    return dynamic_cast<zeStat_matcher&>(*node->m_classifier);
}

// A chain of rule nodes. The children of each are the next rule node and a statistical node with
// one leaf. Every message belongs to the lowest leaf. The distribution walks up from it over all
// levels, and down again from each level.
struct Deep_tree {
    Deep_tree(std::size_t levels, bool propagates) {
        manager.m_config.full_propogation = propagates;
        zeNode* rule = make_node(manager, "rule", ZE_RULE);
        manager.m_root = rule;
        zeNode* leaf = nullptr;
        for (std::size_t level = 0; level < levels; ++level) {
            zeNode* stat = make_node(manager, "stat", ZE_STAT);
            leaf = make_node(manager, "leaf" + std::to_string(level), ZE_LEAF);
            matcher_of(stat).add_cat(leaf);
            add_by_rule(rule, stat);
            zeNode* next = make_node(manager, "rule", ZE_RULE);
            add_by_rule(rule, next);
            rule = next;
        }
        view.set_corpus(&corpus);
        for (int i = 0; i < kMessages; ++i) {
            qtPtrLight<zeMsg> msg(new zeMsg);
            corpus.add_msg(msg);
            view.add_msg(i);
            view.add_cat2msg(i, leaf);
        }
    }

    static constexpr int kMessages = 100;

    zeManager manager;
    zeMemoryCorpus corpus;
    zeCorpus_view view;
};

void distribute_deep(benchmark::State& state, bool propagates) {
    Deep_tree tree(static_cast<std::size_t>(state.range(0)), propagates);
    zeWorkflow workflow(&tree.manager);
    for (auto _ : state) {
        zeWorkflow::Distribution distribution(zandrel::kInitialBuckets);
        workflow.distribute_corpus(distribution, tree.view, false);
        benchmark::DoNotOptimize(distribution);
    }
    state.SetItemsProcessed(state.iterations() * Deep_tree::kMessages);
}

void BM_DistributeUpADeepTree(benchmark::State& state) {
    distribute_deep(state, false);
}

void BM_DistributeUpAndDownADeepTree(benchmark::State& state) {
    distribute_deep(state, true);
}

// A statistical root over statistical nodes of 15 leaves each.
struct Two_levels {
    static constexpr std::size_t kLeaves = 150;
    static constexpr std::size_t kLeavesOfANode = 15;
    static constexpr std::size_t kMessages = 3000;

    Two_levels() : texts(20000, kLeaves) {
        manager.m_defaults.use_likelihood_in_train = false;
        manager.m_root = make_node(manager, "root", ZE_STAT);
        zeNode* node = nullptr;
        for (std::size_t i = 0; i < kLeaves; ++i) {
            if (i % kLeavesOfANode == 0) {
                node = make_node(manager, "node" + std::to_string(i), ZE_STAT);
                matcher_of(manager.m_root).add_cat(node);
            }
            zeNode* leaf = make_node(manager, "label" + std::to_string(i), ZE_LEAF);
            matcher_of(node).add_cat(leaf);
        }
        texts.fill(corpus, kMessages, kTextLength);
        view.set_corpus(&corpus);
        view.add_all_msgs(&manager);
    }

    Synthetic_texts texts;
    zeManager manager;
    zeMemoryCorpus corpus;
    zeCorpus_view view;
};

void BM_DistributeTwoLevels(benchmark::State& state) {
    Two_levels tree;
    zeWorkflow workflow(&tree.manager);
    for (auto _ : state) {
        zeWorkflow::Distribution distribution(zandrel::kInitialBuckets);
        workflow.distribute_corpus(distribution, tree.view, false);
        benchmark::DoNotOptimize(distribution);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(Two_levels::kMessages));
}

void BM_TrainTwoLevels(benchmark::State& state) {
    Two_levels tree;
    zeWorkflow workflow(&tree.manager);
    for (auto _ : state) {
        workflow.clear_statistics(nullptr, nullptr);
        workflow.train(tree.view, false, nullptr, false);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(Two_levels::kMessages));
}

void BM_ClearTwoLevels(benchmark::State& state) {
    Two_levels tree;
    zeWorkflow workflow(&tree.manager);
    for (auto _ : state) {
        state.PauseTiming();
        workflow.train(tree.view, false, nullptr, false);
        state.ResumeTiming();
        workflow.clear_statistics(nullptr, nullptr);
    }
}

BENCHMARK(BM_DistributeUpADeepTree)->Arg(4)->Arg(64)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DistributeUpAndDownADeepTree)->Arg(4)->Arg(16)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DistributeTwoLevels)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TrainTwoLevels)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClearTwoLevels)->Unit(benchmark::kMillisecond);

}  // namespace
