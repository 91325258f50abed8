// Reading the number that a short text begins with, by three readers: the library's, which reads
// short decimals itself, std::from_chars, and strtod of the C library. The figures are quoted above
// read_short_decimal in zandrel/foundation/qtText.cpp.
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iterator>

#include <benchmark/benchmark.h>

#include "zandrel/foundation/qtText.h"

namespace {

// Values of pairs, thresholds and settings, in the forms in which people and programs write them.
const qtString kTexts[] = {"17",  "0.75",  "1234.5678", "-3",    "20241231",   "0.1",
                           "1e5", "99.90", "0.333333",  "65536", "1700000000", "-12.5"};

double by_library(const qtString& text) {
    return zandrel::qtConvertStringToDouble(text);
}

// std::from_chars accepts no "+" and no blank before the number, so the library would have to skip
// them first.
double by_from_chars(const qtString& text) {
    double number = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

double by_strtod(const qtString& text) {
    return std::strtod(text.c_str(), nullptr);
}

template <double (*read)(const qtString& text)>
void read_decimals(benchmark::State& state) {
    for (const qtString& text : kTexts) {
        if (read(text) != by_strtod(text)) {
            state.SkipWithError("another number than that of strtod");
            return;
        }
    }
    for (auto _ : state) {
        for (const qtString& text : kTexts) {
            benchmark::DoNotOptimize(read(text));
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(std::size(kTexts)));
}

BENCHMARK(read_decimals<by_library>)->Name("read_decimals/library");
BENCHMARK(read_decimals<by_from_chars>)->Name("read_decimals/from_chars");
BENCHMARK(read_decimals<by_strtod>)->Name("read_decimals/strtod");

}  // namespace
