// Reading data files: the texts of data/shop in each form, from memory. Compare the bytes per
// second with those of BM_MakeBagsOfTexts in text_analysis_bench, which is only a part of the work
// of train and classify.
#include "text/data/Data_reader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include "cli/classify/Record_echo.h"
#include "text/data/Labelled_text.h"

namespace {

std::string record_of(const zandrel::Labelled_text& text, zandrel::Data_format format) {
    const std::string& label = text.labels.front();
    switch (format) {
        case zandrel::Data_format::kCsv:
            return zandrel::cli::csv_row({label, text.text});
        case zandrel::Data_format::kJsonLines:
            return nlohmann::json({{"text", text.text}, {"label", label}}).dump();
        case zandrel::Data_format::kFasttext:
            return "__label__" + label + " " + text.text;
        default:
            return label + "\t" + text.text;
    }
}

std::string shop_data(zandrel::Data_format format) {
    std::string data;
    for (const zandrel::Labelled_text& text : zandrel::read_labelled_file(ZANDREL_BENCH_SHOP)) {
        data += record_of(text, format) + "\n";
    }
    return data;
}

void BM_ReadRecords(benchmark::State& state) {
    const auto format = static_cast<zandrel::Data_format>(state.range(0));
    const std::string data = shop_data(format);
    for (auto _ : state) {
        std::istringstream input(data);
        const std::unique_ptr<zandrel::Data_reader> reader =
            zandrel::make_data_reader({input, "data"}, format, {});
        for (zandrel::Data_record record; reader->next(record);) {
            benchmark::DoNotOptimize(record.message.text.data());
        }
    }
    state.SetLabel(zandrel::name_of(format));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(data.size()));
}

BENCHMARK(BM_ReadRecords)
    ->Arg(static_cast<int>(zandrel::Data_format::kTsv))
    ->Arg(static_cast<int>(zandrel::Data_format::kCsv))
    ->Arg(static_cast<int>(zandrel::Data_format::kJsonLines))
    ->Arg(static_cast<int>(zandrel::Data_format::kFasttext));

}  // namespace
