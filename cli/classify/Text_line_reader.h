// Text_line_reader: reads a text from each line, for the filters.
#ifndef ZANDREL_CLI_CLASSIFY_TEXT_LINE_READER_H_
#define ZANDREL_CLI_CLASSIFY_TEXT_LINE_READER_H_

#include <string_view>

#include "cli/classify/Text_column.h"
#include "text/data/Data_reader.h"
#include "text/data/Numbered_lines.h"

namespace zandrel::cli {

// Each line is a record, also an empty one. A line that is too long is a bad record.
class Text_line_reader : public Data_reader {
public:
    // BORROWS: the stream of `source`, and the model of `column`.
    Text_line_reader(const Data_source& source, Text_column column);

    bool next(Data_record& record) override;

private:
    Numbered_lines m_lines;
    Text_column m_column;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_TEXT_LINE_READER_H_
