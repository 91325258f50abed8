// Record_recovery: decides which items of a damaged record file or package belong to it.
#ifndef ZANDREL_CLI_RECORDS_RECORD_RECOVERY_H_
#define ZANDREL_CLI_RECORDS_RECORD_RECOVERY_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/records/File_window.h"
#include "cli/records/Record_scan.h"
#include "cli/records/Seal_sums.h"

namespace zandrel::cli {

// A part of the old file, and what became of it.
struct Recovery_note {
    std::uint64_t offset = 0;
    std::optional<std::uint64_t> size = {};  // missing: not known
    std::optional<std::string> key = {};     // missing: not known, or not an item
    std::string text;
    bool is_loss = false;              // an item is known to be lost
    bool is_unsure = false;            // an item may be lost
    bool is_longer_than_item = false;  // the part begins with the item `key`, and is longer
};

enum class File_condition {
    kSound,      // nothing has to be changed
    kStateOnly,  // only the state bit is wrong: index and items agree
    kToRebuild,
};

struct Record_recovery {
    Record_form form = Record_form::kWide;
    Record_identity identity;
    std::uint8_t state = 0;
    File_condition condition = File_condition::kToRebuild;
    // The items of the new file, sorted by offset. The seal, if it is still right, is one of them.
    std::vector<Scanned_item> items;
    std::vector<Recovery_note> notes;  // sorted by offset
    std::vector<std::string> remarks;  // about the whole file
    std::uint64_t further_notes = 0;   // not kept, since there are too many

    bool has_loss = false;
    bool is_unsure = false;
};

// Examines a file, which does not change. Record_recovery.cpp describes the rules.
// RAISES: Data_error for a file that is too short for a header, or whose form nothing says;
// Input_error.
// COST: one pass over the file, two with a seal. An item's data are never in memory as a whole.
Record_recovery recover_records(File_window& file);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_RECOVERY_H_
