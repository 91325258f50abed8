// Splits CSV into rows and columns, line by line.
//
// A row ends with a line, unless a quoted column is open there. Example, a row of two lines:
//
//   1,"a ""good""
//   parcel",x          columns: 1 | a "good"<LF>parcel | x
//
// The danger of this form is a quote that is not closed, since the rest of the file then looks like
// one column. The quote of a later row closes it at a wrong place, in most cases before a byte that
// is neither a comma nor a line end; otherwise the file or the limit of a row ends. Then the row is
// bad, and we read again from the second line of the bad row:
//
//   1: sport,"a goal
//   2: tax,"a form, and a fee"
//   3: sport,a match
//
// The row of line 1 is open at its end. In line 2 its column ends at the quote before `a form`, and
// the byte `a` makes the row bad. Line 2 is read again, now as the first line of a row, and is
// good.
//
// This cannot make reading slow. A line inside an open row has an even number of quotes, since the
// row is open before it and after it. So when it is read again, as the first line of a row, no
// quote is open at its end, and it is a row of one line, good or bad. Only the last line of the bad
// row can open a row again, and then no line is left to read again. So each line is read at most
// twice, and the lines to read again are always those of one row.
//
// An open row can have as many lines as bytes. So its lines are in one string, not in one each.
#include "text/data/Csv_rows.h"

#include <utility>

#include "text/data/Data_lines.h"
#include "text/wording/Layout.h"

namespace zandrel {

void Csv_row::clear() {
    m_columns.clear();
    m_is_open = false;
    m_ends = false;
}

Csv_row::State Csv_row::bad(std::string complaint) {
    m_complaint = std::move(complaint);
    return State::kBad;
}

Csv_row::State Csv_row::add(std::string_view line) {
    m_complaint.clear();
    std::string_view rest = line;
    if (m_is_open) {
        m_columns.back() += '\n';
    }
    while (!m_ends) {
        if (!m_is_open && m_columns.size() == kMostValues) {
            return bad(too_many_text("columns"));
        }
        const bool is_quoted = m_is_open || rest.starts_with('"');
        if (!(is_quoted ? take_quoted(rest) : take_plain(rest))) {
            return m_complaint.empty() ? State::kOpen : State::kBad;
        }
    }
    return State::kComplete;
}

bool Csv_row::take_plain(std::string_view& rest) {
    const std::size_t end = rest.find_first_of(",\"");
    if (end != std::string_view::npos && rest[end] == '"') {
        bad("a quote in a column that does not begin with a quote");
        return false;
    }
    m_ends = end == std::string_view::npos;
    m_columns.emplace_back(m_ends ? without_carriage_return(rest) : rest.substr(0, end));
    rest.remove_prefix(m_ends ? rest.size() : end + 1);
    return true;
}

bool Csv_row::take_quoted(std::string_view& rest) {
    if (!m_is_open) {
        m_columns.emplace_back();
        rest.remove_prefix(1);
        m_is_open = true;
    }
    while (true) {
        const std::size_t quote = rest.find('"');
        m_columns.back() += rest.substr(0, quote);
        if (quote == std::string_view::npos) {
            return false;
        }
        rest.remove_prefix(quote + 1);
        if (!rest.starts_with('"')) {
            return end_quoted(rest);
        }
        m_columns.back() += '"';
        rest.remove_prefix(1);
    }
}

bool Csv_row::end_quoted(std::string_view& rest) {
    m_is_open = false;
    m_ends = without_carriage_return(rest).empty();
    if (!m_ends && rest.front() != ',') {
        bad("neither a comma nor the end of the row after a quoted column");
        return false;
    }
    rest.remove_prefix(m_ends ? 0 : 1);
    return true;
}

bool Csv_rows::take_line(Line& line) {
    if (m_again.is_empty()) {
        if (!m_lines.next(line.text)) {
            return false;
        }
        line.number = m_lines.number();
        line.is_too_long = m_lines.is_too_long();
        return true;
    }
    const std::size_t end = m_again.bytes.find('\n', m_again.position);
    line.text = std::string_view(m_again.bytes).substr(m_again.position, end - m_again.position);
    line.number = m_again.number++;
    m_again.position = end + 1;
    line.is_too_long = m_again.is_empty() && m_again.ends_too_long;
    return true;
}

bool Csv_rows::next(Row& row) {
    m_rest.clear();
    Line first;
    do {
        if (!take_line(first)) {
            return false;
        }
    } while (!first.is_too_long && without_carriage_return(first.text).empty());
    row = {first.number};
    if (first.is_too_long) {
        refuse(too_long_text(m_lines.longest()), row);
    } else {
        read_row(first, row);
    }
    return true;
}

void Csv_rows::read_row(const Line& first, Row& row) {
    m_row.clear();
    m_rest.number = first.number + 1;
    std::size_t last = first.number;
    std::size_t bytes = first.text.size();
    Csv_row::State state = m_row.add(first.text);
    while (state == Csv_row::State::kOpen) {
        Line line;
        if (!take_line(line)) {
            return refuse("a quote is not closed before the end of the file", row);
        }
        m_rest.bytes.append(line.text) += '\n';
        m_rest.ends_too_long = line.is_too_long;
        last = line.number;
        bytes += 1 + line.text.size();
        if (line.is_too_long || bytes > m_lines.longest()) {
            return refuse("a quote is not closed, or the row is longer than " +
                              grouped(m_lines.longest()) + " bytes; --max-line raises the limit",
                          row);
        }
        state = m_row.add(line.text);
    }
    if (state == Csv_row::State::kBad) {
        const std::string place = last == first.number ? "" : " in line " + std::to_string(last);
        return refuse(m_row.complaint() + place, row);
    }
    row.columns = m_row.take();
}

void Csv_rows::refuse(std::string complaint, Row& row) {
    m_row.clear();
    row.complaint = std::move(complaint);
    read_again();
}

// No line is left in m_again if the row has several lines, see the top of this file.
void Csv_rows::read_again() {
    if (!m_rest.is_empty()) {
        std::swap(m_again, m_rest);
        m_rest.clear();
    }
}

}  // namespace zandrel
