// Fills the places of page.html. A place is {{name}}. Inserted texts are not searched for places,
// so a text of the data cannot fill one.
#include "cli/report/Report_page.h"

#include <fstream>
#include <functional>
#include <map>
#include <string_view>

#include <nlohmann/json.hpp>

#include "zandrel/foundation/process_assert.h"

#include "cli/kc/Text_output.h"
#include "cli/report/Html_text.h"
#include "cli/report/Report_samples.h"
#include "cli/report/Report_sections.h"
#include "cli/report/page_assets.h"
#include "text/data/Data_input.h"
#include "text/errors.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

// Scores with so many decimals are enough for a reader, and take less room.
double rounded(double value) {
    return std::stod(with_decimals(value, 4));
}

// Numbers of charts. The script rounds them to 1 decimal of a percentage, so more decimals here
// keep its result equal to that of the tables: 0.86449 is 86.4 %, but 0.8645 is 86.5 %.
double chart_number(double value) {
    return std::stod(with_decimals(value, 6));
}

Json sample_json(const Report_sample& sample) {
    Json json = {sample.text, rounded(sample.score), rounded(sample.label_score)};
    json.push_back(sample.confidence ? Json(rounded(*sample.confidence)) : Json(nullptr));
    if (!sample.labels.empty()) {
        json.push_back(sample.labels);
    }
    return json;
}

// A cell is [row, column, texts, index of its first sample, number of its samples].
void add_cells(const Report_data& data, Json& json) {
    const std::vector<std::size_t> chosen = chosen_samples(data.cells, kSampleBytes);
    json["cells"] = Json::array();
    json["samples"] = Json::array();
    for (std::size_t i = 0; i < data.cells.size(); ++i) {
        const Report_cell& cell = data.cells[i];
        json["cells"].push_back(
            Json::array({cell.row, cell.column, cell.texts, json["samples"].size(), chosen[i]}));
        for (std::size_t sample = 0; sample < chosen[i]; ++sample) {
            json["samples"].push_back(sample_json(cell.samples[sample]));
        }
    }
}

// A bin is [mean, share right, low, high, texts].
Json calibration_json(const char* name, const Best_calibration& calibration,
                      const Score_counts& counts) {
    Json bins = Json::array();
    for (const Calibration_bin& bin : calibration.bins) {
        if (bin.count > 0) {
            const Interval interval = bin.share_interval();
            bins.push_back(
                Json::array({chart_number(bin.mean_score), chart_number(bin.share_right()),
                             chart_number(interval.low), chart_number(interval.high), bin.count}));
        }
    }
    return {{"name", name}, {"bins", bins}, {"right", counts.right}, {"wrong", counts.wrong}};
}

// A point is [share, threshold, accuracy, low, high, texts, whether the table has it].
Json answered_json(const Answered_share& answered) {
    Json points = Json::array();
    for (const Answered_point& point : answered.points) {
        const Interval interval = point.accuracy_interval();
        points.push_back(Json::array({chart_number(point.share()), chart_number(point.threshold),
                                      chart_number(point.accuracy()), chart_number(interval.low),
                                      chart_number(interval.high), point.answered,
                                      is_in_answered_table(point.wanted_share)}));
    }
    return {{"by", answered.is_confidence ? "confidence" : "score"}, {"points", points}};
}

std::string footer_text(const Report_data& data) {
    std::size_t shown = 0;
    for (const std::size_t count : chosen_samples(data.cells, kSampleBytes)) {
        shown += count;
    }
    return "<p>Written by zandrel evaluate. Intervals are 95 % intervals. The page contains " +
           grouped(shown) + " of " + counted(data.texts, "text") +
           ": of each cell of the matrix the wrong answers with the highest scores, or the right "
           "answers with the lowest ones, each cut after " +
           grouped(kLongestSample) + " characters.</p>";
}

// With rejection all figures and lists are of the answered texts.
std::string answered_texts(const Evaluation& evaluation, const Report_data& data) {
    return evaluation.rejection ? grouped(data.texts) + " answered of " +
                                      counted(data.texts + data.rejected, "text") +
                                      " (those with a confidence of at least " +
                                      with_decimals(evaluation.rejection->least_confidence, 4) + ")"
                                : counted(data.texts, "text");
}

