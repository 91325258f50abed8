// File_window: reads a file of any size, also a damaged or sparse one, with little memory.
#ifndef ZANDREL_CLI_RECORDS_FILE_WINDOW_H_
#define ZANDREL_CLI_RECORDS_FILE_WINDOW_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/kc/Descriptor.h"

namespace zandrel::cli {

// Keeps a piece of the file in memory, the window. Reading forward moves the window. Reading a few
// bytes elsewhere does not move it, so that a look at the end of a large item costs little.
//
// REQUIRES: the file does not change while the object lives.
// RAISES: Input_error if the file cannot be opened or read, or is not a regular file.
class File_window {
public:
    // `name`: the file in messages.
    File_window(const std::string& name, const std::string& path);

    std::uint64_t size() const { return m_size; }

    const std::string& name() const { return m_name; }

    bool has(std::uint64_t position, std::uint64_t count) const {
        return position <= m_size && count <= m_size - position;
    }

    // The functions below read bytes that the file has: `has` is true for them.

    void read(std::uint64_t position, char* bytes, std::size_t count);
    std::string bytes(std::uint64_t position, std::size_t count);
    // A number of `width` bytes, the highest first.
    std::uint64_t number(std::uint64_t position, std::size_t width);

    std::uint32_t word(std::uint64_t position) {
        return static_cast<std::uint32_t>(number(position, sizeof(std::uint32_t)));
    }

    // Returns the first position from `position` on whose byte is one of the two; the size of the
    // file if there is none. Moves the window. Parts of a sparse file that are not on the disk are
    // skipped without reading them.
    std::uint64_t find(std::uint64_t position, char one, char other);

    // Returns where the zeros at the end of the file begin; its size if the last byte is not zero.
    // COST: the first call reads these zeros, unless they are not on the disk.
    std::uint64_t start_of_last_zeros();

    // Moves the window, so that the next reads near this position need no call of the system.
    void approach(std::uint64_t position);

    // Calls `take` with the bytes of a range, in pieces and in their order.
    void for_each_piece(std::uint64_t position, std::uint64_t count,
                        const std::function<void(std::string_view piece)>& take);

private:
    void move_to(std::uint64_t position);
    void read_file(std::uint64_t position, char* bytes, std::size_t count) const;
    // Returns the first position from `position` on that is on the disk.
    std::uint64_t skip_unwritten(std::uint64_t position) const;

    std::string_view in_window(std::uint64_t position) const {
        return position >= m_start && position - m_start < m_filled
                   ? std::string_view(m_bytes.data() + (position - m_start),
                                      m_filled - (position - m_start))
                   : std::string_view();
    }

    std::string m_name;
    Descriptor m_file;
    std::uint64_t m_size = 0;
    std::vector<char> m_bytes;  // the window
    std::uint64_t m_start = 0;  // of the window in the file
    std::size_t m_filled = 0;   // the number of bytes in the window
    std::optional<std::uint64_t> m_last_zeros;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_FILE_WINDOW_H_
