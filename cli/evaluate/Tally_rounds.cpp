// Computes an average once for each random sample of the texts, and the variance of the results.
#include "cli/evaluate/Tally_rounds.h"

#include <vector>

namespace zandrel::cli {

namespace {

// The intervals of three averages, given the averages of each sample.
Average_intervals average_intervals(const Averages& averages, const std::vector<Averages>& sampled,
                                    std::size_t text_count) {
    const auto interval_of = [&](double Averages::*part) {
        const double variance =
            sampled_figure([&](std::size_t round) { return sampled[round].*part; }).variance;
        return mean_share_interval(averages.*part, variance, text_count);
    };
    return {interval_of(&Averages::precision), interval_of(&Averages::recall),
            interval_of(&Averages::f1)};
}

}  // namespace

void Tally_rounds::begin_text() {
    m_weights = &m_resampling.next();
    ++m_text_count;
}

void Tally_rounds::add_hit(std::string_view label) {
    rounds_of(label).hits.add(*m_weights);
}

void Tally_rounds::add_miss(std::string_view label) {
    rounds_of(label).misses.add(*m_weights);
}

void Tally_rounds::add_false_alarm(std::string_view label) {
    rounds_of(label).false_alarms.add(*m_weights);
}

Average_intervals Tally_rounds::micro_intervals(const Averages& averages) const {
    std::vector<Averages> sampled;
    for (std::size_t round = 0; round < kRoundCount; ++round) {
        sampled.push_back(micro(round));
    }
    return average_intervals(averages, sampled, m_text_count);
}

Average_intervals Tally_rounds::macro_intervals(const Averages& averages) const {
    std::vector<Averages> sampled;
    for (std::size_t round = 0; round < kRoundCount; ++round) {
        sampled.push_back(macro(round));
    }
    return average_intervals(averages, sampled, m_text_count);
}

Tally Tally_rounds::Rounds::tally(std::size_t round) const {
    return {hits[round], misses[round], false_alarms[round]};
}

Tally_rounds::Rounds& Tally_rounds::rounds_of(std::string_view label) {
    const auto found = m_labels.find(label);
    return found != m_labels.end() ? found->second : m_labels[std::string(label)];
}

Averages Tally_rounds::micro(std::size_t round) const {
    Tally all;
    for (const auto& [label, rounds] : m_labels) {
        all += rounds.tally(round);
    }
    return averages_of(all);
}

Averages Tally_rounds::macro(std::size_t round) const {
    Mean_of_labels mean;
    for (const auto& [label, rounds] : m_labels) {
        mean.add(rounds.tally(round));
    }
    return mean.mean();
}

}  // namespace zandrel::cli
