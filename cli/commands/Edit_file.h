// Edit_file: a file with one edit of a tree on each line.
#ifndef ZANDREL_CLI_COMMANDS_EDIT_FILE_H_
#define ZANDREL_CLI_COMMANDS_EDIT_FILE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "cli/commands/tree_edits.h"

namespace zandrel::cli {

// The edits of a file. A line is an edit as on the command line, without `zandrel tree` and the
// container: `add root/parcels --type stat`. See Quoted_words.h for names with blanks. Empty lines
// and lines that begin with # are skipped. A line ends with LF or CR LF; the last one need not.
class Edit_file {
public:
    // Reads a whole file; "-" is standard input.
    // RAISES: Input_error; Data_error with the line number for a line that is not an edit, or is
    // longer than a mebibyte. A longer line is not read to its end.
    explicit Edit_file(const std::string& path);

    // Makes all edits, in their order.
    // RAISES: Data_error for a second edit of a container in cached form with a bound of 1, and
    // with the line number of an edit that is refused; the caller must then discard the container.
    // qtX<zeWorkflow> 2 if `progress` interrupts it.
    void apply(zeManager& manager, CTProgress& progress) const;

private:
    struct Line {
        std::size_t number;
        Tree_edit edit;
    };

    std::string m_name;  // for messages
    std::vector<Line> m_lines;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_EDIT_FILE_H_
