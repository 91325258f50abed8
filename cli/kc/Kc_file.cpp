#include "cli/kc/Kc_file.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/storage/HioErr.h"

#include "cli/data/Data_lines.h"
#include "cli/errors.h"
#include "cli/kc/Replacement_file.h"

namespace cli {

namespace {

// The library's device tells no reasons, so what can be told is told before it tries.
// RAISES: Input_error.
void check_readable(const std::string& path) {
    std::error_code unknown;
    const std::filesystem::file_status status = std::filesystem::status(path, unknown);
    if (std::filesystem::is_directory(status)) {
        throw Input_error(path, std::generic_category().message(EISDIR));
    }
    // Opening a pipe would wait for a writer, and a container is read in no order that a pipe has.
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw Input_error(path, "not a regular file");
    }
    open_data_file(path);
}

// An interruption is no failure of the file.
bool is_interruption(const qtxAll& error) {
    constexpr int kInterruption = 2;
    const auto* const raised = dynamic_cast<const qtX<zeWorkflow>*>(&error);
    return raised != nullptr && raised->number() == kInterruption;
}

// Returns what a seal that does not match means to a user, and what the library says of it.
std::string explained(const qtX<Kc_seal>& error) {
    const char* const sentence =
        error.number() == Kc_seal::kUnknownForm
            ? "the container is damaged, or was sealed by a later version of this program"
            : "the container is damaged: its bytes are not those that were sealed";
    return std::string(sentence) + " (" + error.what() + ")";
}

// Raises what is caught at the moment as an error of a file's contents.
[[noreturn]] void raise_as_data_error(const std::string& path) {
    try {
        throw;
    } catch (const qtX<HioErr>& error) {
        if (error.number() == HioErr::kOpenFailed) {
            throw Input_error(path, error.what());
        }
        throw Data_error(path, error.what());
    } catch (const qtX<Kc_seal>& error) {
        throw Data_error(path, explained(error));
    } catch (const qtxAll& error) {
        if (is_interruption(error)) {
            throw;
        }
        throw Data_error(path, error.what());
    }
}

void begin_phase(CTProgress* progress, const char* status) {
    if (progress != nullptr) {
        progress->SetStatus(status);
    }
}

// Writes the container to a file of that name, and seals it.
// RAISES: Output_error with what the system says, as long as it says anything.
void write(const std::string& path, const std::string& temporary, zeManager& manager,
           KcIoMode& mode, CTProgress* progress) {
    errno = 0;
    try {
        manager.Write(temporary, &mode, progress);
        Kc_seal::Write(temporary);
    } catch (const qtX<HioErr>& error) {
        throw Output_error(path, errno == 0 ? error.what() : reason_of_failure());
    } catch (const qtX<Hpack>& error) {
        throw Output_error(path, error.what());  // what was written is not there to be sealed
    }
}

}  // namespace

qtPtrLight<zeManager> read_kc(const std::string& path, CTProgress* progress) {
    check_readable(path);
    begin_phase(progress, "Reading the container");
    qtPtrLight<zeManager> manager(new zeManager);
    try {
        Kc_seal::Verify(path);  // Without a seal the file is read all the same.
        manager->Read(path, nullptr, progress);
    } catch (const qtxAll&) {
        raise_as_data_error(path);
    }
    return manager;
}

void write_kc(const std::string& path, zeManager& manager, bool compact, CTProgress* progress) {
    Replacement_file file(path);
    begin_phase(progress, "Writing the container");
    KcIoMode mode;
    mode.compact = compact || manager.m_compact;
    write(path, file.path(), manager, mode, progress);
    file.take_place();
}

}  // namespace cli
