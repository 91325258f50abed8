// Rebuilt_index: makes a damaged record file or package anew from the items that are in it.
#ifndef ZANDREL_CLI_RECORDS_REBUILT_INDEX_H_
#define ZANDREL_CLI_RECORDS_REBUILT_INDEX_H_

#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "cli/records/Record_check.h"
#include "cli/records/Record_recovery.h"
#include "text/kc/Kc_lock.h"

namespace zandrel::cli {

struct Rebuilt_index {
    std::string file;
    std::string old_file;  // the path that the old file has now; empty: the file is still there
    Record_recovery recovery;
    // Of a container: what is still wrong in the file that has the name now, with the offsets of
    // this file. Example: an item that is whole, but was only partly overwritten before a kill.
    std::vector<Record_problem> problems = {};
};

// Examines the file. If it has to be rebuilt, writes a new file beside it, verifies it, gives the
// old one a second name, and renames the new one to the name of the old one. The second name is the
// path of the file with ".bad", or ".bad2", ".bad3" ... if there is such a file already, so no
// older file is lost. If only the state bit is wrong, and index and items agree, clears the bit in
// place. A sound file does not change. Afterwards each record of a container is read: an
// item can be whole as an item of the file, and yet contain parts of two records.
//
// The file is locked meanwhile like a container that is changed. If a container in cached form has
// to change, readers of it keep this function from changing it (Kc_use). The new file has the
// attributes of the old one. After an error the old file is as it was.
// RAISES: what recover_records, write_recovered_file, Kc_lock, Kc_use and Replacement_file raise.
Rebuilt_index rebuild_index(const std::string& path, const Lock_wait& wait);

// A line for each part of the file that was not taken over as it was, "FILE: offset N: ...", lines
// about the whole file, then the result in words, and last the problems that remain.
void print_rebuilt_index(const Rebuilt_index& rebuilt, std::ostream& out);
// An object of `file`, `form`, `result` ("unchanged", "state cleared", "rebuilt"), `old_file` (null
// unless rebuilt), `items`, their number, `lost` (some items are known to be lost), `unsure` (items
// may be lost), `remarks`, a list of texts, `further_parts`, the number of parts that are not in
// the list because there are too many, and `parts`, a list of objects of `offset`, `size`, `key`,
// `text` and `lost`. If a size or key is not known, it is null. Also `problems`, a list of objects
// of `offset` and `text`.
nlohmann::ordered_json rebuilt_index_json(const Rebuilt_index& rebuilt);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_REBUILT_INDEX_H_
