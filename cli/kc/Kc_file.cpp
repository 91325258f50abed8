#include "cli/kc/Kc_file.h"

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HioErr.h"

#include "cli/data/Data_lines.h"
#include "cli/errors.h"
#include "cli/kc/Kc_damage.h"
#include "cli/kc/Replacement_file.h"
#include "cli/model/Engine_settings.h"

namespace cli {

namespace {

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

// A greater resolution takes memory for each category that is added, and can make a file that
// nobody can read again. The library takes it, the program does not.
void require_usual_resolution(const std::string& path, int resolution) {
    const std::string problem =
        setting_problem("LikelihoodHistogramResolution", std::to_string(resolution));
    if (!problem.empty()) {
        throw Data_error(path,
                         "the container is damaged, or is of another program (" + problem + ")");
    }
}

void require_usual_settings(const std::string& path, const zeManager& manager) {
    require_usual_resolution(path, manager.m_defaults.likelihood_resolution);
    for (const auto& [id, object] : manager.m_objects) {
        const auto* const storage = dynamic_cast<const zeStat_storage*>(object);
        if (storage != nullptr) {
            require_usual_resolution(path, storage->m_likelihood_resolution);
        }
    }
}

// As the file has it: the highest byte first.
std::string bytes_of(std::uint32_t number) {
    constexpr unsigned int kByteBits = 8;
    std::string bytes;
    for (unsigned int shift = 4 * kByteBits; shift > 0; shift -= kByteBits) {
        bytes.push_back(static_cast<char>(number >> (shift - kByteBits)));
    }
    return bytes;
}

}  // namespace

// The library's device gives no reasons, so what can be found out is found out before it tries.
void check_readable(const std::string& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::none) {
        throw Input_error(path, error.message());
    }
    if (std::filesystem::is_directory(status)) {
        throw Input_error(path, std::generic_category().message(EISDIR));
    }
    // Opening a pipe would wait for a writer, and a container is read in no order that a pipe has.
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw Input_error(path, "not a regular file");
    }
    open_data_file(path);
}

bool begins_as_kc(const std::string& path) {
    check_readable(path);
    const std::string wanted = bytes_of(Hpack::kMagic) + bytes_of(Zandrel::kKcFileId);
    std::ifstream file = open_data_file(path);
    std::string start(wanted.size(), '\0');
    errno = 0;
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    if (file.bad()) {
        throw Input_error(path, reason_of_failure());
    }
    return file.gcount() == static_cast<std::streamsize>(wanted.size()) && start == wanted;
}

qtPtrLight<zeManager> read_kc(const std::string& path, CTProgress* progress) {
    check_readable(path);
    begin_phase(progress, "Reading the container");
    qtPtrLight<zeManager> manager(new zeManager);
    errno = 0;
    try {
        Kc_seal::Verify(path);  // Without a seal the file is read all the same.
        manager->Read(path, nullptr, progress);
    } catch (const qtxAll&) {
        raise_as_read_error(path);
    }
    require_usual_settings(path, *manager);
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
