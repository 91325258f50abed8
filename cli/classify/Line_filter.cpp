#include "cli/classify/Line_filter.h"

#include <cerrno>
#include <cstddef>
#include <string_view>

#include <nlohmann/json.hpp>

#include "cli/classify/Text_column.h"
#include "cli/data/Data_lines.h"
#include "cli/data/Line_reader.h"
#include "cli/errors.h"
#include "cli/model/Explanation.h"
#include "cli/model/Text_model.h"
#include "cli/text/Json.h"
#include "cli/text/Layout.h"

namespace cli {

namespace {

constexpr int kScoreDecimals = 6;

// Calls `answer` with the text of each line, empty ones too, but for a line that is too long
// `answer_error` with the message.
template <class Answer, class Answer_error>
void answer_lines(const Line_input& input, const Text_model& model, std::ostream& out,
                  const Answer& answer, const Answer_error& answer_error) {
    Text_column column(input.name, input.column, model, input.warn);
    Line_reader reader(
        input.stream, [&out] { out.flush(); }, input.longest_line);
    std::string_view line;
    errno = 0;
    for (std::size_t number = 1; out.good() && reader.next(line); ++number) {
        if (reader.is_too_long()) {
            const std::string message =
                too_long_line(input.name, number, input.longest_line).what();
            answer_error(message);
            if (input.refuse) {
                input.refuse(message);
            }
            continue;
        }
        line = without_carriage_return(line);
        line = number == 1 ? without_byte_order_mark(line) : line;
        answer(column.text_of(line, number));
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

// Prints one line in place of the answer to a line that is too long, so that answers still match
// the lines of input.
void print_refusal(const std::string& message, const char* text, bool writes_json,
                   std::ostream& out) {
    if (writes_json) {
        print_json({{"error", message}}, Json_form::kOneLine, out);
    } else {
        out << text << '\n';
    }
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
    answer_lines(
        input, model, out,
        [&](std::string_view text) {
            Ranking ranking = model.rank(text, options.wanted_labels);
            drop_below(options.threshold, ranking);
            if (options.writes_json) {
                print_ranking_json(ranking, model, out);
            } else {
                print_ranking(ranking, out);
            }
        },
        [&](const std::string& message) { print_refusal(message, "", options.writes_json, out); });
}

void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out) {
    answer_lines(
        input, model, out,
        [&](std::string_view text) {
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
        },
        [&](const std::string& message) {
            print_refusal(message, "  (line is too long)", options.writes_json, out);
        });
}

}  // namespace cli
