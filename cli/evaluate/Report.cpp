// Each block of the report is a table with a name column and number columns of fixed widths.
#include "cli/evaluate/Report.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

#include "cli/evaluate/Figures.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

constexpr double kMegabyte = 1e6;

std::string megabytes(double bytes, int decimals) {
    return with_decimals(bytes / kMegabyte, decimals) + " MB";
}

// An amount per CPU second, or a dash if the measured time is 0.
std::string per_second(double amount, const Phase& phase, int decimals) {
    return phase.cpu_seconds > 0.0 ? with_decimals(amount / phase.cpu_seconds, decimals) : "-";
}

std::string texts_per_second(const Phase& phase) {
    if (phase.cpu_seconds <= 0.0) {
        return "-";
    }
    return grouped(static_cast<std::size_t>(static_cast<double>(phase.texts) / phase.cpu_seconds));
}

void print_row(std::ostream& out, std::string_view name,
               std::initializer_list<std::string> columns) {
    out << left_aligned(name, kNameWidth);
    for (const std::string& column : columns) {
        out << right_aligned(column, kColumnWidth);
    }
    out << '\n';
}

void print_data(const Evaluation& evaluation, std::ostream& out) {
    print_row(out, "", {"texts", "size", "labels"});
    if (evaluation.training) {
        print_row(out, "training data",
                  {grouped(evaluation.training->texts),
                   megabytes(static_cast<double>(evaluation.training->bytes), 2),
                   grouped(evaluation.trained_labels)});
    }
    if (evaluation.loading) {
        print_row(out, "model",
                  {"", megabytes(static_cast<double>(evaluation.loading->bytes), 2),
                   grouped(evaluation.trained_labels)});
    }
    print_row(out, "test data",
              {grouped(evaluation.classifying.texts),
               megabytes(static_cast<double>(evaluation.classifying.bytes), 2),
               grouped(evaluation.metrics.labels)});
}

// Longer than kNameWidth, for "macro precision".
constexpr std::size_t kFigureWidth = 16;
// For "95.88 - 97.38 %".
constexpr std::size_t kIntervalWidth = 18;
// For "2,117 of 2,189".
constexpr std::size_t kTextsWidth = 18;

constexpr const char* kIntervalHeading = "95 % interval";

std::string with_unit(double share, const char* unit) {
    return with_decimals(share * 100, 2) + unit;
}

std::string share_range(const Interval& interval) {
    return with_unit(interval.low, " - ") + with_unit(interval.high, " %");
}

// With one decimal, for tables of many shares: "95.9-97.4".
std::string short_range(const Interval& interval) {
    return with_decimals(interval.low * 100, 1) + "-" + with_decimals(interval.high * 100, 1);
}

std::string error_range(const Interval& interval) {
    return with_decimals(interval.low, 4) + " - " + with_decimals(interval.high, 4);
}

bool is_share(Figure_group group) {
    switch (group) {
        case Figure_group::kRejection:
        case Figure_group::kBestLabel:
        case Figure_group::kThreshold:
            return true;
        case Figure_group::kCalibration:
        case Figure_group::kRawCalibration:
        case Figure_group::kConfidence:
            break;
    }
    return false;
}

std::string shown_value(Figure_group group, double value) {
    return is_share(group) ? percent(value) : with_decimals(value, 4);
}

std::string shown_figure(const Figure& figure, const Evaluation& evaluation) {
    return is_known(figure.group, evaluation) ? shown_value(figure.group, figure.of(evaluation))
                                              : "-";
}

std::string shown_interval(const Figure& figure, const Evaluation& evaluation) {
    const std::optional<Interval> interval = figure.interval_of(evaluation);
    if (!interval || !is_known(figure.group, evaluation)) {
        return "";
    }
    return is_share(figure.group) ? share_range(*interval) : error_range(*interval);
}

std::string part_of(std::size_t part, std::size_t whole) {
    return grouped(part) + " of " + grouped(whole);
}

std::string shown_texts(const Figure& figure, const Evaluation& evaluation) {
    const std::string_view member = figure.member;
    if (figure.group == Figure_group::kRejection) {
        return part_of(evaluation.rejection->answered, evaluation.rejection->texts);
    }
    return member == "accuracy" ? part_of(evaluation.metrics.correct, evaluation.metrics.texts)
                                : grouped(evaluation.metrics.texts);
}

// The heading of a group of figures; `best`: of the first group.
std::string heading_of(Figure_group group, const Evaluation& evaluation, const std::string& best) {
    switch (group) {
        case Figure_group::kRejection:
            return "reject " + with_decimals(evaluation.rejection->least_confidence, 4);
        case Figure_group::kBestLabel:
            return best;
        case Figure_group::kThreshold:
            return "score >= " + with_decimals(evaluation.assignments.threshold, 2);
        case Figure_group::kCalibration:
            return "calibration";
        case Figure_group::kRawCalibration:
            return "without tables";
        case Figure_group::kConfidence:
            break;
    }
    return "confidence";
}

