// Archive_edit: adds messages to an archive, deletes them, and changes its settings.
#ifndef ZANDREL_CLI_ARCHIVE_ARCHIVE_EDIT_H_
#define ZANDREL_CLI_ARCHIVE_ARCHIVE_EDIT_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"

#include "text/data/Labelled_text.h"
#include "text/kc/Kept_analysis.h"

class zeSmlArchive;

namespace zandrel::cli {

// The words that all changes of an archive have.
struct Archive_target {
    std::string file;
    double seconds_to_wait = 0.0;    // while another process changes the archive
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
};

struct Add_summary {
    std::string file;
    std::size_t added = 0;
    std::size_t replaced = 0;  // messages that were removed for them
    std::size_t messages = 0;  // of the archive afterwards
    Skipped_lines skipped = {};
};

struct Added_files {
    std::vector<std::string> data_files;  // at least one
    std::string id_pair = {};             // the pair with the external id; empty: none
    Given_analysis analysis = {};
    bool skips_bad_lines = false;
    Data_form form = {};
    std::size_t longest_line = kLongestLine;
    std::function<void(const std::string&)> warn = {};
};

// Adds the messages of all files, in their order. All files are read before the archive changes.
// RAISES: what Archive_to_change and read_labelled_file raise; Data_error with file and line for a
// message that the archive cannot have; Partial_change if an interruption ends the work after
// messages were added, which the archive keeps.
Add_summary add_files(const Archive_target& target, const Added_files& added);

struct Added_text {
    std::string text;
    std::vector<std::string> categories;  // at least one
    std::string id = {};                  // external id; empty: the archive makes one
    std::string replaced_id = {};         // empty: nothing is replaced
    Given_analysis analysis = {};
};

// Adds one message. It replaces the message with the external id `replaced_id`, if there is one.
// RAISES: Usage_error for a category that is given twice or is empty; Data_error for an external id
// that another message has.
Add_summary add_text(const Archive_target& target, const Added_text& added);

struct Deleted_messages {
    std::vector<std::string> ids;
    bool are_numbers = false;       // the ids are numbers of messages
    bool deletes_reserved = false;  // otherwise a reserved message is refused
};

// Deletes messages, or none if one is missing or reserved. Returns how many remain.
// RAISES: Usage_error; Data_error.
std::size_t delete_messages(const Archive_target& target, const Deleted_messages& deleted);

// Renames a category in all messages. The file is changed as a whole or not at all.
// RAISES: Data_error for a missing category and for a new name that another category has.
void rename_category(const Archive_target& target, const std::string& old_name,
                     const std::string& new_name);

struct Archive_settings {
    std::optional<unsigned int> reserved_size = std::nullopt;
    std::optional<unsigned int> minimal_size = std::nullopt;
    std::optional<double> age_ratio = std::nullopt;
};

void set_archive(const Archive_target& target, const Archive_settings& settings);

// Returns the number of the message with this external id, or with `is_number` of this number.
// RAISES: Usage_error for a text that is no number; Data_error without such a message.
unsigned int number_of_message(const std::string& file, const zeSmlArchive& archive,
                               const std::string& id, bool is_number);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_ARCHIVE_ARCHIVE_EDIT_H_