// With rejection the categories of all texts, since those of the answered ones may be none.
std::string category_count(const Evaluation& evaluation) {
    const std::size_t count =
        evaluation.rejection ? evaluation.assignments.categories.size() : evaluation.metrics.labels;
    return count == 1 ? "1 category" : grouped(count) + " categories";
}

using Places = std::map<std::string_view, std::string>;

void fill(std::string_view page, const Places& places, std::ostream& out) {
    for (std::size_t begin = page.find("{{"); begin != std::string_view::npos;
         begin = page.find("{{")) {
        const std::size_t end = page.find("}}", begin);
        out << page.substr(0, begin) << places.at(page.substr(begin + 2, end - begin - 2));
        page.remove_prefix(end + 2);
    }
    out << page;
}

// The start of each report.
std::string_view report_mark() {
    return kPageHtml.substr(0, kPageHtml.find("<head>"));
}

bool is_replaceable(const std::string& file) {
    std::ifstream input(file, std::ios::binary);
    std::string start(report_mark().size(), '\0');
    input.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(input.gcount()));
    return start.empty() || start == report_mark();
}

}  // namespace

nlohmann::ordered_json page_json(const Evaluation& evaluation, const Report_data& data) {
    Json json = {{"labels", data.names}, {"similarity", data.neighbours}};
    json["has_no_answer"] = false;
    for (const Report_cell& cell : data.cells) {
        if (cell.column == data.names.size()) {
            json["has_no_answer"] = true;
        }
    }
    add_cells(data, json);
    json["calibration"] =
        Json::array({calibration_json("score", evaluation.calibration.best, data.by_score)});
    if (evaluation.confidence) {
        json["calibration"].push_back(
            calibration_json("confidence", *evaluation.confidence, data.by_confidence));
    }
    json["answered"] = answered_json(evaluation.answered);
    return json;
}

void write_report_page(const Report_source& source, const Evaluation& evaluation,
                       const Cross_validation* folds, const Report_data& data, std::ostream& out) {
    std::vector<Model_fact> facts = source.facts;
    facts.insert(facts.end(), data.facts.begin(), data.facts.end());
    facts.push_back({"Confidence map", evaluation.confidence ? "yes" : "no"});
    const Places places = {
        {"script_hash", std::string(kPageScriptHash)},
        {"style_hash", std::string(kPageStyleHash)},
        {"style", std::string(kPageStyle)},
        {"script", std::string(kPageScript)},
        {"title", html_escaped(source.title)},
        {"subtitle", html_escaped(answered_texts(evaluation, data) + " with " +
                                  category_count(evaluation) + ". " + source.subtitle)},
        {"cards", figure_cards(evaluation, data)},
        {"hints", hint_items(evaluation, data)},
        {"facts", fact_items(facts)},
        {"figure_rows", figure_rows(evaluation)},
        {"folds", folds == nullptr ? "" : fold_table(*folds)},
        {"categories_note", html_escaped(category_note(evaluation))},
        {"threshold", with_decimals(evaluation.assignments.threshold, 2)},
        {"category_rows", category_rows(evaluation, data)},
        {"matrix_note", html_escaped(matrix_note(data))},
        {"confusions_caption", html_escaped(confusion_caption(data))},
        {"confusion_rows", confusion_rows(data)},
        {"calibration_note", html_escaped(calibration_note(evaluation))},
        {"calibration", calibration_figures(evaluation)},
        {"answered_note", html_escaped(answered_note(evaluation))},
        {"answered_by", evaluation.answered.is_confidence ? "confidence" : "score"},
        {"answered_rows", answered_rows(evaluation)},
        {"mistakes_note", html_escaped(mistakes_note(data))},
        {"mistakes", mistake_lists(data)},
        {"tree_note", html_escaped(tree_note(data))},
        {"tree", tree_list(data)},
        {"footer", footer_text(data)},
        {"data", script_json(page_json(evaluation, data))},
    };
    fill(kPageHtml, places, out);
}

void check_report_file(const std::string& file) {
    if (is_standard_input(file)) {
        throw Usage_error("--report needs a file, since standard output has the other report");
    }
    check_text_output(file);
    if (!is_replaceable(file)) {
        throw Usage_error(shown_file(file) +
                          ": this file is no report, and --report does not replace it");
    }
}

}  // namespace zandrel::cli
