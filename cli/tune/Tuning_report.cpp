// Shares are printed in percent, and their gains in points: from 73.20 % to 74.25 % is a gain of
// 1.05. A Brier score is printed as a number, and a gain above 0 makes it lower.
#include "cli/tune/Tuning_report.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/tune/Tuning_metric.h"
#include "text/wording/Layout.h"
#include "text/wording/Shell_text.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

bool is_share(Tuning_metric metric) {
    return metric != Tuning_metric::kBrier;
}

std::string shown_value_of(Tuning_metric metric, double value) {
    constexpr int kDecimals = 4;
    return is_share(metric) ? percent(value) : with_decimals(value, kDecimals);
}

// "72.01 - 74.36 %", "0.1250 - 0.1310".
std::string shown_range(Tuning_metric metric, const Interval& interval) {
    constexpr double kHundred = 100.0;
    const std::string low = is_share(metric) ? with_decimals(kHundred * interval.low, 2)
                                             : shown_value_of(metric, interval.low);
    return low + " - " + shown_value_of(metric, interval.high);
}

// Points for shares. A gain that is rounded to 0 has no sign.
std::string shown_distance(Tuning_metric metric, double distance) {
    constexpr int kDecimals = 4;
    constexpr double kHundred = 100.0;
    const std::string number = is_share(metric) ? with_decimals(kHundred * distance, 2)
                                                : with_decimals(distance, kDecimals);
    return number.find_first_not_of("-0.") == std::string::npos && number.front() == '-'
               ? number.substr(1)
               : number;
}

std::string shown_gain(Tuning_metric metric, const Tuning_gain& gain) {
    const std::string points = is_share(metric) ? " points" : "";
    return "gain " + shown_distance(metric, gain.gain) + points + ", standard error " +
           shown_distance(metric, gain.error);
}

std::string name_at(const Tuning& tuning, std::size_t index) {
    return name_of(tuning.settings[index], tuning.settings.front());
}

const Setting_figures& chosen_figures(const Tuning& tuning) {
    return tuning.search.figures[tuning.search.chosen];
}

// "accuracy 74.25 % (95 % interval 73.07 - 75.39 %) instead of 73.20 % (72.01 - 74.36 %) for 5,452
// texts (gain 1.05 points, standard error 0.38)"
std::string comparison_of(const Tuning& tuning) {
    const Setting_figures& chosen = chosen_figures(tuning);
    const Setting_figures& defaults = tuning.search.defaults;
    return std::string(name_of(tuning.metric)) + " " + shown_value_of(tuning.metric, chosen.value) +
           " (95 % interval " + shown_range(tuning.metric, chosen.interval) + ") instead of " +
           shown_value_of(tuning.metric, defaults.value) + " (" +
           shown_range(tuning.metric, defaults.interval) + ") for " +
           counted(chosen.texts, "text") + " (" + shown_gain(tuning.metric, chosen.gain) + ")";
}

// Why the file has the defaults.
const char* reason_for_defaults(const Tuning& tuning) {
    return tuning.search.is_complete ? "no setting gains more than two standard errors"
           : tuning.search.compared == 0
               ? "the time was over before another setting was compared with them"
               : "no setting that was compared in time gains more than two standard errors";
}

std::string figure_of_defaults(const Tuning& tuning) {
    const Setting_figures& defaults = tuning.search.defaults;
    if (defaults.rounds == 0) {
        return "nothing was measured";
    }
    return std::string(name_of(tuning.metric)) + " " +
           shown_value_of(tuning.metric, defaults.value) + " (95 % interval " +
           shown_range(tuning.metric, defaults.interval) + ") for " +
           counted(defaults.texts, "text");
}

// The seconds as the user has given them: "0.5", "1000".
std::string shown_seconds(double seconds) {
    std::array<char, 400> digits;  // the smallest number above 0 has 326 characters
    const std::to_chars_result end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                                   seconds, std::chars_format::fixed);
    return {digits.data(), end.ptr};
}

std::string text_of_copies(const Tuning& tuning) {
    return counted(tuning.copies, "text") + (tuning.copies == 1
                                                 ? " is a copy of an earlier one and takes no part"
                                                 : " are copies of earlier ones and take no part");
}

constexpr const char* kNoProbabilities =
    "Without likelihood tables the scores are no probabilities. A setting without them is chosen "
    "only if it is clearly better than those with them.";

std::string limit_of(const Tuning& tuning) {
    return "--time " + shown_seconds(*tuning.seconds) +
           (tuning.search.is_complete ? " was enough for the whole search"
                                      : " ended the search; some trials were not made");
}

// The settings by their figures: later rounds first, then better values.
std::vector<std::size_t> best_first(const Tuning& tuning) {
    std::vector<std::size_t> order;
    const std::vector<Setting_figures>& figures = tuning.search.figures;
    for (std::size_t i = 0; i < figures.size(); ++i) {
        if (figures[i].rounds != 0) {
            order.push_back(i);
        }
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return figures[a].rounds != figures[b].rounds
                   ? figures[a].rounds > figures[b].rounds
                   : figures[a].gain.gain - figures[b].gain.gain > 1e-9;
    });
    return order;
}

// A comment of the file.
void comment(std::ostream& out, const std::string& text) {
    out << "# " << text << '\n';
}

void print_columns(std::ostream& out, std::initializer_list<std::string> columns) {
    for (const std::string& column : columns) {
        out << right_aligned(column, kColumnWidth);
    }
}

