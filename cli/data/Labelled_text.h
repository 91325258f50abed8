// Labelled_text: a text and its labels, and the reader of files of them.
#ifndef ZANDREL_CLI_DATA_LABELLED_TEXT_H_
#define ZANDREL_CLI_DATA_LABELLED_TEXT_H_

#include <cstddef>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct Labelled_text {
    std::vector<std::string> labels;  // at least one, each once, in the order of the line
    std::string text;                 // may be empty
};

// Reads data lines `label[,label]<TAB>text` in UTF-8. The first tab of a line parts labels and
// text; later ones belong to the text. A label that stands twice counts once. Lines end with LF or
// CR LF, which the last one may lack. Empty lines are skipped, and so is a byte order mark at the
// start. The bytes themselves are not checked: what is no UTF-8 is the text analysis's concern.
// `name`: the file's name for messages.
// RAISES: Data_error for a line without a tab or with an empty label; Input_error if reading fails.
std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name);
// Reads a whole file, which must hold a data line at least.
// RAISES: as above; also Input_error for a file that cannot be opened, and Data_error for one
// without a data line.
std::vector<Labelled_text> read_labelled_file(const std::string& path);

// Takes the carriage return of a CR LF line end off a line.
std::string_view without_carriage_return(std::string_view line);

// The bytes of all texts, labels not counted.
std::size_t text_bytes(const std::vector<Labelled_text>& texts);

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_LABELLED_TEXT_H_
