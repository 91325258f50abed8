// Fasttext_reader: reads lines of words; those that begin with __label__ are labels.
#ifndef ZANDREL_TEXT_DATA_FASTTEXT_READER_H_
#define ZANDREL_TEXT_DATA_FASTTEXT_READER_H_

#include <string_view>

#include "text/data/Line_record_reader.h"

namespace zandrel {

// The labels may be anywhere in the line. The other words, with a blank between two of them, are
// the text.
class Fasttext_reader : public Line_record_reader {
public:
    explicit Fasttext_reader(const Data_source& source);

protected:
    void parse(std::string_view line, Labelled_text& message) override;

private:
    bool m_needs_labels;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_FASTTEXT_READER_H_
