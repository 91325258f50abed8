// Slow_likelihood: a second, simple implementation of training with likelihood tables. The
// likelihood pass of zeStat_trainer and the scores of zeStat_matcher are compared with it.
//
// Here messages are matched category by category instead of through an inverted table. A slice is
// every n-th message of one sequence. The tables come from the max-min formula of isotonic
// regression instead of from pooling. Histograms are compared bit for bit, since every sum is in
// the library's order. The tables are compared with a tolerance, since the formula sums in another
// order.
#ifndef ZANDREL_TESTS_STATISTICS_SLOW_LIKELIHOOD_H_
#define ZANDREL_TESTS_STATISTICS_SLOW_LIKELIHOOD_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/statistics/slow_trainer.h"

class Slow_likelihood {
public:
    static constexpr std::size_t kBins = 30;

    // The data of a category besides its counts.
    struct Histogram {
        std::vector<double> relevant;
        std::vector<double> total;
        int age = 0;
        std::array<double, kBins> table = {};
        double accumulator = 0.0;  // the sum that earlier matching left here
    };

    // For each category, at its position in the model: its selected concepts and their weights.
    using Matcher = std::vector<std::map<std::string, float>>;

    explicit Slow_likelihood(const zeDefaults& settings)
        : model(settings, false), m_settings(settings) {}

    // Selects features and returns their current weights.
    Matcher MakeMatcher() {
        model.Select();
        Matcher made;
        for (const Slow_trainer::Profile& profile : model.profiles) {
            made.emplace_back(profile.weights.begin(), profile.weights.end());
        }
        return made;
    }

    // Counts the messages and updates histograms and tables. `given` is a matcher that was made
    // before the call. It is used only by the omit method with fewer than two slices.
    void Train(const std::vector<Slow_message>& batch, const std::optional<Matcher>& given) {
        std::vector<Slow_message> messages;
        for (const Slow_message& msg : batch) {
            if (Slow_trainer::IsFinite(msg)) {
                messages.push_back(msg);
            }
        }
        if (!m_settings.use_omit_method) {
            Count(messages);
            Enter(messages, MakeMatcher());
        } else if (m_settings.num_slices < 2) {
            Enter(messages, given ? *given : MakeMatcher());
            Count(messages);
        } else {
            Count(messages);
            const std::vector<Slow_message> sequence = Sequence(messages);
            for (int slice = 0; slice < m_settings.num_slices; ++slice) {
                EnterOmitting(EveryNth(sequence, slice));
            }
        }
        for (const Slow_trainer::Profile& profile : model.profiles) {
            BuildTable(HistogramOf(profile.name));
        }
    }

    // The scores of all categories with the weights of `matcher`, corrected by the tables.
    std::vector<double> Scores(const Slow_message& msg, const Matcher& matcher) {
        const std::map<std::string, double> bag = model.Clipped(msg);
        Match(bag, matcher);
        std::vector<double> scores;
        for (const Slow_trainer::Profile& profile : model.profiles) {
            const double match = std::exchange(HistogramOf(profile.name).accumulator, 0.0);
            const double total = Slow_trainer::Total(bag);
            if (IsInactive(profile) || total == 0.0) {
                scores.push_back(0.0);
            } else if (model.profiles.size() == 1 || profile.msgs == model.msgs) {
                scores.push_back(1.0);
            } else {
                scores.push_back(Corrected(Squash(match / total + profile.M), profile.name));
            }
        }
        return scores;
    }

    // An entry of the average table: the tables of all categories weighted by their ages, and a
    // prior of 30 messages whose likelihood equals the score.
    double Average(std::size_t bin) {
        const double centre = (static_cast<double>(bin) + 0.5) / 30;
        double sum = 30 * centre;
        double count = 30;
        for (const Slow_trainer::Profile& profile : model.profiles) {
            const Histogram& histogram = HistogramOf(profile.name);
            sum += histogram.age * histogram.table[bin];
            count += histogram.age;
        }
        return sum / count;
    }

