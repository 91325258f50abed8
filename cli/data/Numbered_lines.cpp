// Counts the lines of a Line_reader, and raises its read errors.
#include "cli/data/Numbered_lines.h"

#include <cerrno>
#include <utility>

#include "cli/data/Data_lines.h"
#include "cli/errors.h"

namespace cli {

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

}  // namespace cli
