// Line_filter: answers each line of an input, as a text, with a line or more of output.
#ifndef ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_
#define ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_

#include <cstddef>
#include <istream>
#include <optional>
#include <ostream>
#include <string>

struct zeNode;

namespace cli {

class Text_model;

// The lines of a stream, which end with LF or CR LF; the last one may lack its end. A byte order
// mark at the start is no part of the first.
struct Line_input {
    std::istream& stream;
    std::string name;  // for messages
};

struct Classify_options {
    int wanted_labels = 1;   // at most so many a line
    double threshold = 0.0;  // least score of a label, 0..1
    bool writes_json = false;
};

// Writes exactly one line for each line of the input, in their order: the labels with their scores,
// best first, all parted by tabs. Control characters of a label, which could be taken for the end
// of it, are blanks there. The line is empty where there is no result. As JSON it is an object of
// `categories`, a list of objects of `category`, `path` and `score`.
//
// Each line is handed on before the next one is waited for. What reads the output may so be what
// writes the input.
// RAISES: Input_error if reading fails. It ends early where the output takes nothing any more.
void classify_lines(const Line_input& input, const Classify_options& options, Text_model& model,
                    std::ostream& out);

struct Explain_options {
    zeNode* node = nullptr;               // BORROWS: what is explained; null: the best label
    std::optional<std::size_t> top = {};  // how many concepts a line shows; missing: all
    bool writes_json = false;
};

// Writes an explanation for each line of the input; as JSON one object a line.
// RAISES: likewise.
void explain_lines(const Line_input& input, const Explain_options& options, Text_model& model,
                   std::ostream& out);

}  // namespace cli

#endif  // ZANDREL_CLI_CLASSIFY_LINE_FILTER_H_