    Histogram& HistogramOf(const std::string& name) {
        Histogram& histogram = m_histograms[name];
        if (histogram.total.empty()) {
            const std::size_t size =
                kBins * static_cast<std::size_t>(m_settings.likelihood_resolution);
            histogram.relevant.assign(size, 0.0);
            histogram.total.assign(size, 0.0);
        }
        return histogram;
    }

    Slow_trainer model;

private:
    static constexpr double kPi = 3.141592653589793;

    static double Squash(double x) { return std::atan(kPi * x) / kPi + 0.5; }

    static bool Has(const std::vector<std::string>& names, const std::string& name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    }

    static std::vector<Slow_message> EveryNth(const std::vector<Slow_message>& sequence, int first,
                                              int step) {
        std::vector<Slow_message> slice;
        for (std::size_t i = static_cast<std::size_t>(first); i < sequence.size();
             i += static_cast<std::size_t>(step)) {
            slice.push_back(sequence[i]);
        }
        return slice;
    }

    std::vector<Slow_message> EveryNth(const std::vector<Slow_message>& sequence, int first) const {
        return EveryNth(sequence, first, m_settings.num_slices);
    }

    void Count(const std::vector<Slow_message>& messages) {
        for (const Slow_message& msg : messages) {
            model.Count(msg);
        }
    }

    void EnterOmitting(const std::vector<Slow_message>& slice) {
        if (slice.empty()) {
            return;
        }
        for (const Slow_message& msg : slice) {
            model.Uncount(msg);
        }
        Enter(slice, MakeMatcher());
        Count(slice);
    }

    // True if each category of the message has a weight above 1.
    bool CanBeOmitted(const Slow_message& msg) const {
        return std::all_of(msg.cats.begin(), msg.cats.end(), [this](const std::string& cat) {
            return std::any_of(
                model.profiles.begin(), model.profiles.end(),
                [&cat](const auto& each) { return each.name == cat && each.weight > 1.0; });
        });
    }

    // The messages that can be omitted, category by category in the order of their first messages;
    // messages without a category come last.
    std::vector<Slow_message> Sequence(const std::vector<Slow_message>& messages) const {
        std::vector<std::string> met;
        std::vector<std::pair<std::string, Slow_message>> assigned;
        for (const Slow_message& msg : messages) {
            if (!msg.cats.empty() && CanBeOmitted(msg)) {
                const std::string& cat = msg.cats[assigned.size() % msg.cats.size()];
                assigned.emplace_back(cat, msg);
                if (!Has(met, cat)) {
                    met.push_back(cat);
                }
            }
        }
        std::vector<Slow_message> sequence;
        for (const std::string& cat : met) {
            for (const auto& [name, msg] : assigned) {
                if (name == cat) {
                    sequence.push_back(msg);
                }
            }
        }
        for (const Slow_message& msg : messages) {
            if (msg.cats.empty()) {
                sequence.push_back(msg);
            }
        }
        return sequence;
    }

    void Match(const std::map<std::string, double>& bag, const Matcher& matcher) {
        for (std::size_t i = 0; i < matcher.size(); ++i) {
            double& accumulator = HistogramOf(model.profiles[i].name).accumulator;
            for (const auto& [text, weight] : bag) {
                const auto found = matcher[i].find(text);
                if (found != matcher[i].end()) {
                    accumulator += static_cast<double>(found->second) * weight;
                }
            }
        }
    }

    void Enter(const std::vector<Slow_message>& messages, const Matcher& matcher) {
        for (const Slow_message& msg : messages) {
            if (msg.has_bag) {
                Enter(msg, matcher);
            }
        }
    }

