// Record_dump: what is in a record file or in the file of a container.
#ifndef ZANDREL_CLI_RECORDS_RECORD_DUMP_H_
#define ZANDREL_CLI_RECORDS_RECORD_DUMP_H_

#include <ostream>

#include <nlohmann/json_fwd.hpp>

#include "cli/records/Record_file.h"

namespace cli {

// Prints header, index, items by key, and holes; for a container's file what is in each item and
// the checksums of the seal in place of holes. A problem is printed after the item or hole that has
// it.
void print_record_dump(const Record_file& file, std::ostream& out);
// The same as an object of `file`, `size`, `header`, `index`, `items` and `holes`; for a package
// `container` and `seal` in place of `holes`. Keys are shown as in the text; an item or hole with a
// problem has a `problem`.
nlohmann::ordered_json record_dump_json(const Record_file& file);

}  // namespace cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_DUMP_H_
