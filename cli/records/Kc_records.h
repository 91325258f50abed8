// Kc_records: the records of a container's file, each decoded by itself.
#ifndef ZANDREL_CLI_RECORDS_KC_RECORDS_H_
#define ZANDREL_CLI_RECORDS_KC_RECORDS_H_

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/records/Record_file.h"

namespace zandrel::cli {

// The contents of a record. `sizes` are numbers with their names, for example 3 "categories".
struct Kc_record {
    std::string owner;  // the path of the node to which it belongs; empty: the whole container
    std::vector<std::pair<std::string, std::uint64_t>> sizes;
    std::string problem;  // empty: the record was read
};

struct Kc_records {
    // By key: the manager's record, and each record to which another record refers, also if it is
    // missing in the file.
    std::map<std::string, Kc_record> records;
    std::string problem;  // the library cannot open the file; empty: it can
    // All references were read. So no record refers to an item that is not in `records`.
    bool knows_all_references = false;
};

// The records that are decoded, by their keys. The others only get an owner.
using Wanted_records = std::function<bool(const std::string& key)>;

// Returns whether a file is a container with an index that can be used: the index is complete and
// current, and each item that it names is whole.
bool has_usable_records(const Record_file& file);

// Decodes the records of a container, of either form and either version. First the manager's record
// is read, then each classifier with its model. A classifier is released before the next one is
// read, so only one of them is in memory at a time. The file is opened for reading, and a container
// of version 1 in cached form is not upgraded.
// REQUIRES: has_usable_records(file).
Kc_records read_kc_records(const Record_file& file, const Wanted_records& is_wanted);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_KC_RECORDS_H_
