// Archive_check: compares the summary of a message archive with its messages, and repairs it.
#ifndef ZANDREL_CLI_RECORDS_ARCHIVE_CHECK_H_
#define ZANDREL_CLI_RECORDS_ARCHIVE_CHECK_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/archive/Archive_file.h"
#include "cli/records/Record_check.h"
#include "cli/records/Record_file.h"

namespace zandrel::cli {

// Returns whether the header is the one of an archive.
bool is_archive(const Record_file& file);

// Names the item of a key of an archive: "summary", "message 7", "text analysis", or "".
std::string archive_contents(const std::string& key);

// The figures of a summary, for dump.
struct Archive_facts {
    std::string problem = {};  // why the summary cannot be read; empty: it can
    std::vector<std::pair<std::string, std::uint64_t>> numbers = {};
};

// Returns nothing for a file that is no archive, or whose index or items are damaged.
std::optional<Archive_facts> archive_facts(const Record_file& file);

// Adds the differences between summary and messages to a check without problems. Differences can be
// repaired; a message or a summary that cannot be read is damage. Does nothing for other files.
// REQUIRES: `check` is the result of check_record_file(file).
void check_archive_records(const Record_file& file, Record_check& check);

struct Archive_repair {
    std::vector<std::string> remarks;  // empty: there is nothing to repair
    std::vector<std::string> notes;    // of what is right but unusual, and stays as it is
    bool has_loss = false;             // a message or the settings of the archive are lost
};

// Examines an archive whose index is right; does not change it.
// RAISES: Input_error for a file that cannot be opened or read.
Archive_repair find_archive_damage(const std::string& name, const std::string& path);

// Writes a new summary into the file:
// - Entries without a message are removed. A message without an entry gets one, with the time of
//   the entry before it, or of the entry after it if it is the first.
// - Counts, locks, external ids and the next number are computed anew. Reserved messages remain,
//   and the messages that got an entry are reserved as new ones.
// - The estimates of a known category remain. If the summary cannot be read, the archive gets the
//   settings of a new one, and the estimates of its messages.
// - If the message that was learned last is missing, the one before it takes its place, so that no
//   message is learned twice.
// - If the process was killed while it changed the archive, the change is completed if all its new
//   messages are in the file, and otherwise taken back (Deferred_archive). A summary of version 1
//   in a file of version 2 is read as such: the process that upgraded the file was killed before it
//   wrote the new one.
// - A summary that cannot be read loses the binding too. The archive then matches no container.
// - Messages that cannot be read are removed.
// RAISES: Output_error.
Archive_repair repair_archive(const std::string& name, const std::string& path);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_ARCHIVE_CHECK_H_
