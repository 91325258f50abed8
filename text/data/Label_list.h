// Label_list: the labels of one record.
#ifndef ZANDREL_TEXT_DATA_LABEL_LIST_H_
#define ZANDREL_TEXT_DATA_LABEL_LIST_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace zandrel {

// Each label is in the list once, in the order of the record.
class Label_list {
public:
    // RAISES: Bad_record for an empty label, and for more than kMostValues labels.
    void add(std::string_view label);
    // Adds each label of a text. If `separator` is empty, the text is one label.
    // RAISES: as `add`.
    void add_all(std::string_view list, std::string_view separator);

    bool is_empty() const { return m_labels.empty(); }

    std::vector<std::string> take() { return std::move(m_labels); }

private:
    // Most records have few labels. Searching them takes less time than making a set.
    static constexpr std::size_t kFewLabels = 16;

    bool is_new(std::string_view label);

    std::vector<std::string> m_labels;
    std::unordered_set<std::string> m_known;  // the same labels; empty while they are few
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_LABEL_LIST_H_
