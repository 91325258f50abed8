// Results are made of the values of the C++ classes and of structs that point into them.
#include "text/c/results.h"

#include <memory>
#include <utility>

namespace zandrel::c {

namespace {

template <class View>
std::vector<const View*> pointers_to(const std::vector<View>& views) {
    std::vector<const View*> pointers;
    pointers.reserve(views.size());
    for (const View& view : views) {
        pointers.push_back(&view);
    }
    return pointers;
}

}  // namespace

Owned_labels::Owned_labels(std::vector<Label>&& labels)
    : zandrel_labels(), m_labels(std::move(labels)) {
    m_views.reserve(m_labels.size());
    for (const Label& label : m_labels) {
        m_views.push_back({label.name.c_str(), label.name.size(), label.path.c_str(),
                           label.path.size(), label.score, label.confidence.value_or(-1.0)});
    }
    m_items = pointers_to(m_views);
    count = m_items.size();
    items = m_items.data();
}

Owned_reasons::Owned_reasons(Reasons&& reasons) : zandrel_reasons(), m_reasons(std::move(reasons)) {
    m_views.reserve(m_reasons.effects.size());
    for (const Effect& effect : m_reasons.effects) {
        m_views.push_back({effect.concept_text.c_str(), effect.concept_text.size(), effect.adds,
                           effect.is_known, effect.log_odds_adds});
    }
    m_items = pointers_to(m_views);
    label = m_reasons.label.c_str();
    label_length = m_reasons.label.size();
    path = m_reasons.path.c_str();
    path_length = m_reasons.path.size();
    score = m_reasons.score;
    effect_count = m_items.size();
    effects = m_items.data();
}

Owned_names::Owned_names(std::vector<std::string>&& names)
    : zandrel_names(), m_names(std::move(names)) {
    m_items.reserve(m_names.size());
    for (const std::string& name : m_names) {
        m_items.push_back({name.c_str(), name.size()});
    }
    count = m_items.size();
    items = m_items.data();
}

}  // namespace zandrel::c

void zandrel_labels_free(zandrel_labels* labels) {
    const std::unique_ptr<zandrel::c::Owned_labels> owned(
        static_cast<zandrel::c::Owned_labels*>(labels));
}

void zandrel_reasons_free(zandrel_reasons* reasons) {
    const std::unique_ptr<zandrel::c::Owned_reasons> owned(
        static_cast<zandrel::c::Owned_reasons*>(reasons));
}

void zandrel_names_free(zandrel_names* names) {
    const std::unique_ptr<zandrel::c::Owned_names> owned(
        static_cast<zandrel::c::Owned_names*>(names));
}
