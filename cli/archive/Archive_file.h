// Archive_file: opens and makes the files of message archives, with errors for users.
#ifndef ZANDREL_CLI_ARCHIVE_ARCHIVE_FILE_H_
#define ZANDREL_CLI_ARCHIVE_ARCHIVE_FILE_H_

#include <cerrno>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "zandrel/archive/zeSmlArchive.h"
#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/AbstractHreclaim.h"

#include "cli/kc/Kc_lock.h"
#include "cli/kc/Kc_use.h"
#include "cli/kc/Kept_analysis.h"
#include "cli/text/Text_analysis.h"

namespace cli {

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

// An archive that is open to be changed, in place. Only one process can do that at a time. A file
// of version 1 is upgraded before: a copy is upgraded, which then takes the place of the file.
class Archive_to_change {
public:
    // RAISES: what Archive_to_read and Kc_lock raise; Output_error.
    Archive_to_change(const std::string& name, const Lock_wait& wait);
    Archive_to_change(const Archive_to_change&) = delete;
    Archive_to_change& operator=(const Archive_to_change&) = delete;

    const std::string& name() const { return m_lock.target().name(); }

    zeSmlArchive& archive() { return m_archive; }

    // RAISES: Data_error for an analysis that this program does not know.
    std::optional<Analysis_settings> analysis();
    // Writes all changes, closes the file and notes the change (note_change).
    // RAISES: Output_error; the file is then marked.
    void close();

private:
    Kc_lock m_lock;
    std::optional<Kc_use> m_use;
    zeSmlArchive m_archive;
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

// Makes an archive without messages. The file is complete before it gets its name.
// RAISES: Usage_error for a file that exists; Output_error; what Kc_lock raises.
void create_archive(const New_archive& options, const Lock_wait& wait);

// The analysis for texts of an archive: the one that it keeps, or else the given one.
// RAISES: Usage_error if both differ; Data_error without any.
Analysis_settings analysis_of_archive(const std::string& name,
                                      const std::optional<Analysis_settings>& kept,
                                      const Given_analysis& given);

}  // namespace cli

#endif  // ZANDREL_CLI_ARCHIVE_ARCHIVE_FILE_H_
