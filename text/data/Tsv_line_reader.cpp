// Splits a line at its first tabs: `news,sport<TAB>a goal<TAB>at last` has the labels "news" and
// "sport" and the text "a goal<TAB>at last": each column but the last ends at the next tab.
#include "text/data/Tsv_line_reader.h"

#include "text/data/Bad_record.h"
#include "text/data/Label_list.h"

namespace zandrel {

namespace {

// Returns the column before the first tab, and removes it and the tab from the line.
std::string_view take_column(std::string_view& line, const char* complaint) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) {
        throw Bad_record(complaint);
    }
    const std::string_view column = line.substr(0, tab);
    line.remove_prefix(tab + 1);
    return column;
}

}  // namespace

Tsv_line_reader::Tsv_line_reader(const Data_source& source, const Data_form& form)
    : Line_record_reader(source),
      m_columns(source.columns),
      m_needs_labels(source.needs_labels),
      m_separator(form.label_separator.value_or(",")) {}

void Tsv_line_reader::parse(std::string_view line, Labelled_text& message) {
    const std::string_view list = take_column(line, "no tab between label and text");
    if (m_needs_labels) {
        Label_list labels;
        labels.add_all(list, m_separator);
        message.labels = labels.take();
    }
    if (m_columns == Columns::kText) {
        message.text = line;
    } else {
        message.text = take_column(line, "no tab between text and title");
        message.title = take_column(line, "no tab between title and keywords");
        message.keywords = line;
    }
}

bool Tsv_line_reader::is_blank(std::string_view line) const {
    return line.empty();
}

std::string Tsv_line_reader::record_name() const {
    return {};
}

}  // namespace zandrel
