// Text analysis: from texts to bags, as `train` and `classify` do it for each text. The texts of
// data/shop are analysed again and again, so all their words are known.
#include "text/analysis/Text_analysis.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "zandrel/messages/zeSml.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Tokenizer.h"
#include "text/data/Labelled_text.h"

namespace {

std::vector<std::string> shop_texts() {
    std::vector<std::string> texts;
    for (zandrel::Labelled_text& text : zandrel::read_labelled_file(ZANDREL_BENCH_SHOP)) {
        texts.push_back(std::move(text.text));
    }
    return texts;
}

void count_bytes(benchmark::State& state, const std::vector<std::string>& texts) {
    std::size_t bytes = 0;
    for (const std::string& text : texts) {
        bytes += text.size();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// Only folding and splitting.
void BM_CutTexts(benchmark::State& state) {
    const std::vector<std::string> texts = shop_texts();
    zandrel::Tokenizer tokenizer(static_cast<zandrel::Token_style>(state.range(0)), "");
    for (auto _ : state) {
        for (const std::string& text : texts) {
            tokenizer.cut(text);
            benchmark::DoNotOptimize(tokenizer.token_count());
        }
    }
    count_bytes(state, texts);
}

// Folding, splitting, finding the concepts and making bags.
void BM_MakeBagsOfTexts(benchmark::State& state) {
    const std::vector<std::string> texts = shop_texts();
    const auto analysis =
        zandrel::make_text_analysis({static_cast<zandrel::Analysis_kind>(state.range(0))});
    zeSml_feeder feeder;
    std::vector<zeSml> kept(texts.size(), zeSml(0.0));
    for (auto _ : state) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
            analysis->feed(texts[i], feeder);
            kept[i] = zeSml(std::move(feeder), 0.0);
        }
    }
    count_bytes(state, texts);
}

// Argument: number of different words of a long text, which is analysed first. The short texts that
// are measured must not become slower by it.
void BM_ShortTextsAfterLongOne(benchmark::State& state) {
    const auto analysis = zandrel::make_text_analysis({zandrel::Analysis_kind::kWords});
    zeSml_feeder feeder;
    std::string long_text;
    for (int i = 0; i < state.range(0); ++i) {
        long_text += "w" + std::to_string(i) + ' ';
    }
    analysis->feed(long_text, feeder);
    feeder.clear();
    for (auto _ : state) {
        analysis->feed("a short text", feeder);
        const zeSml bag(std::move(feeder), 0.0);
        benchmark::DoNotOptimize(bag.m_total_weight);
    }
}

BENCHMARK(BM_CutTexts)->Arg(0)->Arg(1);
BENCHMARK(BM_MakeBagsOfTexts)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(BM_ShortTextsAfterLongOne)->Arg(10)->Arg(1000000);

}  // namespace
