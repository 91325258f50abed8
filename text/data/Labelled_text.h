// Labelled_text: a text with its labels, and functions that read files of labelled texts.
#ifndef ZANDREL_TEXT_DATA_LABELLED_TEXT_H_
#define ZANDREL_TEXT_DATA_LABELLED_TEXT_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "text/data/Data_form.h"
#include "text/data/Line_reader.h"
#include "text/data/Pair.h"
#include "text/errors.h"

namespace zandrel {

class Stored_corpus;

// The message of a text that stays in a corpus file (Stored_corpus).
struct Stored_text {
    std::shared_ptr<const Stored_corpus> corpus = {};  // null: the text is not in a corpus file
    std::size_t number = 0;                            // of the message, from 0
    std::size_t bytes = 0;                             // of the texts that are used
    bool has_titles = false;                           // title and keywords are used too
};

struct Labelled_text {
    std::vector<std::string> labels;  // each once, in the order of the record; none if not read
    std::string text;                 // may be empty
    std::string title = {};           // of lines with four columns; may be empty
    std::string keywords = {};        // of lines with four columns; may be empty
    std::size_t line = 0;             // its number in the file, from 1; 0 if it is not from a file
    std::vector<Pair> pairs = {};     // rules read them; each name once
    std::size_t file = 0;     // index of its file among the data files that are used together
    Stored_text stored = {};  // of a corpus file: then text, title, keywords and pairs are empty
};

// The columns of a data line after its labels.
enum class Columns { kText, kTextTitleKeywords };

// Returns the columns of training data: a bootstrap needs titles and keywords.
inline Columns training_columns(bool bootstraps) {
    return bootstraps ? Columns::kTextTitleKeywords : Columns::kText;
}

// Describes the lines of a data file in messages: "lines label<TAB>text", with all columns. For a
// form with another format: "records of the form csv".
std::string lines_of_columns(Columns columns, const Data_form& form = {});

// The bad lines that were skipped.
struct Skipped_lines {
    std::size_t count = 0;
    std::string first;  // "FILE:LINE: message" of the first one; empty if there is none
};

// Reads data lines `label[,label]<TAB>text`, or `label[,label]<TAB>text<TAB>title<TAB>keywords`, in
// UTF-8. The first tab of a line separates labels and text. Tabs in the last column are a part of
// it. A label that is in a line twice counts once. A line ends with LF or CR LF; the last one need
// not. Empty lines and a byte order mark at the start are skipped. We do not check that the bytes
// are UTF-8; the text analysis handles other bytes. `name`: of the file, for messages. `skipped`:
// if it is not null, bad lines are skipped and added to those that it has from other files.
// `longest_line`: in bytes; a longer line is bad, and is never completely in memory. RAISES:
// Data_error for a line without its tabs, with an empty label, or that is too long, unless bad
// lines are skipped; Input_error if reading fails.
//
// `form`: another form of the data, see make_data_reader, which also says what it raises. A record
// of several lines counts as a line. RAISES: Data_error if more rows of a table have another number
// of columns than the first row than are good.
std::vector<Labelled_text> read_labelled_texts(std::istream& input, const std::string& name,
                                               Skipped_lines* skipped = nullptr,
                                               Columns columns = Columns::kText,
                                               std::size_t longest_line = kLongestLine,
                                               const Data_form& form = {});
// Reads a whole file. "-" is standard input. The name of the file decides about its format if the
// form does not. The texts of a corpus file stay in it (read_stored_texts).
// RAISES: what read_labelled_texts and read_stored_texts raise; Input_error for a file that cannot
// be opened; Data_error for a file without a good data line.
std::vector<Labelled_text> read_labelled_file(const std::string& path,
                                              Skipped_lines* skipped = nullptr,
                                              Columns columns = Columns::kText,
                                              std::size_t longest_line = kLongestLine,
                                              const Data_form& form = {});

// Calls `take` with each text of a data file in turn, so that only one of them is in memory. The
// arguments and errors are those of read_labelled_file. REQUIRES: no corpus file.
void for_each_labelled_text(const std::string& path, Skipped_lines* skipped, Columns columns,
                            std::size_t longest_line, const Data_form& form,
                            const std::function<void(Labelled_text&& text)>& take);

// RAISES: Data_error if a file has no good data line. `has_bad_lines`: whether lines were skipped.
void check_has_texts(const std::string& name, std::size_t count, bool has_bad_lines);

// Counts a bad line.
// RAISES: the error if `skipped` is null.
void skip_bad_line(const Data_error& error, Skipped_lines* skipped);

// Prints a line with the number of skipped lines and the message of the first one; prints nothing
// if there are none.
void print_skipped(const Skipped_lines& skipped, std::ostream& out);

// The number of bytes of all texts, titles and keywords, without the labels.
std::size_t text_bytes(const std::vector<Labelled_text>& texts);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_LABELLED_TEXT_H_
