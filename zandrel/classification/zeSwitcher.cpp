// The rules of a switcher: records, edits and evaluation. A child has a rule in `m_rules` or is
// `m_default`, never both. `m_rules` has no order, so every result has to be the same in any order:
// `classify` evaluates all rules, also after one has fired.
#include "zandrel/classification/zeSwitcher.h"

#include "zandrel/classification/Rule_choice.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/foundation/process_assert.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Node_order.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

zeSwitcher::zeSwitcher(zeManager* manager, zeNode* node)
    : zeClassifier(manager, node), m_rules(zandrel::kInitialBuckets) {}

zeSwitcher::~zeSwitcher() = default;

void zeSwitcher::Dump(Hio<HSegment>& io) const {
    zeClassifier::Dump(io);
    io << zandrel::detail::reference_to(m_default);
    io.WriteCount(m_rules.size());
    for (zeNode* const child : zandrel::detail::in_id_order(m_rules)) {
        io << zandrel::detail::reference_to(child) << m_rules.at(child).text();
    }
}

void zeSwitcher::Load(Hio<HSegment>& io) {
    constexpr unsigned int kLeastRuleSize = 4 + 4;  // a reference and the count of a text
    m_default = m_manager->LoadCat(io, m_node);
    const unsigned int rule_count = io.ReadCount(kLeastRuleSize);
    for (unsigned int i = 0; i < rule_count; ++i) {
        zeNode* cat = m_manager->LoadCat(io, m_node);
        ZANDREL_ASSERT(cat != nullptr, "cat");
        qtString text;
        io >> text;
        add_rule(cat, text);
    }
}

void zeSwitcher::add_rule(zeNode*& cat, const qtString& text) {
    if (has_rule(cat)) {
        throw qtX<zeSwitcher>(0, "Category already exists in classifier", names_of(cat));
    }
    if (text != zandrel::kDefaultRule) {
        m_rules.try_emplace(cat, text);
    } else if (m_default != nullptr) {
        throw qtX<zeSwitcher>(1, "Default already exists in classifier", names_of(cat));
    } else {
        m_default = cat;
    }
    m_dirty = true;
    if (m_node != nullptr) {
        m_node->add_child(cat);
    }
}

void zeSwitcher::change_rule(zeNode*& cat, const qtString& text) {
    if (!has_rule(cat)) {
        throw qtX<zeSwitcher>(2, "Category not found in classifier", names_of(cat));
    }
    // `cat` may be a reference to `m_default` or to an element of the children, which change here,
    // so we copy it. `text` may be the text of the old rule, so we keep the old rule to the end.
    zeNode* child = cat;
    decltype(m_rules)::node_type old_rule;
    m_dirty = true;
    if (m_node != nullptr) {
        m_node->remove_child(child);
    }
    if (child == m_default) {
        m_default = nullptr;
    } else {
        old_rule = m_rules.extract(child);
    }
    add_rule(child, text);
}

qtString zeSwitcher::get_rule(zeNode* const& cat) const {
    if (m_default != nullptr && cat == m_default) {
        return zandrel::kDefaultRule;
    }
    const auto entry = m_rules.find(cat);
    return entry == m_rules.end() ? qtString() : entry->second.text();
}

bool zeSwitcher::has_rule(zeNode* cat) const {
    return cat == m_default || m_rules.find(cat) != m_rules.end();
}

std::vector<qtString> zeSwitcher::names_of(const zeNode* cat) const {
    // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): a switcher that raises has a node.
    return {m_node->m_concept.text(), cat->m_concept.text()};
}

void zeSwitcher::classify(zeMsg& msg, zeResult_set& results, double node_score,
                          bool use_thresholds) {
    DocInfo info = {&msg, node_score};
    zandrel::detail::add_fired(m_rules, m_default, use_thresholds ? m_node : nullptr, info,
                               results);
}

bool zeSwitcher::is_cat_blocked(zeNode* const& child, zeMsg& msg) {
    DocInfo info = {&msg, 1.0};
    return zandrel::detail::is_closed(m_rules, m_default, child, info);
}

void zeSwitcher::get_all_categories(std::vector<zeNode*>& cats) {
    for (const auto& [child, rule] : m_rules) {
        cats.push_back(child);
    }
    if (m_default != nullptr) {
        cats.push_back(m_default);
    }
}

void zeSwitcher::global_replace(std::map<zeNode*, zeNode*>& replacement) {
    hash_map<zeNode*, Rule_checker, zePointer_hash> replaced(zandrel::kInitialBuckets);
    for (zeNode* const child : zandrel::detail::in_id_order(m_rules)) {
        replaced.insert_or_assign(replacement[child], m_rules.at(child));
    }
    m_rules.swap(replaced);
    if (m_node != nullptr) {
        m_node = replacement[m_node];
    }
    if (m_default != nullptr) {
        m_default = replacement[m_default];
    }
}

bool zeSwitcher::knows(zeNode* category) const {
    return has_rule(category);
}

void zeSwitcher::add_category(zeNode* category, const qtString& rule) {
    add_rule(category, rule);
}

void zeSwitcher::change_category_rule(zeNode* category, const qtString& rule) {
    change_rule(category, rule);
}

void zeSwitcher::remove_category(zeNode* category, bool /*remove_concepts*/) {
    drop_category(category);
}

void zeSwitcher::drop_category(zeNode* category) {
    m_dirty = true;
    if (m_node != nullptr) {
        m_node->remove_child(category);
    }
    if (category == m_default) {
        m_default = nullptr;
    } else {
        m_rules.erase(category);
    }
}
