#include "cli/classify/Line_filter.h"

#include <cerrno>
#include <string_view>

#include <nlohmann/json.hpp>

#include "cli/classify/Line_reader.h"
#include "cli/data/Data_lines.h"
#include "cli/errors.h"
#include "cli/model/Explanation.h"
#include "cli/model/Text_model.h"
#include "cli/text/Json.h"
#include "cli/text/Layout.h"

namespace cli {

namespace {

constexpr int kScoreDecimals = 6;

// Calls `answer` with each line, empty ones too.
template <class Answer>
void answer_lines(const Line_input& input, std::ostream& out, const Answer& answer) {
    Line_reader reader(input.stream, [&out] { out.flush(); });
    std::string_view line;
    errno = 0;
    for (bool is_first = true; out.good() && reader.next(line); is_first = false) {
        line = without_carriage_return(line);
        answer(is_first ? without_byte_order_mark(line) : line);
    }
    if (input.stream.bad()) {
        throw Input_error(input.name, reason_of_failure());
    }
}

std::string without_control_characters(std::string_view label) {
    constexpr unsigned char kFirstPrintable = 0x20;
    std::string printable(label);
    for (char& byte : printable) {
        byte = static_cast<unsigned char>(byte) < kFirstPrintable ? ' ' : byte;
    }
    return printable;
}

void print_ranking(const Ranking& ranking, std::ostream& out) {
    const char* separator = "";
    for (const Scored_label& entry : ranking) {
        out << separator << without_control_characters(entry.label) << '\t'
            << with_decimals(entry.score, kScoreDecimals);
        separator = "\t";
    }
    out << '\n';
}

void print_ranking_json(const Ranking& ranking, const Text_model& model, std::ostream& out) {
    nlohmann::ordered_json categories = nlohmann::ordered_json::array();
    for (const Scored_label& entry : ranking) {
        categories.push_back(
            {{"category", entry.label}, {"path", model.path_of(entry)}, {"score", entry.score}});
    }
    print_json({{"categories", categories}}, Json_form::kOneLine, out);
}

// REQUIRES: best first.
void drop_below(double threshold, Ranking& ranking) {
    while (!ranking.empty() && ranking.back().score < threshold) {
        ranking.pop_back();
    }
}

}  // namespace

void classify_lines(const Line_input& input, const Classify_options& options, Text_model& model,
                    std::ostream& out) {
    answer_lines(input, out, [&](std::string_view text) {
        Ranking ranking = model.rank(text, options.wanted_labels);
        drop_below(options.threshold, ranking);
        if (options.writes_json) {
            print_ranking_json(ranking, model, out);
        } else {
            print_ranking(ranking, out);
        }
    });
}

void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out) {
    answer_lines(input, out, [&](std::string_view text) {
        Explanation explanation =
            options.node == nullptr ? model.explain(text) : model.explain(text, options.node);
        if (options.top) {
            keep_first(*options.top, explanation);
        }
        if (options.writes_json) {
            print_json(explanation_json(explanation), Json_form::kOneLine, out);
        } else {
            print_explanation(explanation, out);
        }
    });
}

}  // namespace cli
