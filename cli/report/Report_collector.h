// Report_collector: collects the data of a report while an evaluation runs.
#ifndef ZANDREL_CLI_REPORT_REPORT_COLLECTOR_H_
#define ZANDREL_CLI_REPORT_REPORT_COLLECTOR_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/evaluate/Evaluation_observer.h"
#include "cli/report/Report_data.h"
#include "cli/report/Worst_mistakes.h"
#include "text/kc/Kc_tree_view.h"

namespace zandrel::cli {

// MEMORY: for each pair of category and answer that occurs, at most 20 texts of 300 characters; the
// worst mistakes; and a tree.
class Report_collector : public Evaluation_observer {
public:
    void add(const Evaluated_text& text) override;
    // The facts are those of the first model.
    void end_model(Text_model& model) override;

    // Call this after the evaluation.
    Report_data data() const;

private:
    // Categories have numbers in the order in which they occur. `data` sorts them.
    using Place = std::pair<std::size_t, std::size_t>;

    std::size_t number_of(std::string_view label);
    void add_tallies(const std::vector<std::string>& labels, std::string_view answer);
    void add_cell(const Place& place, bool is_right, Report_sample sample);

    std::map<std::string, std::size_t, std::less<>> m_numbers;
    std::vector<Tally> m_tallies;
    std::map<Place, Report_cell> m_cells;
    Worst_mistakes m_mistakes;
    Report_data m_data;  // without what `data` computes
    std::optional<std::vector<Kc_tree_line>> m_tree;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_REPORT_COLLECTOR_H_
