// Quality: collects all figures of quality of an evaluation, text by text.
#ifndef ZANDREL_CLI_EVALUATE_QUALITY_H_
#define ZANDREL_CLI_EVALUATE_QUALITY_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/evaluate/Answered_share.h"
#include "cli/evaluate/Assignments.h"
#include "cli/evaluate/Calibration.h"
#include "cli/evaluate/Evaluation.h"
#include "cli/evaluate/Metrics.h"
#include "text/data/Label_set.h"
#include "text/data/Labelled_text.h"
#include "text/model/Scored_label.h"

namespace zandrel::cli {

class Quality {
public:
    // `labels`: of the model. `all`: gets the same texts, together with those of other models. If
    // there is `all`, only `all` makes intervals.   BORROWS: `all`; null: none.
    Quality(double threshold, const std::vector<std::string>& labels, Quality* all = nullptr)
        : m_top(all == nullptr),
          m_assignments(threshold, labels, all == nullptr),
          m_calibration(all == nullptr),
          m_raw_calibration(all == nullptr),
          m_confidence(all == nullptr),
          m_all(all) {}

    // `confidence`: of the best label; missing if the model has no confidence map.
    void add(const Labelled_text& text, const Ranking& ranking, std::optional<double> confidence) {
        m_top.add(text.labels, ranking.empty() ? "" : std::string(ranking.front().label));
        m_assignments.add(text.labels, ranking);
        m_calibration.add(text.labels, ranking);
        const bool is_right =
            !ranking.empty() && Label_set(text.labels).contains(ranking.front().label);
        if (confidence) {
            m_has_confidence = true;
            m_confidence.add(*confidence, is_right);
        }
        m_answered.add({confidence.value_or(best_score(ranking)), is_right});
        if (m_all != nullptr) {
            m_all->add(text, ranking, confidence);
        }
    }

    // The ranking by scores that likelihood tables have not corrected.
    void add_raw(const Labelled_text& text, const Ranking& ranking) {
        m_has_raw = true;
        m_raw_calibration.add(text.labels, ranking);
        if (m_all != nullptr) {
            m_all->add_raw(text, ranking);
        }
    }

    void put_into(Evaluation& result) const {
        result.metrics = m_top.metrics();
        result.assignments = m_assignments.assignments();
        // `categories` has the labels of the model and of the texts.
        const std::size_t label_count = result.assignments.categories.size();
        result.calibration = m_calibration.calibration(label_count);
        if (m_has_raw) {
            result.raw_calibration = m_raw_calibration.calibration(label_count);
        }
        if (m_has_confidence) {
            result.confidence = m_confidence.calibration();
        }
        result.answered = {m_has_confidence, m_answered.points()};
    }

private:
    Metrics_counter m_top;
    Assignment_counter m_assignments;
    Calibration_counter m_calibration;
    Calibration_counter m_raw_calibration;
    bool m_has_raw = false;
    Best_calibration_counter m_confidence;
    bool m_has_confidence = false;
    Answered_share_counter m_answered;
    Quality* m_all;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_EVALUATE_QUALITY_H_
