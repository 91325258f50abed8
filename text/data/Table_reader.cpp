// Finds the columns once, and then takes text, labels and pairs from the columns of each row.
//
// Example: with --text body --label kind, the header `id,kind,body` gives the text column 2 and the
// label column 1, counted from 0. A row with more or fewer than three columns is bad: its values
// may be in wrong columns.
#include "text/data/Table_reader.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "text/data/Bad_record.h"
#include "text/data/Data_lines.h"
#include "text/data/Label_list.h"
#include "text/data/Pair_values.h"
#include "text/wording/Layout.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

// The places of the columns in a table without a header, from 0.
constexpr std::size_t kLabelPlace = 0;
constexpr std::size_t kTextPlace = 1;
constexpr std::size_t kTitlePlace = 2;
constexpr std::size_t kKeywordsPlace = 3;

bool is_name(const std::string& word) {
    return !column_number(word);
}

std::string counted_columns(std::size_t count) {
    return grouped(count) + (count == 1 ? " column" : " columns");
}

// `"id", "kind", "body" and 4 more`
std::string list_of(const std::vector<std::string>& names) {
    constexpr std::size_t kListed = 10;
    std::vector<std::string> first;
    for (std::size_t i = 0; i < std::min(names.size(), kListed); ++i) {
        first.push_back("\"" + shown_value(names[i]) + "\"");
    }
    return short_list(first, names.size());
}

}  // namespace

Table_reader::Table_reader(const Data_source& source, Data_format format, const Data_form& form)
    : m_form(form),
      m_is_csv(format == Data_format::kCsv),
      m_needs_labels(source.needs_labels),
      m_columns(source.columns),
      m_lines(source.stream, source.name, source.before_waiting, source.longest),
      m_rows(m_lines) {
    m_form.has_header = needs_header();
}

// A name can only be found in a header.
bool Table_reader::needs_header() const {
    const std::vector<std::string>& texts = m_form.texts;
    const std::vector<std::string>& labels = m_form.labels;
    const auto& pairs = m_form.pairs;
    return m_form.has_header || std::any_of(texts.begin(), texts.end(), is_name) ||
           std::any_of(labels.begin(), labels.end(), is_name) ||
           std::any_of(pairs.begin(), pairs.end(),
                       [](const Pair_column& pair) { return is_name(pair.column); });
}

void Table_reader::begin() {
    if (m_has_begun) {
        return;
    }
    m_has_begun = true;
    if (m_form.has_header) {
        read_header();
    }
    find_columns();
}

void Table_reader::read_header() {
    Csv_rows::Row row;
    if (!next_row(row)) {
        return;  // an empty file
    }
    if (!row.complaint.empty()) {
        throw Data_error(m_lines.name(), row.line, "header: " + row.complaint);
    }
    m_header = std::move(row.columns);
    m_header_line = row.line;
    m_first_line = row.line;
    m_column_count = m_header.size();
}

void Table_reader::find_columns() {
    if (m_form.has_header && m_header.empty()) {
        return;
    }
    m_texts = m_form.texts.empty() ? std::vector{default_place("text", kTextPlace)}
                                   : places_of(m_form.texts);
    if (m_needs_labels) {
        m_labels = m_form.labels.empty() ? default_labels() : places_of(m_form.labels);
    }
    if (m_columns == Columns::kTextTitleKeywords) {
        m_title = default_place("title", kTitlePlace);
        m_keywords = default_place("keywords", kKeywordsPlace);
    }
    m_last_place = std::max(m_title, m_keywords);
    for (const Pair_column& pair : m_form.pairs) {
        m_pairs.push_back({pair.name, place_of(pair.column)});
        m_last_place = std::max(m_last_place, m_pairs.back().column);
    }
    for (const std::vector<std::size_t>* const places : {&m_texts, &m_labels}) {
        for (const std::size_t place : *places) {
            m_last_place = std::max(m_last_place, place);
        }
    }
    if (!m_header.empty() && m_last_place >= m_header.size()) {
        throw Data_error(m_lines.name(), m_header_line,
                         "there is no column " + std::to_string(m_last_place + 1) +
                             ", the header has " + counted_columns(m_header.size()));
    }
}

std::vector<std::size_t> Table_reader::places_of(const std::vector<std::string>& words) const {
    std::vector<std::size_t> places;
    for (const std::string& word : words) {
        places.push_back(place_of(word));
    }
    return places;
}

