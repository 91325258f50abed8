// Training of a container: a corpus is distributed over the statistical nodes, and the classifier
// of each one is trained with its part, in the order of the node ids. The statistics are the work
// of the classifiers.
#include "zandrel/classification/zeWorkflow.h"

#include "zandrel/foundation/Restored.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
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

void train_one(zeStat_matcher& matcher, zeCorpus_view& view, bool bootstrap_mode) {
    if (bootstrap_mode) {
        matcher.bootstrap(view);
    } else {
        matcher.train(view);
    }
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
        train_one(stat_matcher_of(*tree, node), distribution.at(node), bootstrap_mode);
        steps.step();
    }
}

void zeWorkflow::train_root(zeCorpus_view* training, zeCorpus_view* initial, CTProgress* progress) {
    const qtPtrLight<zePhysicalTree> tree = m_manager->m_physical_tree;
    m_manager->m_modified = true;
    auto* const matcher = dynamic_cast<zeStat_matcher*>(tree->get_classifier(m_root));
    if (matcher == nullptr) {
        return;
    }
    const bool bootstrap_mode = training == nullptr;
    const Progress steps(progress);
    steps.set_total(1);
    steps.set_status(bootstrap_mode ? "Initializing classifier" : "Training classifier");
    train_one(*matcher, bootstrap_mode ? *initial : *training, bootstrap_mode);
    steps.count();
    const qtPtrLight<zeLogicalTree> logical_tree = m_manager->m_logical_tree;
    for (const auto& profile : matcher->m_storage->m_profiles) {
        // A profile without a node, from a damaged file, has no category to show.
        if (profile->m_node != nullptr) {
            logical_tree->KCE_Add(profile->m_node, matcher);
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
        stat_matcher_of(*tree, node).learn(distribution.at(node), learn_flag);
        steps.count();
    }
    m_manager->m_config.last_trained.SetNowTime();
    m_manager->m_progress = progress_before;
}

void zeWorkflow::clear_statistics(zeNode* node, CTProgress* progress) {
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
    zeStat_matcher& matcher = stat_matcher_of(*tree, node);
    zeStat_storage& storage = *matcher.m_storage;
    m_manager->m_modified = true;
    storage.create_skeleton();
    matcher.feed(storage, true);
}
