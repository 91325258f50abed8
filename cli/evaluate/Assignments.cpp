// Keeps one tally for each label. The micro average adds all tallies and then computes the ratios;
// the macro average computes the ratios of each label that has texts, and takes their mean.
// Evaluation.cpp has an example.
#include "cli/evaluate/Assignments.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <unordered_set>

#include "text/data/Label_set.h"

namespace zandrel::cli {

namespace {

Averages mean_of(const std::vector<Category_tally>& categories) {
    Averages sum;
    std::size_t count = 0;
    for (const auto& [label, tally] : categories) {
        if (tally.texts() > 0) {
            sum.precision += tally.precision();
            sum.recall += tally.recall();
            sum.f1 += tally.f1();
            ++count;
        }
    }
    return {ratio(sum.precision, count), ratio(sum.recall, count), ratio(sum.f1, count)};
}

}  // namespace

Assignment_counter::Assignment_counter(double threshold, const std::vector<std::string>& labels)
    : m_threshold(threshold) {
    for (const std::string& label : labels) {
        m_tallies[label];
    }
}

void Assignment_counter::add(const std::vector<std::string>& labels, const Ranking& ranking) {
    // Rankings are sorted by score, so the given labels are at the beginning.
    const auto given_end =
        std::find_if(ranking.begin(), ranking.end(),
                     [this](const Scored_label& entry) { return entry.score < m_threshold; });
    const Label_set right(labels);
    std::unordered_set<std::string_view> hits;
    for (auto given = ranking.begin(); given != given_end; ++given) {
        const bool is_hit = right.contains(given->label);
        ++(is_hit ? tally_of(given->label).hits : tally_of(given->label).false_alarms);
        if (is_hit) {
            hits.insert(given->label);
        }
    }
    if (hits.size() == labels.size()) {
        return;
    }
    for (const std::string& label : labels) {
        if (hits.count(label) == 0) {
            ++tally_of(label).misses;
        }
    }
}

Assignments Assignment_counter::assignments() const {
    Assignments result;
    result.threshold = m_threshold;
    Tally all;
    for (const auto& [label, tally] : m_tallies) {
        result.categories.push_back({label, tally});
        all += tally;
    }
    result.micro = {all.precision(), all.recall(), all.f1()};
    result.macro = mean_of(result.categories);
    return result;
}

Tally& Assignment_counter::tally_of(std::string_view label) {
    const auto found = m_tallies.find(label);
    return found != m_tallies.end() ? found->second : m_tallies[std::string(label)];
}

}  // namespace zandrel::cli