// `before`, `after`: the columns on both sides of the interval.
void print_row(std::ostream& out, const std::string& name,
               std::initializer_list<std::string> before, const std::string& interval,
               std::initializer_list<std::string> after) {
    constexpr std::size_t kIntervalColumn = 18;
    out << name;
    print_columns(out, before);
    out << right_aligned(interval, kIntervalColumn);
    print_columns(out, after);
    out << '\n';
}

void print_table(const Tuning& tuning, std::ostream& out) {
    std::size_t width = kNameWidth;
    for (std::size_t i = 0; i < tuning.settings.size(); ++i) {
        width = std::max(width, width_of(name_at(tuning, i)));
    }
    print_row(out, left_aligned("setting", width), {"round", "texts", name_of(tuning.metric)},
              "95 % interval", {"gain", "std. error", "CPU"});
    for (const std::size_t i : best_first(tuning)) {
        const Setting_figures& figures = tuning.search.figures[i];
        print_row(out, left_aligned(name_at(tuning, i), width),
                  {grouped(figures.rounds), grouped(figures.texts),
                   shown_value_of(tuning.metric, figures.value)},
                  shown_range(tuning.metric, figures.interval),
                  {i == 0 ? "" : shown_distance(tuning.metric, figures.gain.gain),
                   i == 0 ? "" : shown_distance(tuning.metric, figures.gain.error),
                   with_decimals(figures.cpu_seconds, 2) + " s"});
    }
}

std::string tree_word(const Tuning_setting& setting) {
    return setting.group_count == 0 ? "flat" : std::to_string(setting.group_count);
}

Json interval_json_of(const Setting_figures& figures) {
    return Json::array({figures.interval.low, figures.interval.high});
}

Json figures_json(const Tuning& tuning, std::size_t index) {
    const Setting_figures& figures = tuning.search.figures[index];
    return {{"setting", name_at(tuning, index)},
            {"round", figures.rounds},
            {"texts", figures.texts},
            {"value", figures.value},
            {"interval", interval_json_of(figures)},
            {"gain", figures.gain.gain},
            {"standard_error", figures.gain.error},
            {"cpu_seconds", figures.cpu_seconds}};
}

}  // namespace

void write_tuned_options(const Tuning& tuning, std::ostream& out) {
    const Tuning_setting& setting = tuning.settings[tuning.search.chosen];
    comment(out, "Settings for train --options, from a search of zandrel tune in " +
                     counted(tuning.texts, "text") + " with " + counted(tuning.labels, "label") +
                     ", --seed " + std::to_string(tuning.seed) + ".");
    if (tuning.copies > 0) {
        comment(out, text_of_copies(tuning) + ".");
    }
    if (tuning.search.chosen == 0) {
        comment(out, "The defaults: " + std::string(reason_for_defaults(tuning)) + ".");
        comment(out, "Cross-validation: " + figure_of_defaults(tuning) + ".");
    } else {
        comment(out, "Cross-validation: " + comparison_of(tuning) + ".");
    }
    if (!gives_probabilities(setting)) {
        comment(out, kNoProbabilities);
    }
    if (tuning.seconds) {
        comment(out, "The result depends on the machine: " + limit_of(tuning) + ".");
    }
    const std::string& language = setting.analysis.stem_language;
    out << "UseExtParms = 1\n"
        << "Analysis = " << zandrel::name_of(setting.analysis.kind) << '\n'
        << "Stem = " << (language.empty() ? "none" : language) << '\n'
        << "Tree = " << tree_word(setting) << '\n';
    for (const Key_value& each : setting.engine) {
        out << each.key << " = " << each.value << '\n';
    }
}

void print_tuning(const Tuning& tuning, const std::string& file, std::ostream& out) {
    print_table(tuning, out);
    out << '\n' << (file.empty() ? "options" : shown_text(file)) << ": ";
    if (tuning.search.chosen == 0) {
        out << "the defaults, since " << reason_for_defaults(tuning) << "; "
            << figure_of_defaults(tuning) << '\n';
    } else {
        out << name_at(tuning, tuning.search.chosen) << "; " << comparison_of(tuning) << "\n";
    }
    if (!gives_probabilities(tuning.settings[tuning.search.chosen])) {
        out << kNoProbabilities << '\n';
    }
    if (tuning.copies > 0) {
        out << text_of_copies(tuning) << ".\n";
    }
    if (tuning.seconds) {
        out << "The result depends on the machine: " << limit_of(tuning) << ".\n";
    }
    if (!file.empty()) {
        out << "To train with it: zandrel train KC DATA --options " << shell_text(file) << '\n';
    }
}

nlohmann::ordered_json tuning_json(const Tuning& tuning, const std::string& file) {
    const std::size_t chosen = tuning.search.chosen;
    Json json = {{"file", file},
                 {"texts", tuning.texts},
                 {"copies", tuning.copies},
                 {"labels", tuning.labels},
                 {"metric", name_of(tuning.metric)},
                 {"seed", tuning.seed},
                 {"chosen", name_at(tuning, chosen)},
                 {"depends_on_machine", tuning.seconds.has_value()},
                 {"complete", tuning.search.is_complete},
                 {"defaults", tuning.search.defaults.value},
                 {"defaults_interval", interval_json_of(tuning.search.defaults)},
                 {"defaults_texts", tuning.search.defaults.texts},
                 {"settings", Json::array()},
                 {"skipped_lines", tuning.skipped.count}};
    for (const std::size_t index : best_first(tuning)) {
        json["settings"].push_back(figures_json(tuning, index));
    }
    return json;
}

}  // namespace zandrel::cli
