// Record_check: in what condition a record file or the file of a container is.
#ifndef ZANDREL_CLI_RECORDS_RECORD_CHECK_H_
#define ZANDREL_CLI_RECORDS_RECORD_CHECK_H_

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "cli/records/Record_file.h"

namespace cli {

enum class Record_condition {
    kClean,       // each block is as the index says
    kRepairable,  // no item is known to be lost: a new index can be made from the items
    // kLost: an item that a current index names is missing or not whole, or the file was cut: it
    // ends before something that it names.
    kLost,
    kDamaged,  // a container's file whose bytes are not those that were written
};

struct Record_problem {
    std::uint64_t offset = 0;
    std::string text;
    bool loses_item = false;
};

struct Record_check {
    std::string file;
    Record_condition condition = Record_condition::kClean;
    bool is_cut = false;                   // the condition is kLost because the file ends too early
    std::optional<bool> has_seal = {};     // missing if the file is not that of a container
    std::vector<Record_problem> problems;  // by offset
};

// Holds the index against the items and holes that it names, and the blocks of all against the
// file: they follow one another from the header to the end, without gap and overlap. An index that
// may be stale names things that have moved, so nothing that it says of an item counts as a loss.
//
// A file that ends before its index is kLost. So is one whose index may be stale, if it ends before
// something that this index names: files never shrink, so the file has been cut.
//
// Record files have no checksums: damage inside a key of the same length in both places, or inside
// data, is not seen. Of a container's file the seal is verified if there is one. Bytes that belong
// to nothing are no problem there, since a replaced item stays in the file.
Record_check check_record_file(const Record_file& file);

// A line for each problem, "FILE: offset N: text", then the condition in words.
void print_record_check(const Record_check& check, std::ostream& out);
// An object of `file`, `condition` ("clean", "repairable", "lost", "damaged") and `problems`, a
// list of objects of `offset` and `text`. For a container's file there is also `seal`, true or
// false.
nlohmann::ordered_json record_check_json(const Record_check& check);

}  // namespace cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_CHECK_H_
