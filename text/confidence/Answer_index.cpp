// Finds the weights by logistic regression. The loss of weights w is
//
//   sum over the answers of -ln(p if it is right, otherwise 1 - p)  +  penalty / 2 * |w -
//   default|^2
//
// with p = chance_of_index(w . x) and x = (1, ln(best / (1 - best)), sqrt(best - second)) of the
// answer. The loss is convex, so Newton's method finds its only minimum. A full step can be too
// long if nearly all answers are right. So we halve the step until the loss does not grow.
//
// A weight below 0 is not allowed for x[1] and x[2]. If the minimum has such a weight, we fix the
// lowest one to 0 and search the minimum over the others.
//
// Example: the answers (best 0.8, second 0.1) and (0.6, 0.3) are right, (0.5, 0.4) is wrong. Their
// x are (1, 1.39, 0.84), (1, 0.41, 0.55) and (1, 0.00, 0.32). The default weights (0, 1, 0) have
// the chances 0.8, 0.6 and 0.5. The first step makes the first two greater and the third less.
//
// All sums have the order of the answers, and the result is rounded to four decimals. So the last
// bits of exp() and log(), which differ among C libraries, hardly ever change it: they matter only
// if a weight is extremely near to the middle of two such decimals.
#include "text/confidence/Answer_index.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace zandrel {

