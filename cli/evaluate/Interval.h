// Interval: how far figures of a sample of texts can be from those of all texts of their kind.
#ifndef ZANDREL_CLI_EVALUATE_INTERVAL_H_
#define ZANDREL_CLI_EVALUATE_INTERVAL_H_

#include <cstddef>

#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

// A 95 % interval: of many such intervals, each from other texts, about 95 % contain the figure
// that infinitely many texts would have. `low` <= `high`.
struct Interval {
    double low = 0.0;
    double high = 0.0;
};

// The interval of Wilson for the share hits / count: 8 of 10 have 0.490 to 0.943. 0 to 1 if `count`
// is 0, since nothing is known then.   REQUIRES: hits <= count.
Interval share_interval(std::size_t hits, std::size_t count);

// The end of an interval for one side: the share of infinitely many texts is above it with 95 %. 0
// if `count` is 0.   REQUIRES: hits <= count.
double least_share(std::size_t hits, std::size_t count);

// The interval of a figure from 0 to 1 that is no plain share, such as a mean of shares.
// `variance`: of the figure, 0 or more. We look for the number of texts for which a plain share has
// this variance, and use the interval of Wilson for this number. `text_count` is its upper limit: a
// model that is right for all of 3 texts has the variance 0, but the interval of 3 of 3.
Interval mean_share_interval(double figure, double variance, std::size_t text_count);

// The interval of the F1 of one label. F1 = 2 j / (1 + j), where j is the share of hits among all
// texts that have the label or got it. So both ends are those of j, converted.
Interval f1_interval(const Tally& tally);

// The mean and the variance of a figure over random samples (Resampling.h).
struct Sampled_figure {
    double mean = 0.0;
    double variance = 0.0;
};

// The interval of an error: 0 or more, with no upper limit. The mean of random samples is above an
// error by as much as the error is, by chance, above that of infinitely many texts. So the middle
// is moved down by this distance. The interval always contains `error`.
Interval error_interval(double error, const Sampled_figure& sampled);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_INTERVAL_H_
