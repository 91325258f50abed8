// Reads the lines, parses all of them with the same options as the command line, and then makes the
// edits. So a wrong last line is reported before the container is read and changed.
#include "cli/commands/Edit_file.h"

#include <cerrno>
#include <deque>
#include <istream>
#include <string_view>

#include <CLI/CLI.hpp>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeLogicalTree.h"
#include "zandrel/knowledge/zeManager.h"

#include "text/data/Data_input.h"
#include "text/data/Data_lines.h"
#include "text/errors.h"
#include "text/kc/Kc_tree.h"
#include "text/wording/Layout.h"
#include "text/wording/Quoted_words.h"
#include "text/wording/Shown_text.h"

namespace zandrel::cli {

namespace {

// A path, a rule and two notes are much shorter. The limit refuses a file without line ends, such
// as /dev/zero.
constexpr std::size_t kLongestEdit = std::size_t(1) << 20U;

// The lines of a file of edits.
class Edit_lines {
public:
    Edit_lines(std::istream& input, const std::string& name) : m_input(input), m_name(name) {}

    // Takes the next line, without its end. Returns false at the end.  VALID UNTIL: the next call.
    // RAISES: Input_error; Data_error for a line that is too long.
    bool next(std::string_view& line) {
        errno = 0;
        m_input.getline(m_bytes.data(), static_cast<std::streamsize>(m_bytes.size()));
        if (m_input.bad()) {
            throw Input_error(m_name, reason_of_failure());
        }
        const auto count = static_cast<std::size_t>(m_input.gcount());
        if (count == 0) {
            return false;
        }
        ++m_number;
        if (m_input.fail()) {
            throw Data_error(m_name, m_number,
                             "the line is longer than " + grouped(kLongestEdit) + " bytes");
        }
        const std::size_t end = m_input.eof() ? 0 : 1;  // the count includes the LF
        line = without_carriage_return({m_bytes.data(), count - end});
        if (m_number == 1) {
            line = without_byte_order_mark(line);
        }
        return true;
    }

    std::size_t number() const { return m_number; }

private:
    std::istream& m_input;
    const std::string& m_name;
    std::string m_bytes = std::string(kLongestEdit + 2, '\0');
    std::size_t m_number = 0;  // of the line, from 1
};

// Parses edits with the options of the command line.
class Edit_parser {
public:
    Edit_parser() {
        for (const Edit_kind& kind : edit_kinds()) {
            Command& command = m_commands.emplace_back(kind);
            command.app.set_help_flag();
            kind.add_words(command.app, command.words);
        }
    }

    // `words`: at least one.  RAISES: Usage_error; CLI::ParseError.
    Tree_edit parse(std::vector<std::string> words) {
        Command& command = command_of(words.front());
        words.erase(words.begin());
        std::vector<std::string> last_first(words.rbegin(), words.rend());
        command.words = Edit_words();
        command.app.parse(last_first);
        return command.kind.make(command.app, command.words);
    }

private:
    struct Command {
        explicit Command(const Edit_kind& its_kind) : kind(its_kind) {}

        const Edit_kind& kind;
        Edit_words words;
        CLI::App app;
    };

    Command& command_of(const std::string& name) {
        for (Command& command : m_commands) {
            if (name == command.kind.name) {
                return command;
            }
        }
        throw Usage_error("\"" + shown_value(name) +
                          "\" is no edit: add, set, move, rename or delete");
    }

    // A deque, since options point at the words, which must not move.
    std::deque<Command> m_commands;
};

bool is_edit(std::string_view line) {
    const std::size_t begin = line.find_first_not_of(" \t");
    return begin != std::string_view::npos && line[begin] != '#';
}

// Calls `work` for one line of the file. RAISES: Data_error with the line number.
template <class Work>
auto work_on_line(const std::string& name, std::size_t number, Work&& work) {
    const auto refusal = [&](const std::string& message) {
        return Data_error(name, number, message);
    };
    try {
        return work();
    } catch (const Usage_error& error) {
        throw refusal(error.what());
    } catch (const Data_error& error) {
        throw refusal(error.what());  // a rule does not parse
    } catch (const Edit_refused& error) {
        throw refusal(error.what());
    } catch (const CLI::ParseError& error) {
        throw refusal(shown_complaint(error.what()));
    } catch (const qtX<zeLogicalTree>& error) {
        throw refusal(shown_complaint(error.what()));
    }
}

}  // namespace

Edit_file::Edit_file(const std::string& path) {
    Data_input input(path);
    m_name = input.name();
    Edit_lines lines(input.stream(), m_name);
    Edit_parser parser;
    for (std::string_view line; lines.next(line);) {
        if (is_edit(line)) {
            m_lines.push_back({lines.number(), work_on_line(m_name, lines.number(), [&] {
                                   return parser.parse(quoted_words(line));
                               })});
        }
    }
}

void Edit_file::apply(zeManager& manager, CTProgress& progress) const {
    progress.SetStatus("Editing the tree");
    progress.SetTotal(static_cast<int>(m_lines.size()));
    if (m_lines.size() > 1 && manager.ReadOnDemand() == 1) {
        // Deferred_writes cannot undo the edits before one that is refused.
        throw Data_error(m_name, m_lines[1].number, kOneClassifier);
    }
    for (const Line& line : m_lines) {
        work_on_line(m_name, line.number, [&] { line.edit(manager); });
        progress.Increment(1);
        zeInterrupts(&progress);
    }
}

}  // namespace zandrel::cli
