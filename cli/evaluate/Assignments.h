// Assignments: precision, recall and F1 of the labels at or above a threshold.
#ifndef ZANDREL_CLI_EVALUATE_ASSIGNMENTS_H_
#define ZANDREL_CLI_EVALUATE_ASSIGNMENTS_H_

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/evaluate/Averages.h"
#include "cli/evaluate/Tally.h"
#include "cli/evaluate/Tally_rounds.h"
#include "text/model/Scored_label.h"

namespace zandrel::cli {

struct Category_tally {
    std::string label;
    Tally tally;
};

struct Assignments {
    double threshold = 0.0;
    Averages micro;  // of all decisions, counted in one tally
    Averages macro;  // means over the labels that texts have; 0 if there are none
    // Sorted by the bytes of the label; also labels without a text.
    std::vector<Category_tally> categories;
    // Missing if the counter makes none.
    std::optional<Average_intervals> micro_intervals = {};
    std::optional<Average_intervals> macro_intervals = {};
};

// Counts decisions. A text has any number of labels, and we give it any number of labels: those
// with a score of at least the threshold. A label without a score is not given.
class Assignment_counter {
public:
    // `labels`: of the model. Texts may have other labels. `makes_intervals`: takes 2.4 KB for each
    // label that a text has or gets.
    Assignment_counter(double threshold, const std::vector<std::string>& labels,
                       bool makes_intervals = false);

    void add(const std::vector<std::string>& labels, const Ranking& ranking);
    Assignments assignments() const;

private:
    void add_hit(std::string_view label);
    void add_miss(std::string_view label);
    void add_false_alarm(std::string_view label);
    Tally& tally_of(std::string_view label);

    double m_threshold;
    std::map<std::string, Tally, std::less<>> m_tallies;
    std::optional<Tally_rounds> m_rounds;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_ASSIGNMENTS_H_
