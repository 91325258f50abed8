// Training of a container: a corpus is distributed over the statistical nodes, and the classifier
// of each one is trained with its part, in the order of the node ids. The statistics are the work
// of the classifiers.
//
// An interruption leaves the model that is being trained incomplete, and the settings of the pass
// remain in it. A container in memory need not be written then. But a container whose classifiers
// are fetched from its file is changed in place, and such a model would get into the file. There a
// model is therefore trained as a whole or not at all: it is in the file before the training
// begins, and if the training fails, it is dropped from memory and fetched again.
#include "zandrel/classification/zeWorkflow.h"

#include <utility>
#include <vector>

#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

using zandrel::kInitialBuckets;
using zandrel::detail::in_id_order;
using zandrel::detail::Progress;
using zandrel::detail::Restored;

namespace {

// Every statistical node has its classifier, unless a damaged file lacks it.
zeStat_matcher& stat_matcher_of(zePhysicalTree& tree, zeNode* node) {
    auto* const stat_matcher = dynamic_cast<zeStat_matcher*>(tree.get_classifier(node));
    ZANDREL_ASSERT(stat_matcher != nullptr, "stat_matcher");
    return *stat_matcher;
}

// The state of a model in a file and of the children of its node, before a change.
class State_in_file {
public:
    // The classifier is in memory. Writing it can add children, so they are taken afterwards.
    State_in_file(zeManager& manager, zeNode& node)
        : m_tree(*manager.m_physical_tree), m_node(node) {
        zandrel::detail::WriteChanges(node, *manager.m_io);
        for (zeNode* const child : node.m_children) {
            m_children.emplace_back(child, child->m_parent);
        }
    }

    // Drops the classifier from memory. The node is not removed from the cache, so it keeps its
    // place for the classifier that is fetched next.
    void put_back() {
        m_tree.release_classifier(&m_node, nullptr);
        m_node.remove_all_children();
        for (const auto& [child, parent] : m_children) {
            m_node.add_child(child);
            child->m_parent = parent;
        }
    }

private:
    zePhysicalTree& m_tree;
    zeNode& m_node;
    std::vector<std::pair<zeNode*, zeNode*>> m_children;  // each with its parent
};

// Changes the classifier of a statistical node: as a whole or not at all, if it is in a file.
template <class Change>
void change_model(zeManager& manager, zeNode* node, Change&& change) {
    zeStat_matcher& matcher = stat_matcher_of(*manager.m_physical_tree, node);
    if (manager.ReadOnDemand() == 0) {
        change(matcher);
        return;
    }
    State_in_file before(manager, *node);
    try {
        change(matcher);
    } catch (...) {
        before.put_back();
        throw;
    }
}

void train_one(zeManager& manager, zeNode* node, zeCorpus_view& view, bool bootstrap_mode) {
    change_model(manager, node, [&view, bootstrap_mode](zeStat_matcher& matcher) {
        if (bootstrap_mode) {
            matcher.bootstrap(view);
        } else {
            matcher.train(view);
        }
    });
}

}  // namespace

void zeWorkflow::train(zeCorpus_view* training, zeCorpus_view* initial, bool root_only,
                       CTProgress* progress, bool ignore_invalid) {
    refuse_compact();
    CTProgress* const progress_before = m_manager->m_progress;
    m_manager->m_progress = progress;
    if (root_only) {
        train_root(training, initial, progress);
    } else {
        train_all(training, initial, progress, ignore_invalid);
    }
    m_manager->m_config.last_trained.SetNowTime();
    m_manager->m_progress = progress_before;
}

void zeWorkflow::train(zeCorpus_view& view, bool root_only, CTProgress* progress,
                       bool ignore_invalid) {
    train(&view, nullptr, root_only, progress, ignore_invalid);
}

void zeWorkflow::bootstrap(zeCorpus_view& view, bool root_only, CTProgress* progress,
                           bool ignore_invalid) {
    train(nullptr, &view, root_only, progress, ignore_invalid);
}

void zeWorkflow::refuse_compact() const {
    if (m_manager->m_compact) {
        throw qtX<zeWorkflow>(3, "Operation cannot be performed on compact KB");
    }
}

