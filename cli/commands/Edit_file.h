// Edit_file: a file with an edit of a tree a line.
#ifndef ZANDREL_CLI_COMMANDS_EDIT_FILE_H_
#define ZANDREL_CLI_COMMANDS_EDIT_FILE_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "cli/commands/tree_edits.h"

namespace cli {

// The edits of a file. A line is what follows `zandrel tree` on the command line, without the
// container: `add root/parcels --type stat`. See Quoted_words.h for names with blanks. Empty lines
// and those that begin with # are skipped. Lines end with LF or CR LF, which the last one may lack.
class Edit_file {
public:
    // Reads a whole file; "-" is standard input.
    // RAISES: Input_error; Data_error with the line for a line that is no edit, or that is longer
    // than a mebibyte, which is not read to its end.
    explicit Edit_file(const std::string& path);

    // Carries all edits out, in their order.
    // RAISES: Data_error with the line of an edit that is refused; the container is to be thrown
    // away then. qtX<zeWorkflow> 2 if `progress` interrupts it.
    void apply(zeManager& manager, CTProgress& progress) const;

private:
    struct Line {
        std::size_t number;
        Tree_edit edit;
    };

    std::string m_name;  // for messages
    std::vector<Line> m_lines;
};

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_EDIT_FILE_H_
