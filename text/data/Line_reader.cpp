// Finds lines in a buffer that is filled chunk by chunk.
//
// The limits, with longest = 10. A line end is not counted, and the CR belongs to it only if an LF
// follows, so we can decide only with the next byte:
//
//   "0123456789\r\n"    10 bytes without CR LF: a line
//   "0123456789A\n"     11 bytes: too long
//   "0123456789\r"      11 bytes so far, and no LF: may still be a line, if the next byte is LF
//   "0123456789AB"      12 bytes so far: too long, whatever follows
//
// In the last case drop_excess drops the 12 bytes at once and remembers that the line is too long.
// It drops each further chunk until an LF comes. So of a line of 10 GB we never have more than the
// limit and a chunk of 8,192 bytes in memory.
#include "text/data/Line_reader.h"

#include <array>

#include "text/data/Data_lines.h"

namespace zandrel {

bool Line_reader::next(std::string_view& line) {
    m_is_too_long = false;
    std::size_t end = m_bytes.find('\n', m_looked);
    while (end == std::string::npos) {
        m_looked = m_bytes.size();
        drop_excess();
        if (!read_more()) {
            line = limited({m_bytes.data() + m_begin, m_bytes.size() - m_begin});
            m_begin = m_bytes.size();
            m_looked = m_begin;
            return (m_is_too_long || !line.empty()) && !m_input.bad();
        }
        end = m_bytes.find('\n', m_looked);
    }
    line = limited({m_bytes.data() + m_begin, end - m_begin});
    m_begin = end + 1;
    m_looked = m_begin;
    return true;
}

// The last byte may be the CR of the line end, which does not count.
void Line_reader::drop_excess() {
    const std::size_t size = m_looked - m_begin;
    if (m_is_too_long || (size > 0 && size - 1 > m_longest)) {
        m_is_too_long = true;
        m_begin = m_looked;
    }
}

std::string_view Line_reader::limited(std::string_view line) {
    m_is_too_long = m_is_too_long || without_carriage_return(line).size() > m_longest;
    return m_is_too_long ? std::string_view() : line;
}

// Waits for at least one byte, and takes the bytes that have arrived with it.
bool Line_reader::read_more() {
    if (m_input.rdbuf()->in_avail() <= 0) {
        m_before_waiting();
    }
    m_bytes.erase(0, m_begin);
    m_looked -= m_begin;
    m_begin = 0;
    if (m_input.peek() == std::istream::traits_type::eof()) {
        return false;
    }
    std::array<char, 8192> chunk = {};
    const std::streamsize count = m_input.readsome(chunk.data(), chunk.size());
    m_bytes.append(chunk.data(), static_cast<std::size_t>(count));
    return true;
}

}  // namespace zandrel
