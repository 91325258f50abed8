#include "cli/data/Data_lines.h"

#include <cerrno>

#include "cli/errors.h"

namespace cli {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

std::string_view without_byte_order_mark(std::string_view line) {
    if (line.starts_with(kByteOrderMark)) {
        line.remove_prefix(kByteOrderMark.size());
    }
    return line;
}

std::string_view without_carriage_return(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

std::ifstream open_data_file(const std::string& path) {
    errno = 0;
    std::ifstream input(path, std::ios::binary);
    if (!input) {
        throw Input_error(path, reason_of_failure());
    }
    return input;
}

void for_each_line(std::istream& input, const std::string& name,
                   const std::function<void(std::string_view line, std::size_t number)>& take) {
    std::string buffer;
    errno = 0;
    for (std::size_t number = 1; std::getline(input, buffer); ++number) {
        std::string_view line = without_carriage_return(buffer);
        if (number == 1) {
            line = without_byte_order_mark(line);
        }
        if (!line.empty()) {
            take(line, number);
        }
    }
    if (input.bad()) {
        throw Input_error(name, reason_of_failure());
    }
}

}  // namespace cli
