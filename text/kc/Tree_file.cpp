// Passes each line of a text to the engine's reader of lines, which LoadText uses too, and adds
// file and line to its errors. The library ends a line at each CR and at each LF. We read lines
// that end with LF or CR LF, and split the rest at each other CR. So for "a\r\nb\rc" the lines 1, 2
// and 3 are "a", "b" and "c".
#include "text/kc/Tree_file.h"

#include <algorithm>
#include <string_view>

#include "zandrel/classification/zeRule_checker.h"
#include "zandrel/classification/zeRule_parser.h"
#include "zandrel/foundation/qtText.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Tree_text.h"
#include "zandrel/knowledge/fixed_names.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"

#include "text/data/Data_input.h"
#include "text/data/Data_lines.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

using zandrel::Tree_text;

// The library reports only that a rule is wrong. Returns the reason of the parser as an end of the
// library's message "Invalid rule: [5 & 3]"; empty for any other message.
std::string reason_of(std::string_view message) {
    constexpr std::string_view kBegin = "Invalid rule: [";
    if (!message.starts_with(kBegin) || !message.ends_with(']')) {
        return {};
    }
    message.remove_prefix(kBegin.size());
    message.remove_suffix(1);
    try {
        const Rule_checker parsed{qtString(message)};
    } catch (const qtX<RuleParser>& error) {
        return ": " + shown_complaint(error.what());
    }
    return {};
}

class Tree_loader {
public:
    Tree_loader(const std::string& name, zeManager& manager)
        : m_name(name), m_text(*manager.m_logical_tree, Tree_text::Default_rule::kAccepted) {}

    // `number`: of the line, from 1, if only LF and CR LF are line ends.
    void take(std::string_view line, std::size_t number) {
        std::size_t end = line.find('\r');
        for (; end != std::string_view::npos; end = line.find('\r')) {
            add(line.substr(0, end), number + m_inner_end_count);
            ++m_inner_end_count;
            line.remove_prefix(end + 1);
        }
        add(line, number + m_inner_end_count);
    }

private:
    void add(std::string_view line, std::size_t number) {
        if (line.empty()) {
            return;
        }
        try {
            m_text.AddLine(line);
        } catch (const qtxAll& error) {
            const std::string_view message = error.message().view();
            throw Data_error(m_name, number, shown_complaint(message) + reason_of(message));
        }
    }

    const std::string& m_name;
    Tree_text m_text;
    std::size_t m_inner_end_count = 0;  // CRs without LF so far
};

// `keep`: called with each line that has been accepted.
template <class Keep>
void load_lines(std::istream& input, const std::string& name, zeManager& manager,
                const Keep& keep) {
    Tree_loader loader(name, manager);
    for_each_line(input, name, [&](std::string_view line, std::size_t number) {
        loader.take(line, number);
        keep(line);
    });
    if (manager.m_logical_tree->nodes.empty()) {
        throw Data_error(name, "no node");
    }
}

bool has_white_space(const qtString& text) {
    const std::string_view bytes = text.view();
    return std::any_of(bytes.begin(), bytes.end(),
                       [](char byte) { return byte != ' ' && zandrel::IsWhiteSpace(byte); });
}

template <class Condition>
std::size_t count_nodes(const zeManager& manager, Condition&& condition) {
    const auto& nodes = manager.m_logical_tree->nodes;
    return static_cast<std::size_t>(
        std::count_if(nodes.begin(), nodes.end(),
                      [&condition](const auto& entry) { return condition(entry.second); }));
}

std::string counted(std::size_t count, const char* one, const char* several) {
    return std::to_string(count) + ' ' + (count == 1 ? one : several);
}

}  // namespace

void load_tree_text(std::istream& input, const std::string& name, zeManager& manager) {
    load_lines(input, name, manager, [](std::string_view /*line*/) {});
}

void load_tree_file(const std::string& file, zeManager& manager) {
    Data_input input(file);
    load_tree_text(input.stream(), input.name(), manager);
}

// The tree is loaded twice: here, so that an error is reported before the data are read, and then
// by each model that is trained; cross-validation trains several. So the result is a text. The
// nodes of a discarded container check each line before we keep it. So a small compressed file
// cannot unpack to a text without bound.
std::string read_tree_text(const std::string& file) {
    Data_input input(file);
    zeManager discarded;
    std::string text;
    load_lines(input.stream(), input.name(), discarded, [&text](std::string_view line) {
        text.append(line);
        text += '\n';
    });
    return text;
}

void write_tree_text(const zeManager& manager, std::ostream& out) {
    Tree_text::Write(*manager.m_logical_tree, zandrel::kRootId, 1, out);
}

std::size_t changed_node_count(const zeManager& manager) {
    return count_nodes(manager, [](const zeLogicalNode& node) {
        return has_white_space(node.category.text()) || has_white_space(node.name.text()) ||
               has_white_space(node.rule);
    });
}

void print_node_counts(const zeManager& manager, std::ostream& out) {
    const std::size_t rule_count =
        count_nodes(manager, [](const zeLogicalNode& node) { return node.type == ZE_RULE; });
    const std::size_t stat_count =
        count_nodes(manager, [](const zeLogicalNode& node) { return node.type == ZE_STAT; });
    const std::size_t node_count = manager.m_logical_tree->nodes.size();
    out << counted(node_count, "node", "nodes") << ": "
        << counted(rule_count, "rule node", "rule nodes") << ", "
        << counted(stat_count, "statistical node", "statistical nodes") << ", "
        << counted(node_count - rule_count - stat_count, "leaf", "leaves") << '\n';
}

}  // namespace zandrel
