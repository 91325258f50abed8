// Tsv_line_reader: reads lines `label[,label]<TAB>text`.
#ifndef ZANDREL_TEXT_DATA_TSV_LINE_READER_H_
#define ZANDREL_TEXT_DATA_TSV_LINE_READER_H_

#include <string>
#include <string_view>

#include "text/data/Line_record_reader.h"

namespace zandrel {

// See read_labelled_texts. A line without a character is skipped; a line of blanks is bad.
class Tsv_line_reader : public Line_record_reader {
public:
    Tsv_line_reader(const Data_source& source, const Data_form& form);

protected:
    void parse(std::string_view line, Labelled_text& message) override;
    bool is_blank(std::string_view line) const override;
    std::string record_name() const override;

private:
    Columns m_columns;
    bool m_needs_labels;
    std::string m_separator;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_TSV_LINE_READER_H_
