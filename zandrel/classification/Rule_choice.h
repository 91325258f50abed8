// The choice of children by rules.
// Not installed: the library's own.
#ifndef ZANDREL_CLASSIFICATION_RULE_CHOICE_H_
#define ZANDREL_CLASSIFICATION_RULE_CHOICE_H_

#include <algorithm>

#include "zandrel/classification/MatchExp.h"
#include "zandrel/classification/zeResult_set.h"
#include "zandrel/knowledge/zeNode.h"

namespace zandrel::detail {

// Adds the children that rules select, as zeSwitcher::classify says.
// `rules`: a map from children to rules with a member `Evaluate(info)`.
// `default_child`: null for none.
// `threshold_of`: the node whose threshold a value has to reach; null: a value has to be above 0.
template <class Rules>
void add_fired(const Rules& rules, zeNode* default_child, const zeNode* threshold_of, DocInfo& info,
               zeResult_set& results) {
    bool has_fired = false;
    for (const auto& [child, rule] : rules) {
        const double value = rule.Evaluate(info);
        // Compared this way round, so that a value that is not a number does not fire.
        if (threshold_of != nullptr ? value >= threshold_of->m_threshold : value > 0.0) {
            has_fired = true;
            if (child != nullptr && results.accepts(value)) {
                results.add(child, value);
            }
        }
    }
    if (!has_fired && default_child != nullptr && results.threshold <= 1.0) {
        results.add(default_child, 1.0);
    }
}

// Returns whether rules close the way to a child, as zeSwitcher::is_cat_blocked says.
template <class Rules>
bool is_closed(const Rules& rules, zeNode* default_child, zeNode* child, DocInfo& info) {
    if (default_child != nullptr && child == default_child) {
        return std::any_of(rules.begin(), rules.end(), [&info](const auto& entry) {
            return entry.second.Evaluate(info) > 0.0;
        });
    }
    const auto entry = rules.find(child);
    return entry == rules.end() || !(entry->second.Evaluate(info) > 0.0);
}

}  // namespace zandrel::detail

#endif  // ZANDREL_CLASSIFICATION_RULE_CHOICE_H_
