// Example: eight settings and the rounds of eight, four and two settings. Setting 0 is the
// defaults.
//
//   round 1, half of the texts, fold 0:  values 80 81 79 82 78 80 83 77
//   round 2, all texts, fold 0:          0, 6, 3 and 1 take part: 80 82 84 81, in this order
//   round 3, all texts, folds 0 to 2:    0 and 3 take part: 80.5 83
//
// Setting 3 is chosen if its gain of 2.5 is more than two standard errors. In round 3 only the
// folds 1 and 2 are new; the answers for fold 0 are those of round 2.
//
// Values that differ by less than 1e-9 count as equal, and then the first setting of the list is
// the better one: the last bits of a sum of scores may differ between machines.
#include "cli/tune/Halving.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <utility>

#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

constexpr double kLeastDifference = 1e-9;

struct Part_order {
    bool operator()(const Tuning_part& left, const Tuning_part& right) const {
        return std::pair(left.divisor, left.fold) < std::pair(right.divisor, right.fold);
    }
};

std::vector<Tuning_part> parts_of(const Tuning_round& round) {
    std::vector<Tuning_part> parts;
    for (std::size_t fold = 0; fold < round.folds; ++fold) {
        parts.push_back({round.divisor, fold});
    }
    return parts;
}

class Course {
public:
    // BORROWS: `settings` and `trials`.
    Course(const Halving_settings& settings, Tuning_metric metric, Trials& trials)
        : m_settings(settings), m_metric(metric), m_trials(trials), m_outcomes(settings.count) {
        m_result.figures.resize(settings.count);
    }

    Halving_result run(const std::vector<Tuning_round>& rounds) {
        std::vector<std::size_t> left = m_settings.first_order;
        if (left.empty()) {
            left.resize(m_settings.count);
            std::iota(left.begin(), left.end(), 0);
        }
        for (std::size_t i = 0; i < rounds.size() && m_result.is_complete; ++i) {
            if (i > 0) {
                keep_best(rounds[i].settings, left);
            }
            m_round_name = "Round " + grouped(i + 1) + " of " + grouped(rounds.size()) + ": " +
                           counted(left.size(), "setting");
            try_round(rounds[i], left);
            take_figures(rounds[i], i + 1, left);
        }
        choose();
        return std::move(m_result);
    }

private:
    using Outcomes = std::map<Tuning_part, Trial_outcome, Part_order>;

    // Setting 0 stays the first. The others are then sorted by the values of the last round.
    void keep_best(std::size_t count, std::vector<std::size_t>& left) const {
        std::sort(left.begin(), left.end());
        std::stable_sort(left.begin() + 1, left.end(), [this](std::size_t a, std::size_t b) {
            return is_better(m_result.figures[a].value, m_result.figures[b].value);
        });
        left.resize(std::clamp<std::size_t>(count, 1, left.size()));
    }

    bool is_better(double a, double b) const {
        return (m_metric == Tuning_metric::kBrier ? b - a : a - b) > kLeastDifference;
    }

    // Tries what has not been tried yet.
    void try_round(const Tuning_round& round, const std::vector<std::size_t>& settings) {
        std::vector<Trial> trials;
        for (const std::size_t setting : settings) {
            for (const Tuning_part& part : parts_of(round)) {
                if (m_outcomes[setting].count(part) == 0) {
                    trials.push_back({setting, part});
                }
            }
        }
        m_result.is_complete = m_trials.run(
            m_round_name, trials, [this, &trials](std::size_t index, Trial_outcome outcome) {
                const Trial& trial = trials[index];
                m_result.figures[trial.setting].cpu_seconds += outcome.cpu_seconds;
                m_outcomes[trial.setting][trial.part] = std::move(outcome);
            });
    }

    // The figures are compared with those of the defaults, so without these there are none.
    void take_figures(const Tuning_round& round, std::size_t number,
                      const std::vector<std::size_t>& settings) {
        const std::vector<Tuning_part> parts = parts_of(round);
        if (!is_tried(0, parts)) {
            return;
        }
        const std::vector<Known_answer> defaults = answers_of(0, parts);
        std::vector<std::size_t> tried;
        for (const std::size_t setting : settings) {
            if (is_tried(setting, parts)) {
                tried.push_back(setting);
                take_figures_of(setting, parts, number, defaults);
            }
        }
        if (tried.size() > 1 || number == 1) {
            std::sort(tried.begin(), tried.end());
            m_parts = parts;
            m_result.compared = tried.size() - 1;
            m_contenders = std::move(tried);
            m_result.defaults = m_result.figures[0];
        }
    }

    void take_figures_of(std::size_t setting, const std::vector<Tuning_part>& parts,
                         std::size_t number, const std::vector<Known_answer>& defaults) {
        const std::vector<Known_answer> answers = answers_of(setting, parts);
        Setting_figures& figures = m_result.figures[setting];
        figures.rounds = number;
        figures.texts = answers.size();
        figures.value = value_of(m_metric, answers);
        figures.interval = interval_of(m_metric, answers);
        figures.gain = gain_over(m_metric, defaults, answers);
        figures.model_size = 0;
        for (const Tuning_part& part : parts) {
            figures.model_size += m_outcomes[setting].at(part).model_size;
        }
    }

