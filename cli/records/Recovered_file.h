// Recovered_file: writes the items that were recovered to a new file, and verifies it.
#ifndef ZANDREL_CLI_RECORDS_RECOVERED_FILE_H_
#define ZANDREL_CLI_RECORDS_RECOVERED_FILE_H_

#include <string>

#include "cli/records/File_window.h"
#include "cli/records/Record_recovery.h"

namespace zandrel::cli {

// Writes header, items and index over the file at `path`, then opens it as the library does and
// compares all items with those of the old file. The new file has no holes.
// RAISES: Output_error that names the old file, if the new one cannot be written or verified;
// Input_error.
// COST: at most one item is in memory at a time.
void write_recovered_file(File_window& old_file, const Record_recovery& recovery,
                          const std::string& path);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECOVERED_FILE_H_
