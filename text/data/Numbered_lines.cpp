// Counts the lines of a Line_reader, and raises its read errors.
#include "text/data/Numbered_lines.h"

#include <cerrno>
#include <utility>

#include "text/data/Data_lines.h"
#include "text/errors.h"

namespace zandrel {

Numbered_lines::Numbered_lines(std::istream& input, std::string name,
                               std::function<void()> before_waiting, std::size_t longest)
    : m_input(input),
      m_name(std::move(name)),
      m_longest(longest),
      m_reader(input, std::move(before_waiting), longest) {}

bool Numbered_lines::next(std::string_view& line) {
    if (m_number == 0) {
        errno = 0;
    }
    if (!m_reader.next(line)) {
        if (m_input.bad()) {
            throw Input_error(m_name, reason_of_failure());
        }
        return false;
    }
    if (++m_number == 1) {
        line = without_byte_order_mark(line);
    }
    return true;
}

}  // namespace zandrel
