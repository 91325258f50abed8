// Tally: how one label was given to texts, and what follows from that.
#ifndef ZANDREL_CLI_EVALUATE_TALLY_H_
#define ZANDREL_CLI_EVALUATE_TALLY_H_

#include <cstddef>

namespace cli {

// part / whole; 0 where there is nothing to divide by.
double ratio(double part, std::size_t whole);

// Counts of texts. Each ratio is 0 where it has nothing to divide by: a label that is never given
// has no precision to show, and one that no text has no recall.
struct Tally {
    std::size_t hits = 0;          // have the label and were given it
    std::size_t misses = 0;        // have it and were not given it
    std::size_t false_alarms = 0;  // do not have it and were given it

    Tally& operator+=(const Tally& other);

    std::size_t texts() const { return hits + misses; }

    std::size_t given() const { return hits + false_alarms; }

    double precision() const;  // hits / given
    double recall() const;     // hits / texts
    double f1() const;         // 2 hits / (texts + given), the harmonic mean of the two
};

}  // namespace cli

#endif  // ZANDREL_CLI_EVALUATE_TALLY_H_
