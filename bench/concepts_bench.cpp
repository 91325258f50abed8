// The dictionary of concepts: finding terms and adding new ones.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/foundation/Concept.h"

namespace {

std::vector<qtString> numbered_terms(std::size_t count) {
    std::vector<qtString> terms;
    for (std::size_t i = 0; i < count; ++i) {
        terms.emplace_back("term" + std::to_string(i));
    }
    return terms;
}

std::vector<Concept> insert_all(const std::vector<qtString>& terms) {
    std::vector<Concept> kept;
    kept.reserve(terms.size());
    for (const qtString& term : terms) {
        kept.push_back(Concept::insert(term));
    }
    return kept;
}

std::size_t term_count(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

void count_terms(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_InsertKnownTerms(benchmark::State& state) {
    const std::vector<qtString> terms = numbered_terms(term_count(state));
    const std::vector<Concept> kept = insert_all(terms);
    for (auto _ : state) {
        for (const qtString& term : terms) {
            benchmark::DoNotOptimize(Concept::insert(term));
        }
    }
    count_terms(state);
}

// Measures the same with the operation that looks up many terms together.
void BM_InsertKnownTermsTogether(benchmark::State& state) {
    const std::vector<qtString> terms = numbered_terms(term_count(state));
    const std::vector<Concept> kept = insert_all(terms);
    std::vector<std::string_view> views;
    for (const qtString& term : terms) {
        views.push_back(term.view());
    }
    std::vector<Concept> found(terms.size());
    for (auto _ : state) {
        Concept::insert_views(views, found.data());
        benchmark::DoNotOptimize(found.data());
    }
    count_terms(state);
}

// Each term gets a record. Removing the records is not measured.
void BM_InsertNewTerms(benchmark::State& state) {
    const std::vector<qtString> terms = numbered_terms(term_count(state));
    for (auto _ : state) {
        std::vector<Concept> kept = insert_all(terms);
        benchmark::DoNotOptimize(kept.data());
        state.PauseTiming();
        kept.clear();
        state.ResumeTiming();
    }
    count_terms(state);
}

// The cost of looking up a term that is not in the dictionary.
void BM_InsertAndDropOneTerm(benchmark::State& state) {
    const qtString term("a term that nobody holds");
    for (auto _ : state) {
        benchmark::DoNotOptimize(Concept::insert(term));
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_InsertKnownTerms)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_InsertKnownTermsTogether)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_InsertNewTerms)->Arg(1000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_InsertAndDropOneTerm);

}  // namespace
