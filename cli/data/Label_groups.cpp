#include "cli/data/Label_groups.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string_view>

#include "cli/data/Labelled_text.h"
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
    std::string buffer;
    errno = 0;
    for (std::size_t line_number = 1; std::getline(input, buffer); ++line_number) {
        std::string_view line = without_carriage_return(buffer);
        if (line_number == 1) {
            line = without_byte_order_mark(line);
        }
        if (!line.empty()) {
            take_line(line, line_number, read);
        }
    }
    if (input.bad()) {
        throw Input_error(name, reason_of_failure());
    }
    return read;
}

Label_groups read_label_groups_file(const std::string& path) {
    errno = 0;
    std::ifstream input(path, std::ios::binary);
    if (!input) {
        throw Input_error(path, reason_of_failure());
    }
    Label_groups read = read_label_groups(input, path);
    if (read.groups.empty()) {
        throw Data_error(path, "no line");
    }
    return read;
}

}  // namespace cli
