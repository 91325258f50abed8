// A text model: how it is made, its labels and its size. Text_model_training.cpp has the training
// and learning, and Text_model_answers.cpp the rankings and explanations.
#include "text/model/Text_model.h"

#include <algorithm>
#include <map>
#include <set>

#include "zandrel/foundation/Concept.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"

#include "text/kc/Kept_confidence.h"
#include "text/kc/stat_classifiers.h"
#include "text/model/Engine_settings.h"
#include "text/rules/rule_forms.h"

namespace zandrel {

namespace {

// RAISES: the assertion "stat_matcher" of the engine if the node has no statistical classifier, as
// in a damaged container.
zeStat_matcher& matcher_of(zeManager& manager, zeNode* node) {
    auto* const stat_matcher =
        node == nullptr
            ? nullptr
            : dynamic_cast<zeStat_matcher*>(manager.m_physical_tree->get_classifier(node));
    ZANDREL_ASSERT(stat_matcher != nullptr, "stat_matcher");
    return *stat_matcher;
}

}  // namespace

Text_model::Text_model(const Model_options& options)
    : m_analysis(make_text_analysis(options.analysis)),
      m_groups(options.groups),
      m_tree(options.tree),
      m_manager(new zeManager),
      m_settings(options.analysis),
      m_given(options.settings) {
    if (options.settings != nullptr) {
        options.settings->apply(m_manager);
    }
}

Text_model::Text_model(const qtPtrLight<zeManager>& manager, const Analysis_settings& analysis)
    : m_analysis(make_text_analysis(analysis)),
      m_manager(manager),
      m_settings(analysis),
      m_workflow(m_manager->GetWorkflow()),
      m_confidence(kept_confidence(m_manager->m_config)) {
    give_forms(*m_manager->m_logical_tree, *m_analysis);
}

std::vector<zeStat_storage*> Text_model::storages() const {
    std::vector<zeStat_storage*> storages;
    for_each_stat_classifier(*m_manager, [&storages](const Stat_classifier& each) {
        storages.push_back(each.matcher.m_storage);
    });
    return storages;
}

zeStat_storage* Text_model::storage_of(zeNode* node) const {
    return matcher_of(*m_manager, node).m_storage;
}

Model_size Text_model::size() const {
    Model_size size;
    for_each_stat_classifier(*m_manager, [&size](const Stat_classifier& each) {
        zeStat_storage& storage = *each.matcher.m_storage;
        storage.complete();
        size.profiles += storage.m_profiles.size();
        size.concepts += storage.m_concept_infos.size();
        for (const auto& profile : storage.m_profiles) {
            size.entries += profile->m_Ps.size();
            size.largest = std::max(size.largest, profile->m_Ps.size());
        }
    });
    return size;
}

void Text_model::give_confidence(const Confidence_map& map) {
    keep_confidence(map, *m_manager);
    m_confidence = map;
}

void Text_model::update_confidence(const std::vector<Judged_answer>& answers) {
    if (m_confidence) {
        m_confidence->update(answers);
        keep_confidence(*m_confidence, *m_manager);
    }
}

bool Text_model::drop_confidence() {
    m_confidence.reset();
    return forget_confidence(*m_manager);
}

bool Text_model::is_cached() const {
    return m_manager->ReadOnDemand() != 0;
}

std::vector<std::string> Text_model::labels() const {
    std::map<unsigned int, Concept> leaves;  // by id, which is the order in which they were added
    for (const auto& [id, node] : m_manager->m_logical_tree->nodes) {
        if (node.type == ZE_LEAF) {
            leaves.emplace(id, node.category);
        }
    }
    std::vector<std::string> labels;
    labels.reserve(leaves.size());
    std::set<std::string_view> seen;
    for (const auto& [id, category] : leaves) {
        if (seen.insert(category.view()).second) {
            labels.emplace_back(category.view());
        }
    }
    return labels;
}

}  // namespace zandrel