// Begins a line of a figure or its heading.
void print_figure_row(std::ostream& out, std::string_view name,
                      std::initializer_list<std::string> columns) {
    out << left_aligned(name, kFigureWidth);
    for (const std::string& column : columns) {
        out << right_aligned(column, kColumnWidth);
    }
}

// Ends it.
void print_certainty(std::ostream& out, const std::string& interval, const std::string& texts) {
    out << right_aligned(interval, kIntervalWidth) << right_aligned(texts, kTextsWidth) << '\n';
}

// Prints the figures of all groups for which `has` is true, each group with its heading.
template <class Has, class Print_heading, class Print_figure>
void print_groups(std::ostream& out, const Has& has, const Print_heading& print_heading,
                  const Print_figure& print_figure) {
    const Figure* before = nullptr;
    for (const Figure& figure : quality_figures()) {
        if (!has(figure.group)) {
            continue;
        }
        if (before == nullptr || before->group != figure.group) {
            out << '\n';
            print_heading(figure.group);
        }
        print_figure(figure);
        before = &figure;
    }
}

void print_quality(const Evaluation& evaluation, std::ostream& out) {
    print_groups(
        out, [&](Figure_group group) { return has_figures(group, evaluation); },
        [&](Figure_group group) {
            print_figure_row(out, heading_of(group, evaluation, "best label"), {""});
            print_certainty(out, kIntervalHeading, "texts");
        },
        [&](const Figure& figure) {
            print_figure_row(out, figure.name, {shown_figure(figure, evaluation)});
            print_certainty(out, shown_interval(figure, evaluation),
                            shown_texts(figure, evaluation));
        });
}

std::string trust_of(bool is_confidence) {
    return is_confidence ? "confidence" : "score";
}

// Percent of texts, for which the report has the accuracy.
constexpr std::size_t kListedShares[] = {100, 95, 90, 80, 70, 60, 50};

// A row whose threshold is that of the row before, because many texts have it, is left out.
void print_answered(const Answered_share& answered, std::ostream& out) {
    if (answered.points.empty()) {
        return;
    }
    out << '\n';
    print_figure_row(out, "answered", {trust_of(answered.is_confidence), "accuracy"});
    print_certainty(out, kIntervalHeading, "texts");
    std::size_t before = 0;
    for (const std::size_t share : kListedShares) {
        const Answered_point& point = answered.points[answered.points.size() - share];
        if (point.answered != before) {
            print_figure_row(out, percent(point.share()),
                             {with_decimals(point.threshold, 4), percent(point.accuracy())});
            print_certainty(out, share_range(point.accuracy_interval()),
                            part_of(point.right, point.answered));
        }
        before = point.answered;
    }
}

std::string chosen_from(const Wanted_precision& wanted) {
    return wanted.fold_count == 0 ? counted(wanted.chosen_from, "training text")
                                  : counted(wanted.chosen_from, "test text");
}

void print_wanted_precision(const Wanted_precision& wanted, std::ostream& out) {
    out << "\nwanted precision " << percent(wanted.wanted) << ": ";
    if (!wanted.threshold) {
        out << "no threshold of the " << trust_of(wanted.is_confidence)
            << " can be proved to reach it (" << chosen_from(wanted) << ")\n";
        return;
    }
    out << trust_of(wanted.is_confidence) << " >= " << with_decimals(*wanted.threshold, 4)
        << ", chosen from " << chosen_from(wanted) << '\n';
    print_figure_row(
        out, wanted.fold_count == 0 ? "test texts" : counted(wanted.fold_count, "fold"), {""});
    print_certainty(out, kIntervalHeading, "texts");
    print_figure_row(out, "precision",
                     {wanted.answered == 0 ? std::string("-") : percent(wanted.precision())});
    print_certainty(out, wanted.answered == 0 ? "" : share_range(wanted.precision_interval()),
                    part_of(wanted.right, wanted.answered));
    print_figure_row(out, "answered", {percent(wanted.share())});
    print_certainty(out, share_range(wanted.share_interval()),
                    part_of(wanted.answered, wanted.texts));
}

void print_learning(const std::vector<Learning_step>& steps, std::ostream& out) {
    if (steps.empty()) {
        return;
    }
    out << '\n';
    print_row(out, "learning",
              {"texts", "accuracy", "95 %", "concepts", "per profile", "largest", "CPU time"});
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Learning_step& step = steps[i];
        const Model_size& size = step.size;
        print_row(
            out, i == 0 ? "before" : "bulk " + grouped(i),
            {grouped(step.texts), percent(step.accuracy), short_range(step.accuracy_interval()),
             grouped(size.concepts), grouped(size.profiles == 0 ? 0 : size.entries / size.profiles),
             grouped(size.largest), with_decimals(step.cpu_seconds, 2) + " s"});
    }
}

void print_phase(std::ostream& out, std::string_view name, const Phase& phase) {
    print_row(out, name,
              {with_decimals(phase.cpu_seconds, 2) + " s",
               with_decimals(phase.analysis_seconds, 2) + " s", texts_per_second(phase),
               per_second(static_cast<double>(phase.bytes) / kMegabyte, phase, 1)});
}

