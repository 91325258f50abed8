// Table_reader: reads CSV files, and TSV files whose columns are named.
#ifndef ZANDREL_TEXT_DATA_TABLE_READER_H_
#define ZANDREL_TEXT_DATA_TABLE_READER_H_

#include <cstddef>
#include <string>
#include <vector>

#include "text/data/Csv_rows.h"
#include "text/data/Data_reader.h"
#include "text/data/Numbered_lines.h"

namespace zandrel {

// All rows have as many columns as the first one, which may be a header. Without one the columns
// are label, text, title and keywords, as in lines label<TAB>text, unless the form has other
// numbers.
class Table_reader : public Data_reader {
public:
    // `format`: kCsv or kTsv. In TSV there are no quotes: a column ends with the next tab or line
    // end. BORROWS: the stream of `source`.
    // RAISES: Usage_error for column 0.
    Table_reader(const Data_source& source, Data_format format, const Data_form& form);

    void begin() override;
    bool next(Data_record& record) override;

    const std::vector<std::string>& header() const override { return m_header; }

private:
    struct Pair_place {
        std::string name;
        std::size_t column;  // from 0, as all columns below
    };

    bool next_row(Csv_rows::Row& row);
    bool next_tsv_row(Csv_rows::Row& row);
    bool needs_header() const;
    void read_header();
    void find_columns();
    std::vector<std::size_t> places_of(const std::vector<std::string>& words) const;
    std::size_t place_of(const std::string& word) const;
    std::size_t default_place(const char* name, std::size_t place) const;
    std::vector<std::size_t> default_labels() const;
    void check_columns(const Csv_rows::Row& row, Data_record& record);
    void fill(const Csv_rows::Row& row, Labelled_text& message) const;
    void fill_labels(const Csv_rows::Row& row, Labelled_text& message) const;
    void fill_pairs(const Csv_rows::Row& row, Labelled_text& message) const;

    Data_form m_form;
    bool m_is_csv;
    bool m_needs_labels;
    Columns m_columns;
    Numbered_lines m_lines;
    Csv_rows m_rows;
    bool m_has_begun = false;
    std::size_t m_record_number = 0;
    std::size_t m_column_count = 0;  // of the first row; 0 before it
    std::size_t m_first_line = 0;    // of the first row
    std::vector<std::string> m_header;
    std::size_t m_header_line = 0;
    std::vector<std::size_t> m_texts;
    std::vector<std::size_t> m_labels;
    std::size_t m_title = 0;
    std::size_t m_keywords = 0;
    std::vector<Pair_place> m_pairs;
    std::size_t m_last_place = 0;  // the greatest of the places above
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_TABLE_READER_H_
