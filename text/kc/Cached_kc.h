// Cached_kc: containers in cached form, whose files are open while they are in use, and which are
// changed in place.
#ifndef ZANDREL_TEXT_KC_CACHED_KC_H_
#define ZANDREL_TEXT_KC_CACHED_KC_H_

#include <cerrno>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HioErr.h"

#include "text/errors.h"
#include "text/kc/Kc_header.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Replacement_file.h"

class zeManager;

namespace zandrel {

// The greatest number of statistical classifiers of a container in cached form that are in memory
// at a time.
struct Cache_bound {
    static constexpr unsigned int kDefault = 20;

    std::optional<unsigned int> given = std::nullopt;  // at least 1

    unsigned int value() const { return given.value_or(kDefault); }
};

// An interruption has ended a change in place, and the file contains a part of the change.
class Partial_change : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Returns whether the container is open in cached form.
bool is_cached(const zeManager& manager);

// `option`: which gives the bound, for the message.
// RAISES: Usage_error if a bound is given, but the file has another form than the cached one.
void check_bound(const std::string& name, Kc_form form, const Cache_bound& bound,
                 const std::string& option = "--cached");

// `name`: the file as the user named it, for messages.
// RAISES: Data_error for a container in cached form of version 1; what read_kc_header raises.
void check_cached_version(const std::string& name, const std::string& path);

// Opens a container to read it. Nothing is written, and no other process can change the file before
// the manager is destroyed. The seal is not verified, since that reads the whole file.
// RAISES: Input_error; Data_error, also for a file of version 1, which an open would upgrade in
// place; qtX<zeWorkflow> 2.
qtPtrLight<zeManager> open_cached(const std::string& name, const std::string& path,
                                  const Cache_bound& bound, bool for_classifying,
                                  CTProgress* progress);
// Opens the container of a lock to change it. If the manager is destroyed before close_cached,
// nothing more is written.
// RAISES: also Output_error while another process reads the file.
qtPtrLight<zeManager> open_cached_to_change(const Kc_lock& lock, const Cache_bound& bound,
                                            CTProgress* progress);

// Opens the file once more, so that this process has its own position in it. Call this in a child
// process before it reads a classifier. Does nothing for a container in another form.
// RAISES: Input_error if the name leads to another file by now.
void reopen_cached(zeManager& manager);

// Works on a new file, of which nothing is kept after an error.
// RAISES: Output_error instead of an error of the file.
template <class Work>
void with_errors_of_new_file(const std::string& name, Work&& work) {
    errno = 0;
    try {
        std::forward<Work>(work)();
    } catch (const qtX<HioErr>& error) {
        throw Output_error(name, errno == 0 ? error.what() : reason_of_failure());
    }
}

// Writes a new container, which has learned nothing, to the file and opens it there. `name`: of the
// container that the file will replace, for messages. `bound`: given.
// RAISES: Output_error.
void move_to_cached_file(const std::string& name, Replacement_file& file, zeManager& manager,
                         const Cache_bound& bound);
// Writes all changes to that file, closes and seals it, and lets it take its place.
// RAISES: Output_error.
void take_place_cached(const std::string& name, Replacement_file& file, zeManager& manager);

// Writes all changes to the file, which stays open. Does nothing for another form.
// RAISES: Output_error.
void flush_cached(const Kc_lock& lock, zeManager& manager);
// Writes all changes, closes the file, notes the change (note_change) and brings it to the disk.
// The manager has no statistical classifiers afterwards. RAISES: Output_error, also if the name
// leads to another file by now.
void close_cached(const Kc_lock& lock, zeManager& manager);

// Waits until the contents of a file that was changed in place are on the disk.
// RAISES: Output_error.
void bring_changes_to_disk(const Kc_lock& lock);

// Call this in a handler of a qtX<HioErr>.
// RAISES: Output_error if the error is a failed write to a container in cached form; otherwise the
// same error.
[[noreturn]] void raise_as_write_error(const std::string& name, const zeManager& manager);

// Does a work that can write to the file of a container in cached form.
// REQUIRES: `errno` was 0 before.
template <class Work>
decltype(auto) with_write_errors(const std::string& name, const zeManager& manager, Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const qtX<HioErr>&) {
        raise_as_write_error(name, manager);
    }
}

// Call this in a handler of an error in a change of the container. If nothing has been written,
// the file stays as it was. Otherwise it keeps what has been done, without the classifier that was
// being changed. `advice`: the end of the message of Partial_change.
// RAISES: Partial_change instead of an interruption after which the file has changed; Output_error
// instead of a failed write; the same error otherwise.
[[noreturn]] void end_cached_change(const Kc_lock& lock, zeManager& manager,
                                    const std::string& advice);

// Does a change of a container that can write to the file before it is complete.
// RAISES: what `work` and end_cached_change raise.
template <class Work>
void change_in_place(const Kc_lock& lock, zeManager& manager, Work&& work,
                     const std::string& advice = "") {
    if (!is_cached(manager)) {
        std::forward<Work>(work)();
        return;
    }
    try {
        with_write_errors(lock.target().name(), manager, std::forward<Work>(work));
    } catch (...) {
        end_cached_change(lock, manager, advice);
    }
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_CACHED_KC_H_
