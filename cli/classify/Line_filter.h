// Line_filter: classifies or explains each line of an input, and prints the answers in order.
#ifndef ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_
#define ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <optional>
#include <ostream>
#include <string>

#include "cli/classify/Coloured_text.h"
#include "text/data/Data_form.h"
#include "text/data/Line_reader.h"

struct zeNode;

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {

// The lines of a stream. A line ends with LF or CR LF; the last one need not. A byte order mark at
// the start is not a part of the first line.
struct Line_input {
    std::istream& stream;
    std::string name;  // for messages
    std::size_t longest_line =
        kLongestLine;  // in bytes; a longer line is not classified, but reported
    // Gets the message about a line that is too long, as soon as the line is read. May be empty.
    std::function<void(const std::string& message)> refuse = {};
    // The column where the text of a line begins, and the function that gets warnings
    // (Text_column).
    std::optional<std::size_t> column = {};
    std::function<void(const std::string&)> warn = {};
    // Number of processes that answer the lines. If more than one, they are copies of this process
    // (Worker_pool). The output is the same.
    std::size_t jobs = 1;
    // Another format than kLines has records (Data_reader). Blank lines are then no records.
    Data_format format = Data_format::kLines;
    Data_form form = {};
};

struct Classify_options {
    int wanted_labels = 1;   // at most so many for each line
    double threshold = 0.0;  // least score of a label, 0 to 1
    bool writes_json = false;
    bool writes_csv = false;
    bool shows_confidence = false;      // as JSON it is always there if the model has a map
    std::optional<double> reject = {};  // least confidence of an answer, 0 to 1
};

// Writes exactly one line for each line of the input, in the same order: labels and scores, the
// best first, separated by tabs. Control characters in a label are printed as blanks, since a tab
// would look like its end. The line is empty if there is no result or the input line is too long.
// As JSON it is an object of `categories`, a list of objects of `category`, `path` and `score`; for
// a line that is too long it is an object of `error`, the message. If the input has another format
// than lines, this is so for each record and each bad record.
//
// If the input is JSON lines, the JSON object is the record with a further member `categories`,
// which replaces a member of this name. As CSV, each line is the row of the record with two further
// columns for each wanted label, the label and its score; they are empty where there is no label. A
// header gets the names category_1, score_1, category_2 and so on. A record that is not from a
// table is a row with its text. The row of a bad record has empty columns.
//
// The confidence is that of the best label of the model, also if the threshold removes the label:
// with the threshold 0.99 an answer can have no label and the confidence 0.28.
// It has four decimals: as the first column of a line that has a label, as a JSON member
// `confidence`, and as CSV in the last column. An answer whose confidence is below `reject` has no
// labels: its line is empty. With `reject` the JSON object has the member `rejected`, true or
// false. If the model has a map, a record in JSON loses its own members `confidence` and
// `rejected`. REQUIRES: a model with a confidence map, for `shows_confidence` and `reject`.
//
// The answers are flushed before we wait for the next line. So the reader of the output can be the
// writer of the input, and wait for each answer.
// RAISES: Input_error if reading fails; what make_data_reader, Data_reader and Worker_pool raise;
// Data_error for a header that has a column with the name of an answer, as CSV. It ends early if
// the output cannot be written any more.
void classify_lines(const Line_input& input, const Classify_options& options, Text_model& model,
                    std::ostream& out);

struct Explain_options {
    zeNode* node = nullptr;  // BORROWS: the node to explain; null: the best label of each line
    std::optional<std::size_t> top = {};  // number of concepts for each line; missing: all
    bool writes_json = false;
    bool shows_path = false;  // the walk through the tree instead of the concepts (Walk_report)
    int wanted_labels = 1;    // with `shows_path`: the walk ends when it has so many
    // The colours of the text's words; not as JSON, not with `shows_path`.
    Palette palette = Palette::kNone;
};

// Writes an explanation for each line of the input; as JSON one object for each line. With
// `shows_path` and a node, it says where the way of the walk to this node ended. For a line
// that is too long it writes "(line is too long)" instead, and as JSON an object of `error`, the
// message.
// RAISES: as classify_lines.
void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_
