// Numbered_lines: the lines of a stream with their numbers, for the readers of data files.
#ifndef ZANDREL_TEXT_DATA_NUMBERED_LINES_H_
#define ZANDREL_TEXT_DATA_NUMBERED_LINES_H_

#include <cstddef>
#include <functional>
#include <istream>
#include <string>
#include <string_view>

#include "text/data/Line_reader.h"

namespace zandrel {

class Numbered_lines {
public:
    // `name`: of the file, for messages. The other arguments are those of Line_reader.
    Numbered_lines(std::istream& input, std::string name, std::function<void()> before_waiting,
                   std::size_t longest);

    // Takes the next line, without its LF, and without a byte order mark at the start of the file.
    // Returns false at the end.
    // RAISES: Input_error if reading fails. VALID UNTIL: the next call.
    bool next(std::string_view& line);

    // Of the line that `next` has taken, from 1.
    std::size_t number() const { return m_number; }

    bool is_too_long() const { return m_reader.is_too_long(); }

    const std::string& name() const { return m_name; }

    std::size_t longest() const { return m_longest; }

private:
    std::istream& m_input;
    std::string m_name;
    std::size_t m_longest;
    Line_reader m_reader;
    std::size_t m_number = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_NUMBERED_LINES_H_
