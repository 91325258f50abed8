// Asks each node of the logical tree for its classifier, in the order of the ids, since the table
// of nodes has no order.
#include "text/kc/stat_classifiers.h"

#include <utility>

#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "text/errors.h"
#include "text/model/Engine_settings.h"

namespace zandrel {

namespace {

// `matcher`: may be null.
void require_usual(const zeManager& manager, const zeStat_matcher* matcher) {
    if (manager.ReadOnDemand() != 0 && matcher != nullptr) {
        require_usual_resolution(manager.m_io->CacheFile().str(),
                                 matcher->m_storage->m_likelihood_resolution);
    }
}

// The classifier of a node for a short time. If it was not in memory before, and has not been
// changed, the destructor drops it.
class Short_stay {
public:
    Short_stay(const zeManager& manager, zeNode* node)
        : m_manager(manager),
          m_node(node),
          m_leaves(manager.ReadOnDemand() != 0 && node->m_classifier == nullptr),
          m_matcher(dynamic_cast<zeStat_matcher*>(manager.m_physical_tree->get_classifier(node))) {
        require_usual(manager, m_matcher);
    }

    Short_stay(const Short_stay&) = delete;
    Short_stay& operator=(const Short_stay&) = delete;

    ~Short_stay() {
        if (m_leaves && m_matcher != nullptr && !m_matcher->is_changed()) {
            m_manager.m_io->RemoveFromCache(m_node);
            m_manager.m_physical_tree->release_classifier(m_node, nullptr);
        }
    }

    zeStat_matcher* matcher() const { return m_matcher; }

private:
    const zeManager& m_manager;
    zeNode* m_node;
    bool m_leaves;
    zeStat_matcher* m_matcher;  // null if the node has no statistical classifier
};

}  // namespace

void require_usual_resolution(const std::string& file, int resolution) {
    const std::string problem =
        setting_problem("LikelihoodHistogramResolution", std::to_string(resolution));
    if (!problem.empty()) {
        throw Data_error(file,
                         "the container is damaged, or is of another program (" + problem + ")");
    }
}

void require_usual_model(const zeManager& manager, unsigned int parent) {
    if (manager.ReadOnDemand() != 0) {
        require_usual(manager, dynamic_cast<const zeStat_matcher*>(
                                   manager.m_logical_tree->GetRealParent(parent)));
    }
}

void for_each_stat_classifier(const zeManager& manager, const Stat_visit& visit) {
    const zeLogicalTree& tree = *manager.m_logical_tree;
    for (const unsigned int id : zandrel::detail::ids_in_order(tree.nodes)) {
        const Short_stay classifier(manager, tree.nodes.at(id).physical_node);
        if (classifier.matcher() != nullptr) {
            visit({id, *classifier.matcher()});
        }
    }
}

void check_classifiers(const zeManager& manager) {
    for (zeNode* const node : zandrel::detail::classifier_nodes(manager.m_root)) {
        const Short_stay classifier(manager, node);
    }
}

Storages storages_of(const zeManager& manager, std::vector<zeNode*> nodes) {
    return [&manager,
            nodes = std::move(nodes)](const std::function<void(zeStat_storage & storage)>& visit) {
        for (zeNode* const node : nodes) {
            const Short_stay classifier(manager, node);
            if (classifier.matcher() != nullptr) {
                visit(*classifier.matcher()->m_storage);
            }
        }
    };
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

}  // namespace zandrel
