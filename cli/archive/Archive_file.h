// Archive_file: opens and makes the files of message archives, with errors for users.
#ifndef ZANDREL_CLI_ARCHIVE_ARCHIVE_FILE_H_
#define ZANDREL_CLI_ARCHIVE_ARCHIVE_FILE_H_

#include <cerrno>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/AbstractHreclaim.h"

#include "cli/archive/Deferred_archive.h"
#include "text/analysis/Text_analysis.h"
#include "text/kc/Kc_lock.h"
#include "text/kc/Kc_use.h"
#include "text/kc/Kept_analysis.h"

namespace zandrel::cli {

// The item of an archive's file with the text analysis: its name, and after a line end the language
// of the stemmer, if words are stemmed.
inline constexpr const char* kArchiveAnalysisKey = "zandrel.analysis";
// The pair of a message with its external id, which the library writes.
inline constexpr const char* kIdPair = "_ExternalId";

// The header of a file that begins like an archive.
struct Archive_header {
    bool is_wide = false;  // offsets of 8 bytes
    unsigned int version = 0;
};

// A record file that is not open yet.
std::unique_ptr<AbstractHreclaim> new_record_file(bool is_wide);

// Returns nothing for a file that begins like no archive.
// RAISES: Input_error for a file that cannot be opened.
std::optional<Archive_header> read_archive_header(const std::string& path);

// Call these in a handler. The first is for an archive that is only read, the second for one that
// is changed.
// RAISES: Data_error for errors of the archive and for damage; Input_error or Output_error for
// errors of the system; other errors and interruptions unchanged.
[[noreturn]] void raise_as_archive_read_error(const std::string& name);
[[noreturn]] void raise_as_archive_write_error(const std::string& name);

// Does a work with an archive that is open to be changed.
// RAISES: what raise_as_archive_write_error raises.
template <class Work>
decltype(auto) with_archive_errors(const std::string& name, Work&& work) {
    errno = 0;
    try {
        return std::forward<Work>(work)();
    } catch (const qtxAll&) {
        raise_as_archive_write_error(name);
    }
}

// An archive that is open for reading. Nothing is written, also not to a file of version 1. No
// other process can change the file before the object is destroyed.
class Archive_to_read {
public:
    // RAISES: Input_error; Data_error for a file that is no archive, is damaged or marked.
    explicit Archive_to_read(const std::string& name);
    Archive_to_read(const Archive_to_read&) = delete;
    Archive_to_read& operator=(const Archive_to_read&) = delete;

    const std::string& name() const { return m_name; }

    const zeSmlArchive& archive() const { return m_archive; }

    bool is_wide() const { return m_header.is_wide; }

    // RAISES: Data_error for a message that cannot be read.
    void read(unsigned int number, zeMsg& msg);
    // RAISES: Data_error for an analysis that this program does not know.
    std::optional<Analysis_settings> analysis();

private:
    std::string m_name;
    Kc_use m_use;
    Archive_header m_header;
    zeSmlArchive m_archive;
};

// True if the archive belongs to a container: one was trained from it.
bool is_bound(const SmlArchiveManager& summary);

// If the message that was learned last is no longer in the archive, the library learns all messages
// again. So the newest one before it takes its place. If there is none, nothing changes: all
// messages of the archive are new then, and the number still says how many have arrived since.
// Returns whether the place has changed.
bool keep_place_of_learning(SmlArchiveManager& summary);

// When the changes of an archive are written.
enum class Archive_writes {
    kTogether,        // by Archive_to_change::close; before that, the file does not change
    kMessagesAtOnce,  // new messages at once, so that they need no memory; the summary by `close`
};

// An archive that is open to be changed, in place. Only one process can do that at a time. A file
// of version 1 is upgraded before: a copy is upgraded, which then takes the place of the file.
class Archive_to_change {
public:
    // RAISES: what Archive_to_read and Kc_lock raise; Output_error; Data_error for a summary in
    // which locks or external ids cannot be right (problem_of_numbers).
    Archive_to_change(const std::string& name, const Lock_wait& wait,
                      Archive_writes writes = Archive_writes::kTogether);
    Archive_to_change(const Archive_to_change&) = delete;
    Archive_to_change& operator=(const Archive_to_change&) = delete;
    // Without `close`: messages that were written at once get their entries. Other changes are
    // lost.
    ~Archive_to_change();

    const std::string& name() const { return m_lock.target().name(); }

    zeSmlArchive& archive() { return m_archive; }

    // RAISES: Data_error for an analysis that this program does not know.
    std::optional<Analysis_settings> analysis();
    // Writes all changes, closes the file, notes the change (note_change), and brings it to the
    // disk.
    // RAISES: Output_error; if the change was not noted, the file is marked.
    void close();

    // The rest is for a change of two files, and only for Archive_writes::kTogether. Each function
    // that writes also brings the change to the disk.

    // The record of the summary that the file has.
    // RAISES: Output_error; Data_error.
    SegBuf stored_summary();

    // Returns whether messages are to be written or deleted.
    bool has_messages_to_write() const { return m_file->has_messages_to_write(); }

    // Writes all changes.
    // RAISES: Output_error; the file is then marked.
    void write();
    // Writes the stored summary with a change, and nothing else.
    // RAISES: Output_error; the file is then marked, and has the old summary or the new one.
    void write_first(SegBuf& stored, const std::function<void(SmlArchiveManager& summary)>& change);
    // Writes this summary, and forgets all changes.
    // RAISES: Output_error.
    void take_back(const SegBuf& stored);

private:
    void bring_before_unmarking();
    void end_on_disk();
    void write_to_disk();
    void write_summary(const SegBuf& summary);

    Kc_lock m_lock;
    std::optional<Kc_use> m_use;
    zeSmlArchive m_archive;
    Archive_writes m_writes;
    Deferred_archive* m_file = nullptr;  // BORROWS: of `m_archive`; null: closed
    std::exception_ptr m_failure;        // of the first of two attempts to reach the disk
};

// Changes a copy of the file, which then takes its place: the change is made as a whole or not at
// all. `change` gets the open copy.
// RAISES: what Archive_to_change raises; Output_error; what `change` raises.
void change_copy(const std::string& name, const Lock_wait& wait,
                 const std::function<void(zeSmlArchive& archive)>& change);

struct New_archive {
    std::string name;
    bool is_wide = true;
    Analysis_settings analysis = {};
    std::optional<unsigned int> reserved_size = std::nullopt;
    std::optional<unsigned int> minimal_size = std::nullopt;
    std::optional<double> age_ratio = std::nullopt;
};

// Makes an archive without messages, whose first message gets the number 1. The file is complete
// before it gets its name. RAISES: Usage_error for a file that exists; Output_error; what Kc_lock
// raises.
void create_archive(const New_archive& options, const Lock_wait& wait);

// The analysis for texts of an archive: the one that it keeps, or else the given one.
// RAISES: Usage_error if both differ; Data_error without any.
Analysis_settings analysis_of_archive(const std::string& name,
                                      const std::optional<Analysis_settings>& kept,
                                      const Given_analysis& given);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_ARCHIVE_ARCHIVE_FILE_H_
