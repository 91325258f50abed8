// Kc_file: reads and writes knowledge containers as files, with errors for users.
#ifndef ZANDREL_TEXT_KC_KC_FILE_H_
#define ZANDREL_TEXT_KC_KC_FILE_H_

#include <string>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"

#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_header.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Replacement_file.h"

class zeManager;

namespace zandrel {

// Returns whether the file begins like a container of any form (read_kc_header).
bool begins_as_kc(const std::string& path);

// Refuses to overwrite a file that is not a container, and a container unless `replaces`. A file
// that does not exist is no error. `command`: for the message.
// RAISES: Data_error; Usage_error; Input_error; what Target_file::check_replaceable raises.
void check_overwriting(const Target_file& target, bool replaces, const std::string& command);

// Reads the knowledge container of a file. If it is a plain one, its seal is verified, if there is
// one. If it is in cached form, its file is open for reading while the manager exists
// (open_cached), with at most `bound` statistical classifiers in memory. `progress` may be null.
// RAISES: Input_error for a file that cannot be opened or read; Data_error that names the file if
// it is not a container or is damaged, also if its seal does not match; Usage_error for a bound
// that is given for a plain container; qtX<zeWorkflow> 2 for an interruption.
qtPtrLight<zeManager> read_kc(const std::string& path, CTProgress* progress,
                              const Cache_bound& bound = {});
// The same for a container that is only used to classify. Data that only learning needs is read and
// checked later, when something needs it (zeStat_storage::complete).
qtPtrLight<zeManager> read_kc_to_classify(const std::string& path, CTProgress* progress,
                                          const Cache_bound& bound = {});
// Reads the container of a lock to change it. Otherwise like the first read_kc. In cached form the
// file is open for writing (open_cached_to_change).
qtPtrLight<zeManager> read_kc(const Kc_lock& lock, CTProgress* progress,
                              const Cache_bound& bound = {});

// Verifies the seal of a container, if there is one. Reading a plain one does that already, and
// reading one in cached form does not.
// RAISES: Input_error; Data_error.
void verify_seal(const std::string& path);

// Writes a container in place of the file, or leaves the file as it is: a new file is written
// beside it, sealed, flushed to the disk, and renamed (Replacement_file). `progress` may be null. A
// container that is compact already stays so.
// RAISES: Output_error that names the file; qtX<zeWorkflow> 2 for an interruption. No new file is
// left after an error.
void write_kc(const std::string& path, zeManager& manager, bool compact, CTProgress* progress);
// The same for the container of a lock. A container that is open in cached form is changed in place
// instead (close_cached), and `compact` does not matter.
// RAISES: also Output_error if the file has been changed since the lock, or if its name leads to
// another file.
void write_kc(const Kc_lock& lock, zeManager& manager, bool compact, CTProgress* progress);

// The first part of the function above for a plain container: writes and seals the new file and
// brings it to the disk. Replacement_file::take_place does the rest, after the caller has changed
// another file that belongs to the container.
// RAISES: Output_error; qtX<zeWorkflow> 2.
void write_replacement(const Kc_lock& lock, Replacement_file& file, zeManager& manager,
                       CTProgress* progress);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_FILE_H_
