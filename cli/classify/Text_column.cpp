// Finds the column, and gives at most one warning for an input: for the first line without the
// column, or for the first line that looks like a data line.
#include "cli/classify/Text_column.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "text/model/Text_model.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

Text_column::Text_column(std::string name, std::optional<std::size_t> column,
                         const Text_model& model, Warn warn)
    : m_name(std::move(name)), m_column(column), m_model(model), m_warn(std::move(warn)) {}

std::string_view Text_column::text_of(std::string_view line, std::size_t line_number) {
    if (m_column) {
        return column_of(line, line_number);
    }
    if (m_warn) {
        notice_labels(line, line_number);
    }
    return line;
}

std::string_view Text_column::column_of(std::string_view line, std::size_t line_number) {
    std::string_view text = line;
    for (std::size_t column = 1; column < *m_column; ++column) {
        const std::size_t tab = text.find('\t');
        if (tab == std::string_view::npos) {
            if (!line.empty()) {
                say_once(line_number, "there is no column " + std::to_string(*m_column) +
                                          ", so the text is empty; other such lines are not named");
            }
            return {};
        }
        text.remove_prefix(tab + 1);
    }
    return text;
}

void Text_column::notice_labels(std::string_view line, std::size_t line_number) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) {
        return;
    }
    const std::string_view labels = line.substr(0, tab);
    if (are_known(labels)) {
        say_once(line_number,
                 "this looks like a data line, since the container has the label \"" +
                     shown_value(labels.substr(0, labels.find(','))) +
                     "\"; --column 2 leaves the labels of such lines out of the texts");
    }
}

// We use our own set of labels: Text_model::knows would add each word before a tab to the
// dictionary, which never shrinks.
bool Text_column::are_known(std::string_view labels) {
    if (m_labels.empty()) {
        const std::vector<std::string> all = m_model.labels();
        m_labels.insert(all.begin(), all.end());
    }
    for (std::size_t begin = 0; begin <= labels.size();) {
        const std::size_t end = std::min(labels.find(',', begin), labels.size());
        if (m_labels.count(std::string(labels.substr(begin, end - begin))) == 0) {
            return false;
        }
        begin = end + 1;
    }
    return true;
}

void Text_column::say_once(std::size_t line_number, const std::string& what) {
    if (m_warn) {
        m_warn(shown_file(m_name) + ":" + std::to_string(line_number) + ": " + what);
        m_warn = nullptr;
    }
}

}  // namespace zandrel::cli