std::size_t Table_reader::place_of(const std::string& word) const {
    if (const std::optional<std::size_t> number = column_number(word)) {
        return *number - 1;
    }
    const auto found = std::find(m_header.begin(), m_header.end(), word);
    if (found == m_header.end()) {
        throw Data_error(m_lines.name(), m_header_line,
                         "there is no column \"" + shown_value(word) + "\" in the header, but " +
                             list_of(m_header));
    }
    if (std::find(found + 1, m_header.end(), word) != m_header.end()) {
        throw Data_error(m_lines.name(), m_header_line,
                         "the column \"" + shown_value(word) +
                             "\" is in the header twice; give its number instead");
    }
    return static_cast<std::size_t>(found - m_header.begin());
}

std::size_t Table_reader::default_place(const char* name, std::size_t place) const {
    return m_header.empty() ? place : place_of(name);
}

std::vector<std::size_t> Table_reader::default_labels() const {
    const bool has_labels = std::find(m_header.begin(), m_header.end(), "labels") != m_header.end();
    return {default_place(has_labels ? "labels" : "label", kLabelPlace)};
}

bool Table_reader::next_row(Csv_rows::Row& row) {
    return m_is_csv ? m_rows.next(row) : next_tsv_row(row);
}

bool Table_reader::next_tsv_row(Csv_rows::Row& row) {
    std::string_view line;
    do {
        if (!m_lines.next(line)) {
            return false;
        }
        line = without_carriage_return(line);
    } while (line.empty() && !m_lines.is_too_long());
    row = {m_lines.number()};
    if (m_lines.is_too_long()) {
        row.complaint = too_long_text(m_lines.longest());
        return true;
    }
    for (std::size_t tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t')) {
        if (row.columns.size() + 1 == kMostValues) {
            row.complaint = too_many_text("columns");
            return true;
        }
        row.columns.emplace_back(line.substr(0, tab));
        line.remove_prefix(tab + 1);
    }
    row.columns.emplace_back(line);
    return true;
}

bool Table_reader::next(Data_record& record) {
    begin();
    Csv_rows::Row row;
    if (!next_row(row)) {
        return false;
    }
    record = {};
    record.message.line = row.line;
    ++m_record_number;
    try {
        check_columns(row, record);
        fill(row, record.message);
    } catch (const Bad_record& error) {
        record.error.emplace(
            m_lines.name(), row.line,
            "record " + std::to_string(m_record_number) + ": " + std::string(error.what()));
    }
    record.columns = std::move(row.columns);
    return true;
}

// The first row without a complaint decides about the number of columns. In a row with another
// number a quote may be missing, so its other lines may be good rows.
void Table_reader::check_columns(const Csv_rows::Row& row, Data_record& record) {
    if (!row.complaint.empty()) {
        throw Bad_record(row.complaint);
    }
    const std::size_t count = row.columns.size();
    if (m_column_count == 0) {
        if (m_last_place >= count) {
            m_rows.read_again();
            throw Bad_record("there is no column " + std::to_string(m_last_place + 1) +
                             ", the record has " + counted_columns(count));
        }
        m_column_count = count;
        m_first_line = row.line;
    }
    if (count != m_column_count) {
        m_rows.read_again();
        record.first_row = {m_first_line, m_column_count};
        throw Bad_record("the record has " + counted_columns(count) + ", and the first row has " +
                         grouped(m_column_count));
    }
}

void Table_reader::fill(const Csv_rows::Row& row, Labelled_text& message) const {
    message.text = row.columns[m_texts.front()];
    for (std::size_t i = 1; i < m_texts.size(); ++i) {
        message.text += ' ';
        message.text += row.columns[m_texts[i]];
    }
    if (m_needs_labels) {
        fill_labels(row, message);
    }
    if (m_columns == Columns::kTextTitleKeywords) {
        message.title = row.columns[m_title];
        message.keywords = row.columns[m_keywords];
    }
    fill_pairs(row, message);
}

// Of several columns for labels, some may be empty.
void Table_reader::fill_labels(const Csv_rows::Row& row, Labelled_text& message) const {
    Label_list labels;
    for (const std::size_t place : m_labels) {
        if (m_labels.size() == 1 || !row.columns[place].empty()) {
            labels.add_all(row.columns[place], m_form.label_separator.value_or(""));
        }
    }
    if (labels.is_empty()) {
        throw Bad_record("empty label");
    }
    message.labels = labels.take();
}

void Table_reader::fill_pairs(const Csv_rows::Row& row, Labelled_text& message) const {
    for (const Pair_place& place : m_pairs) {
        if (std::optional<Pair> pair = pair_of(place.name, row.columns[place.column])) {
            message.pairs.push_back(std::move(*pair));
        }
    }
}

}  // namespace zandrel