void print_cost(const Evaluation& evaluation, std::ostream& out) {
    out << '\n';
    print_row(out, "", {"CPU time", "of it text", "texts/s", "MB/s"});
    if (evaluation.training) {
        print_phase(out, "training", *evaluation.training);
    }
    if (evaluation.loading) {
        print_row(out, "loading", {with_decimals(evaluation.loading->cpu_seconds, 2) + " s"});
    }
    print_phase(out, "classifying", evaluation.classifying);
    print_row(out, "peak memory",
              {megabytes(static_cast<double>(evaluation.peak_memory_bytes), 0)});
}

void print_confusions(const Metrics& metrics, std::size_t wanted, std::ostream& out) {
    const std::size_t count = std::min(wanted, metrics.confusions.size());
    if (count == 0) {
        return;
    }
    std::size_t width = 0;
    for (std::size_t i = 0; i < count; ++i) {
        width = std::max(width, width_of(shown_text(metrics.confusions[i].expected)));
    }
    out << "\nworst confusions (texts: expected -> got)\n";
    for (std::size_t i = 0; i < count; ++i) {
        const Confusion& confusion = metrics.confusions[i];
        out << right_aligned(grouped(confusion.texts), 7) << "  "
            << left_aligned(shown_text(confusion.expected), width) << " -> "
            << (confusion.got.empty() ? "(no result)" : shown_text(confusion.got)) << '\n';
    }
}

void print_categories(const Assignments& assignments, std::ostream& out) {
    std::size_t width = kNameWidth;
    for (const Category_tally& category : assignments.categories) {
        width = std::max(width, width_of(shown_text(category.label)));
    }
    const auto print_line = [&](std::string_view name, std::initializer_list<std::string> columns) {
        print_row(out, left_aligned(name, width), columns);
    };
    out << '\n';
    print_line("category", {"texts", "given", "precision", "95 %", "recall", "95 %", "F1", "95 %"});
    for (const auto& [label, tally] : assignments.categories) {
        print_line(shown_text(label),
                   {grouped(tally.texts()), grouped(tally.given()), percent(tally.precision()),
                    short_range(precision_interval(tally)), percent(tally.recall()),
                    short_range(recall_interval(tally)), percent(tally.f1()),
                    short_range(f1_interval(tally))});
    }
}

void print_whole_data(const Evaluation& all, std::ostream& out) {
    print_figure_row(out, "", {"texts", "size", "labels"});
    out << '\n';
    print_figure_row(
        out, "data",
        {grouped(all.classifying.texts), megabytes(static_cast<double>(all.classifying.bytes), 2),
         grouped(all.metrics.labels)});
    out << '\n';
}

void print_figure(const Figure& figure, const Cross_validation& validation, std::ostream& out) {
    const Spread spread = spread_of(figure, validation.folds);
    const bool has = has_spread(figure.group, validation.folds);
    const auto shown = [&](double value) { return has ? shown_value(figure.group, value) : "-"; };
    print_figure_row(
        out, figure.name,
        {shown(spread.mean), shown(spread.deviation), shown_figure(figure, validation.all)});
    print_certainty(out, shown_interval(figure, validation.all),
                    shown_texts(figure, validation.all));
}

void print_figures(const Cross_validation& validation, std::ostream& out) {
    const std::string folds = grouped(validation.folds.size()) + " folds";
    print_groups(
        out, [&](Figure_group group) { return have_figures(group, validation.folds); },
        [&](Figure_group group) {
            print_figure_row(out, heading_of(group, validation.all, folds),
                             {"mean", "spread", "all texts"});
            print_certainty(out, kIntervalHeading, "texts");
        },
        [&](const Figure& figure) { print_figure(figure, validation, out); });
}

// The part of the report that one evaluation and the sum of all folds have.
void print_trust(const Evaluation& evaluation, std::ostream& out) {
    print_answered(evaluation.answered, out);
    if (evaluation.wanted_precision) {
        print_wanted_precision(*evaluation.wanted_precision, out);
    }
}

}  // namespace

void print_report(const Evaluation& evaluation, const Report_options& options, std::ostream& out) {
    print_data(evaluation, out);
    print_quality(evaluation, out);
    print_trust(evaluation, out);
    print_cost(evaluation, out);
    print_learning(evaluation.learning, out);
    if (options.lists_categories) {
        print_categories(evaluation.assignments, out);
    }
    print_confusions(evaluation.metrics, options.confusion_count, out);
    if (evaluation.explanation) {
        out << '\n';
        print_explanation(*evaluation.explanation, out);
    }
}

void print_report(const Cross_validation& validation, const Report_options& options,
                  std::ostream& out) {
    print_whole_data(validation.all, out);
    print_figures(validation, out);
    print_trust(validation.all, out);
    print_cost(validation.all, out);
    if (options.lists_categories) {
        print_categories(validation.all.assignments, out);
    }
    print_confusions(validation.all.metrics, options.confusion_count, out);
}

}  // namespace zandrel::cli
