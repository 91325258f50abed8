// Reads and writes single rows of a matcher's table.
#ifndef ZANDREL_TESTS_SUPPORT_MATCH_ROWS_H_
#define ZANDREL_TESTS_SUPPORT_MATCH_ROWS_H_

#include <algorithm>
#include <vector>

#include "zandrel/foundation/Concept.h"
#include "zandrel/statistics/Match_table.h"

using Row = std::vector<zandrel::detail::Match_table::Concept_weight>;

// A copy of the row of a concept; empty if the table has none.
inline Row row_of(const zandrel::detail::Match_table& table, const Concept& wanted) {
    const auto found = table.find(wanted);
    return found == table.end() ? Row() : Row(found->second.begin(), found->second.end());
}

// Sets the row of a concept.
inline void set_row(zandrel::detail::Match_table& table, const Concept& changed, const Row& row) {
    std::copy(row.begin(), row.end(), table.add(changed, row.size()).begin());
}

#endif  // ZANDREL_TESTS_SUPPORT_MATCH_ROWS_H_
