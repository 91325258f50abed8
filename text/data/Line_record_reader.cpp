// Finds the next line that is not blank, and turns failures of the parser into bad records.
#include "text/data/Line_record_reader.h"

#include "text/data/Bad_record.h"
#include "text/data/Data_lines.h"

namespace zandrel {

Line_record_reader::Line_record_reader(const Data_source& source)
    : m_lines(source.stream, source.name, source.before_waiting, source.longest) {}

bool Line_record_reader::next(Data_record& record) {
    std::string_view line;
    do {
        if (!m_lines.next(line)) {
            return false;
        }
        line = without_carriage_return(line);
    } while (!m_lines.is_too_long() && is_blank(line));
    record = {};
    record.line = line;
    record.message.line = m_lines.number();
    ++m_record_number;
    try {
        if (m_lines.is_too_long()) {
            throw Bad_record(too_long_text(m_lines.longest()));
        }
        parse(line, record.message);
    } catch (const Bad_record& error) {
        record.error.emplace(m_lines.name(), m_lines.number(), record_name() + error.what());
    }
    return true;
}

bool Line_record_reader::is_blank(std::string_view line) const {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

std::string Line_record_reader::record_name() const {
    return "record " + std::to_string(m_record_number) + ": ";
}

}  // namespace zandrel