    void Enter(const Slow_message& msg, const Matcher& matcher) {
        const std::map<std::string, double> bag = model.Clipped(msg);
        Match(bag, matcher);
        for (const Slow_trainer::Profile& profile : model.profiles) {
            if (profile.msgs == 0 || profile.msgs == model.msgs) {
                continue;
            }
            Histogram& histogram = HistogramOf(profile.name);
            const double match = std::exchange(histogram.accumulator, 0.0);
            const double total = Slow_trainer::Total(bag);
            double score = 0.0;
            if (total != 0.0) {
                score = model.profiles.size() == 1 ? 1.0 : Squash(match / total + profile.M);
            }
            const double bins = static_cast<double>(histogram.total.size());
            const auto bin = static_cast<std::size_t>(std::min(std::floor(bins * score), bins - 1));
            histogram.total[bin] += msg.weight;
            if (Has(msg.cats, profile.name)) {
                histogram.relevant[bin] += msg.weight;
            }
            histogram.age = std::min(histogram.age + 1, 1000);
        }
    }

    // A table entry is the maximum over all starts up to the bin. For each start we take the
    // minimum ratio of all runs of bins from the start that reach at least this bin.
    void BuildTable(Histogram& histogram) const {
        const auto fine = static_cast<std::size_t>(m_settings.likelihood_resolution);
        std::array<double, kBins> num = {};
        std::array<double, kBins> den = {};
        den.fill(0.0001);
        for (std::size_t i = 0; i < kBins * fine; ++i) {
            num[i / fine] += histogram.relevant[i];
            den[i / fine] += histogram.total[i];
        }
        for (std::size_t bin = 0; bin < kBins; ++bin) {
            histogram.table[bin] = 0.0;
            for (std::size_t start = 0; start <= bin; ++start) {
                histogram.table[bin] =
                    std::max(histogram.table[bin], LeastRatio(num, den, start, bin));
            }
        }
    }

    static double LeastRatio(const std::array<double, kBins>& num,
                             const std::array<double, kBins>& den, std::size_t start,
                             std::size_t bin) {
        double num_sum = 0.0;
        double den_sum = 0.0;
        double least = 2.0;
        for (std::size_t end = start; end < kBins; ++end) {
            num_sum += num[end];
            den_sum += den[end];
            if (end >= bin) {
                least = std::min(least, num_sum / den_sum);
            }
        }
        return least;
    }

    bool IsInactive(const Slow_trainer::Profile& profile) const {
        return profile.msgs == 0 || profile.msgs < m_settings.activation_inside ||
               model.msgs - profile.msgs < m_settings.activation_outside ||
               model.msgs < m_settings.activation_total;
    }

    // The value of a table at a score: straight lines from (0, 0) through the centres of the bins,
    // and constant after the last centre.
    static double Interpolated(const std::array<double, kBins>& table, double score) {
        double left_x = 0.0;
        double left_y = 0.0;
        for (std::size_t i = 0; i < kBins; ++i) {
            const double right_x = (static_cast<double>(i) + 0.5) / 30;
            if (score < right_x) {
                return left_y + (table[i] - left_y) * (score - left_x) / (right_x - left_x);
            }
            left_x = right_x;
            left_y = table[i];
        }
        return left_y;
    }

    double Corrected(double score, const std::string& name) {
        if (!m_settings.use_likelihood_in_match) {
            return score;
        }
        const Histogram& histogram = HistogramOf(name);
        std::array<double, kBins> average;
        for (std::size_t i = 0; i < kBins; ++i) {
            average[i] = Average(i);
        }
        const double count = static_cast<double>(model.profiles.size());
        const double w = histogram.age < 1000 ? count / (histogram.age + count) : 0.0;
        const double blended =
            w * Interpolated(average, score) + (1 - w) * Interpolated(histogram.table, score);
        return 0.99 * blended + 0.01 * score;
    }

    zeDefaults m_settings;
    std::map<std::string, Histogram> m_histograms;
};

#endif  // ZANDREL_TESTS_STATISTICS_SLOW_LIKELIHOOD_H_
