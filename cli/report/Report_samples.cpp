// Example: with room for three texts of equal length, a cell of 9 texts gets two of them and a cell
// of 2 texts gets one.
#include "cli/report/Report_samples.h"

#include <algorithm>
#include <numeric>

namespace zandrel::cli {

namespace {

// The scores and the punctuation of JSON, about.
constexpr std::size_t kBytesBesideText = 40;

}  // namespace

std::vector<std::size_t> chosen_samples(const std::vector<Report_cell>& cells, std::size_t bytes) {
    std::vector<std::size_t> largest_first(cells.size());
    std::iota(largest_first.begin(), largest_first.end(), std::size_t{0});
    std::stable_sort(largest_first.begin(), largest_first.end(),
                     [&cells](std::size_t left, std::size_t right) {
                         return cells[left].texts > cells[right].texts;
                     });
    std::vector<std::size_t> chosen(cells.size());
    std::size_t used = 0;
    for (bool has_more = true; has_more;) {
        has_more = false;
        for (const std::size_t index : largest_first) {
            const std::vector<Report_sample>& samples = cells[index].samples;
            if (chosen[index] == samples.size()) {
                continue;
            }
            const Report_sample& next = samples[chosen[index]];
            used += next.text.size() + next.labels.size() + kBytesBesideText;
            if (used > bytes) {
                return chosen;
            }
            ++chosen[index];
            has_more = true;
        }
    }
    return chosen;
}

}  // namespace zandrel::cli
