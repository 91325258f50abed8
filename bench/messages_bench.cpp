// From terms to bags: the dictionary of concepts, the feeder and the bag.
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeSml.h"

#include "bench/synthetic_texts.h"

namespace {

std::vector<std::string> numbered_terms(std::size_t count) {
    std::vector<std::string> terms;
    for (std::size_t i = 0; i < count; ++i) {
        terms.push_back("term" + std::to_string(i));
    }
    return terms;
}

void BM_InsertKnownConcept(benchmark::State& state) {
    const std::vector<std::string> terms = numbered_terms(static_cast<std::size_t>(state.range(0)));
    std::vector<Concept> kept;
    for (const std::string& term : terms) {
        kept.push_back(Concept::insert_view(term));
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Concept::insert_view(terms[next]));
        next = (next + 1) % terms.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_InsertNewConcept(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Concept::insert_view("a term that nobody holds"));
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_FeedBag(benchmark::State& state) {
    const auto length = static_cast<std::size_t>(state.range(0));
    Synthetic_texts texts(20000, 1);
    zeSml_feeder feeder;
    const qtPtrLight<zeSml> source = texts.make(0, length)->smls[0];
    for (const auto& entry : source->m_concepts) {
        feeder.add_concept(entry.m_concept, entry.m_weight);
    }
    for (auto _ : state) {
        const zeSml bag(feeder, 3.0);
        benchmark::DoNotOptimize(bag.m_total_weight);
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(feeder.m_concepts.size()));
}

void BM_ClipBag(benchmark::State& state) {
    Synthetic_texts texts(20000, 1);
    const qtPtrLight<zeSml> bag = texts.make(0, 200)->smls[0];
    for (auto _ : state) {
        benchmark::DoNotOptimize(zeSml::get_clipped_sml(bag, 3.0)->m_total_weight);
    }
}

BENCHMARK(BM_InsertKnownConcept)->Arg(1000)->Arg(100000);
BENCHMARK(BM_InsertNewConcept);
BENCHMARK(BM_FeedBag)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(BM_ClipBag);

}  // namespace
