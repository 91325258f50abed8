// Classifying with many categories, by their number and by the number of results.
#include <cstddef>
#include <cstdint>
#include <string>

#include <benchmark/benchmark.h>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/messages/zeCorpus_view.h"
#include "zandrel/messages/zeMsg.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace {

constexpr std::size_t kVocabulary = 20000;
constexpr std::size_t kCommonWords = 20;  // each counts in every category
constexpr std::size_t kOwnWords = 50;     // of a category

Concept word(std::size_t number) {
    return Concept::insert("word" + std::to_string(number % kVocabulary));
}

// A root with `count` categories, whose weights are set and not learned, and a message of 20 words,
// half of them common words.
struct Many_categories {
    explicit Many_categories(std::size_t count) {
        manager.m_root = make_node("root", ZE_STAT);
        manager.m_root->m_flags = zeNode::NoScore;
        zeStat_storage& storage = *matcher().m_storage;
        storage.m_num_msgs = static_cast<int>(10 * count);
        for (std::size_t i = 0; i < count; ++i) {
            bool added = false;
            storage.get_or_add_profile(make_node("label" + std::to_string(i), ZE_LEAF), added);
            zeStat_storage::Profile& profile = *storage.m_profiles.back();
            profile.m_num_msgs = 10;
            profile.m_M = -1.0 - static_cast<double>(i % 97) / 97;
            profile.m_likelihood_age = 100;
            for (std::size_t k = 0; k < Zandrel::LIKELIHOOD_SIZE; ++k) {
                profile.m_likelihood[k] = static_cast<double>(k + i % 3) / 33;
            }
            for (std::size_t k = 0; k < kCommonWords; ++k) {
                profile.m_weights.push_back({word(k), static_cast<float>((i + k) % 13) / 13});
            }
            for (std::size_t k = 0; k < kOwnWords; ++k) {
                profile.m_weights.push_back({word(kCommonWords + i * 31 + k * 7), 1.0F});
            }
        }
        matcher().feed(storage, true);
        zeSml_feeder feeder;
        for (std::size_t k = 0; k < 10; ++k) {
            feeder.add_concept(word(k), 1.0);
            feeder.add_concept(word(kCommonWords + k * 7), 1.0);
        }
        msg.smls[0] = qtPtrLight<zeSml>(new zeSml(feeder, 0.0));
    }

    zeNode* make_node(const std::string& name, unsigned char type) {
        return manager.m_physical_tree->MakeNode(Concept::insert(name), type, 0, 0.0);
    }

    zeStat_matcher& matcher() {
        return dynamic_cast<zeStat_matcher&>(*manager.m_root->m_classifier);
    }

    zeManager manager;
    zeMsg msg;
};

// Argument: number of categories. Computes the scores of all categories, without sorting them.
void BM_ScoreAllCategories(benchmark::State& state) {
    Many_categories categories(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        zeResult_set results(0.0, -1);
        categories.matcher().classify(categories.msg, results, 1.0, false);
        benchmark::DoNotOptimize(results.results.data());
    }
    state.SetComplexityN(state.range(0));
}

// Arguments: number of categories, and number of wanted results (-1: all). Classifies a message
// from the root down.
void BM_WalkForTheBest(benchmark::State& state) {
    Many_categories categories(static_cast<std::size_t>(state.range(0)));
    zeWorkflow workflow(&categories.manager);
    for (auto _ : state) {
        zeResult_set results(0.0, static_cast<int>(state.range(1)));
        workflow.classify(categories.msg, results, true, false);
        benchmark::DoNotOptimize(results.get_result(0).score);
    }
}

// Argument: number of categories. Enters the scores of one message in the histograms, as the
// likelihood pass does for each message.
void BM_EnterInHistograms(benchmark::State& state) {
    Many_categories categories(static_cast<std::size_t>(state.range(0)));
    zeCorpus_view view;
    view.add_msg(0);
    view.add_cat2msg(0, categories.matcher().m_storage->profile(0).m_node);
    for (auto _ : state) {
        categories.matcher().classify(categories.msg, view, view.msgs.cbegin());
    }
    state.SetComplexityN(state.range(0));
}

// Argument: number of categories. Compiles the table with which messages are matched.
void BM_CompileTable(benchmark::State& state) {
    Many_categories categories(static_cast<std::size_t>(state.range(0)));
    zandrel::detail::Match_table table;
    zeStat_storage& storage = *categories.matcher().m_storage;
    for (std::size_t i = 0; i < storage.m_profiles.size(); ++i) {
        for (std::size_t k = 0; k < kOwnWords; ++k) {
            storage.m_profiles[i]->m_weights.push_back({word(i * 31 + k * 7), 1.0F});
        }
    }
    for (auto _ : state) {
        table.compile(storage.m_profiles);
    }
    state.SetComplexityN(state.range(0));
}

BENCHMARK(BM_ScoreAllCategories)
    ->Arg(10)
    ->Arg(150)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WalkForTheBest)
    ->Args({10, 1})
    ->Args({150, 1})
    ->Args({1000, 1})
    ->Args({10000, 1})
    ->Args({1000, 10})
    ->Args({1000, 100})
    ->Args({1000, -1})
    ->Args({10000, -1})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EnterInHistograms)
    ->Arg(10)
    ->Arg(150)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CompileTable)->Arg(10)->Arg(150)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
