// Keeps one tally for each label, as if each text were given only its best label. Evaluation.cpp
// has an example.
#include "cli/evaluate/Metrics.h"

#include <algorithm>

namespace zandrel::cli {

namespace {

std::string joined(const std::vector<std::string>& labels) {
    std::string list;
    for (const std::string& label : labels) {
        list += (list.empty() ? "" : ",") + label;
    }
    return list;
}

}  // namespace

void Metrics_counter::add(const std::vector<std::string>& labels, const std::string& predicted) {
    ++m_texts;
    if (m_rounds) {
        add_to_rounds(labels, predicted);
    }
    bool is_correct = false;
    for (const std::string& label : labels) {
        if (label == predicted) {
            is_correct = true;
            ++m_labels[label].hits;
        } else {
            ++m_labels[label].misses;
        }
    }
    if (is_correct) {
        ++m_correct;
        return;
    }
    ++m_confusions[{joined(labels), predicted}];
    if (!predicted.empty()) {
        ++m_labels[predicted].false_alarms;
    }
}

void Metrics_counter::add_to_rounds(const std::vector<std::string>& labels,
                                    const std::string& predicted) {
    m_rounds->begin_text();
    bool is_correct = false;
    for (const std::string& label : labels) {
        if (label == predicted) {
            is_correct = true;
            m_rounds->add_hit(label);
        } else {
            m_rounds->add_miss(label);
        }
    }
    if (!is_correct && !predicted.empty()) {
        m_rounds->add_false_alarm(predicted);
    }
}

Metrics Metrics_counter::metrics() const {
    Metrics result;
    result.texts = m_texts;
    result.correct = m_correct;
    result.accuracy = ratio(static_cast<double>(m_correct), m_texts);
    double f1_sum = 0.0;
    for (const auto& [label, tally] : m_labels) {
        // A label that was predicted but is not a label of any text has no recall, so it is not in
        // the mean.
        if (tally.texts() > 0) {
            ++result.labels;
            f1_sum += tally.f1();
        }
    }
    result.macro_f1_top = ratio(f1_sum, result.labels);
    result.confusions = worst_first();
    if (m_rounds) {
        const Averages averages = {0.0, 0.0, result.macro_f1_top};
        result.macro_f1_interval = m_rounds->macro_intervals(averages).f1;
    }
    return result;
}

std::vector<Confusion> Metrics_counter::worst_first() const {
    std::vector<Confusion> confusions;
    for (const auto& [pair, texts] : m_confusions) {
        confusions.push_back({pair.first, pair.second, texts});
    }
    // Stable, so that confusions of equally many texts remain in the order of the map.
    std::stable_sort(
        confusions.begin(), confusions.end(),
        [](const Confusion& left, const Confusion& right) { return left.texts > right.texts; });
    return confusions;
}

}  // namespace zandrel::cli
