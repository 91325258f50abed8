// Splits lists of labels: "news,sport,news" has the labels "news" and "sport".
#include "text/data/Label_list.h"

#include <algorithm>

#include "text/data/Bad_record.h"
#include "text/data/Data_lines.h"

namespace zandrel {

void Label_list::add(std::string_view label) {
    if (label.empty()) {
        throw Bad_record("empty label");
    }
    if (is_new(label)) {
        if (m_labels.size() == kMostValues) {
            throw Bad_record(too_many_text("labels"));
        }
        m_labels.emplace_back(label);
    }
}

void Label_list::add_all(std::string_view list, std::string_view separator) {
    if (!separator.empty()) {
        for (std::size_t end = list.find(separator); end != std::string_view::npos;
             end = list.find(separator)) {
            add(list.substr(0, end));
            list.remove_prefix(end + separator.size());
        }
    }
    add(list);
}

bool Label_list::is_new(std::string_view label) {
    if (m_labels.size() < kFewLabels) {
        return std::find(m_labels.begin(), m_labels.end(), label) == m_labels.end();
    }
    if (m_known.empty()) {
        m_known.insert(m_labels.begin(), m_labels.end());
    }
    return m_known.emplace(label).second;
}

}  // namespace zandrel
