// Metrics: accuracy and F1 of the best labels, and the confusions.
#ifndef ZANDREL_CLI_EVALUATE_METRICS_H_
#define ZANDREL_CLI_EVALUATE_METRICS_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/evaluate/Interval.h"
#include "cli/evaluate/Tally.h"
#include "cli/evaluate/Tally_rounds.h"

namespace zandrel::cli {

// The texts with the same labels and the same wrong best label.
struct Confusion {
    std::string expected;  // the text's labels, joined by commas
    std::string got;       // empty if there was no result
    std::size_t texts = 0;
};

struct Metrics {
    std::size_t texts = 0;
    std::size_t correct = 0;            // texts whose best label is one of theirs
    std::size_t labels = 0;             // different labels of the texts
    double accuracy = 0.0;              // correct / texts; 0 without texts
    double macro_f1_top = 0.0;          // mean F1 of the labels; 0 without texts
    std::vector<Confusion> confusions;  // most texts first, then sorted by `expected` and `got`
    std::optional<Interval> macro_f1_interval = {};  // missing if the counter makes none

    Interval accuracy_interval() const { return share_interval(correct, texts); }
};

// Counts predictions. Each text has at least one label and one prediction, its best label. A label
// of the text is a hit if it is the prediction, and a miss otherwise. A prediction that is not a
// label of the text is a false alarm for the predicted label.
class Metrics_counter {
public:
    // `makes_intervals`: takes 2.4 KB for each label that a text has or gets.
    explicit Metrics_counter(bool makes_intervals = false) {
        if (makes_intervals) {
            m_rounds.emplace();
        }
    }

    // `predicted`: empty if there was no result.
    void add(const std::vector<std::string>& labels, const std::string& predicted);
    Metrics metrics() const;

private:
    void add_to_rounds(const std::vector<std::string>& labels, const std::string& predicted);
    std::vector<Confusion> worst_first() const;

    std::size_t m_texts = 0;
    std::size_t m_correct = 0;
    std::map<std::string, Tally> m_labels;
    std::map<std::pair<std::string, std::string>, std::size_t> m_confusions;  // (expected, got)
    std::optional<Tally_rounds> m_rounds;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_METRICS_H_
