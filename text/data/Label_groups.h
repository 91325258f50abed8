// Label_groups: groups of labels, each of which becomes a node of the tree, and the reader of their
// file.
#ifndef ZANDREL_TEXT_DATA_LABEL_GROUPS_H_
#define ZANDREL_TEXT_DATA_LABEL_GROUPS_H_

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

namespace zandrel {

struct Label_group {
    std::string name;
    std::vector<std::string> labels;  // in the order of the file, each once
    std::size_t line = 0;             // the first line with the group
};

// In the order of the file. A label may be in several groups.
struct Label_groups {
    std::string file;  // empty: there are no groups
    std::vector<Label_group> groups;
};

// Reads lines `group<TAB>label` in UTF-8, with line ends and empty lines as in data files.
// `name`: of the file, for messages. RAISES: Data_error for a line without a tab, with an empty
// group or label, or that is in the file twice; Input_error if reading fails.
Label_groups read_label_groups(std::istream& input, const std::string& name);
// RAISES: what read_label_groups raises; Input_error for a file that cannot be opened; Data_error
// for a file without a line.
Label_groups read_label_groups_file(const std::string& path);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_LABEL_GROUPS_H_
