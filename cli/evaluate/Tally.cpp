// The ratios of a tally. 3 hits, 1 miss and 2 false alarms: precision 3/5, recall 3/4,
// F1 = 2*3 / (4+5) = 2/3.
#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

double ratio(double part, std::size_t whole) {
    return whole == 0 ? 0.0 : part / static_cast<double>(whole);
}

Tally& Tally::operator+=(const Tally& other) {
    hits += other.hits;
    misses += other.misses;
    false_alarms += other.false_alarms;
    return *this;
}

double Tally::precision() const {
    return ratio(static_cast<double>(hits), given());
}

double Tally::recall() const {
    return ratio(static_cast<double>(hits), texts());
}

double Tally::f1() const {
    return ratio(static_cast<double>(2 * hits), texts() + given());
}

}  // namespace zandrel::cli
