// How far scores can be trusted: calibration, and accuracy against the share answered. The script
// draws the charts; the tables here have the same numbers.
#include <algorithm>
#include <array>
#include <cmath>

#include "cli/report/Html_parts.h"
#include "cli/report/Html_text.h"
#include "cli/report/Report_figures.h"
#include "cli/report/Report_sections.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

using enum Figure_form;

std::string calibration_table(const std::string& name, const Best_calibration& calibration) {
    std::string html =
        "<details><summary>The same as a table</summary><div class=\"scroll\" tabindex=\"0\" "
        "role=\"region\"" +
        html_attribute("aria-label", "Calibration of the " + name) +
        "><table><caption>Answers by their " + name +
        "</caption><thead><tr><th scope=\"col\" class=\"number\">From</th><th scope=\"col\" "
        "class=\"number\">To</th><th scope=\"col\" class=\"number\">Mean</th><th scope=\"col\" "
        "class=\"number\">Right</th><th scope=\"col\" class=\"number\">Interval</th><th "
        "scope=\"col\" class=\"number\">Texts</th></tr></thead><tbody>";
    for (const Calibration_bin& bin : calibration.bins) {
        if (bin.count > 0) {
            html += "<tr><td class=\"number\">" + with_decimals(bin.low, 2) +
                    "</td><td class=\"number\">" + with_decimals(bin.high, 2) +
                    "</td><td class=\"number\">" + figure_text(bin.mean_score, kShare) +
                    "</td><td class=\"number\">" + figure_text(bin.share_right(), kShare) +
                    "</td><td class=\"number\">" + interval_text(bin.share_interval(), kShare) +
                    "</td><td class=\"number\">" + grouped(bin.count) + "</td></tr>";
        }
    }
    return html + "</tbody></table></div></details>";
}

std::string reliability_figure(const std::string& name, const std::string& title,
                               const Best_calibration& calibration) {
    std::size_t texts = 0;
    for (const Calibration_bin& bin : calibration.bins) {
        texts += bin.count;
    }
    return "<figure><figcaption><h3>" + title + "</h3>Calibration error <b>" +
           figure_text(calibration.ece, kError) + "</b>" +
           (calibration.interval ? " (" + interval_text(*calibration.interval, kError) + ")" : "") +
           ", " + counted(texts, "text") + "</figcaption><div" +
           html_attribute("id", "reliability-" + name) + "></div>" +
           calibration_table(name, calibration) + "</figure>";
}

std::string distribution_figure(const std::string& name) {
    return "<figure class=\"needs-script\"><figcaption><h3>Distribution of the " + name +
           "</h3><span class=\"key right\" aria-hidden=\"true\"></span>right answers upwards "
           "&ensp; <span "
           "class=\"key wrong\" aria-hidden=\"true\"></span>wrong ones downwards</figcaption><div" +
           html_attribute("id", "distribution-" + name) + "></div></figure>";
}

}  // namespace

std::string calibration_note(const Evaluation& evaluation) {
    const std::string meaning =
        "Of the answers with a score near 0.8, about 80 % should be right: then the points are on "
        "the dashed line. Vertical lines are 95 % intervals, and the bars at the bottom show how "
        "many texts a point has. ";
    return evaluation.confidence
               ? meaning +
                     "The confidence is the score, corrected by what the model has learned "
                     "from its own mistakes."
               : meaning +
                     "This model has no confidence map. A confidence is corrected, so that it "
                     "equals "
                     "the share of right answers; zandrel train --calibrate makes a map.";
}

std::string calibration_figures(const Evaluation& evaluation) {
    std::string html = reliability_figure(
        "score", evaluation.confidence ? "Before: the score" : "The score of the best label",
        evaluation.calibration.best);
    if (evaluation.confidence) {
        html += reliability_figure("confidence", "After: the confidence", *evaluation.confidence);
    }
    html += distribution_figure("score");
    if (evaluation.confidence) {
        html += distribution_figure("confidence");
    }
    return html;
}

std::string answered_note(const Evaluation& evaluation) {
    const std::string name = evaluation.answered.is_confidence ? "confidence" : "score";
    return std::string(evaluation.rejection ? "These figures are of all texts. " : "") +
           "If texts with a low " + name + " get no answer, more of the answers are right.";
}

bool is_in_answered_table(double wanted_share) {
    constexpr std::array kShares = {100, 98, 95, 90, 85, 80, 70, 60, 50, 40, 30, 20, 10};
    return std::find(kShares.begin(), kShares.end(),
                     static_cast<int>(std::lround(100.0 * wanted_share))) != kShares.end();
}

// A row that is the same as the one before, because many texts have its threshold, is left out.
std::string answered_rows(const Evaluation& evaluation) {
    std::string html;
    std::size_t before = 0;  // no point has no answer
    for (const Answered_point& point : evaluation.answered.points) {
        if (is_in_answered_table(point.wanted_share) && point.answered != before) {
            before = point.answered;
            html += "<tr><td class=\"number\">" + figure_text(point.share(), kShare) +
                    "</td><td class=\"number\">" + with_decimals(point.threshold, 4) +
                    "</td><td class=\"number\">" + figure_text(point.accuracy(), kShare) +
                    " <small>" + interval_text(point.accuracy_interval(), kShare) +
                    "</small></td><td class=\"number\">" + grouped(point.right) + " of " +
                    grouped(point.answered) + "</td></tr>\n";
        }
    }
    return html;
}

}  // namespace zandrel::cli
