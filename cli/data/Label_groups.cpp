#include "cli/data/Label_groups.h"

#include <algorithm>
#include <fstream>
#include <string_view>

#include "cli/data/Data_lines.h"
#include "cli/errors.h"

namespace cli {

namespace {

Label_group& group_of(std::vector<Label_group>& groups, std::string_view name, std::size_t line) {
    const auto found = std::find_if(groups.begin(), groups.end(), [name](const Label_group& group) {
        return group.name == name;
    });
    if (found != groups.end()) {
        return *found;
    }
    return groups.emplace_back(Label_group{std::string(name), {}, line});
}

void take_line(std::string_view line, std::size_t line_number, Label_groups& read) {
    const auto refuse = [&](const char* message) {
        throw Data_error(read.file, line_number, message);
    };
    const std::size_t tab = line.find('\t');
    if (tab == std::string_view::npos) {
        refuse("no tab between group and label");
    }
    const std::string_view name = line.substr(0, tab);
    const std::string_view label = line.substr(tab + 1);
    if (name.empty() || label.empty()) {
        refuse(name.empty() ? "empty group" : "empty label");
    }
    std::vector<std::string>& labels = group_of(read.groups, name, line_number).labels;
    if (std::find(labels.begin(), labels.end(), label) != labels.end()) {
        refuse("label stands in this group already");
    }
    labels.emplace_back(label);
}

}  // namespace

Label_groups read_label_groups(std::istream& input, const std::string& name) {
    Label_groups read;
    read.file = name;
    for_each_line(input, name, [&read](std::string_view line, std::size_t line_number) {
        take_line(line, line_number, read);
    });
    return read;
}

Label_groups read_label_groups_file(const std::string& path) {
    std::ifstream input = open_data_file(path);
    Label_groups read = read_label_groups(input, path);
    if (read.groups.empty()) {
        throw Data_error(path, "no line");
    }
    return read;
}

}  // namespace cli
