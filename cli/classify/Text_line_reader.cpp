// Takes the text of each line with Text_column.
#include "cli/classify/Text_line_reader.h"

#include <utility>

#include "text/data/Data_lines.h"

namespace zandrel::cli {

Text_line_reader::Text_line_reader(const Data_source& source, Text_column column)
    : m_lines(source.stream, source.name, source.before_waiting, source.longest),
      m_column(std::move(column)) {}

// Only the text of the record is used, so we need not clear the other members.
bool Text_line_reader::next(Data_record& record) {
    std::string_view line;
    if (!m_lines.next(line)) {
        return false;
    }
    record.error.reset();
    if (m_lines.is_too_long()) {
        record.error = too_long_line(m_lines.name(), m_lines.number(), m_lines.longest());
    } else {
        record.message.text = m_column.text_of(without_carriage_return(line), m_lines.number());
    }
    return true;
}

}  // namespace zandrel::cli
