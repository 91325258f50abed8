// Asks each node of the logical tree for its classifier, in the order of the ids, since the table
// of nodes has no order.
#include "cli/kc/stat_classifiers.h"

#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

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

std::optional<int> learned_messages(const zeManager& manager, const zeLogicalNode& node) {
    if (node.parent == 0) {
        return std::nullopt;
    }
    zeClassifier* const above = manager.m_logical_tree->GetRealParent(node.parent);
    const auto* const matcher = dynamic_cast<zeStat_matcher*>(above);
    if (matcher == nullptr) {
        return std::nullopt;
    }
    const zeStat_storage& storage = *matcher->m_storage;
    const int iprofile = storage.get_profile(node.physical_node);
    return storage.end(iprofile) ? std::nullopt
                                 : std::optional(storage.profile(iprofile).m_num_msgs);
}

}  // namespace cli
