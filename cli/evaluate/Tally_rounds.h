// Tally_rounds: the tallies of labels in random samples of the texts, for intervals of averages.
#ifndef ZANDREL_CLI_EVALUATE_TALLY_ROUNDS_H_
#define ZANDREL_CLI_EVALUATE_TALLY_ROUNDS_H_

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "cli/evaluate/Averages.h"
#include "cli/evaluate/Resampling.h"

namespace zandrel::cli {

// Memory: 2.4 KB for each label.
class Tally_rounds {
public:
    // The hits, misses and false alarms that follow are of the next text.
    void begin_text();

    void add_hit(std::string_view label);
    void add_miss(std::string_view label);
    void add_false_alarm(std::string_view label);

    // The intervals of the averages of all texts. They are calculated from the variances of the
    // averages over the samples.
    Average_intervals micro_intervals(const Averages& micro) const;
    Average_intervals macro_intervals(const Averages& macro) const;

private:
    struct Rounds {
        Round_counts hits;
        Round_counts misses;
        Round_counts false_alarms;

        Tally tally(std::size_t round) const;
    };

    Rounds& rounds_of(std::string_view label);
    Averages micro(std::size_t round) const;
    Averages macro(std::size_t round) const;

    Resampling m_resampling;
    const Round_weights* m_weights = nullptr;  // of the current text
    std::size_t m_text_count = 0;
    std::map<std::string, Rounds, std::less<>> m_labels;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_TALLY_ROUNDS_H_
