// Outside_candidates: concepts that may be features of profiles that lack them.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_OUTSIDE_CANDIDATES_H_
#define ZANDREL_STATISTICS_OUTSIDE_CANDIDATES_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "zandrel/statistics/Best_features.h"
#include "zandrel/statistics/Concept_judge.h"
#include "zandrel/statistics/Concept_order.h"
#include "zandrel/statistics/zeStat_storage.h"

namespace zandrel::detail {

// A list of concepts with the greatest value first, and of equal values the greater text first.
//
// Most profiles read few candidates of many, so the list is put in order piece by piece. If a rank
// behind the ordered part is read, the ordered part becomes four times as long. A piece is found
// without sorting the rest. For example, of 100,000 candidates the first 256 are found by one pass
// that compares values, and only these are sorted.
//
// In a model of a million concepts, the list of all candidates takes 16 MB. So we keep only some
// thousands, and collect again, with a greater limit, when a profile needs more. For example, with
// a limit of 1,000 we keep all candidates until there are 2,000. Then we leave out the last 1,000
// in the order. From then on we take only candidates that come before the last of the remaining
// ones.
//
// A candidate's judgement depends only on the message weight of the profile that lacks it. So
// judgements are kept for up to 32 such weights. For example, a model of 1,000 categories with
// about 50 texts each has about 40 different weights, so most judgements are used again.
class Outside_candidates {
public:
    using Info_iterator = zeStat_storage::Concept_infos::iterator;

    // A model can have millions of candidates, so we store a position, which is shorter than an
    // iterator. Rare concepts often have equal values, so most comparisons are of texts. The first
    // four bytes decide nearly all of them, without waiting for both texts.
    struct Candidate {
        double value;
        zeStat_storage::Concept_infos::Position position;  // in the table of all concepts
        std::uint32_t text_start;  // the first bytes of the text; the first one is the highest
    };

    // BORROWS: the table of all concepts.
    explicit Outside_candidates(zeStat_storage::Concept_infos& infos) : m_infos(&infos) {}

    // Forgets all candidates. Of the candidates that are added next, at least the first `limit` in
    // the order are kept, and at most twice as many. The others are left out.
    // REQUIRES: limit > 0.
    void start(std::size_t limit);

    // REQUIRES: the value is not NaN; nothing was ordered since `start`.
    void add(double value, Info_iterator info) {
        if (m_has_left_out && value < m_last.value) {
            return;  // without reading the text
        }
        const Candidate added = {
            value, m_infos->position(info),
            static_cast<std::uint32_t>(text_prefix(info->first.view()) >> 32U)};
        if (m_has_left_out && !goes_before(added, m_last)) {
            return;
        }
        m_candidates.push_back(added);
        if (m_candidates.size() / 2 == m_limit) {
            leave_out_half();
        }
    }

    std::size_t limit() const noexcept { return m_limit; }

    // Returns true if candidates were left out.
    bool has_left_out() const noexcept { return m_has_left_out; }

    // The number of candidates that are kept.
    std::size_t size() const noexcept { return m_candidates.size(); }

    // The candidate of this rank, from 0 on.
    // REQUIRES: rank < size().
    const Candidate& at(std::size_t rank) {
        if (rank >= m_ordered_count) {
            order(std::max(rank + 1, std::max(kFirstPiece, 4 * m_ordered_count)));
        }
        return m_candidates[rank];
    }

    // Puts at least the first `count` candidates in order. The rest follow in any order.
    void order(std::size_t count);

    // The judgements of candidates for the profile of `judge`, by rank.
    // VALID UNTIL: `judgements` is called for a profile of another message weight.
    class Judgements {
    public:
        // Returns the judgement of the candidate of a rank. It does not move in memory.
        const Best_features::Feature& at(std::size_t rank, const Candidate& candidate,
                                         const Concept_judge& judge) {
            while (rank / kBlockSize >= m_blocks.size()) {
                m_blocks.push_back(std::make_unique<Best_features::Feature[]>(kBlockSize));
            }
            Best_features::Feature& feature = m_blocks[rank / kBlockSize][rank % kBlockSize];
            if (feature.known == nullptr) {
                fill(feature, candidate, judge);
            }
            return feature;
        }

    private:
        friend class Outside_candidates;

        static constexpr std::size_t kBlockSize = 256;

        void fill(Best_features::Feature& feature, const Candidate& candidate,
                  const Concept_judge& judge) const;

        zeStat_storage::Concept_infos* m_infos = nullptr;  // BORROWS
        Concept_judge::Outside_key m_key = {};
        // `known` is null where there is no judgement yet.
        std::vector<std::unique_ptr<Best_features::Feature[]>> m_blocks;
    };

    Judgements& judgements(const Concept_judge& judge);

    std::vector<Info_iterator> infos() const;

private:
    void leave_out_half();

    static constexpr std::size_t kFirstPiece = 256;
    static constexpr std::size_t kJudgementsCount = 32;

    bool goes_before(const Candidate& left, const Candidate& right) const {
        if (left.value != right.value) {
            return left.value > right.value;
        }
        if (left.text_start != right.text_start) {
            return left.text_start > right.text_start;
        }
        return m_infos->at_position(right.position)->first <
               m_infos->at_position(left.position)->first;
    }

    zeStat_storage::Concept_infos* m_infos;  // BORROWS
    std::vector<Candidate> m_candidates;
    std::size_t m_limit = std::numeric_limits<std::size_t>::max();
    bool m_has_left_out = false;
    Candidate m_last = {};  // candidates behind it are left out
    std::size_t m_ordered_count = 0;
    std::array<Judgements, kJudgementsCount> m_judgements;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_OUTSIDE_CANDIDATES_H_
