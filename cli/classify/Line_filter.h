// Line_filter: answers each line of an input, as a text, with a line or more of output.
#ifndef ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_
#define ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <optional>
#include <ostream>
#include <string>

#include "cli/data/Line_reader.h"

struct zeNode;

namespace cli {

class Text_model;

// The lines of a stream, which end with LF or CR LF; the last one may lack its end. A byte order
// mark at the start is no part of the first.
struct Line_input {
    std::istream& stream;
    std::string name;                         // for messages
    std::size_t longest_line = kLongestLine;  // in bytes; a longer one is skipped and refused
    // Takes the message about a line that is too long, when that line is met. May be empty.
    std::function<void(const std::string& message)> refuse = {};
    // Where the text of a line begins, and what takes a warning (Text_column).
    std::optional<std::size_t> column = {};
    std::function<void(const std::string&)> warn = {};
    // Processes that answer the lines. More than one are copies of this process (Worker_pool), and
    // the output is the same.
    std::size_t jobs = 1;
};

struct Classify_options {
    int wanted_labels = 1;   // at most so many a line
    double threshold = 0.0;  // least score of a label, 0..1
    bool writes_json = false;
};

// Writes exactly one line for each line of the input, in their order: the labels with their scores,
// best first, all parted by tabs. Control characters of a label, which could be taken for the end
// of it, are blanks there. The line is empty where there is no result, and where the line of the
// input is too long. As JSON it is an object of `categories`, a list of objects of `category`,
// `path` and `score`; for a line that is too long it is an object of `error`, the message.
//
// Each line is handed on before the next one is waited for. What reads the output may so be what
// writes the input.
// RAISES: Input_error if reading fails; what Worker_pool raises. It ends early where the output
// takes nothing any more.
void classify_lines(const Line_input& input, const Classify_options& options, Text_model& model,
                    std::ostream& out);

struct Explain_options {
    zeNode* node = nullptr;               // BORROWS: what is explained; null: the best label
    std::optional<std::size_t> top = {};  // how many concepts a line shows; missing: all
    bool writes_json = false;
};

// Writes an explanation for each line of the input; as JSON one object a line. A line that is too
// long has the text "(line is too long)" in place of its explanation, and as JSON an object of
// `error`, the message.
// RAISES: likewise.
void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out);

}  // namespace cli

#endif  // ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_
