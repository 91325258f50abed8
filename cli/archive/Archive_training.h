// Archive_training: a container learns from an archive, or is trained from it.
#ifndef ZANDREL_CLI_ARCHIVE_ARCHIVE_TRAINING_H_
#define ZANDREL_CLI_ARCHIVE_ARCHIVE_TRAINING_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "cli/archive/Archive_edit.h"
#include "text/kc/Cached_kc.h"
#include "text/kc/Kept_analysis.h"

namespace zandrel::cli {

struct Archive_training_options {
    Archive_target target;
    std::string kc_file;
    bool trains = false;           // otherwise learns
    bool rebuilds = false;         // only with `trains`: in a new tree
    bool forgets = false;          // only with `rebuilds`: allows to lose a tree with more levels
    bool adds_categories = false;  // a label that the container does not know gets a category
    bool is_unmatched = false;     // does not compare archive and container
    bool only_if_due = false;      // does nothing unless there are enough new messages
    Given_analysis analysis = {};
    Cache_bound bound = {};  // of a container in cached form
    // Takes what the user should know. May be empty.
    std::function<void(const std::string&)> warn = {};
};

struct Archive_training_summary {
    std::string archive_file;
    std::string kc_file;
    bool is_due = true;            // false: nothing was done
    std::size_t new_messages = 0;  // counted by number, as the library does
    std::size_t needed = 0;        // new messages, to be due
    std::size_t used = 0;          // messages that were learned or trained
    std::size_t kept = 0;          // messages of the archive afterwards
    std::size_t labels = 0;        // of the container afterwards
    std::size_t new_labels = 0;    // of them
    std::uintmax_t bytes = 0;      // of the container's file
};

// Archive and container are both locked. After an error both are as they were, unless a message
// says that one of them has changed. After a crash the two match, or training with `is_unmatched`
// brings them together; Archive_training.cpp says which. RAISES: what Archive_to_change, Kc_lock,
// read_kc and write_kc raise; Data_error if archive and container do not match, for a label that
// the container does not know, for a container of another analysis, for a compact container, and if
// there is nothing to learn or to train; Usage_error for a tree with more levels, with `rebuilds`;
// an interruption or Partial_change.
Archive_training_summary train_from_archive(const Archive_training_options& options);

void print_archive_training(const Archive_training_summary& summary, std::ostream& out);
// An object of `archive`, `file`, `due`, `new_messages`, `needed`, `used`, `kept`, `labels`,
// `new_labels` and `bytes`; without the last four if nothing was due.
nlohmann::ordered_json archive_training_json(const Archive_training_summary& summary);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_ARCHIVE_ARCHIVE_TRAINING_H_
