// Interval: how far figures of a sample of texts can be from those of all texts of their kind.
#ifndef ZANDREL_CLI_EVALUATE_INTERVAL_H_
#define ZANDREL_CLI_EVALUATE_INTERVAL_H_

#include <cstddef>

#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

// A 95 % interval: of many such intervals, each from other texts, about 95 % contain the figure
// that infinitely many texts would have; of those of a calibration error, 95 % or more. `low` <=
// `high`.
struct Interval {
    double low = 0.0;
    double high = 0.0;
};

// The interval of Wilson for the share hits / count: 8 of 10 have 0.490 to 0.943. 0 to 1 if `count`
// is 0, since nothing is known then.   REQUIRES: hits <= count.
Interval share_interval(std::size_t hits, std::size_t count);

// Returns whether `hits` of `count` prove that the share of infinitely many texts is at least
// `share`: if it were lower, so many hits would have a chance of at most 5 %. This is the exact
// test of Clopper and Pearson for one side: 59 of 59 prove 0.95, since 0.95^59 = 0.0485; 58 of 58
// do not. REQUIRES: hits <= count; share above 0, below 1. COST: some divisions for each text of a
// deviation, so 10,000 for a million texts.
bool proves_share(std::size_t hits, std::size_t count, double share);

// The interval of a figure from 0 to 1 that is no plain share, such as a mean of shares.
// `variance`: of the figure, 0 or more. We look for the number of texts for which a plain share has
// this variance, and use the interval of Wilson for this number. `text_count` is its upper limit: a
// model that is right for all of 3 texts has the variance 0, but the interval of 3 of 3.
Interval mean_share_interval(double figure, double variance, std::size_t text_count);

// The intervals of the precision and the recall of one label.
Interval precision_interval(const Tally& tally);
Interval recall_interval(const Tally& tally);

// The interval of the F1 of one label. F1 = 2 j / (1 + j), where j is the share of hits among all
// texts that have the label or got it. So both ends are those of j, converted.
Interval f1_interval(const Tally& tally);

// The mean and the variance of a figure over random samples (Resampling.h).
struct Sampled_figure {
    double mean = 0.0;
    double variance = 0.0;
};

// The interval of a mean that is 0 or more, with no upper limit.
Interval mean_interval(double mean, double variance);

// The interval of a calibration error: a sum of absolute distances, one for each bin. Chance adds
// to each distance, so the error of few texts is above that of infinitely many on average. So the
// interval reaches further down than up. `by_chance`: the error that the same texts have if each
// score is exactly true. Chance adds no more than this to any error. So `low` is above 0 only if
// chance can not explain the error. `variance`: of `error`.   `least_high`: `high` is not below it,
// and not above 1, the greatest error.
Interval calibration_interval(double error, const Sampled_figure& by_chance, double variance,
                              double least_high);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_INTERVAL_H_
