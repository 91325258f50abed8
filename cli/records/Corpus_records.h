// Corpus_records: the records of a corpus file, each decoded by itself.
#ifndef ZANDREL_CLI_RECORDS_CORPUS_RECORDS_H_
#define ZANDREL_CLI_RECORDS_CORPUS_RECORDS_H_

#include <optional>
#include <string>
#include <vector>

#include "cli/records/Kc_records.h"
#include "cli/records/Record_check.h"
#include "cli/records/Record_file.h"
#include "cli/records/Record_recovery.h"

namespace zandrel::cli {

// Returns whether the header has the magic number of 64-bit record files and the id of corpora.
bool is_corpus(const Record_header& header);

// Returns the kind of an item, by its key: "message, number 7", "GlobalInfo", "ZqeInfo" or
// "unknown".
std::string contents_of_corpus_item(const std::string& key);

// Returns whether a file is a corpus whose index was read and is current.
bool has_usable_corpus_records(const Record_file& file);

// Decodes the wanted records of a corpus, of either version, with the library's own readers. The
// file is not changed. Only the records that are wanted are in the result.
// REQUIRES: has_usable_corpus_records.
Kc_records read_corpus_records(const Record_file& file, const Wanted_records& is_wanted);

// Adds to `check` a problem for each record of a corpus that cannot be read, for each missing
// record, and for a version that the library does not know. Does nothing for other files and for
// an index that is damaged or may be stale. REQUIRES: `check` is the result of
// check_record_file(file).
void check_corpus_records(const Record_file& file, Record_check& check);

// The remarks about a corpus that is not repaired yet, from the keys of its items: missing numbers
// and missing records. Empty for other files, and for a corpus that needs no repair.
std::vector<std::string> remarks_of_corpus_repair(const Record_recovery& recovery);

// Makes a corpus usable again that has lost messages or one of the two records of the application:
// the messages behind a missing number get lower numbers, and a missing record is written empty.
// Their order and their bytes remain. `path`: of a file with the items of `recovery`.
// RAISES: Output_error with `name`.
void repair_corpus(const Record_recovery& recovery, const std::string& name,
                   const std::string& path);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_CORPUS_RECORDS_H_
