// Reads lines, answers them, and writes the answers in the order of the lines.
//
// With one job each line is answered at once. With several jobs, lines are collected into blocks,
// and a block is a task of Worker_pool: its answer is the output of all its lines as one text. The
// pool gives the answers in the order of the tasks, so the output is the same as with one job.
//
// Example: 600 short lines and --jobs 2. A block is full at 256 lines, so the blocks have 256, 256
// and 88 lines. The first and the third are answered by worker 0, the second by worker 1. If lines
// come slowly, from a terminal or a pipe, the last block is not full when we would have to wait:
// flush() gives it to a worker and writes all answers, so that no answer waits for a later line.
//
// A bad record, such as a line that is too long, is in the block too, marked with the byte 1, and
// its answer is empty or an error. So answer n always belongs to line n, or to record n.
#include "cli/classify/Line_filter.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/classify/Answer_block.h"
#include "cli/classify/Record_echo.h"
#include "cli/classify/Text_column.h"
#include "cli/classify/Text_line_reader.h"
#include "cli/classify/Walk_report.h"
#include "cli/process/Worker_pool.h"
#include "text/data/Data_reader.h"
#include "text/errors.h"
#include "text/kc/Cached_kc.h"
#include "text/model/Explanation.h"
#include "text/model/Scored_label.h"
#include "text/model/Text_model.h"
#include "text/wording/Json.h"
#include "text/wording/Layout.h"

namespace zandrel::cli {

namespace {

constexpr int kConfidenceDecimals = 4;

using Answer = std::function<void(const Question&, std::ostream&)>;

// Writes the answers in the order of the lines. They are made at once or by workers.
class Answerer {
public:
    // `model`: answers the questions.
    Answerer(std::size_t jobs, const Text_model& model, Answer answer, std::ostream& out)
        : m_answer(std::move(answer)), m_out(out) {
        if (jobs > 1) {
            m_pool.emplace(
                jobs, [this](std::string_view task) { return answers(task); },
                [&model] { reopen_cached(*model.manager()); });
        }
    }

    void add(const Question& question) {
        if (!m_pool) {
            m_answer(question, m_out);
            return;
        }
        m_block.add(question);
        if (m_block.is_full()) {
            give_block();
        }
    }

    // Writes and flushes the answers of all lines so far.
    void flush() {
        if (m_pool) {
            if (!m_block.is_empty()) {
                give_block();
            }
            while (!m_pool->is_empty()) {
                take_block();
            }
        }
        m_out.flush();
    }

private:
    void answer_block(std::string_view task, std::ostream& out) const {
        while (!task.empty()) {
            m_answer(Answer_block::take_question(task), out);
        }
    }

    // The work of a worker.
    std::string answers(std::string_view task) const {
        std::ostringstream out;
        answer_block(task, out);
        return std::move(out).str();
    }

    void take_block() {
        const Worker_pool::Done done = m_pool->take();
        if (done.answer) {
            m_out << *done.answer;
        } else {
            answer_block(done.task, m_out);
        }
    }

    void give_block() {
        if (m_pool->is_full()) {
            take_block();
        }
        m_pool->give(m_block.take());
    }

    Answer m_answer;
    std::ostream& m_out;
    Answer_block m_block;
    std::optional<Worker_pool> m_pool;
};

// Returns the reader of the input. `before_waiting`: see Line_reader.
std::unique_ptr<Data_reader> reader_of(const Line_input& input, const Text_model& model,
                                       std::function<void()> before_waiting) {
    const Data_source source = {
        input.stream, input.name, Columns::kText, input.longest_line, std::move(before_waiting),
        false};
    if (input.format != Data_format::kLines) {
        return make_data_reader(source, input.format, input.form);
    }
    return std::make_unique<Text_line_reader>(
        source, Text_column(input.name, input.column, model, input.warn));
}

// The part of a record that its answer repeats.
class Echo {
public:
    enum class Form { kNone, kJson, kCsv };

    // `answers`: the number of labels for a record. `has_confidence`: CSV has a column for it.
    explicit Echo(Form form = Form::kNone, int answers = 0, bool has_confidence = false)
        : m_form(form), m_answers(answers), m_has_confidence(has_confidence) {}

    // Returns the header with the names of the answers.
    // RAISES: Data_error if it has such a name already.
    std::string header(std::vector<std::string> names, const std::string& file) {
        m_width = names.size();
        const std::set<std::string> known(names.begin(), names.end());
        const auto add = [&](const std::string& name) {
            if (known.count(name) != 0) {
                throw Data_error(file, 1,
                                 "the header has a column \"" + name +
                                     "\" already, and --csv adds a column of this name");
            }
            names.push_back(name);
        };
        for (int i = 1; i <= m_answers; ++i) {
            add("category_" + std::to_string(i));
            add("score_" + std::to_string(i));
        }
        if (m_has_confidence) {
            add("confidence");
        }
        return csv_row(names);
    }

