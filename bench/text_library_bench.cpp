// Texts per second through the public Classifier, with one and two threads, against the walk of the
// engine (Text_model::rank), which the program uses. `cpu_per_text` is the CPU time of all threads.
//
// zandrel_text_library_bench --benchmark_repetitions=9 --benchmark_report_aggregates_only=true
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/text/Classifier.h"
#include "zandrel/text/Records.h"

#include "text/kc/Stored_model.h"
#include "text/model/Text_model.h"

namespace {

struct Shop {
    Shop()
        : path(std::filesystem::temp_directory_path() /
               ("zandrel_text_library_bench." + std::to_string(::getpid()) + ".kc")) {
        zandrel::Records records = zandrel::Records::open(ZANDREL_BENCH_SHOP);
        for (zandrel::Example example; records.next(example);) {
            texts.push_back(example.text);
            examples.push_back(example);
        }
        zandrel::Classifier::train(examples).save(path);
    }

    ~Shop() { std::filesystem::remove(path); }

    std::string path;
    std::vector<std::string> texts;
    std::vector<zandrel::Example> examples;
};

const Shop& shop() {
    static const Shop shop;
    return shop;
}

void count_texts(benchmark::State& state, std::size_t texts) {
    const auto all = state.iterations() * static_cast<std::int64_t>(texts);
    state.SetItemsProcessed(all);
    state.counters["cpu_per_text"] = benchmark::Counter(
        static_cast<double>(all), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_Engine(benchmark::State& state) {
    const std::unique_ptr<zandrel::Text_model> model =
        zandrel::read_model_to_classify(shop().path, {}, nullptr);
    for (auto _ : state) {
        for (const std::string& text : shop().texts) {
            benchmark::DoNotOptimize(model->rank(text, 1));
        }
    }
    count_texts(state, shop().texts.size());
}

void BM_Classifier(benchmark::State& state) {
    const zandrel::Classifier classifier = zandrel::Classifier::open(shop().path);
    const auto classify_all = [&classifier] {
        for (const std::string& text : shop().texts) {
            benchmark::DoNotOptimize(classifier.classify(text));
        }
    };
    constexpr int kRounds = 10;  // so that starting the threads takes no time to speak of
    const auto thread_count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (std::size_t i = 1; i < thread_count; ++i) {
            threads.emplace_back([&classify_all] {
                for (int round = 0; round < kRounds; ++round) {
                    classify_all();
                }
            });
        }
        for (int round = 0; round < kRounds; ++round) {
            classify_all();
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    count_texts(state, kRounds * thread_count * shop().texts.size());
}

}  // namespace

BENCHMARK(BM_Engine)->MeasureProcessCPUTime()->UseRealTime();
BENCHMARK(BM_Classifier)->Arg(1)->Arg(2)->MeasureProcessCPUTime()->UseRealTime();
