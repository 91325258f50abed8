// Averages: precision, recall and F1 of several labels together.
#ifndef ZANDREL_CLI_EVALUATE_AVERAGES_H_
#define ZANDREL_CLI_EVALUATE_AVERAGES_H_

#include "cli/evaluate/Interval.h"
#include "cli/evaluate/Tally.h"

namespace zandrel::cli {

struct Averages {
    double precision = 0.0;
    double recall = 0.0;
    double f1 = 0.0;
};

struct Average_intervals {
    Interval precision;
    Interval recall;
    Interval f1;
};

inline Averages averages_of(const Tally& tally) {
    return {tally.precision(), tally.recall(), tally.f1()};
}

// Takes the mean of precision, recall and F1 over labels that have texts.
class Mean_of_labels {
public:
    void add(const Tally& tally) {
        if (tally.texts() > 0) {
            m_sum.precision += tally.precision();
            m_sum.recall += tally.recall();
            m_sum.f1 += tally.f1();
            ++m_count;
        }
    }

    // 0 without such labels.
    Averages mean() const {
        return {ratio(m_sum.precision, m_count), ratio(m_sum.recall, m_count),
                ratio(m_sum.f1, m_count)};
    }

private:
    Averages m_sum;
    std::size_t m_count = 0;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_AVERAGES_H_
