// Line_record_reader: the common part of the readers whose records are lines.
#ifndef ZANDREL_TEXT_DATA_LINE_RECORD_READER_H_
#define ZANDREL_TEXT_DATA_LINE_RECORD_READER_H_

#include <cstddef>
#include <string_view>

#include "text/data/Data_reader.h"
#include "text/data/Numbered_lines.h"

namespace zandrel {

// Reads lines and skips those that are blank. A derived class parses them.
class Line_record_reader : public Data_reader {
public:
    // BORROWS: the stream of `source`.
    explicit Line_record_reader(const Data_source& source);

    bool next(Data_record& record) override;

protected:
    // Parses a line into a message without labels, text and pairs.
    // RAISES: Bad_record.
    virtual void parse(std::string_view line, Labelled_text& message) = 0;

    // Returns whether the line has nothing but white space, where the form allows such lines.
    virtual bool is_blank(std::string_view line) const;

    // Begins the messages of bad records: "record 3: ". For lines label<TAB>text it is empty, since
    // the number of the line is enough.
    virtual std::string record_name() const;

private:
    Numbered_lines m_lines;
    std::size_t m_record_number = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_LINE_RECORD_READER_H_
