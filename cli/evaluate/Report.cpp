// Each block of the report is a table with a name column and number columns of fixed widths.
#include "cli/evaluate/Report.h"

#include <algorithm>
#include <string>
#include <string_view>

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

void print_quality(const Metrics& metrics, std::ostream& out) {
    out << '\n'
        << left_aligned("accuracy", kNameWidth)
        << right_aligned(percent(metrics.accuracy), kColumnWidth) << "  ("
        << grouped(metrics.correct) << " of " << grouped(metrics.texts) << " texts)\n";
    print_row(out, "macro F1", {percent(metrics.macro_f1_top)});
}

void print_averages(std::string_view name, const Averages& averages, std::ostream& out) {
    print_row(out, name,
              {percent(averages.precision), percent(averages.recall), percent(averages.f1)});
}

void print_assignments(const Assignments& assignments, std::ostream& out) {
    out << '\n';
    print_row(out, "score >= " + with_decimals(assignments.threshold, 2),
              {"precision", "recall", "F1"});
    print_averages("micro average", assignments.micro, out);
    print_averages("macro average", assignments.macro, out);
}

void print_calibration_row(std::string_view name, const Calibration& calibration,
                           std::ostream& out) {
    print_row(out, name,
              {with_decimals(calibration.ece_top, 4), with_decimals(calibration.ece_pairs, 4),
               with_decimals(calibration.brier, 4)});
}

void print_calibration(const Evaluation& evaluation, std::ostream& out) {
    out << '\n';
    print_row(out, "", {"ECE of best", "ECE of all", "Brier score"});
    print_calibration_row("calibration", evaluation.calibration, out);
    if (evaluation.raw_calibration) {
        print_calibration_row("without tables", *evaluation.raw_calibration, out);
    }
}

void print_learning(const std::vector<Learning_step>& steps, std::ostream& out) {
    if (steps.empty()) {
        return;
    }
    out << '\n';
    print_row(out, "learning",
              {"texts", "accuracy", "concepts", "per profile", "largest", "CPU time"});
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Learning_step& step = steps[i];
        const Model_size& size = step.size;
        print_row(out, i == 0 ? "before" : "bulk " + grouped(i),
                  {grouped(step.texts), percent(step.accuracy), grouped(size.concepts),
                   grouped(size.profiles == 0 ? 0 : size.entries / size.profiles),
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
    print_line("category", {"texts", "given", "precision", "recall", "F1"});
    for (const auto& [label, tally] : assignments.categories) {
        print_line(shown_text(label),
                   {grouped(tally.texts()), grouped(tally.given()), percent(tally.precision()),
                    percent(tally.recall()), percent(tally.f1())});
    }
}

// Longer than kNameWidth, for "macro precision".
constexpr std::size_t kFigureWidth = 16;

void print_figure_row(std::ostream& out, std::string_view name,
                      std::initializer_list<std::string> columns) {
    print_row(out, left_aligned(name, kFigureWidth), columns);
}

void print_whole_data(const Evaluation& all, std::ostream& out) {
    print_figure_row(out, "", {"texts", "size", "labels"});
    print_figure_row(
        out, "data",
        {grouped(all.classifying.texts), megabytes(static_cast<double>(all.classifying.bytes), 2),
         grouped(all.metrics.labels)});
}

std::string heading_of(Figure_group group, const Cross_validation& validation) {
    switch (group) {
        case Figure_group::kBestLabel:
            return grouped(validation.folds.size()) + " folds";
        case Figure_group::kThreshold:
            return "score >= " + with_decimals(validation.all.assignments.threshold, 2);
        case Figure_group::kCalibration:
            return "calibration";
        case Figure_group::kRawCalibration:
            break;
    }
    return "without tables";
}

bool is_share(Figure_group group) {
    return group == Figure_group::kBestLabel || group == Figure_group::kThreshold;
}

void print_figure(const Figure& figure, const Cross_validation& validation, std::ostream& out) {
    const Spread spread = spread_of(figure, validation.folds);
    const auto shown = [&figure](double value) {
        return is_share(figure.group) ? percent(value) : with_decimals(value, 4);
    };
    print_figure_row(
        out, figure.name,
        {shown(spread.mean), shown(spread.deviation), shown(figure.of(validation.all))});
}

void print_figures(const Cross_validation& validation, std::ostream& out) {
    const bool has_raw = have_raw_calibration(validation.folds);
    const Figure* before = nullptr;
    for (const Figure& figure : quality_figures()) {
        if (figure.group == Figure_group::kRawCalibration && !has_raw) {
            continue;
        }
        if (before == nullptr || before->group != figure.group) {
            out << '\n';
            print_figure_row(out, heading_of(figure.group, validation),
                             {"mean", "spread", "all texts"});
        }
        print_figure(figure, validation, out);
        before = &figure;
    }
}

}  // namespace

void print_report(const Evaluation& evaluation, const Report_options& options, std::ostream& out) {
    print_data(evaluation, out);
    print_quality(evaluation.metrics, out);
    print_assignments(evaluation.assignments, out);
    print_calibration(evaluation, out);
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
    print_cost(validation.all, out);
    if (options.lists_categories) {
        print_categories(validation.all.assignments, out);
    }
    print_confusions(validation.all.metrics, options.confusion_count, out);
}

}  // namespace zandrel::cli
