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
// category, each message to the next part. A message of several categories counts for only one of
// them, and the next such message for another one. Messages without a category come last.
//
// For example, the messages 0, 1 and 3 are in sport, and 2 and 4 in garden. Dealt to two parts in
// the order 0 1 3 2 4, part 0 gets 0, 3 and 4, and part 1 gets 1 and 2.
//
// Nothing is random: the parts depend only on the order of the messages, since the categories are
// in the order in which they were first added.
class Stratified_deal {
public:
    void add(unsigned int position, const std::vector<zeNode*>& cats);

    // Calls `give(part, position)` for every position, with parts from 0 to `part_count` - 1.
    // REQUIRES: part_count > 0, unless no position was added.
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
