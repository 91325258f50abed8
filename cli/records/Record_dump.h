// Record_dump: prints the contents of a record file or of a container's file.
#ifndef ZANDREL_CLI_RECORDS_RECORD_DUMP_H_
#define ZANDREL_CLI_RECORDS_RECORD_DUMP_H_

#include <ostream>

#include <nlohmann/json_fwd.hpp>

#include "cli/records/Record_file.h"

namespace cli {

// Prints header, index, items by key, and holes. For a container's file it prints the kind of each
// item and the checksums of the seal instead of holes. A problem is printed after its item or hole.
void print_record_dump(const Record_file& file, std::ostream& out);
// The same as an object of `file`, `size`, `header`, `index`, `items` and `holes`; for a package
// `container` and `seal` instead of `holes`. Keys are shown as in the table; an item or hole with a
// problem has a `problem`.
nlohmann::ordered_json record_dump_json(const Record_file& file);

}  // namespace cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_DUMP_H_
