// Stratified_deal: divides messages into parts in which each category has its share.
// Not installed: the library's own.
#ifndef ZANDREL_STATISTICS_STRATIFIED_DEAL_H_
#define ZANDREL_STATISTICS_STRATIFIED_DEAL_H_

#include <cstddef>
#include <vector>

#include "zandrel/foundation/hash_map.h"

struct zeNode;

namespace zandrel::detail {

// Takes positions of messages with their categories, and deals them like cards: category by
// category, each message of one to another part. A message of several categories counts for one of
// them, in turn; those of none come last.
//
// There is no chance in it: the parts follow from the order of the messages alone, since the
// categories are dealt in the order in which they were first met.
class Stratified_deal {
public:
    void add(unsigned int position, const std::vector<zeNode*>& cats);

    // Calls `give(part, position)` for every position, with parts from 0 to `part_count` - 1.
    // REQUIRES: a part, if there is a position.
    template <class Give>
    void deal(std::size_t part_count, Give give) const {
        std::size_t dealt = 0;
        for (const Positions& positions : m_by_category) {
            for (const unsigned int position : positions) {
                give(dealt++ % part_count, position);
            }
        }
        for (const unsigned int position : m_uncategorised) {
            give(dealt++ % part_count, position);
        }
    }

private:
    using Positions = std::vector<unsigned int>;

    Positions& positions_of(zeNode* category);

    std::size_t m_categorised_count = 0;
    hash_map<zeNode*, std::size_t, zePointer_hash> m_indices;  // into `m_by_category`
    std::vector<Positions> m_by_category;                      // in the order first met
    Positions m_uncategorised;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STATISTICS_STRATIFIED_DEAL_H_
