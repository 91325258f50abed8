// The lines of text files: their ends, the byte order mark, and the longest length.
#ifndef ZANDREL_TEXT_DATA_DATA_LINES_H_
#define ZANDREL_TEXT_DATA_DATA_LINES_H_

#include <cstddef>
#include <fstream>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

#include "text/data/Line_reader.h"
#include "text/errors.h"

namespace zandrel {

// Returns the first line of a file without the mark with which some editors begin UTF-8 files.
std::string_view without_byte_order_mark(std::string_view line);

// Returns a line without the carriage return of a CR LF line end.
std::string_view without_carriage_return(std::string_view line);

// Opens a file for reading.
// RAISES: Input_error if it cannot be opened.
std::ifstream open_data_file(const std::string& path);

// The text of the error for a line that is longer than --max-line allows, without file and line.
std::string too_long_text(std::size_t longest);

// A record may have so many columns, labels or JSON values. Each takes about a hundred bytes of
// memory, and perhaps only two in the file. So without this limit a line of 64 MiB would take
// gigabytes.
constexpr std::size_t kMostValues = 1000000;

// The text of the error for a record with more than kMostValues values. `values`: "columns".
std::string too_many_text(const char* values);

// The error for a line that is longer than --max-line allows.
Data_error too_long_line(const std::string& name, std::size_t number, std::size_t longest);

// The greatest allowed length of a line, in bytes without its end, and a function that gets the
// number of each longer line. If `refuse` is empty, a longer line is an error.
struct Line_limit {
    std::size_t longest = kLongestLine;
    std::function<void(std::size_t number)> refuse = {};
};

// Calls `take` with each line that is not empty, without its end and without a byte order mark, and
// with its number, counted from 1. A line that is longer than the limit is skipped, and is never
// completely in memory. `name`: of the file, for messages.
// RAISES: Input_error if reading fails; Data_error for a line that is too long if `limit.refuse` is
// empty; what `take` and `refuse` raise.
void for_each_line(std::istream& input, const std::string& name,
                   const std::function<void(std::string_view line, std::size_t number)>& take,
                   const Line_limit& limit = {});

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_DATA_LINES_H_
