// Record_reader: reads bytes and big-endian numbers from anywhere in a file.
#ifndef ZANDREL_CLI_RECORDS_RECORD_READER_H_
#define ZANDREL_CLI_RECORDS_RECORD_READER_H_

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

#include "text/errors.h"

namespace zandrel::cli {

// Returns the number with these bytes, the highest first.
inline std::uint64_t big_endian(std::string_view bytes) {
    std::uint64_t number = 0;
    for (const char byte : bytes) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

// The file ends before the bytes that were asked for.
struct Past_end {};

// REQUIRES: the file does not change while the object lives.
// RAISES: Past_end; Input_error if the file cannot be opened or read.
class Record_reader {
public:
    explicit Record_reader(const std::string& path) : m_path(path) {
        // Opening a pipe would wait for a writer, and we cannot seek in a pipe.
        std::error_code unknown;
        if (std::filesystem::is_fifo(path, unknown)) {
            throw Input_error(path, "not a regular file");
        }
        errno = 0;
        m_file.open(path, std::ios::binary);
        if (!m_file || std::filesystem::is_directory(path)) {
            throw Input_error(path, m_file ? "it is a directory" : reason_of_failure());
        }
        m_file.seekg(0, std::ios::end);
        m_size = static_cast<std::uint64_t>(std::streamoff(m_file.tellg()));
        seek(0);
    }

    std::uint64_t size() const { return m_size; }

    std::uint64_t position() const { return m_position; }

    std::uint64_t left() const { return m_position < m_size ? m_size - m_position : 0; }

    void seek(std::uint64_t position) {
        m_position = position;
        if (position <= m_size) {
            m_file.seekg(static_cast<std::streamoff>(position));
        }
    }

    std::string bytes(std::uint64_t count) {
        if (count > left()) {
            throw Past_end();
        }
        std::string read(count, '\0');
        if (!m_file.read(read.data(), static_cast<std::streamsize>(count))) {
            throw Input_error(m_path, reason_of_failure());
        }
        m_position += count;
        return read;
    }

    std::uint64_t number(std::uint64_t width) { return big_endian(bytes(width)); }

    std::uint32_t word() { return static_cast<std::uint32_t>(number(4)); }

private:
    std::string m_path;
    std::ifstream m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_READER_H_