namespace {

constexpr std::size_t kWeights = 3;
using Weights = std::array<double, kWeights>;

constexpr Weights kDefaultWeights = {0.0, 1.0, 0.0};
constexpr double kPenalty = 1.0;
constexpr int kMostSteps = 50;
constexpr int kMostHalvings = 30;
constexpr double kSmallStep = 1e-7;
constexpr double kLeastChance = 1e-6;

double product(const Weights& left, const Weights& right) {
    return left[0] * right[0] + left[1] * right[1] + left[2] * right[2];
}

Weights features_of(const Top_scores& scores) {
    const double best = std::min(scores.best, 1.0);
    const double lead = std::max(best - std::min(scores.second, 1.0), 0.0);
    return {1.0, index_of_chance(best), std::sqrt(lead)};
}

struct Judged_features {
    Weights features;
    bool is_right;
};

// -ln(chance_of_index(index)). For an index far below 0 the chance would be 0.
double loss_of_index(double index) {
    return index > 0.0 ? std::log1p(std::exp(-index)) : std::log1p(std::exp(index)) - index;
}

double loss_of(const std::vector<Judged_features>& examples, const Weights& weights) {
    double loss = 0.0;
    for (const Judged_features& each : examples) {
        const double index = product(weights, each.features);
        loss += loss_of_index(each.is_right ? index : -index);
    }
    for (std::size_t i = 0; i < kWeights; ++i) {
        const double distance = weights[i] - kDefaultWeights[i];
        loss += kPenalty / 2.0 * distance * distance;
    }
    return loss;
}

// The first and second derivatives of the loss.
struct Slope {
    Weights first = {};
    std::array<Weights, kWeights> second = {};
};

Slope slope_of(const std::vector<Judged_features>& examples, const Weights& weights) {
    Slope slope;
    for (const Judged_features& each : examples) {
        const double chance = chance_of_index(product(weights, each.features));
        const double error = chance - (each.is_right ? 1.0 : 0.0);
        for (std::size_t i = 0; i < kWeights; ++i) {
            slope.first[i] += error * each.features[i];
            for (std::size_t j = 0; j < kWeights; ++j) {
                slope.second[i][j] += chance * (1.0 - chance) * each.features[i] * each.features[j];
            }
        }
    }
    for (std::size_t i = 0; i < kWeights; ++i) {
        slope.first[i] += kPenalty * (weights[i] - kDefaultWeights[i]);
        slope.second[i][i] += kPenalty;
    }
    return slope;
}

// Which weights are searched; the others are 0.
using Searched = std::array<bool, kWeights>;

// Solves second * step = first by elimination. The penalty makes the matrix positive definite, so
// no pivot is 0. The step of a weight that is not searched is 0.
Weights newton_step(Slope slope, const Searched& searched) {
    for (std::size_t i = 0; i < kWeights; ++i) {
        for (std::size_t j = 0; j < kWeights; ++j) {
            if (!searched[i] || !searched[j]) {
                slope.second[i][j] = i == j ? 1.0 : 0.0;
            }
        }
        slope.first[i] = searched[i] ? slope.first[i] : 0.0;
    }
    for (std::size_t pivot = 0; pivot < kWeights; ++pivot) {
        for (std::size_t row = pivot + 1; row < kWeights; ++row) {
            const double factor = slope.second[row][pivot] / slope.second[pivot][pivot];
            for (std::size_t column = pivot; column < kWeights; ++column) {
                slope.second[row][column] -= factor * slope.second[pivot][column];
            }
            slope.first[row] -= factor * slope.first[pivot];
        }
    }
    Weights step = {};
    for (std::size_t row = kWeights; row-- > 0;) {
        double rest = slope.first[row];
        for (std::size_t column = row + 1; column < kWeights; ++column) {
            rest -= slope.second[row][column] * step[column];
        }
        step[row] = rest / slope.second[row][row];
    }
    return step;
}

Weights minimum_over(const std::vector<Judged_features>& examples, const Searched& searched) {
    Weights weights = {};
    for (std::size_t i = 0; i < kWeights; ++i) {
        weights[i] = searched[i] ? kDefaultWeights[i] : 0.0;
    }
    double loss = loss_of(examples, weights);
    for (int steps = 0; steps < kMostSteps; ++steps) {
        Weights step = newton_step(slope_of(examples, weights), searched);
        Weights next = weights;
        double next_loss = loss;
        for (int halvings = 0; halvings <= kMostHalvings; ++halvings) {
            for (std::size_t i = 0; i < kWeights; ++i) {
                next[i] = weights[i] - step[i];
            }
            next_loss = loss_of(examples, next);
            if (next_loss <= loss) {
                break;
            }
            for (double& part : step) {
                part /= 2.0;
            }
        }
        if (next_loss > loss) {
            break;  // no shorter step helps: the minimum, except for rounding
        }
        weights = next;
        loss = next_loss;
        if (std::max({std::abs(step[0]), std::abs(step[1]), std::abs(step[2])}) < kSmallStep) {
            break;
        }
    }
    return weights;
}

Weights best_weights(const std::vector<Judged_features>& examples) {
    Searched searched = {true, true, true};
    for (;;) {
        const Weights weights = minimum_over(examples, searched);
        const std::size_t lowest = weights[1] <= weights[2] ? 1 : 2;
        if (weights[lowest] >= 0.0) {
            return weights;
        }
        searched[lowest] = false;
    }
}

std::int64_t in_units(double weight) {
    const auto limit = static_cast<double>(Answer_index::kGreatest);
    const double units = weight * static_cast<double>(Answer_index::kUnit);
    return std::llround(std::clamp(units, -limit, limit));
}

}  // namespace

Answer_index Answer_index::fit(std::span<const Judged_answer> answers) {
    std::vector<Judged_features> examples;
    examples.reserve(answers.size());
    for (const Judged_answer& answer : answers) {
        examples.push_back({features_of(answer.scores), answer.is_right});
    }
    const Weights weights = best_weights(examples);
    return {in_units(weights[0]), in_units(weights[1]), in_units(weights[2])};
}

double Answer_index::of(const Top_scores& scores) const {
    constexpr double kOne = kUnit;
    const Weights weights = {static_cast<double>(base) / kOne, static_cast<double>(of_best) / kOne,
                             static_cast<double>(of_lead) / kOne};
    return product(weights, features_of(scores));
}

double chance_of_index(double index) {
    return 1.0 / (1.0 + std::exp(-index));
}

double index_of_chance(double chance) {
    const double inside = std::clamp(chance, kLeastChance, 1.0 - kLeastChance);
    return std::log(inside / (1.0 - inside));
}

}  // namespace zandrel
