// The lines of text files: what ends them, and what they are read with.
#ifndef ZANDREL_CLI_DATA_DATA_LINES_H_
#define ZANDREL_CLI_DATA_DATA_LINES_H_

#include <cstddef>
#include <fstream>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace cli {

// Takes the mark with which some editors begin a UTF-8 file off its first line.
std::string_view without_byte_order_mark(std::string_view line);

// Takes the carriage return of a CR LF line end off a line.
std::string_view without_carriage_return(std::string_view line);

// Opens a file for reading.
// RAISES: Input_error if it cannot be opened.
std::ifstream open_data_file(const std::string& path);

// Calls `take` with each line that is not empty, without its end and without a byte order mark, and
// with its number, counted from 1. `name`: the file's name for messages.
// RAISES: Input_error if reading fails; what `take` raises.
void for_each_line(std::istream& input, const std::string& name,
                   const std::function<void(std::string_view line, std::size_t number)>& take);

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_DATA_LINES_H_
