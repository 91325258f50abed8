// Classifying with a container in cached form, compared with everything in memory. There are 200
// statistical classifiers below a root with rules. A text visits one of them.
//
// - uniform: each classifier is needed equally often. With a bound of 20, nine of ten visits load a
//   classifier from the file.
// - skewed: by Zipf's law. The 20 most frequent classifiers have 61 % of the visits.
//
// The counter `misses` is the number of loads for each text.
#include <cstddef>
#include <cstdint>

#include <benchmark/benchmark.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zePhysicalTree.h"

#include "bench/desks.h"

namespace {

constexpr std::size_t kDesks = 200;
constexpr std::size_t kTexts = 2000;

Desks& desks() {
    static Desks instance(kDesks);
    return instance;
}

// Arguments: the bound (0: everything in memory) and 1 for skewed use.
void BM_Classify(benchmark::State& state) {
    zeManager manager;
    desks().Read(manager, static_cast<unsigned int>(state.range(0)));
    const auto texts = desks().DrawTexts(kTexts, state.range(1) == 1);
    zeWorkflow workflow(&manager);
    const auto classify = [&workflow](zeMsg& text) {
        zeResult_set results(0.0, 1);
        workflow.classify(text, results, true, false);
        benchmark::DoNotOptimize(results.count());
    };
    for (const qtPtrLight<zeMsg>& text : texts) {
        classify(*text);  // fills the cache
    }
    const unsigned int misses_before = g_MissedCacheCount;
    std::size_t next = 0;
    for (auto _ : state) {
        classify(*texts[next++ % texts.size()]);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["misses"] = static_cast<double>(g_MissedCacheCount - misses_before) /
                               static_cast<double>(state.iterations());
}

void forms(benchmark::internal::Benchmark* bench) {
    for (const std::int64_t is_skewed : {1, 0}) {
        for (const std::int64_t bound : {0, 200, 20}) {
            bench->Args({bound, is_skewed});
        }
    }
}

BENCHMARK(BM_Classify)->ArgNames({"bound", "skewed"})->Apply(forms)->Unit(benchmark::kMicrosecond);

// Opening a container until it can answer.
void BM_Open(benchmark::State& state) {
    for (auto _ : state) {
        zeManager manager;
        desks().Read(manager, static_cast<unsigned int>(state.range(0)));
        state.PauseTiming();
        manager.Release();
        state.ResumeTiming();
    }
}

BENCHMARK(BM_Open)->ArgName("bound")->Arg(0)->Arg(20)->Unit(benchmark::kMillisecond);

}  // namespace
