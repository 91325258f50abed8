// tree_quality: how good the answers are below each node of a tree.
#ifndef ZANDREL_CLI_REPORT_TREE_QUALITY_H_
#define ZANDREL_CLI_REPORT_TREE_QUALITY_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "cli/report/Report_data.h"
#include "text/kc/Kc_tree_view.h"

namespace zandrel::cli {

// A page with more nodes, or with deeper ones, would be slow.
inline constexpr std::size_t kMostNodes = 3000;
inline constexpr std::size_t kDeepestNode = 40;

// The first nodes of a tree, each with the texts whose category is at the node or below it. A
// category can be at several nodes; its texts count once in each node that has it at itself or
// below. `numbers`: of the categories of `cells`, by their names.
std::vector<Tree_node> tree_quality(const std::vector<Kc_tree_line>& lines,
                                    const std::map<std::string, std::size_t, std::less<>>& numbers,
                                    const std::vector<Report_cell>& cells);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_TREE_QUALITY_H_
