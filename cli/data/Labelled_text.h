// Labelled_text: a text and its labels, and the reader of files of them.
#ifndef ZANDREL_CLI_DATA_LABELLED_TEXT_H_
#define ZANDREL_CLI_DATA_LABELLED_TEXT_H_

#include <cstddef>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

#include "cli/data/Line_reader.h"

namespace cli {

struct Labelled_text {
    std::vector<std::string> labels;  // at least one, each once, in the order of the line
    std::string text;                 // may be empty
    std::string title = {};           // of lines with four columns; may be empty
    std::string keywords = {};        // likewise
    std::size_t line = 0;             // where it stands in its file, from 1; 0 in none
};

// What a data line holds behind its labels.
enum class Columns { kText, kTextTitleKeywords };

// Returns the columns of training data: a bootstrap needs titles and keywords.
inline Columns training_columns(bool bootstraps) {
    return bootstraps ? Columns::kTextTitleKeywords : Columns::kText;
}

// Describes the lines of a data file in messages: "lines label<TAB>text", with all columns.
std::string lines_of_columns(Columns columns);

// Data lines that were left out, since they are not what they should be.
struct Skipped_lines {
    std::size_t count = 0;
    std::string first;  // "FILE:LINE: message" of the first one; empty if there is none
};

// Reads data lines `label[,label]<TAB>text`, or `label[,label]<TAB>text<TAB>title<TAB>keywords`, in
// UTF-8. The first tab of a line parts labels and text; tabs behind the last column's begin belong
// to that column. A label that stands twice counts once. Lines end with LF or
// CR LF, which the last one may lack. Empty lines are skipped, and so is a byte order mark at the
// start. The bytes themselves are not checked: what is no UTF-8 is the text analysis's concern.
// `name`: the file's name for messages. `skipped`: if given, bad lines are left out and added to
// it, after what it holds from other files. `longest_line`: in bytes; a longer line is bad, and is
// never in memory whole. RAISES: Data_error for a line without its tabs, with an empty label or
// that is too long, unless bad lines are left out; Input_error if reading fails.
std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name,
                                               Skipped_lines* skipped = nullptr,
                                               Columns columns = Columns::kText,
                                               std::size_t longest_line = kLongestLine);
// Reads a whole file, which must hold a data line at least. "-" is standard input.
// RAISES: as above; also Input_error for a file that cannot be opened, and Data_error for one
// without a data line, or with none that is good.
std::vector<Labelled_text> read_labelled_file(const std::string& path,
                                              Skipped_lines* skipped = nullptr,
                                              Columns columns = Columns::kText,
                                              std::size_t longest_line = kLongestLine);

// Says in one line how many lines were left out and which was the first; nothing if there is none.
void print_skipped(const Skipped_lines& skipped, std::ostream& out);

// The bytes of all texts, titles and keywords; labels are not counted.
std::size_t text_bytes(const std::vector<Labelled_text>& texts);

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_LABELLED_TEXT_H_
