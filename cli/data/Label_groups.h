// Label_groups: which labels stand together under one node of the tree.
#ifndef ZANDREL_CLI_DATA_LABEL_GROUPS_H_
#define ZANDREL_CLI_DATA_LABEL_GROUPS_H_

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

namespace cli {

struct Label_group {
    std::string name;
    std::vector<std::string> labels;  // in the order of the file, each once
    std::size_t line = 0;             // where the group is named first
};

// In the order in which the file names them. A label may stand in several groups.
struct Label_groups {
    std::string file;  // empty: there are no groups
    std::vector<Label_group> groups;
};

// Reads lines `group<TAB>label` in UTF-8, with line ends and empty lines as in data files.
// `name`: the file's name for messages. RAISES: Data_error for a line without a tab, with an empty
// group or label, or that stands twice; Input_error if reading fails.
Label_groups read_label_groups(std::istream& input, const std::string& name);
// RAISES: as above; also Input_error for a file that cannot be opened, and Data_error for one
// without a line.
Label_groups read_label_groups_file(const std::string& path);

}  // namespace cli

#endif  // ZANDREL_CLI_DATA_LABEL_GROUPS_H_
