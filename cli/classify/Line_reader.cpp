#include "cli/classify/Line_reader.h"

#include <array>

namespace cli {

bool Line_reader::next(std::string_view& line) {
    std::size_t end = m_bytes.find('\n', m_looked);
    while (end == std::string::npos) {
        m_looked = m_bytes.size();
        if (!read_more()) {
            line = {m_bytes.data() + m_begin, m_bytes.size() - m_begin};
            m_begin = m_bytes.size();
            m_looked = m_begin;
            return !line.empty() && !m_input.bad();
        }
        end = m_bytes.find('\n', m_looked);
    }
    line = {m_bytes.data() + m_begin, end - m_begin};
    m_begin = end + 1;
    m_looked = m_begin;
    return true;
}

// Waits for one byte at least, and takes what has come with it.
bool Line_reader::read_more() {
    m_before_waiting();
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

}  // namespace cli
