// The first screen of a report: the key figures, what to look at first, and how the model was made.
#include <algorithm>
#include <cmath>
#include <iterator>

#include "cli/report/Html_parts.h"
#include "cli/report/Html_text.h"
#include "cli/report/Report_figures.h"
#include "cli/report/Report_sections.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using enum Figure_form;

constexpr std::size_t kFewTexts = 10;
constexpr double kTrustedShare = 0.95;

std::string range_line(const Interval& interval, double value) {
    const std::string low = with_decimals(100.0 * interval.low, 1);
    const std::string high = with_decimals(100.0 * interval.high, 1);
    const std::string at = with_decimals(100.0 * value, 1);
    return R"(<svg class="range" viewBox="0 0 100 12" preserveAspectRatio="none" aria-hidden="true">)"
           R"(<path class="track" d="M0 6H100"/><path class="part")" +
           html_attribute("d", "M" + low + " 6H" + high) +
           R"(/><path class="dot" vector-effect="non-scaling-stroke")" +
           html_attribute("d", "M" + at + " 0V12") + "/></svg>";
}

// The axis of an error is shorter than that of a share: 0.25 is very bad for a calibration.
std::string card(const Shown_figure& figure, std::size_t texts, double axis_end) {
    const Interval interval = figure.interval.value_or(Interval());
    const auto on_axis = [axis_end](double value) { return std::min(1.0, value / axis_end); };
    std::string html =
        "<li class=\"card\"><h3>" + html_escaped(figure.name) + "</h3><strong>" +
        (std::isnan(figure.value) ? "-"
         : figure.form == kShare  ? with_decimals(100.0 * figure.value, 1) + "<span> %</span>"
                                  : with_decimals(figure.value, 3)) +
        "</strong>";
    if (figure.interval) {
        html += range_line({on_axis(interval.low), on_axis(interval.high)}, on_axis(figure.value)) +
                "<small>" +
                (figure.form == kShare
                     ? interval_text(interval, kShare)
                     : with_decimals(interval.low, 3) + " to " + with_decimals(interval.high, 3)) +
                "</small>";
    }
    return html + "<small>" + counted(texts, "text") + "</small></li>";
}

std::string hint(const std::string& html) {
    return "<li>" + html + "</li>";
}

std::string trust_name(const Evaluation& evaluation) {
    return evaluation.answered.is_confidence ? "confidence" : "score";
}

// The most texts that can be answered with so many right answers.
std::string trust_hint(const Evaluation& evaluation) {
    const std::vector<Answered_point>& points = evaluation.answered.points;
    const auto point = std::find_if(points.begin(), points.end(), [](const Answered_point& each) {
        return each.accuracy() >= kTrustedShare;
    });
    if (point == points.end() || point->answered < kFewTexts ||
        evaluation.metrics.accuracy >= kTrustedShare) {
        return "";
    }
    return hint("If only texts with a " + trust_name(evaluation) + " of at least <b>" +
                with_decimals(point->threshold, 4) + "</b> get an answer, " +
                figure_text(point->accuracy(), kShare) + " of the answers are right (" +
                interval_text(point->accuracy_interval(), kShare) + "), and " +
                figure_text(point->share(), kShare) +
                " of the texts get one. The threshold was chosen on these texts; " +
                "<code>--want-precision</code> tests one on other texts. " +
                "<a href=\"#answered\">More thresholds</a>");
}

std::string wanted_hint(const Wanted_precision& wanted) {
    const std::string name = wanted.is_confidence ? "confidence" : "score";
    const std::string aim = figure_text(wanted.wanted, kShare) + " right answers";
    if (!wanted.threshold) {
        return hint("No threshold of the " + name + " can be proved to give " + aim + ".");
    }
    return hint(
        "For " + aim + ", answer only texts with a " + name + " of at least <b>" +
        with_decimals(*wanted.threshold, 4) + "</b>. On texts that were not used to choose it, " +
        figure_text(wanted.precision(), kShare) + " of " + counted(wanted.answered, "answer") +
        " were right (" + interval_text(wanted.precision_interval(), kShare) + "), and " +
        figure_text(wanted.share(), kShare) + " of the texts got one.");
}

