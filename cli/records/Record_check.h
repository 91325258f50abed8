// Record_check: finds damage in a record file or in the file of a container.
#ifndef ZANDREL_CLI_RECORDS_RECORD_CHECK_H_
#define ZANDREL_CLI_RECORDS_RECORD_CHECK_H_

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "cli/process/Exit_status.h"
#include "cli/records/Record_file.h"

namespace zandrel::cli {

enum class Record_condition {
    kClean,       // each block agrees with the index
    kRepairable,  // no item is known to be lost; a new index can be made from the items
    // kLost: an item of a current index is missing or incomplete, or the file was cut: it ends
    // before something that the index names.
    kLost,
    kDamaged,  // a container's file whose bytes are not those that were written
};

struct Record_problem {
    std::uint64_t offset = 0;
    std::string text;
    bool loses_item = false;
};

// An item of a container to which no record refers. It takes space, and nothing reads it: the model
// of a deleted classifier, for example.
struct Unreferenced_item {
    std::uint64_t offset = 0;
    std::string key;
    std::string contents;  // in words
};

struct Record_check {
    std::string file;
    Record_condition condition = Record_condition::kClean;
    bool is_cut = false;                   // the file ends too early: a record file is kLost
    std::optional<bool> has_seal = {};     // missing for a file that is no container
    std::vector<Record_problem> problems;  // sorted by offset
    bool has_unreadable_records = false;   // of a container, in which the blocks are whole
    bool has_wrong_summary = false;        // of an archive that has lost nothing
    bool has_unreadable_messages = false;  // of a corpus or an archive, or an unreadable summary
    bool is_corpus = false;                // the file has the id of corpora
    // Sorted by key; missing if the records of a container have not been read.
    std::optional<std::vector<Unreferenced_item>> unreferenced = {};
    std::vector<std::string> notes = {};     // of an archive: unusual, but no problem
    std::optional<bool> is_sealed_now = {};  // missing if sealing was not asked for

    // Adds a problem of the contents of a container. A file that is not lost is damaged then.
    void add_content_problem(std::uint64_t offset, const std::string& text);
};

// Compares the index with the items and holes that it names. Also compares their blocks with the
// file: the blocks follow each other from the header to the end of the file, without gap and
// overlap. An index that may be stale can name items that have been moved, so a missing item does
// not count as lost then.
//
// A record file that ends inside its index or before it is kLost. A record file whose index may be
// stale is kLost if it ends before something that this index names: record files never shrink, so
// the file has been cut.
//
// Record files have no checksums, so damage inside the data of an item is not found, and neither is
// a key that is changed in the same way in the item and in the index. In a container's file, the
// seal is verified if there is one. Unused bytes are no problem in a package, since a replaced item
// stays there.
Record_check check_record_file(const Record_file& file);

// A line for each problem, "FILE: offset N: text", and for each note, then one for each of the
// first ten items to which no record refers and one for the number of the others, then the
// condition in words.
void print_record_check(const Record_check& check, std::ostream& out);
// An object of `file`, `condition` ("clean", "repairable", "lost", "damaged") and `problems`, a
// list of objects of `offset` and `text`. For a container's file there is also `seal`, true or
// false. If its records were read, there is `unreferenced`, a list of objects of `offset`, `key`
// and `contents`. If there are notes, there is `notes`, a list of texts. If sealing was asked for,
// there is `sealed`, true or false.
nlohmann::ordered_json record_check_json(const Record_check& check);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_CHECK_H_
