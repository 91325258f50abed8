// Messages: from terms to bags, and their record.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/messages/zeMsg.h"
#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

#include "bench/synthetic_texts.h"

namespace {

constexpr std::size_t kVocabulary = 20000;
constexpr int kPairCount = 20;

std::size_t text_length(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0));
}

// The work for each text: adding its words one by one and making the bag.
void BM_FeedText(benchmark::State& state) {
    Synthetic_texts texts(kVocabulary, 1);
    const std::vector<Concept> words = texts.draw(0, text_length(state));
    zeSml_feeder feeder;
    for (auto _ : state) {
        feeder.clear();
        for (const Concept& word : words) {
            feeder.add_concept(word, 1.0);
        }
        const zeSml bag(feeder, 0.0);
        benchmark::DoNotOptimize(bag.m_total_weight);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Measures only the making of the bag, with a clip value.
void BM_MakeBag(benchmark::State& state) {
    Synthetic_texts texts(kVocabulary, 1);
    zeSml_feeder feeder;
    for (const Concept& word : texts.draw(0, text_length(state))) {
        feeder.add_concept(word, 1.0);
    }
    for (auto _ : state) {
        const zeSml bag(feeder, 3.0);
        benchmark::DoNotOptimize(bag.m_total_weight);
    }
    state.SetItemsProcessed(state.iterations() *
                            static_cast<std::int64_t>(feeder.m_concepts.size()));
}

void BM_ClipBag(benchmark::State& state) {
    Synthetic_texts texts(kVocabulary, 1);
    const qtPtrLight<zeSml> bag = texts.make(0, 200)->smls[0];
    for (auto _ : state) {
        benchmark::DoNotOptimize(zeSml::get_clipped_sml(bag, 3.0)->m_total_weight);
    }
}

// A labelled message with `length` words, and with name/value pairs.
qtPtrLight<zeMsg> make_message(std::size_t length) {
    Synthetic_texts texts(kVocabulary, 1);
    qtPtrLight<zeMsg> msg = texts.make(0, length);
    for (int i = 0; i < kPairCount; ++i) {
        msg->add_value("key" + std::to_string(i), mlMessageConverter::kString, "a value");
    }
    return msg;
}

void BM_DumpMessage(benchmark::State& state) {
    const qtPtrLight<zeMsg> msg = make_message(text_length(state));
    std::int64_t byte_count = 0;
    for (auto _ : state) {
        SegBuf buffer;
        Hio<Generic32> io(new HSegment(buffer, 'w'));
        msg->Dump(io);
        benchmark::DoNotOptimize(buffer.segments.data());
        byte_count += buffer.size;
    }
    state.SetBytesProcessed(byte_count);
}

void BM_LoadMessage(benchmark::State& state) {
    const qtPtrLight<zeMsg> msg = make_message(text_length(state));
    SegBuf buffer;
    {
        Hio<Generic32> io(new HSegment(buffer, 'w'));
        msg->Dump(io);
    }
    for (auto _ : state) {
        zeMsg back;
        Hio<Generic32> io(new HSegment(buffer, 'r'));
        back.Load(io);
        benchmark::DoNotOptimize(back.smls[0]->m_total_weight);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(buffer.size) * state.iterations());
}

BENCHMARK(BM_FeedText)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(BM_MakeBag)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(BM_ClipBag);
BENCHMARK(BM_DumpMessage)->Arg(20)->Arg(200)->Arg(2000);
BENCHMARK(BM_LoadMessage)->Arg(20)->Arg(200)->Arg(2000);

}  // namespace
