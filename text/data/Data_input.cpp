// m_stream refers either to std::cin or to our own file. Messages call standard input "<stdin>".
#include "text/data/Data_input.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <unistd.h>

#include "text/data/Data_lines.h"
#include "text/errors.h"

namespace zandrel {

bool is_standard_input(const std::string& file) {
    return file == "-";
}

std::string input_name(const std::string& file) {
    return is_standard_input(file) ? "<stdin>" : file;
}

bool lead_to_same_file(const std::string& left, const std::string& right) {
    std::error_code ignored;  // a file may not exist
    return std::filesystem::equivalent(left, right, ignored);
}

Data_input::Data_input(const std::string& file)
    : m_name(input_name(file)),
      m_promised(is_standard_input(file) ? Packing::kNone : packing_of_name(file)),
      m_file(is_standard_input(file) ? std::ifstream() : open_data_file(file)),
      m_stream(is_standard_input(file) ? std::cin : m_file) {}

std::istream& Data_input::stream() {
    if (m_unpacked) {
        return *m_unpacked;
    }
    errno = 0;
    const Packing packing = packing_of_bytes(m_stream);
    if (m_stream.bad()) {
        throw Input_error(m_name, reason_of_failure());
    }
    if (m_promised != Packing::kNone && packing != m_promised) {
        throw Data_error(m_name, m_promised == Packing::kGzip
                                     ? "this is not compressed with gzip, as .gz promises"
                                     : "this is not compressed with zstd, as .zst promises");
    }
    if (packing == Packing::kNone) {
        return m_stream;
    }
    unpack(packing);
    return *m_unpacked;
}

// Without the mask of exceptions the stream would hide the errors of its buffer.
void Data_input::unpack(Packing packing) {
    m_buffer = std::make_unique<Unpacking_buffer>(m_stream, m_name, packing);
    m_unpacked = std::make_unique<std::istream>(m_buffer.get());
    m_unpacked->exceptions(std::ios::badbit);
}

void check_read_once(const std::vector<std::string>& files) {
    if (std::count_if(files.begin(), files.end(), is_standard_input) > 1) {
        throw Usage_error("- is given more than once, and standard input can be read only once");
    }
}

bool waits_for_typing(const std::vector<std::string>& files) {
    return std::any_of(files.begin(), files.end(), is_standard_input) &&
           ::isatty(STDIN_FILENO) == 1;
}

std::string typing_note(const std::string& what) {
    return "waiting for " + what + "; Ctrl-D on an empty line ends the input";
}

}  // namespace zandrel
