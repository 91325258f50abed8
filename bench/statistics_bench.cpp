// One statistical classifier: counting, feature selection, scoring against many categories.
#include <benchmark/benchmark.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_trainer.h"

#include "bench/trainable.h"

namespace {

void BM_CountMessages(benchmark::State& state) {
    Trainable trainable(20000, static_cast<std::size_t>(state.range(0)), 2000);
    for (auto _ : state) {
        trainable.matcher().m_storage->create_skeleton();
        zeStat_trainer trainer(*trainable.matcher().m_storage);
        trainer.train(trainable.view, false);
    }
    state.SetItemsProcessed(state.iterations() * 2000);
}

void BM_RemoveAndAddMessages(benchmark::State& state) {
    Trainable trainable(20000, 20, 2000);
    zeStat_trainer trainer(*trainable.matcher().m_storage);
    trainer.train(trainable.view, false);
    for (auto _ : state) {
        trainer.calculate_corpus(trainer.m_msg_indices, true);
        trainer.calculate_corpus(trainer.m_msg_indices, false);
    }
    state.SetItemsProcessed(state.iterations() * 4000);
}

// Arguments: number of concepts of the model, and number of categories. Every concept occurs in the
// model. Each selection but the first uses what the selection before it has kept.
void BM_SelectFeatures(benchmark::State& state) {
    Trainable trainable(static_cast<std::size_t>(state.range(0)),
                        static_cast<std::size_t>(state.range(1)), 4000);
    trainable.texts.cover_vocabulary(trainable.corpus, Trainable::kTextLength);
    trainable.view.add_all_msgs(&trainable.manager);
    zeStat_trainer trainer(*trainable.matcher().m_storage);
    trainer.train(trainable.view, false);
    for (auto _ : state) {
        trainer.calculate_feature_selection();
    }
    state.counters["concepts"] =
        static_cast<double>(trainable.matcher().m_storage->m_concept_infos.size());
}

// Argument: number of categories. Each selection begins without what an earlier one has kept, as
// after a clear.
void BM_SelectFeaturesAnew(benchmark::State& state) {
    Trainable trainable(20000, static_cast<std::size_t>(state.range(0)), 4000);
    zeStat_storage& storage = *trainable.matcher().m_storage;
    zeStat_trainer trainer(storage);
    trainer.train(trainable.view, false);
    for (auto _ : state) {
        state.PauseTiming();
        for (const auto& profile : storage.m_profiles) {
            for (auto& [known, P] : profile->m_Ps) {
                P.m_selected = 0;
            }
        }
        state.ResumeTiming();
        trainer.calculate_feature_selection();
    }
}

// Argument: number of categories.
void BM_MatchMessage(benchmark::State& state) {
    Trainable trainable(20000, static_cast<std::size_t>(state.range(0)), 4000);
    trainable.matcher().train(trainable.view);
    const qtPtrLight<zeMsg> msg = trainable.texts.make(3, Trainable::kTextLength);
    for (auto _ : state) {
        zeResult_set results(0.0, 1);
        trainable.matcher().classify(*msg, results, 1.0, false);
        benchmark::DoNotOptimize(results.get_result(0).score);
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_CountMessages)->Arg(20)->Arg(200)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RemoveAndAddMessages)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SelectFeatures)
    ->Args({1000, 20})
    ->Args({20000, 20})
    ->Args({200000, 20})
    ->Args({20000, 10})
    ->Args({20000, 100})
    ->Args({20000, 1000})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SelectFeaturesAnew)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MatchMessage)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
