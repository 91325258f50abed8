// The likelihood pass, phase by phase, and incremental learning.
#include <benchmark/benchmark.h>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_diet_learner.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "bench/trainable.h"

namespace {

constexpr std::size_t kVocabulary = 20000;
constexpr std::size_t kLabels = 20;
constexpr std::size_t kMessages = 2000;

void train(benchmark::State& state, bool builds_tables) {
    Trainable trainable(kVocabulary, kLabels, kMessages);
    zeStat_storage& storage = *trainable.matcher().m_storage;
    storage.set_use_train_likelihood(builds_tables);
    for (auto _ : state) {
        storage.create_skeleton();
        trainable.matcher().train(trainable.view);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kMessages));
}

void BM_TrainWithoutTables(benchmark::State& state) {
    train(state, false);
}

void BM_TrainWithTenSlices(benchmark::State& state) {
    train(state, true);
}

// The phases of a pass with ten slices, each for the whole corpus. Every message is removed and
// added again once, and matched once; features are selected once for each slice.

struct Pass {
    Pass() : trainer(*trainable.matcher().m_storage) {
        trainable.matcher().m_storage->set_use_train_likelihood(true);
        trainer.m_view = &trainable.view;
        for (unsigned int i = 0; i < trainable.view.msgs.size(); ++i) {
            trainer.m_msg_indices.push_back(i);
        }
        trainer.calculate_corpus(trainer.m_msg_indices, false);
    }

    Trainable trainable{kVocabulary, kLabels, kMessages};
    zeStat_trainer trainer;
};

void BM_PassCounting(benchmark::State& state) {
    Pass pass;
    for (auto _ : state) {
        pass.trainer.calculate_corpus(pass.trainer.m_msg_indices, true);
        pass.trainer.calculate_corpus(pass.trainer.m_msg_indices, false);
    }
}

void BM_PassSelection(benchmark::State& state) {
    Pass pass;
    for (auto _ : state) {
        for (int slice = 0; slice < 10; ++slice) {
            pass.trainer.calculate_feature_selection();
        }
    }
}

void BM_PassMatching(benchmark::State& state) {
    Pass pass;
    zeStat_matcher matcher(nullptr, nullptr, *pass.trainable.matcher().m_storage, false);
    pass.trainer.m_matcher = &matcher;
    pass.trainer.m_model_is_matched = true;
    for (auto _ : state) {
        pass.trainer.match_msgs_for_likelihood(pass.trainer.m_msg_indices);
    }
}

void BM_PassTables(benchmark::State& state) {
    Pass pass;
    for (auto _ : state) {
        pass.trainer.calculate_likelihood_from_results();
    }
}

// A bulk of 100 messages into a model of many categories, each with ten messages.
void BM_Learn100(benchmark::State& state) {
    const auto labels = static_cast<std::size_t>(state.range(0));
    Trainable trainable(kVocabulary, labels, 10 * labels);
    trainable.matcher().m_storage->set_use_train_likelihood(true);
    trainable.matcher().train(trainable.view);
    zeMemoryCorpus corpus;
    trainable.texts.fill(corpus, 100, 100);
    zeCorpus_view bulk(&corpus);
    bulk.add_all_msgs(&trainable.manager);
    for (auto _ : state) {
        trainable.matcher().learn(bulk, true);
    }
    state.SetItemsProcessed(state.iterations() * 100);
}

// Removing 100 messages and adding them again. The cost depends only on their bags, not on the
// model.
void BM_LeaveOut100(benchmark::State& state) {
    const auto labels = static_cast<std::size_t>(state.range(0));
    Trainable trainable(kVocabulary, labels, 10 * labels);
    zeStat_trainer trainer(*trainable.matcher().m_storage);
    trainer.train(trainable.view, false);
    trainer.m_msg_indices.resize(100);
    for (auto _ : state) {
        trainer.calculate_corpus(trainer.m_msg_indices, true);
        trainer.calculate_corpus(trainer.m_msg_indices, false);
    }
    state.SetItemsProcessed(state.iterations() * 200);
}

BENCHMARK(BM_TrainWithoutTables)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TrainWithTenSlices)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PassCounting)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PassSelection)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PassMatching)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PassTables)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Learn100)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LeaveOut100)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
