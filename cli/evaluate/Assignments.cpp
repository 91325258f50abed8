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

Assignment_counter::Assignment_counter(double threshold, const std::vector<std::string>& labels,
                                       bool makes_intervals)
    : m_threshold(threshold) {
    for (const std::string& label : labels) {
        m_tallies[label];
    }
    if (makes_intervals) {
        m_rounds.emplace();
    }
}

void Assignment_counter::add(const std::vector<std::string>& labels, const Ranking& ranking) {
    if (m_rounds) {
        m_rounds->begin_text();
    }
    // Rankings are sorted by score, so the given labels are at the beginning.
    const auto given_end =
        std::find_if(ranking.begin(), ranking.end(),
                     [this](const Scored_label& entry) { return entry.score < m_threshold; });
    const Label_set right(labels);
    std::unordered_set<std::string_view> hits;
    for (auto given = ranking.begin(); given != given_end; ++given) {
        if (right.contains(given->label)) {
            add_hit(given->label);
            hits.insert(given->label);
        } else {
            add_false_alarm(given->label);
        }
    }
    if (hits.size() == labels.size()) {
        return;
    }
    for (const std::string& label : labels) {
        if (hits.count(label) == 0) {
            add_miss(label);
        }
    }
}

Assignments Assignment_counter::assignments() const {
    Assignments result;
    result.threshold = m_threshold;
    Tally all;
    Mean_of_labels mean;
    for (const auto& [label, tally] : m_tallies) {
        result.categories.push_back({label, tally});
        all += tally;
        mean.add(tally);
    }
    result.micro = averages_of(all);
    result.macro = mean.mean();
    if (m_rounds) {
        result.micro_intervals = m_rounds->micro_intervals(result.micro);
        result.macro_intervals = m_rounds->macro_intervals(result.macro);
    }
    return result;
}

void Assignment_counter::add_hit(std::string_view label) {
    ++tally_of(label).hits;
    if (m_rounds) {
        m_rounds->add_hit(label);
    }
}

void Assignment_counter::add_miss(std::string_view label) {
    ++tally_of(label).misses;
    if (m_rounds) {
        m_rounds->add_miss(label);
    }
}

void Assignment_counter::add_false_alarm(std::string_view label) {
    ++tally_of(label).false_alarms;
    if (m_rounds) {
        m_rounds->add_false_alarm(label);
    }
}

Tally& Assignment_counter::tally_of(std::string_view label) {
    const auto found = m_tallies.find(label);
    return found != m_tallies.end() ? found->second : m_tallies[std::string(label)];
}

}  // namespace zandrel::cli
