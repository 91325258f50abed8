// Reads lines with Line_reader, numbers them, and removes what is not a part of the text: line
// ends, a byte order mark, and empty lines, which are counted too. For "a\r\n\r\nb" it calls
// take("a", 1) and take("b", 3).
#include "text/data/Data_lines.h"

#include <cerrno>

#include "text/errors.h"
#include "text/wording/Layout.h"

namespace zandrel {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string plain_too_long_text(std::size_t longest) {
    return "the line is longer than " + grouped(longest) + " bytes";
}

void refuse(const std::string& name, std::size_t number, const Line_limit& limit) {
    if (!limit.refuse) {
        throw Data_error(name, number, plain_too_long_text(limit.longest));
    }
    limit.refuse(number);
}

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

std::string too_long_text(std::size_t longest) {
    return plain_too_long_text(longest) + "; --max-line raises the limit";
}

std::string too_many_text(const char* values) {
    return "the record has more than " + grouped(kMostValues) + " " + values;
}

Data_error too_long_line(const std::string& name, std::size_t number, std::size_t longest) {
    return {name, number, too_long_text(longest)};
}

void for_each_line(std::istream& input, const std::string& name,
                   const std::function<void(std::string_view line, std::size_t number)>& take,
                   const Line_limit& limit) {
    Line_reader reader(
        input, [] {}, limit.longest);
    std::string_view line;
    errno = 0;
    for (std::size_t number = 1; reader.next(line); ++number) {
        if (reader.is_too_long()) {
            refuse(name, number, limit);
            continue;
        }
        line = without_carriage_return(line);
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

}  // namespace zandrel
