// Reads the lines into groups, with a table from the name of a group to its place in the list, so
// that the lines of a group need not follow each other.
#include "text/data/Label_groups.h"

#include <fstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "text/data/Data_lines.h"
#include "text/errors.h"

namespace zandrel {

namespace {

// Adds lines to the groups. Its table has the place and the labels of each group.
class Group_reader {
public:
    explicit Group_reader(Label_groups& read) : m_read(read) {}

    void take_line(std::string_view line, std::size_t line_number) {
        const auto refuse = [&](const char* message) {
            throw Data_error(m_read.file, line_number, message);
        };
        const std::size_t tab = line.find('\t');
        if (tab == std::string_view::npos) {
            refuse("no tab between group and label");
        }
        const std::string name(line.substr(0, tab));
        const std::string label(line.substr(tab + 1));
        if (name.empty() || label.empty()) {
            refuse(name.empty() ? "empty group" : "empty label");
        }
        const auto [known, is_new] =
            m_known.try_emplace(name, Known_group{m_read.groups.size(), {}});
        if (is_new) {
            m_read.groups.push_back({name, {}, line_number});
        }
        if (!known->second.labels.insert(label).second) {
            refuse("label stands in this group already");
        }
        m_read.groups[known->second.place].labels.push_back(label);
    }

private:
    struct Known_group {
        std::size_t place;  // index in m_read.groups
        std::unordered_set<std::string> labels;
    };

    Label_groups& m_read;
    std::unordered_map<std::string, Known_group> m_known;
};

}  // namespace

Label_groups read_label_groups(std::istream& input, const std::string& name) {
    Label_groups read;
    read.file = name;
    Group_reader reader(read);
    for_each_line(input, name, [&reader](std::string_view line, std::size_t line_number) {
        reader.take_line(line, line_number);
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

}  // namespace zandrel
