// Tally: hits, misses and false alarms of one label, and its precision, recall and F1.
#ifndef ZANDREL_CLI_EVALUATE_TALLY_H_
#define ZANDREL_CLI_EVALUATE_TALLY_H_

#include <cstddef>

namespace zandrel::cli {

// part / whole; 0 if `whole` is 0.
double ratio(double part, std::size_t whole);

// Counts of texts. A ratio with the divisor 0 is 0: the precision of a label that was never given,
// and the recall of a label that no text has.
struct Tally {
    std::size_t hits = 0;          // have the label and got it
    std::size_t misses = 0;        // have it and did not get it
    std::size_t false_alarms = 0;  // do not have it and got it

    Tally& operator+=(const Tally& other);

    std::size_t texts() const { return hits + misses; }

    std::size_t given() const { return hits + false_alarms; }

    double precision() const;  // hits / given
    double recall() const;     // hits / texts
    double f1() const;         // 2 hits / (texts + given), the harmonic mean of the two
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_TALLY_H_
