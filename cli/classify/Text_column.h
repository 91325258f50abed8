// Text_column: the part of a line that is the text to classify.
#ifndef ZANDREL_CLI_CLASSIFY_TEXT_COLUMN_H_
#define ZANDREL_CLI_CLASSIFY_TEXT_COLUMN_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace zandrel {

class Text_model;

}  // namespace zandrel

namespace zandrel::cli {

// The text begins at one of the columns of a line, which are separated by tabs, and ends at the end
// of the line. Column 2 of `sport<TAB>a goal<TAB>at last` is `a goal<TAB>at last`, as in a data
// file.
class Text_column {
public:
    using Warn = std::function<void(const std::string&)>;

    // `column`: from 1; missing: the text is the whole line, and a data line gives a warning.
    // `name`: of the input. `warn`: gets the warning; empty: there are no warnings.
    // BORROWS: `model`.
    Text_column(std::string name, std::optional<std::size_t> column, const Text_model& model,
                Warn warn);

    // Returns the text of a line; empty if the line has too few columns. Warns of the first such
    // line that is not empty. Without a column, warns of the first data line
    // `label[,label]<TAB>text` whose labels are all labels of the model.
    // VALID UNTIL: the bytes of `line` change.
    std::string_view text_of(std::string_view line, std::size_t line_number);

private:
    std::string_view column_of(std::string_view line, std::size_t line_number);
    void notice_labels(std::string_view line, std::size_t line_number);
    bool are_known(std::string_view labels);
    void say_once(std::size_t line_number, const std::string& what);

    std::string m_name;
    std::optional<std::size_t> m_column;
    const Text_model& m_model;
    Warn m_warn;                               // empty after the warning
    std::unordered_set<std::string> m_labels;  // of the model; filled at the first tab
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_CLASSIFY_TEXT_COLUMN_H_
