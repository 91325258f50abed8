// chosen_samples: the texts of cells that a page has room for.
#ifndef ZANDREL_CLI_REPORT_REPORT_SAMPLES_H_
#define ZANDREL_CLI_REPORT_REPORT_SAMPLES_H_

#include <cstddef>
#include <vector>

#include "cli/report/Report_data.h"

namespace zandrel::cli {

// The bytes that the texts of cells may have in a page.
inline constexpr std::size_t kSampleBytes = 2'000'000;

// The number of texts of each cell that the page shows: their first ones. First each cell gets its
// first text, beginning with the largest cell, then each its second one, and so on until the texts
// have more than `bytes`.
std::vector<std::size_t> chosen_samples(const std::vector<Report_cell>& cells, std::size_t bytes);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_SAMPLES_H_
