// Json_line_reader: reads JSON lines.
#ifndef ZANDREL_TEXT_DATA_JSON_LINE_READER_H_
#define ZANDREL_TEXT_DATA_JSON_LINE_READER_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "text/data/Json_fields.h"
#include "text/data/Line_record_reader.h"

namespace zandrel {

// Each line is an object with these members, unless the form has other keys:
//
//   {"text": "a goal", "labels": ["sport", "news"], "pairs": {"size": 7, "urgent": true}}
//
// A single label may also be the string "label". A label may be an integer. "pairs" may be missing.
class Json_line_reader : public Line_record_reader {
public:
    Json_line_reader(const Data_source& source, const Data_form& form);

protected:
    void parse(std::string_view line, Labelled_text& message) override;

private:
    using Fields = std::vector<Json_field>;

    bool is_wanted(const std::string& key) const;
    void fill_text(const Fields& fields, Labelled_text& message) const;
    void fill_labels(const Fields& fields, Labelled_text& message) const;
    void fill_pairs(const Fields& fields, Labelled_text& message) const;

    Data_form m_form;
    Columns m_columns;
    bool m_needs_labels;
    bool m_needs_text;
    std::function<bool(const std::string&)> m_is_wanted;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_JSON_LINE_READER_H_
