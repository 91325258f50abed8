// Outside_candidates: concepts that may be features of profiles that lack them.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_OUTSIDE_CANDIDATES_H_
#define ZANDREL_STATISTICS_OUTSIDE_CANDIDATES_H_

#include <algorithm>
#include <cstddef>
#include <vector>

#include "zandrel/statistics/zeStat_storage.h"

// A list of concepts with the greatest value first, and of equal values the greater text first.
//
// Most profiles look at few candidates of many, so the list is brought into order piece by piece:
// reading a rank behind the ordered front orders three times as many more. A piece is found without
// sorting the rest. For example, of 100,000 candidates the first 300 are found by one pass that
// compares values, and only these are sorted.
class Outside_candidates {
public:
    using Info_iterator = zeStat_storage::Concept_infos::iterator;

    struct Candidate {
        double value;
        Info_iterator info;
    };

    void reserve(std::size_t count) { m_candidates.reserve(count); }

    // A value is a number. REQUIRES: nothing was ordered yet.
    void add(double value, Info_iterator info) { m_candidates.push_back({value, info}); }

    std::size_t size() const noexcept { return m_candidates.size(); }

    // The candidate of this rank, from 0 on. REQUIRES: rank < size().
    const Candidate& at(std::size_t rank) {
        if (rank >= m_ordered_count) {
            order(std::max(rank + 1, std::max(kFirstPiece, 4 * m_ordered_count)));
        }
        return m_candidates[rank];
    }

    // Brings at least the first `count` into order; the rest follow in any order.
    void order(std::size_t count);

    std::vector<Info_iterator> infos() const;

private:
    static constexpr std::size_t kFirstPiece = 256;

    std::vector<Candidate> m_candidates;
    std::size_t m_ordered_count = 0;
};

#endif  // ZANDREL_STATISTICS_OUTSIDE_CANDIDATES_H_