const Report_cell* greatest_confusion(const Report_data& data) {
    const Report_cell* greatest = nullptr;
    for (const Report_cell& cell : data.cells) {
        if (cell.row != cell.column && cell.column < data.names.size() &&
            (greatest == nullptr || cell.texts > greatest->texts)) {
            greatest = &cell;
        }
    }
    return greatest;
}

std::string confusion_hint(const Report_data& data) {
    const Report_cell* const cell = greatest_confusion(data);
    if (cell == nullptr) {
        return "";
    }
    return hint("Most frequent confusion: " + counted(cell->texts, "text") + " of " +
                html_name(data.names[cell->row]) + " got " + html_name(data.names[cell->column]) +
                ". <span class=\"needs-script\"" +
                html_attribute("data-row", std::to_string(cell->row)) +
                html_attribute("data-column", std::to_string(cell->column)) + ">Read them</span>");
}

std::string weakest_hint(const Report_data& data) {
    std::size_t weakest = data.names.size();
    for (std::size_t i = 0; i < data.names.size(); ++i) {
        if (data.tallies[i].texts() >= kFewTexts &&
            (weakest == data.names.size() || data.tallies[i].f1() < data.tallies[weakest].f1())) {
            weakest = i;
        }
    }
    if (weakest == data.names.size() || data.names.size() == 1 ||
        data.tallies[weakest].f1() >= 1.0) {
        return "";
    }
    const Tally& tally = data.tallies[weakest];
    return hint("Weakest category with at least " + grouped(kFewTexts) +
                " texts: " + html_name(data.names[weakest]) + ", F1 " +
                figure_text(tally.f1(), kShare) + " (" + interval_text(f1_interval(tally), kShare) +
                "), " + counted(tally.texts(), "text") + ". <span class=\"needs-script\"" +
                html_attribute("data-row", std::to_string(weakest)) + ">See its answers</span>");
}

std::string few_texts_hint(const Report_data& data) {
    const auto few = std::count_if(data.tallies.begin(), data.tallies.end(),
                                   [](const Tally& each) { return each.texts() < kFewTexts; });
    if (few == 0) {
        return "";
    }
    const auto count = static_cast<std::size_t>(few);
    return hint((count == 1 ? std::string("1 category has") : grouped(count) + " categories have") +
                " fewer than " + grouped(kFewTexts) + " texts here, so " +
                (count == 1 ? "its" : "their") + " figures say little.");
}

// The mean score and the accuracy of all texts together.
std::string calibration_hint(const Evaluation& evaluation) {
    const bool has_confidence = evaluation.confidence.has_value();
    const std::vector<Calibration_bin>& bins =
        has_confidence ? evaluation.confidence->bins : evaluation.calibration.best.bins;
    double promised = 0.0;
    double right = 0.0;
    double count = 0.0;
    for (const Calibration_bin& bin : bins) {
        promised += bin.mean_score * static_cast<double>(bin.count);
        right += static_cast<double>(bin.right);
        count += static_cast<double>(bin.count);
    }
    if (count < static_cast<double>(kFewTexts)) {
        return "";
    }
    const double difference = (right - promised) / count;
    const std::string name = has_confidence ? "confidence" : "score of the best label";
    const std::string verdict = difference > 0.03    ? "it is too low on average"
                                : difference < -0.03 ? "it is too high on average"
                                                     : "on average both are equal";
    return hint("The mean " + name + " is " + figure_text(promised / count, kShare) + ", and " +
                figure_text(right / count, kShare) + " of the answers are right: " + verdict +
                ". <a href=\"#calibration\">Calibration</a>");
}

}  // namespace

