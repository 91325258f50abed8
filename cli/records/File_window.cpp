// Reads a file by positions (pread). The window has 64 KiB: large enough for few calls of the
// system, small enough for the processor's cache.
#include "cli/records/File_window.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "text/errors.h"

namespace zandrel::cli {

namespace {

constexpr std::size_t kWindowSize = 65536;

}  // namespace

File_window::File_window(const std::string& name, const std::string& path)
    : m_name(name), m_file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    struct stat status = {};
    if (!m_file.is_open() || ::fstat(m_file.number(), &status) != 0) {
        throw Input_error(m_name, reason_of_failure());
    }
    if (!S_ISREG(status.st_mode)) {
        throw Input_error(m_name,
                          S_ISDIR(status.st_mode) ? "it is a directory" : "not a regular file");
    }
    m_size = static_cast<std::uint64_t>(status.st_size);
    m_bytes.resize(kWindowSize);
}

void File_window::read(std::uint64_t position, char* bytes, std::size_t count) {
    const std::string_view near = in_window(position);
    if (near.size() >= count) {
        near.copy(bytes, count);
    } else {
        read_file(position, bytes, count);
    }
}

std::string File_window::bytes(std::uint64_t position, std::size_t count) {
    std::string read_bytes(count, '\0');
    read(position, read_bytes.data(), count);
    return read_bytes;
}

std::uint64_t File_window::number(std::uint64_t position, std::size_t width) {
    char bytes[sizeof(std::uint64_t)] = {};
    read(position, bytes, width);
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < width; ++i) {
        number = number << 8U | static_cast<unsigned char>(bytes[i]);
    }
    return number;
}

std::uint64_t File_window::find(std::uint64_t position, char one, char other) {
    while (position < m_size) {
        std::string_view near = in_window(position);
        if (near.empty()) {
            position = skip_unwritten(position);
            if (position >= m_size) {
                break;
            }
            move_to(position);
            near = in_window(position);
        }
        const std::size_t first = near.find(one);
        const std::size_t second = near.substr(0, first).find(other);
        const std::size_t found = std::min(first, second);
        if (found != std::string_view::npos) {
            return position + found;
        }
        position += near.size();
    }
    return m_size;
}

// Goes backwards. A piece that is not on the disk is skipped, and the next one is twice as long.
std::uint64_t File_window::start_of_last_zeros() {
    if (m_last_zeros) {
        return *m_last_zeros;
    }
    std::uint64_t end = m_size;
    std::vector<char> piece(kWindowSize);
    for (std::uint64_t length = kWindowSize; end > 0;) {
        std::uint64_t start = end > length ? end - length : 0;
        if (skip_unwritten(start) >= end) {
            end = start;
            length *= 2;
            continue;
        }
        length = kWindowSize;
        start = std::max(start, end > length ? end - length : 0);
        const auto count = static_cast<std::size_t>(end - start);
        read_file(start, piece.data(), count);
        const std::size_t last = std::string_view(piece.data(), count).find_last_not_of('\0');
        if (last != std::string_view::npos) {
            end = start + last + 1;
            break;
        }
        end = start;
    }
    m_last_zeros = end;
    return end;
}

void File_window::approach(std::uint64_t position) {
    constexpr std::size_t kNear = 4096;
    const std::size_t near = in_window(position).size();
    if (near < kNear && position < m_size && m_size - position > near) {
        move_to(position);
    }
}

void File_window::for_each_piece(std::uint64_t position, std::uint64_t count,
                                 const std::function<void(std::string_view piece)>& take) {
    while (count > 0) {
        if (in_window(position).empty()) {
            move_to(position);
        }
        const std::string_view piece = in_window(position).substr(0, count);
        take(piece);
        position += piece.size();
        count -= piece.size();
    }
}

void File_window::move_to(std::uint64_t position) {
    m_filled = 0;  // so that the window is empty if reading fails
    const std::uint64_t left = m_size - position;
    const std::size_t count = left < kWindowSize ? static_cast<std::size_t>(left) : kWindowSize;
    read_file(position, m_bytes.data(), count);
    m_start = position;
    m_filled = count;
}

void File_window::read_file(std::uint64_t position, char* bytes, std::size_t count) const {
    while (count > 0) {
        errno = 0;
        const ssize_t done = ::pread(m_file.number(), bytes, count, static_cast<off_t>(position));
        if (done <= 0) {
            throw Input_error(
                m_name, done == 0 ? "the file became shorter meanwhile" : reason_of_failure());
        }
        bytes += done;
        count -= static_cast<std::size_t>(done);
        position += static_cast<std::uint64_t>(done);
    }
}

std::uint64_t File_window::skip_unwritten(std::uint64_t position) const {
    const off_t found = ::lseek(m_file.number(), static_cast<off_t>(position), SEEK_DATA);
    if (found >= 0) {
        return static_cast<std::uint64_t>(found);
    }
    // ENXIO: only a hole follows. Other errors: the file system does not know.
    return errno == ENXIO ? m_size : position;
}

}  // namespace zandrel::cli
