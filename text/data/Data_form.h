// Data_form: the form of data files, as the caller describes it.
#ifndef ZANDREL_TEXT_DATA_DATA_FORM_H_
#define ZANDREL_TEXT_DATA_DATA_FORM_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zandrel {

enum class Data_format {
    kLines,      // a text on each line; only the filters read it
    kTsv,        // label<TAB>text, or columns between tabs
    kCsv,        // columns between commas, with quotes
    kJsonLines,  // a JSON object on each line
    kFasttext,   // words; the labels are those that begin with __label__
};

// A column or key that becomes a pair.
struct Pair_column {
    std::string name;    // of the pair
    std::string column;  // name or number
};

// A column is a name in the header, or a number from 1. For JSON lines it is always a key.
struct Data_form {
    std::optional<Data_format> format = {};  // missing: by the name of the file
    std::vector<std::string> texts = {};     // several are joined with a blank; empty: the default
    std::vector<std::string> labels = {};    // empty: the default
    std::vector<Pair_column> pairs = {};
    bool has_header = false;
    // Separates the labels of a column; empty: each column is one label. Missing: a comma for the
    // lines label<TAB>text, otherwise none.
    std::optional<std::string> label_separator = {};

    // Returns whether an option names columns, or the header.
    bool names_columns() const {
        return has_header || !texts.empty() || !labels.empty() || !pairs.empty();
    }
};

// The words of --format, in the order of Data_format.
std::vector<std::string> names_of_formats();
// REQUIRES: one of names_of_formats().
Data_format format_of_name(std::string_view name);
// The name of a format, for messages.
std::string name_of(Data_format format);

// Returns the format by the end of a file's name, after .gz or .zst: .csv, .json, .jsonl or
// .ndjson, .ft or .fasttext; otherwise missing. Case does not matter.
std::optional<Data_format> format_of_file(std::string_view file);

// Returns the format that the options give, or that of the file's name, or kTsv.
Data_format format_of_data(const std::string& file, const Data_form& form);
// The same for the input of a filter: a file is kLines instead of kTsv, unless the options give
// kTsv or name columns of a file that ends with .tsv.
Data_format format_of_texts(const std::string& file, const Data_form& form);

// Returns the number of a column, from 1; missing if the word is a name. "007" and "0" are numbers.
// RAISES: Usage_error for 0 and for a number that is too large.
std::optional<std::size_t> column_number(const std::string& word);

// Splits the word NAME or NAME=COLUMN of --pair.
// RAISES: Usage_error for an empty name or column, and for a name that the engine uses.
Pair_column pair_column_of(const std::string& word);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_DATA_FORM_H_
