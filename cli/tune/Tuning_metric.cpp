// Example for accuracy: five texts, of which the defaults get 1 and 2 right, and another setting 1,
// 3 and 4. It wins two texts and loses one, so its gain is 1/5, and the standard error is
// sqrt(2 + 1) / 5 = 0.346. With this error, four texts won and none lost are exactly two standard
// errors, however many texts there are.
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

// The variance of a figure, from the figure without each of the texts.
double jackknife_variance(const std::vector<double>& without_a_text) {
    const auto count = static_cast<double>(without_a_text.size());
    return (count - 1.0) / count * square_sum_of(without_a_text);
}

Interval interval_of_f1(const std::vector<Known_answer>& answers) {
    const Macro_f1 all(answers);
    std::vector<double> values;
    for (const Known_answer& each : answers) {
        values.push_back(all.value_without(each));
    }
    return mean_share_interval(all.value(), jackknife_variance(values), answers.size());
}

// For figures that are the mean of `values`.
double variance_of_mean(const std::vector<double>& values) {
    const auto count = static_cast<double>(values.size());
    return count > 1.0 ? square_sum_of(values) / (count * (count - 1.0)) : 0.0;
}

Interval interval_of_brier(const std::vector<Known_answer>& answers) {
    constexpr double kErrorsOnASide = 1.959963984540054;
    std::vector<double> errors;
    for (const Known_answer& each : answers) {
        errors.push_back(each.answer.square_error);
    }
    const double value = value_of(Tuning_metric::kBrier, answers);
    const double distance = kErrorsOnASide * std::sqrt(variance_of_mean(errors));
    return {std::max(value - distance, 0.0), value + distance};
}

Tuning_gain gain_of_accuracy(const std::vector<Known_answer>& defaults,
                             const std::vector<Known_answer>& answers) {
    std::size_t won = 0;
    std::size_t lost = 0;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        const bool is_better = is_right(answers[i]) && !is_right(defaults[i]);
        const bool is_worse = !is_right(answers[i]) && is_right(defaults[i]);
        won += is_better ? 1 : 0;
        lost += is_worse ? 1 : 0;
    }
    const auto count = static_cast<double>(answers.size());
    return {(static_cast<double>(won) - static_cast<double>(lost)) / count,
            std::sqrt(static_cast<double>(won + lost)) / count};
}

Tuning_gain gain_of_f1(const std::vector<Known_answer>& defaults,
                       const std::vector<Known_answer>& answers) {
    const Macro_f1 before(defaults);
    const Macro_f1 after(answers);
    std::vector<double> gains;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        gains.push_back(after.value_without(answers[i]) - before.value_without(defaults[i]));
    }
    return {after.value() - before.value(), std::sqrt(jackknife_variance(gains))};
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
        sum += metric == Tuning_metric::kBrier ? each.answer.square_error
                                               : (is_right(each) ? 1.0 : 0.0);
    }
    return sum / static_cast<double>(answers.size());
}

Interval interval_of(Tuning_metric metric, const std::vector<Known_answer>& answers) {
    if (metric == Tuning_metric::kMacroF1) {
        return interval_of_f1(answers);
    }
    if (metric == Tuning_metric::kBrier) {
        return interval_of_brier(answers);
    }
    const auto right = std::count_if(answers.begin(), answers.end(), is_right);
    return share_interval(static_cast<std::size_t>(right), answers.size());
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
    if (metric == Tuning_metric::kAccuracy) {
        return gain_of_accuracy(defaults, answers);
    }
    std::vector<double> gains;
    double sum = 0.0;
    for (std::size_t i = 0; i < answers.size(); ++i) {
        gains.push_back(defaults[i].answer.square_error - answers[i].answer.square_error);
        sum += gains.back();
    }
    return {sum / static_cast<double>(gains.size()), std::sqrt(variance_of_mean(gains))};
}

}  // namespace zandrel::cli
