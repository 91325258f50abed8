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
// A line that is too long is a line of the block too, marked with the byte 1, and its answer is
// empty or an error. So answer n always belongs to line n.
#include "cli/classify/Line_filter.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sstream>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "cli/classify/Text_column.h"
#include "cli/classify/Walk_report.h"
#include "cli/data/Data_lines.h"
#include "cli/data/Line_reader.h"
#include "cli/errors.h"
#include "cli/model/Explanation.h"
#include "cli/model/Text_model.h"
#include "cli/model/Worker_pool.h"
#include "cli/text/Json.h"
#include "cli/text/Layout.h"

namespace cli {

namespace {

constexpr int kScoreDecimals = 6;

// A line to answer: a text, or the message about a line that is too long.
struct Line {
    std::string_view text;
    bool is_refused;
};

using Answer = std::function<void(const Line&, std::ostream&)>;

// Lines as a task for a worker. Each line is a byte (1 if the line is too long, otherwise 0), its
// length in eight bytes, and its bytes.
class Block {
public:
    void add(const Line& line) {
        const std::size_t length = line.text.size();
        m_bytes += line.is_refused ? '\1' : '\0';
        m_bytes.append(reinterpret_cast<const char*>(&length), sizeof length);
        m_bytes += line.text;
        ++m_line_count;
    }

    // Many lines, so that sending them takes little time compared with answering them. Few lines,
    // so that all workers get some lines of a small file.
    bool is_full() const { return m_line_count >= 256 || m_bytes.size() >= std::size_t(64) << 10U; }

    bool is_empty() const { return m_line_count == 0; }

    // Returns the task, and empties the block.
    std::string take() {
        m_line_count = 0;
        return std::exchange(m_bytes, {});
    }

    // Calls `take_line` with each line of a task.
    template <class Take_line>
    static void for_each(std::string_view task, const Take_line& take_line) {
        while (!task.empty()) {
            std::size_t length = 0;
            std::memcpy(&length, task.data() + 1, sizeof length);
            const std::size_t begin = 1 + sizeof length;
            take_line(Line{task.substr(begin, length), task.front() == '\1'});
            task.remove_prefix(begin + length);
        }
    }

private:
    std::string m_bytes;
    std::size_t m_line_count = 0;
};

// Writes the answers in the order of the lines. They are made at once or by workers.
class Answerer {
public:
    Answerer(std::size_t jobs, Answer answer, std::ostream& out)
        : m_answer(std::move(answer)), m_out(out) {
        if (jobs > 1) {
            m_pool.emplace(jobs, [this](std::string_view task) { return answers(task); });
        }
    }

    void add(const Line& line) {
        if (!m_pool) {
            m_answer(line, m_out);
            return;
        }
        m_block.add(line);
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
        Block::for_each(task, [this, &out](const Line& line) { m_answer(line, out); });
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
    Block m_block;
    std::optional<Worker_pool> m_pool;
};

// Writes the answer to each line, also to empty lines.
void answer_lines(const Line_input& input, const Text_model& model, const Answer& answer,
                  std::ostream& out) {
    Text_column column(input.name, input.column, model, input.warn);
    Answerer answerer(input.jobs, answer, out);
    Line_reader reader(
        input.stream, [&answerer] { answerer.flush(); }, input.longest_line);
    std::string_view line;
    errno = 0;
    for (std::size_t number = 1; out.good() && reader.next(line); ++number) {
        if (reader.is_too_long()) {
            const std::string message =
                too_long_line(input.name, number, input.longest_line).what();
            answerer.add({message, true});
            if (input.refuse) {
                input.refuse(message);
            }
            continue;
        }
        line = without_carriage_return(line);
        line = number == 1 ? without_byte_order_mark(line) : line;
        answerer.add({column.text_of(line, number), false});
    }
    const bool failed = input.stream.bad();
    const std::string reason = failed ? reason_of_failure() : "";
    answerer.flush();
    if (failed) {
        throw Input_error(input.name, reason);
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

}  // namespace

void classify_lines(const Line_input& input, const Classify_options& options, Text_model& model,
                    std::ostream& out) {
    const auto answer = [&options, &model](const Line& line, std::ostream& answers) {
        if (line.is_refused) {
            print_refusal(line.text, "", options.writes_json, answers);
            return;
        }
        Ranking ranking = model.rank(line.text, options.wanted_labels);
        drop_below(options.threshold, ranking);
        if (options.writes_json) {
            print_ranking_json(ranking, model, answers);
        } else {
            print_ranking(ranking, answers);
        }
    };
    answer_lines(input, model, answer, out);
}

void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out) {
    const auto answer = [&options, &model](const Line& line, std::ostream& answers) {
        if (line.is_refused) {
            print_refusal(line.text, "  (line is too long)", options.writes_json, answers);
            return;
        }
        if (options.shows_path) {
            Labelled_text message;
            message.text = line.text;
            print_path(message, options, model, answers);
            return;
        }
        Explanation explanation = options.node == nullptr ? model.explain(line.text)
                                                          : model.explain(line.text, options.node);
        if (options.top) {
            keep_first(*options.top, explanation);
        }
        if (options.writes_json) {
            print_json(explanation_json(explanation), Json_form::kOneLine, answers);
        } else {
            print_explanation(explanation, answers);
        }
    };
    answer_lines(input, model, answer, out);
}

}  // namespace cli
