// The contents of results and explanations, for comparisons to the last bit.
#ifndef ZANDREL_TESTS_FROZEN_FROZEN_ANSWERS_H_
#define ZANDREL_TESTS_FROZEN_FROZEN_ANSWERS_H_

#include <bit>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zandrel/classification/zeResult_set.h"
#include "zandrel/statistics/zeStat_matcher.h"

// Node and bits of the score, so that NaN equals itself, and 0 differs from -0.
using Found = std::vector<std::pair<const zeNode*, std::uint64_t>>;
using Lines = std::vector<std::pair<std::string, std::uint64_t>>;

inline std::uint64_t bits_of(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

inline Found found_in(const zeResult_set& results) {
    Found found;
    for (const zeResult& result : results.results) {
        found.emplace_back(result.node, bits_of(result.score));
    }
    return found;
}

inline Lines lines_of(const std::vector<zeStat_matcher::Concept_score>& scores) {
    Lines lines;
    for (const auto& line : scores) {
        lines.emplace_back(line.m_concept.text().str(), bits_of(line.m_score));
    }
    return lines;
}

// Everything that a set of results contains, before and after it is sorted.
inline auto contents_of(zeResult_set& results) {
    const Found raw = found_in(results);
    const bool sorted = results.sorted;
    const bool deduplicated = results.deduplicated;
    results.eliminate_duplicated_results();
    if (results.count() > 0) {
        results.get_result(0);
    }
    return std::tuple(raw, sorted, deduplicated, found_in(results));
}

#endif  // ZANDREL_TESTS_FROZEN_FROZEN_ANSWERS_H_
