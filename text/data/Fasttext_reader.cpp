// Separates the labels of a line from its words: `__label__sport a goal __label__news` has the
// labels "sport" and "news" and the text "a goal".
#include "text/data/Fasttext_reader.h"

#include "text/data/Bad_record.h"
#include "text/data/Label_list.h"

namespace zandrel {

namespace {

constexpr std::string_view kLabelPrefix = "__label__";
// The blanks between words.
constexpr std::string_view kSpace = " \t\v\f\r";

// Returns the word at the beginning of the line, and removes it and the blanks after it.
std::string_view take_word(std::string_view& line) {
    const std::string_view word = line.substr(0, line.find_first_of(kSpace));
    line.remove_prefix(word.size());
    const std::size_t next = line.find_first_not_of(kSpace);
    line.remove_prefix(next == std::string_view::npos ? line.size() : next);
    return word;
}

}  // namespace

Fasttext_reader::Fasttext_reader(const Data_source& source)
    : Line_record_reader(source), m_needs_labels(source.needs_labels) {}

void Fasttext_reader::parse(std::string_view line, Labelled_text& message) {
    Label_list labels;
    const std::size_t first = line.find_first_not_of(kSpace);
    line.remove_prefix(first == std::string_view::npos ? line.size() : first);
    while (!line.empty()) {
        const std::string_view word = take_word(line);
        if (!word.starts_with(kLabelPrefix)) {
            message.text += message.text.empty() ? "" : " ";
            message.text += word;
        } else if (m_needs_labels) {
            labels.add(word.substr(kLabelPrefix.size()));
        }
    }
    if (m_needs_labels && labels.is_empty()) {
        throw Bad_record("no word begins with __label__");
    }
    message.labels = labels.take();
}

}  // namespace zandrel