// The steps before `m_modified` is set do not change the container, so it is still unmodified if
// one of them fails.
void zeWorkflow::train_all(zeCorpus_view* training, zeCorpus_view* initial, CTProgress* progress,
                           bool ignore_invalid) {
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    const bool bootstrap_mode = training == nullptr;
    const Progress steps(progress);
    Distribution distribution(kInitialBuckets);
    steps.set_status("Preparing corpus");
    distribute_corpus(distribution, bootstrap_mode ? *initial : *training, ignore_invalid);
    steps.set_total(distribution.size());
    steps.set_status(bootstrap_mode ? "Initializing classifier(s)" : "Training classifier(s)");
    m_manager->m_modified = true;
    for (zeNode* const node : in_id_order(distribution)) {
        train_one(*m_manager, node, distribution.at(node), bootstrap_mode);
        steps.step();
    }
}

void zeWorkflow::train_root(zeCorpus_view* training, zeCorpus_view* initial, CTProgress* progress) {
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    m_manager->m_modified = true;
    if (dynamic_cast<zeStat_matcher*>(tree->get_classifier(m_root)) == nullptr) {
        return;
    }
    const bool bootstrap_mode = training == nullptr;
    const Progress steps(progress);
    steps.set_total(1);
    steps.set_status(bootstrap_mode ? "Initializing classifier" : "Training classifier");
    train_one(*m_manager, m_root, bootstrap_mode ? *initial : *training, bootstrap_mode);
    steps.count();
    const qtPtrLight<zeLogicalTree> logical_tree = m_manager->m_logical_tree;
    // The root is statistical, so KCE_Add fetches no other classifier.
    const zeStat_matcher& matcher = stat_matcher_of(*tree, m_root);
    for (const auto& profile : matcher.m_storage->m_profiles) {
        // A profile without a node, from a damaged file, has no category to show.
        if (profile->m_node != nullptr) {
            logical_tree->KCE_Add(profile->m_node, &matcher);
        }
    }
}

void zeWorkflow::learn(zeCorpus_view& view, CTProgress* progress, bool ignore_invalid,
                       bool learn_flag) {
    refuse_compact();
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    const Progress steps(progress);
    Distribution distribution(kInitialBuckets);
    CTProgress* const progress_before = m_manager->m_progress;
    m_manager->m_progress = progress;
    steps.set_status("Preparing corpus");
    distribute_corpus(distribution, view, ignore_invalid);
    steps.set_total(distribution.size());
    steps.set_status("Training classifier(s)");
    m_manager->m_modified = true;
    for (zeNode* const node : in_id_order(distribution)) {
        zeCorpus_view& own = distribution.at(node);
        change_model(*m_manager, node, [&own, learn_flag](zeStat_matcher& matcher) {
            matcher.learn(own, learn_flag);
        });
        steps.count();
    }
    m_manager->m_config.last_trained.SetNowTime();
    m_manager->m_progress = progress_before;
}

void zeWorkflow::clear_statistics(zeNode* node, CTProgress* progress) {
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    const zeNode* const top = node == nullptr ? m_root : node;
    Node_set nodes(kInitialBuckets);
    top->get_subtree_classifiers(nodes);
    const Progress steps(progress);
    steps.set_total(nodes.size());
    m_manager->m_modified = true;
    for (zeNode* const each : in_id_order(nodes)) {
        clear_classifier(each);
        steps.step();
    }
    steps.end();
    m_manager->m_compact = false;
}

void zeWorkflow::clear_classifier(zeNode* node) {
    if (node->m_classifier_type != ZE_STAT) {
        return;
    }
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    // A classifier is cleared as a whole. A progress object that an interrupted training left at
    // the manager may be gone by now.
    const Restored<CTProgress*> at_end(m_manager->m_progress, nullptr);
    change_model(*m_manager, node, [this](zeStat_matcher& matcher) {
        zeStat_storage& storage = *matcher.m_storage;
        m_manager->m_modified = true;
        storage.create_skeleton();
        matcher.feed(storage, true);
    });
}