    bool is_tried(std::size_t setting, const std::vector<Tuning_part>& parts) const {
        return std::all_of(parts.begin(), parts.end(), [&](const Tuning_part& part) {
            return m_outcomes[setting].count(part) != 0;
        });
    }

    std::vector<Known_answer> answers_of(std::size_t setting,
                                         const std::vector<Tuning_part>& parts) const {
        std::vector<Known_answer> answers;
        for (const Tuning_part& part : parts) {
            const std::vector<Label_numbers>& labels = m_trials.labels(part);
            const std::vector<Text_answer>& given = m_outcomes[setting].at(part).answers;
            for (std::size_t i = 0; i < given.size(); ++i) {
                answers.push_back({&labels[i], given[i]});
            }
        }
        return answers;
    }

    void choose() {
        std::vector<std::size_t> clear;
        std::vector<std::size_t> clear_without_probabilities;
        for (const std::size_t setting : m_contenders) {
            if (figures_of(setting).gain.is_above(kClearErrors)) {
                (has_probabilities(setting) ? clear : clear_without_probabilities)
                    .push_back(setting);
            }
        }
        if (!clear.empty()) {
            choose_of(clear);
        }
        choose_without_probabilities(clear_without_probabilities);
    }

    bool has_probabilities(std::size_t setting) const {
        const std::vector<std::size_t>& without = m_settings.without_probabilities;
        return std::find(without.begin(), without.end(), setting) == without.end();
    }

    std::size_t best_of(const std::vector<std::size_t>& settings) const {
        return *std::min_element(settings.begin(), settings.end(),
                                 [this](std::size_t a, std::size_t b) {
                                     return is_better(figures_of(a).value, figures_of(b).value);
                                 });
    }

    void choose_of(const std::vector<std::size_t>& clear) {
        const std::size_t best = best_of(clear);
        m_result.chosen = best;
        for (const std::size_t setting : clear) {
            if (figures_of(setting).model_size < figures_of(m_result.chosen).model_size &&
                is_hardly_worse(setting, best)) {
                m_result.chosen = setting;
            }
        }
    }

    // The best of them replaces the chosen setting if it is clearly better than this one too.
    void choose_without_probabilities(const std::vector<std::size_t>& clear) {
        if (!clear.empty() && gain_of(best_of(clear), m_result.chosen).is_above(kClearErrors)) {
            m_result.chosen = best_of(clear);
        }
    }

    bool is_hardly_worse(std::size_t setting, std::size_t best) const {
        constexpr double kHardly = 0.25;
        return !gain_of(best, setting).is_above(kHardly);
    }

    // In the round that decided.
    Tuning_gain gain_of(std::size_t setting, std::size_t other) const {
        return gain_over(m_metric, answers_of(other, m_parts), answers_of(setting, m_parts));
    }

    const Setting_figures& figures_of(std::size_t setting) const {
        return m_result.figures[setting];
    }

    const Halving_settings& m_settings;
    Tuning_metric m_metric;
    Trials& m_trials;
    std::vector<Outcomes> m_outcomes;  // of each setting
    std::string m_round_name;
    std::vector<Tuning_part> m_parts;       // of the round that decides
    std::vector<std::size_t> m_contenders;  // tried completely in that round
    Halving_result m_result;
};

std::size_t part_of(std::size_t count, std::size_t divisor) {
    return std::max<std::size_t>((count + divisor - 1) / divisor, 2);
}

}  // namespace

std::vector<Tuning_round> tuning_rounds(std::size_t setting_count, std::size_t text_count,
                                        std::size_t byte_count) {
    constexpr std::size_t kVeryFewTexts = 100;
    constexpr std::size_t kSmallData = 2000;
    constexpr std::size_t kManyBytes = 4000000;
    const std::size_t count = setting_count;
    if (text_count < kVeryFewTexts) {
        return {{1, kTuningFolds, count}};
    }
    if (text_count < kSmallData) {
        return {{1, 1, count}, {1, kTuningFolds, part_of(count, 3)}};
    }
    if (byte_count <= kManyBytes) {
        return {{2, 1, count}, {1, 1, part_of(count, 2)}, {1, kTuningFolds, part_of(count, 4)}};
    }
    return {{4, 1, count},
            {2, 1, part_of(count, 2)},
            {1, 1, part_of(count, 4)},
            {1, kTuningFolds, part_of(count, 8)}};
}

Halving_result halve(const Halving_settings& settings, const std::vector<Tuning_round>& rounds,
                     Tuning_metric metric, Trials& trials) {
    return Course(settings, metric, trials).run(rounds);
}

}  // namespace zandrel::cli
