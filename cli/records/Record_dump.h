// Record_dump: prints the contents of a record file or of a container's file.
#ifndef ZANDREL_CLI_RECORDS_RECORD_DUMP_H_
#define ZANDREL_CLI_RECORDS_RECORD_DUMP_H_

#include <cstddef>
#include <limits>
#include <ostream>

#include <nlohmann/json_fwd.hpp>

#include "cli/records/Kc_records.h"
#include "cli/records/Record_file.h"

namespace zandrel::cli {

struct Archive_facts;

// How much of a file is shown.
struct Dump_extent {
    std::size_t most = std::numeric_limits<std::size_t>::max();  // items, and also holes
    // BORROWS: the records of a container or corpus; null: not decoded
    const Kc_records* records = nullptr;
    const Archive_facts* archive = nullptr;  // BORROWS: of an archive; null: not decoded
};

// Prints header, index, items by key, and holes, which a package does not have. For a container,
// corpus or archive it also prints the contents of each item; for a container the checksums of the
// seal; for an archive the figures of its summary. A problem is printed after its item or hole.
void print_record_dump(const Record_file& file, std::ostream& out, const Dump_extent& extent = {});
// The same as an object of `file`, `size`, `header`, `index`, `items` and `holes`, which a package
// does not have; for a container also `container` and `seal`; for an archive `archive`; for a
// corpus `corpus`, which is true. Keys are shown as in the table. An item of a container has its
// sizes as numbers, `node` if it belongs to one, and `referenced`, which is false, if no record
// refers to it. An item or hole with a problem has a `problem`. If not all items or holes are
// shown, `items_left_out` and
// `holes_left_out` are the numbers of the others.
nlohmann::ordered_json record_dump_json(const Record_file& file, const Dump_extent& extent = {});

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_DUMP_H_
