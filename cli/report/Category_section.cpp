// The tables of categories and of confusions. The script makes them sortable and opens texts from
// them; without it they are complete.
#include <algorithm>

#include "cli/report/Html_parts.h"
#include "cli/report/Html_text.h"
#include "cli/report/Report_figures.h"
#include "cli/report/Report_sections.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

// More rows would make the page slow. Smaller confusions are in the matrix.
constexpr std::size_t kMostConfusions = 200;

std::string category_row(const Category_tally& at_threshold, const Tally& best,
                         const std::string& name, const std::string& row) {
    return "<tr><th scope=\"row\"" + (row.empty() ? "" : html_attribute("data-row", row)) +
           "><bdi>" + html_escaped(name) + "</bdi></th>" +
           share_cell(best.f1(), f1_interval(best)) +
           share_cell(best.precision(), share_interval(best.hits, best.given())) +
           share_cell(best.recall(), share_interval(best.hits, best.texts())) +
           number_cell(static_cast<double>(best.texts()), grouped(best.texts())) +
           number_cell(static_cast<double>(best.given()), grouped(best.given())) +
           number_cell(static_cast<double>(best.hits), grouped(best.hits)) +
           number_cell(at_threshold.tally.f1(),
                       figure_text(at_threshold.tally.f1(), Figure_form::kShare)) +
           "</tr>\n";
}

std::vector<const Report_cell*> confusions_of(const Report_data& data) {
    std::vector<const Report_cell*> cells;
    for (const Report_cell& cell : data.cells) {
        if (cell.row != cell.column) {
            cells.push_back(&cell);
        }
    }
    std::stable_sort(cells.begin(), cells.end(),
                     [](const Report_cell* left, const Report_cell* right) {
                         return left->texts > right->texts;
                     });
    return cells;
}

// The texts of the row of each category.
std::vector<std::size_t> row_sizes(const Report_data& data) {
    std::vector<std::size_t> sizes(data.names.size());
    for (const Report_cell& cell : data.cells) {
        sizes[cell.row] += cell.texts;
    }
    return sizes;
}

}  // namespace

std::string category_note(const Evaluation& evaluation) {
    return "Figures of the best label of each text. Precision: the share of right ones among the "
           "texts that got the label. Recall: the share of texts with the label that got it. The "
           "last column is the F1 if each label with a score of at least " +
           with_decimals(evaluation.assignments.threshold, 2) +
           " is given. A thin line in a bar is the 95 % interval.";
}

std::string category_rows(const Evaluation& evaluation, const Report_data& data) {
    std::string html;
    for (const Category_tally& each : evaluation.assignments.categories) {
        const auto place = std::lower_bound(data.labels.begin(), data.labels.end(), each.label);
        const bool occurs = place != data.labels.end() && *place == each.label;
        const auto index = static_cast<std::size_t>(place - data.labels.begin());
        html += category_row(each, occurs ? data.tallies[index] : Tally(),
                             page_name(each.label, kLongestCategory),
                             occurs ? std::to_string(index) : "");
    }
    return html;
}

std::string matrix_note(const Report_data& data) {
    const std::string size =
        counted(data.texts, "text") + ", " + counted(data.mistake_count, "wrong answer") + ".";
    return data.has_several_labels
               ? size +
                     " A text with several labels counts once, for the one of them with the "
                     "highest score."
               : size;
}

std::string confusion_caption(const Report_data& data) {
    const std::size_t count = confusions_of(data).size();
    return count <= kMostConfusions
               ? "All " + grouped(count) + " pairs of a label and another answer"
               : "The " + grouped(kMostConfusions) + " greatest of " + grouped(count) +
                     " pairs of a label and another answer";
}

std::string confusion_rows(const Report_data& data) {
    const std::vector<std::size_t> sizes = row_sizes(data);
    std::vector<const Report_cell*> cells = confusions_of(data);
    cells.resize(std::min(cells.size(), kMostConfusions));
    std::string html;
    for (const Report_cell* const cell : cells) {
        const std::string answer = cell->column < data.names.size()
                                       ? "<bdi>" + html_escaped(data.names[cell->column]) + "</bdi>"
                                       : "<i>(no answer)</i>";
        const double share = ratio(static_cast<double>(cell->texts), sizes[cell->row]);
        html += "<tr><th scope=\"row\"" + html_attribute("data-row", std::to_string(cell->row)) +
                html_attribute("data-column", std::to_string(cell->column)) + "><bdi>" +
                html_escaped(data.names[cell->row]) + "</bdi></th><td>" + answer + "</td>" +
                number_cell(static_cast<double>(cell->texts), grouped(cell->texts)) +
                number_cell(share, figure_text(share, Figure_form::kShare) + " of " +
                                       grouped(sizes[cell->row])) +
                "</tr>\n";
    }
    return html;
}

}  // namespace zandrel::cli
