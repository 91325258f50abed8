// Csv_rows: the rows of a CSV file (RFC 4180).
#ifndef ZANDREL_TEXT_DATA_CSV_ROWS_H_
#define ZANDREL_TEXT_DATA_CSV_ROWS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/data/Numbered_lines.h"

namespace zandrel {

// The columns of a row, from its lines. A column may be in double quotes. It may then contain
// commas, line ends, and quotes, each written twice.
class Csv_row {
public:
    enum class State { kComplete, kOpen, kBad };

    // Begins a row that has no columns yet.
    void clear();
    // Adds a line, without its LF. kOpen: a quoted column continues in the next line. kBad: see
    // `complaint`.
    State add(std::string_view line);

    const std::vector<std::string>& columns() const { return m_columns; }

    std::vector<std::string> take() { return std::move(m_columns); }

    const std::string& complaint() const { return m_complaint; }

private:
    State bad(std::string complaint);
    // Each takes the column at the beginning of `rest` and removes it, with the comma. `m_ends` is
    // set after the last column. They return false if the row is bad or continues in the next line.
    bool take_plain(std::string_view& rest);
    bool take_quoted(std::string_view& rest);
    bool end_quoted(std::string_view& rest);

    std::vector<std::string> m_columns;
    bool m_is_open = false;  // the last column is in quotes that are not closed yet
    bool m_ends = false;
    std::string m_complaint;
};

// After a bad row the next one begins at the next line after the bad row's first line. So a quote
// that is never closed makes only its own line bad, and not the rest of the file.
class Csv_rows {
public:
    struct Row {
        std::size_t line = 0;  // where the row begins
        std::vector<std::string> columns = {};
        std::string complaint = {};  // not empty: the row is bad, and has no columns
    };

    // BORROWS: `lines`, which nothing else may read meanwhile.
    explicit Csv_rows(Numbered_lines& lines) : m_lines(lines) {}

    // Returns false at the end. Empty lines between rows are skipped. A row that is longer than the
    // limit of the lines, with its line ends, is bad, and so is a row of more than kMostValues
    // columns. So memory is a few times the limit: the bytes that are read, the lines of a row, its
    // columns, and the lines to read again.
    // RAISES: Input_error.
    bool next(Row& row);

    // For a row that `next` gave as good: it is bad for the caller, as one with a wrong number of
    // columns. The next row begins at the line after its first line.
    void read_again();

private:
    // Successive lines, each with an LF.
    struct Kept_lines {
        std::string bytes = {};
        std::size_t position = 0;    // of the next line in `bytes`
        std::size_t number = 0;      // of the next line in the file
        bool ends_too_long = false;  // the last line is too long, and empty here

        bool is_empty() const { return position == bytes.size(); }

        void clear() {
            bytes.clear();
            position = 0;
            ends_too_long = false;
        }
    };

    struct Line {
        std::string_view text = {};
        std::size_t number = 0;
        bool is_too_long = false;
    };

    // VALID UNTIL: the next call.
    bool take_line(Line& line);
    void read_row(const Line& first, Row& row);
    void refuse(std::string complaint, Row& row);

    Numbered_lines& m_lines;
    Csv_row m_row;
    Kept_lines m_again;  // lines to read again, after a bad row
    Kept_lines m_rest;   // the lines of the row after its first one
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_CSV_ROWS_H_
