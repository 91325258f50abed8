// Compares concept_map with std::unordered_map, in the operations of training.
//
// Leaving out a slice of messages erases many entries and adds them again. BM_EraseAndEnterAgain
// does this for one entry in ten, as with ten slices.
#include "zandrel/foundation/Concept.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/foundation/concept_map.h"

namespace {

struct Value {
    double weight = 0.0;
    std::uint32_t number = 0;
};

using Ours = zandrel::concept_map<Value>;
using Standard = std::unordered_map<Concept, Value, ConceptHash>;

std::vector<Concept> numbered_concepts(std::size_t count) {
    std::vector<Concept> concepts;
    concepts.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        concepts.push_back(Concept::insert_view("term" + std::to_string(i)));
    }
    return concepts;
}

template <class Table>
void enter_all(Table& table, const std::vector<Concept>& concepts) {
    for (const Concept& each : concepts) {
        table.try_emplace(each).first->second.weight += 1.0;
    }
}

template <class Table>
void BM_EnterNew(benchmark::State& state) {
    const std::vector<Concept> concepts =
        numbered_concepts(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        Table table;
        enter_all(table, concepts);
        benchmark::DoNotOptimize(table.size());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Table>
void BM_LookUp(benchmark::State& state) {
    const std::vector<Concept> concepts =
        numbered_concepts(static_cast<std::size_t>(state.range(0)));
    Table table;
    enter_all(table, concepts);
    for (auto _ : state) {
        double sum = 0.0;
        for (const Concept& each : concepts) {
            sum += table.find(each)->second.weight;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Table>
void BM_EraseAndEnterAgain(benchmark::State& state) {
    const std::vector<Concept> concepts =
        numbered_concepts(static_cast<std::size_t>(state.range(0)));
    Table table;
    enter_all(table, concepts);
    for (auto _ : state) {
        for (std::size_t i = 0; i < concepts.size(); i += 10) {
            table.erase(table.find(concepts[i]));
        }
        for (std::size_t i = 0; i < concepts.size(); i += 10) {
            table.try_emplace(concepts[i]).first->second.weight += 1.0;
        }
    }
    state.SetItemsProcessed(state.iterations() * (state.range(0) / 10));
}

template <class Table>
void BM_Walk(benchmark::State& state) {
    Table table;
    enter_all(table, numbered_concepts(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        double sum = 0.0;
        for (const auto& [known, value] : table) {
            sum += value.weight;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Looks concepts up with a correct guess of their place, as when a slice is added again.
void BM_LookUpWithGuess(benchmark::State& state) {
    const std::vector<Concept> concepts =
        numbered_concepts(static_cast<std::size_t>(state.range(0)));
    Ours table;
    enter_all(table, concepts);
    for (auto _ : state) {
        double sum = 0.0;
        Ours::Position guess = 0;
        for (const Concept& each : concepts) {
            sum += table.find(each, guess++)->second.weight;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

constexpr std::int64_t kSmall = 1000;
constexpr std::int64_t kLarge = 200000;

BENCHMARK_TEMPLATE(BM_EnterNew, Ours)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_EnterNew, Standard)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_LookUp, Ours)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_LookUp, Standard)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_EraseAndEnterAgain, Ours)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_EraseAndEnterAgain, Standard)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_Walk, Ours)->Arg(kSmall)->Arg(kLarge);
BENCHMARK_TEMPLATE(BM_Walk, Standard)->Arg(kSmall)->Arg(kLarge);
BENCHMARK(BM_LookUpWithGuess)->Arg(kSmall)->Arg(kLarge);

}  // namespace
