// Kc_check: finds records of a container that cannot be read, and seals a container.
#ifndef ZANDREL_CLI_RECORDS_KC_CHECK_H_
#define ZANDREL_CLI_RECORDS_KC_CHECK_H_

#include <optional>
#include <string>

#include "cli/records/Record_check.h"
#include "cli/records/Record_file.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_use.h"

namespace zandrel::cli {

// Decodes every record of a container, and adds to `check`:
// - a problem for each record that cannot be read, with the node to which it belongs, and for each
//   item whose bytes have changed since the file was sealed;
// - a problem if the records can be read, but not together;
// - the items to which no record refers.
//
// The container is read as the commands read it, but never changed. So a container of version 1 in
// cached form, which the library upgrades when it opens it, is only decoded record by record. If
// the index or an item is damaged, or the index may be stale, the items are only compared with the
// seal. Does nothing for other files.
// REQUIRES: `check` is the result of check_record_file(file).
void check_kc_records(const Record_file& file, Record_check& check);

// A file that is read by check or dump. A container in cached form is changed in place, so it is
// locked as a reader locks it, until the object is destroyed.
struct Shared_file {
    // RAISES: what read_record_file raises; Input_error if another process changes the container.
    explicit Shared_file(const std::string& path);

    Record_file file;
    std::optional<Kc_use> use;  // none for other files
};

// Checks the file, as check_record_file, check_kc_records, check_archive_records and
// check_corpus_records do.
// RAISES: what Shared_file raises.
Record_check check_file(const std::string& path);

// As check_file, but without a lock. REQUIRES: the caller has locked the file.
Record_check check_locked_file(const std::string& path);

// Checks the container of a file, and seals it if it is clean and has no seal. A package is copied,
// and its sealed copy takes its place. A container in cached form may be too large for a copy, and
// gets the seal as one more item: if this is interrupted, `check` reports it, and no item is lost.
// Returns the check, whose `is_sealed_now` says whether the file has been sealed.
// RAISES: what read_record_file raises; Data_error if the file is no container, or one of version 1
// in cached form; what Kc_lock, Kc_use and Replacement_file raise; Output_error if the seal cannot
// be written.
Record_check check_and_seal(const std::string& path, const Lock_wait& wait = {});

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_KC_CHECK_H_
