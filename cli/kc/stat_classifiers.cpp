// Asks each node of the logical tree for its classifier, in the order of the ids, since the table
// of nodes has no order.
#include "cli/kc/stat_classifiers.h"

#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"

namespace cli {

std::vector<Stat_classifier> stat_classifiers(const zeManager& manager) {
    const zeLogicalTree& tree = *manager.m_logical_tree;
    std::vector<Stat_classifier> found;
    for (const unsigned int id : zandrel::detail::ids_in_order(tree.nodes)) {
        zeNode* const node = tree.nodes.at(id).physical_node;
        if (auto* const matcher =
                dynamic_cast<zeStat_matcher*>(manager.m_physical_tree->get_classifier(node))) {
            found.push_back({id, matcher});
        }
    }
    return found;
}

}  // namespace cli
