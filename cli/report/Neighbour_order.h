// Neighbour_order: an order of categories in which those that are confused are neighbours.
#ifndef ZANDREL_CLI_REPORT_NEIGHBOUR_ORDER_H_
#define ZANDREL_CLI_REPORT_NEIGHBOUR_ORDER_H_

#include <cstddef>
#include <vector>

namespace zandrel::cli {

// So many texts of the category `row` got the answer `column`.
struct Confused_texts {
    std::size_t row = 0;
    std::size_t column = 0;
    std::size_t texts = 0;
};

// The categories 0, 1, ... `sizes.size()` - 1, each once. `sizes`: texts of each category.
// `confused`: each pair at most once; pairs of equal categories are ignored.
// COST: sorts the pairs.
std::vector<std::size_t> neighbour_order(const std::vector<std::size_t>& sizes,
                                         const std::vector<Confused_texts>& confused);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_NEIGHBOUR_ORDER_H_
