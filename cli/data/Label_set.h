// Label_set: looks labels up among the labels of one text.
#ifndef ZANDREL_CLI_DATA_LABEL_SET_H_
#define ZANDREL_CLI_DATA_LABEL_SET_H_

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace cli {

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

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_LABEL_SET_H_