std::string figure_cards(const Evaluation& evaluation, const Report_data& data) {
    constexpr double kErrorAxis = 0.25;
    constexpr double kBrierAxis = 2.0;  // the score of an answer that is surely wrong
    const std::vector<Shown_figure> all = shown_figures(evaluation);
    const std::string best_calibration = evaluation.confidence
                                             ? "Calibration error of the confidence"
                                             : "Calibration error of the score";
    std::string html;
    for (const Shown_figure& figure : all) {
        if (figure.name == "Accuracy" || figure.name == "Macro F1") {
            html += card(figure, data.texts, 1.0);
        } else if (figure.name == best_calibration) {
            html += card(figure, data.texts, kErrorAxis);
        } else if (figure.name == "Brier score") {
            html += card(figure, data.texts, kBrierAxis);
        }
    }
    return html;
}

std::string hint_items(const Evaluation& evaluation, const Report_data& data) {
    const Metrics& metrics = evaluation.metrics;
    return hint("<b>" + grouped(metrics.correct) + " of " + counted(metrics.texts, "text") +
                "</b> got a right label. For other texts of the same kind, expect " +
                interval_text(metrics.accuracy_interval(), kShare) + ".") +
           (evaluation.wanted_precision ? wanted_hint(*evaluation.wanted_precision)
                                        : trust_hint(evaluation)) +
           calibration_hint(evaluation) + confusion_hint(data) + weakest_hint(data) +
           few_texts_hint(data);
}

std::string fact_items(const std::vector<Model_fact>& facts) {
    std::string html;
    for (const Model_fact& fact : facts) {
        html += "<dt>" + html_escaped(fact.name) + "</dt><dd>" + html_escaped(fact.value) + "</dd>";
    }
    return html;
}

std::string figure_rows(const Evaluation& evaluation) {
    std::string html;
    for (const Shown_figure& figure : shown_figures(evaluation)) {
        html += "<tr><th scope=\"row\">" + html_escaped(figure.name) +
                "</th><td class=\"number\">" + figure_text(figure.value, figure.form) +
                "</td><td class=\"number\">" +
                (figure.interval ? interval_text(*figure.interval, figure.form) : "") +
                "</td><td class=\"number\">" + grouped(evaluation.metrics.texts) + "</td><td>" +
                html_escaped(figure.meaning) + "</td></tr>\n";
    }
    return html;
}

std::string fold_table(const Cross_validation& validation) {
    std::string html =
        "<details><summary>Mean and spread of the folds</summary><div class=\"scroll\" "
        "tabindex=\"0\" role=\"region\" aria-label=\"Figures of the folds\"><table "
        "id=\"fold-table\"><caption>Figures of " +
        counted(validation.folds.size(), "fold") +
        ", each measured by itself</caption><thead><tr><th scope=\"col\">Figure</th><th "
        "scope=\"col\" class=\"number\">Mean</th><th scope=\"col\" class=\"number\">Standard "
        "deviation</th></tr></thead><tbody>";
    for (const Figure& figure : quality_figures()) {
        if (figure.group == Figure_group::kRawCalibration ||
            !have_figures(figure.group, validation.folds) ||
            !has_spread(figure.group, validation.folds)) {
            continue;
        }
        const bool is_of_confidence = figure.group == Figure_group::kConfidence;
        const bool is_error = is_of_confidence || figure.group == Figure_group::kCalibration;
        const Figure_form form = is_error ? kError : kShare;
        const Spread spread = spread_of(figure, validation.folds);
        html += "<tr><th scope=\"row\">" + html_escaped(figure.name) +
                (figure.group == Figure_group::kThreshold ? " at the threshold" : "") +
                (is_of_confidence ? " by confidence" : "") + "</th><td class=\"number\">" +
                figure_text(spread.mean, form) + "</td><td class=\"number\">" +
                figure_text(spread.deviation, form) + "</td></tr>\n";
    }
    return html + "</tbody></table></div></details>";
}

}  // namespace zandrel::cli
