// Example for accuracy: five texts, of which the defaults get 1 and 2 right, and another setting 1,
// 3 and 4. The differences are 0, -1, 1, 1 and 0, with the mean 0.2. Their squared distances from
// the mean are 0.04 + 1.44 + 0.64 + 0.64 + 0.04 = 2.8, so the standard error is
// sqrt(2.8 / (5 * 4)) = 0.374.
//
// Macro F1 is no mean over texts, so its error is that of the jackknife. A text changes only the
// tallies of its labels and of its best label, so one value without a text costs a few operations.
#include "cli/tune/Tuning_metric.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

namespace {

bool is_right(const Known_answer& answer) {
    return std::find(answer.labels->begin(), answer.labels->end(), answer.answer.label) !=
           answer.labels->end();
}

// What a text contributes to a metric that is a mean over texts. More is better.
double worth(Tuning_metric metric, const Known_answer& answer) {
    return metric == Tuning_metric::kBrier ? -answer.answer.square_error
                                           : (is_right(answer) ? 1.0 : 0.0);
}

// Macro F1 of some texts, and without one of them.
class Macro_f1 {
public:
    explicit Macro_f1(const std::vector<Known_answer>& answers) {
        for (const Known_answer& each : answers) {
            for (const auto& [label, tally] : tallies_of(each)) {
                m_labels[label] += tally;
            }
        }
        for (const auto& [label, tally] : m_labels) {
            add(tally, m_sum, m_count);
        }
    }

    double value() const { return ratio(m_sum, m_count); }

    // REQUIRES: one of the answers.
    double value_without(const Known_answer& answer) const {
        double sum = m_sum;
        std::size_t count = m_count;
        for (const auto& [label, tally] : tallies_of(answer)) {
            Tally rest = m_labels.at(label);
            double old_sum = 0.0;
            std::size_t old_count = 0;
            add(rest, old_sum, old_count);
            rest.hits -= tally.hits;
            rest.misses -= tally.misses;
            rest.false_alarms -= tally.false_alarms;
            sum -= old_sum;
            count -= old_count;
            add(rest, sum, count);
        }
        return ratio(sum, count);
    }

private:
    using Tallies = std::map<std::int32_t, Tally>;

    static Tallies tallies_of(const Known_answer& answer) {
        Tallies tallies;
        const std::int32_t best = answer.answer.label;
        for (const std::int32_t label : *answer.labels) {
            ++(label == best ? tallies[label].hits : tallies[label].misses);
        }
        if (best >= 0 && !is_right(answer)) {
            ++tallies[best].false_alarms;
        }
        return tallies;
    }

    // A label without a text has no recall, so it is not in the mean.
    static void add(const Tally& tally, double& sum, std::size_t& count) {
        if (tally.texts() > 0) {
            sum += tally.f1();
            ++count;
        }
    }

    Tallies m_labels;
    double m_sum = 0.0;  // of the F1 of all labels that texts have
    std::size_t m_count = 0;
};

// The sum of squared distances from the mean.
double square_sum_of(const std::vector<double>& values) {
    double sum = 0.0;
    for (const double value : values) {
        sum += value;
    }
    const double mean = sum / static_cast<double>(values.size());
    double squares = 0.0;
    for (const double value : values) {
        squares += (value - mean) * (value - mean);
    }
    return squares;
}

Tuning_gain gain_of_f1(const std::vector<Known_answer>& defaults,
                       const std::vector<Known_answer>& answers) {
    const Macro_f1 before(defaults);
    const Macro_f1 after(answers);
    std::vector<double> gains;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        gains.push_back(after.value_without(answers[i]) - before.value_without(defaults[i]));
    }
    const auto count = static_cast<double>(gains.size());
    return {after.value() - before.value(),
            std::sqrt((count - 1.0) / count * square_sum_of(gains))};
}

}  // namespace

const char* name_of(Tuning_metric metric) {
    return metric == Tuning_metric::kAccuracy  ? "accuracy"
           : metric == Tuning_metric::kMacroF1 ? "macro F1"
                                               : "Brier score";
}

double value_of(Tuning_metric metric, const std::vector<Known_answer>& answers) {
    if (metric == Tuning_metric::kMacroF1) {
        return Macro_f1(answers).value();
    }
    double sum = 0.0;
    for (const Known_answer& each : answers) {
        sum += worth(metric, each);
    }
    return (metric == Tuning_metric::kBrier ? -sum : sum) / static_cast<double>(answers.size());
}

bool Tuning_gain::is_above(double errors) const {
    // A gain that is only rounding is none.
    constexpr double kLeast = 1e-9;
    return gain > kLeast && gain > errors * error;
}

Tuning_gain gain_over(Tuning_metric metric, const std::vector<Known_answer>& defaults,
                      const std::vector<Known_answer>& answers) {
    if (metric == Tuning_metric::kMacroF1) {
        return gain_of_f1(defaults, answers);
    }
    std::vector<double> gains;
    double sum = 0.0;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        gains.push_back(worth(metric, answers[i]) - worth(metric, defaults[i]));
        sum += gains.back();
    }
    const auto count = static_cast<double>(gains.size());
    const double variance = count > 1.0 ? square_sum_of(gains) / (count * (count - 1.0)) : 0.0;
    return {sum / count, std::sqrt(variance)};
}

}  // namespace zandrel::cli
