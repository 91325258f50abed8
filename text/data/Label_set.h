// Label_set: looks labels up among the labels of one text. labels_of: all labels of texts.
#ifndef ZANDREL_TEXT_DATA_LABEL_SET_H_
#define ZANDREL_TEXT_DATA_LABEL_SET_H_

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "text/data/Labelled_text.h"

namespace zandrel {

// Most texts have few labels. Searching them takes less time than making a table. But a text can
// have 100,000 labels: looking each of them up without a table would take 100,000^2 comparisons.
class Label_set {
public:
    // BORROWS: the labels.
    explicit Label_set(const std::vector<std::string>& labels) : m_labels(labels) {
        constexpr std::size_t kFewLabels = 16;
        if (labels.size() > kFewLabels) {
            m_table.insert(labels.begin(), labels.end());
        }
    }

    bool contains(std::string_view label) const {
        return m_table.empty()
                   ? std::find(m_labels.begin(), m_labels.end(), label) != m_labels.end()
                   : m_table.count(label) != 0;
    }

private:
    const std::vector<std::string>& m_labels;
    std::unordered_set<std::string_view> m_table;  // empty for few labels
};

// Returns all labels of texts, sorted, each once.
// BORROWS: the labels.
inline std::set<std::string_view> labels_of(const std::vector<Labelled_text>& texts) {
    std::set<std::string_view> labels;
    for (const Labelled_text& text : texts) {
        labels.insert(text.labels.begin(), text.labels.end());
    }
    return labels;
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_LABEL_SET_H_