    bool has_header() const { return m_form == Form::kCsv; }

    std::string of(const Data_record& record) {
        switch (m_form) {
            case Form::kJson:
                return std::string(record.line);
            case Form::kCsv:
                return row_of(record);
            default:
                return {};
        }
    }

private:
    std::string row_of(const Data_record& record) {
        if (record.error && record.columns.size() != m_width) {
            return csv_row(std::vector<std::string>(std::max<std::size_t>(m_width, 1)));
        }
        if (record.columns.empty()) {
            return csv_row({record.error ? "" : record.message.text});
        }
        m_width = record.columns.size();
        return csv_row(record.columns);
    }

    Form m_form;
    int m_answers;
    bool m_has_confidence;
    std::size_t m_width = 0;  // of the header or the last row; 0 before it
};

// Adds all records to the questions.
void answer_records(const Line_input& input, Data_reader& reader, Echo& echo, Answerer& answerer,
                    std::ostream& out) {
    Data_record record;
    Question question;
    while (out.good() && reader.next(record)) {
        question.echo = echo.of(record);
        question.is_refused = record.error.has_value();
        if (record.error) {
            question.message = {{}, record.error->what()};
            if (input.refuse) {
                input.refuse(question.message.text);
            }
        } else {
            std::swap(question.message, record.message);
        }
        answerer.add(question);
    }
}

// Writes the answer to each line, also to empty lines, or to each record. If reading fails, it
// writes the answers to the records before.
void answer_lines(const Line_input& input, const Text_model& model, const Answer& answer,
                  std::ostream& out, Echo echo = Echo()) {
    std::optional<Answerer> answerer;
    const std::unique_ptr<Data_reader> reader = reader_of(input, model, [&answerer] {
        if (answerer) {
            answerer->flush();
        }
    });
    reader->begin();
    if (echo.has_header() && !reader->header().empty()) {
        out << echo.header(reader->header(), input.name) << '\n';
    }
    answerer.emplace(input.jobs, model, answer, out);
    try {
        answer_records(input, *reader, echo, *answerer, out);
    } catch (...) {
        answerer->flush();
        throw;
    }
    answerer->flush();
}

std::string without_control_characters(std::string_view label) {
    constexpr unsigned char kFirstPrintable = 0x20;
    std::string printable(label);
    for (char& byte : printable) {
        byte = static_cast<unsigned char>(byte) < kFirstPrintable ? ' ' : byte;
    }
    return printable;
}

// An answer of classify.
struct Classified {
    Ranking ranking;                   // empty if the answer is rejected
    std::optional<double> confidence;  // missing if it is not asked for, or the model has no map
    std::optional<bool> is_rejected;   // missing without --reject
};

void print_ranking(const Classified& answer, bool shows_confidence, std::ostream& out) {
    const char* separator = "";
    if (shows_confidence && !answer.ranking.empty()) {
        out << with_decimals(*answer.confidence, kConfidenceDecimals);
        separator = "\t";
    }
    for (const Scored_label& entry : answer.ranking) {
        out << separator << without_control_characters(entry.label) << '\t'
            << with_decimals(entry.score, kScoreDecimals);
        separator = "\t";
    }
    out << '\n';
}

// `record`: the JSON object to repeat; empty: none.
void print_ranking_json(const Classified& answer, const Text_model& model, std::string_view record,
                        std::ostream& out) {
    nlohmann::ordered_json members;
    nlohmann::ordered_json& categories = members["categories"] = nlohmann::ordered_json::array();
    for (const Scored_label& entry : answer.ranking) {
        categories.push_back(
            {{"category", entry.label}, {"path", model.path_of(entry)}, {"score", entry.score}});
    }
    if (answer.confidence) {
        members["confidence"] = *answer.confidence;
    }
    if (answer.is_rejected) {
        members["rejected"] = *answer.is_rejected;
    }
    if (record.empty()) {
        print_json(members, Json_form::kOneLine, out);
        return;
    }
    std::string text(record);
    if (answer.confidence && !answer.is_rejected) {
        text = without_member(text, "rejected");  // of an earlier answer
    }
    for (const auto& [name, value] : members.items()) {
        text = with_member(text, name, json_text(value));
    }
    out << text << '\n';
}

// `row`: of the record. Empty columns fill the place of labels that are missing.
void print_ranking_csv(const Classified& answer, const Classify_options& options,
                       std::string_view row, std::ostream& out) {
    out << row;
    const Ranking& ranking = answer.ranking;
    for (std::size_t i = 0; i < static_cast<std::size_t>(options.wanted_labels); ++i) {
        out << ',';
        if (i < ranking.size()) {
            out << csv_row(
                {std::string(ranking[i].label), with_decimals(ranking[i].score, kScoreDecimals)});
        } else {
            out << ',';
        }
    }
    if (options.shows_confidence) {
        out << ',';
        if (answer.confidence) {
            out << with_decimals(*answer.confidence, kConfidenceDecimals);
        }
    }
    out << '\n';
}

// Prints one line instead of the answer to a line that is too long, so that the answers still match
// the lines.
void print_refusal(std::string_view message, const char* text, bool writes_json,
                   std::ostream& out) {
    if (writes_json) {
        print_json({{"error", message}}, Json_form::kOneLine, out);
    } else {
        out << text << '\n';
    }
}

void print_path(const Labelled_text& message, const Explain_options& options, Text_model& model,
                std::ostream& out) {
    const Walk_report report{*model.manager()->m_logical_tree, message.text,
                             model.walk(message, options.wanted_labels), options.node, options.top};
    if (options.writes_json) {
        print_json(walk_json(report), Json_form::kOneLine, out);
    } else {
        print_walk(report, out);
    }
}

// REQUIRES: sorted by score, the highest first.
void drop_below(double threshold, Ranking& ranking) {
    while (!ranking.empty() && ranking.back().score < threshold) {
        ranking.pop_back();
    }
}

Echo echo_of(const Line_input& input, const Classify_options& options) {
    if (options.writes_csv) {
        return Echo(Echo::Form::kCsv, options.wanted_labels, options.shows_confidence);
    }
    const bool repeats = options.writes_json && input.format == Data_format::kJsonLines;
    return Echo(repeats ? Echo::Form::kJson : Echo::Form::kNone);
}

// The confidence needs a second label, so it is not made if nobody asks for it.
bool needs_confidence(const Classify_options& options, const Text_model& model) {
    return model.confidence().has_value() &&
           (options.writes_json || options.shows_confidence || options.reject);
}

Classified classified(const Labelled_text& message, const Classify_options& options,
                      Text_model& model) {
    Classified answer;
    if (needs_confidence(options, model)) {
        Rated_ranking rated = model.rank_rated(message, options.wanted_labels);
        answer.ranking = std::move(rated.ranking);
        answer.confidence = model.confidence()->of(rated.scores);
    } else {
        answer.ranking = model.rank(message, options.wanted_labels);
    }
    drop_below(options.threshold, answer.ranking);
    if (options.reject) {
        answer.is_rejected = *answer.confidence < *options.reject;
        if (*answer.is_rejected) {
            answer.ranking.clear();
        }
    }
    return answer;
}

void print_reasons(const Labelled_text& message, const Explain_options& options, Text_model& model,
                   std::ostream& out) {
    Explanation explanation = model.explain(message, options.node);
    std::vector<Word_effect> words;
    if (options.palette != Palette::kNone && !explanation.label.empty()) {
        words = model.words_of(explanation);
    }
    if (options.top) {
        keep_first(*options.top, explanation);
    }
    if (options.writes_json) {
        print_json(explanation_json(explanation), Json_form::kOneLine, out);
    } else {
        print_explanation(explanation, coloured_text(explanation.text, words, options.palette),
                          out);
    }
}

void classify_one(const Question& question, const Classify_options& options, Text_model& model,
                  std::ostream& out) {
    const Classified answer =
        question.is_refused ? Classified() : classified(question.message, options, model);
    if (options.writes_csv) {
        print_ranking_csv(answer, options, question.echo, out);
    } else if (question.is_refused) {
        print_refusal(question.message.text, "", options.writes_json, out);
    } else if (options.writes_json) {
        print_ranking_json(answer, model, question.echo, out);
    } else {
        print_ranking(answer, options.shows_confidence, out);
    }
}

}  // namespace

void classify_lines(const Line_input& input, const Classify_options& options, Text_model& model,
                    std::ostream& out) {
    const auto answer = [&options, &model](const Question& question, std::ostream& answers) {
        classify_one(question, options, model, answers);
    };
    answer_lines(input, model, answer, out, echo_of(input, options));
}

void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out) {
    const char* const refusal =
        input.format == Data_format::kLines ? "  (line is too long)" : "  (bad record)";
    const auto answer = [&options, &model, refusal](const Question& question,
                                                    std::ostream& answers) {
        if (question.is_refused) {
            print_refusal(question.message.text, refusal, options.writes_json, answers);
            return;
        }
        if (options.shows_path) {
            print_path(question.message, options, model, answers);
        } else {
            print_reasons(question.message, options, model, answers);
        }
    };
    answer_lines(input, model, answer, out);
}

}  // namespace zandrel::cli
