// Reads and writes containers with the library, and turns its errors into those of the program.
// Reading verifies the seal first; writing uses Replacement_file, whose source has an example.
#include "text/kc/Kc_file.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HioErr.h"

#include "text/data/File_kind.h"
#include "text/errors.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Replacement_file.h"
#include "text/kc/stat_classifiers.h"

namespace zandrel {

namespace {

// In cached form the models are read later: stat_classifiers.h says where they are checked.
void require_usual_settings(const std::string& path, const zeManager& manager) {
    require_usual_resolution(path, manager.m_defaults.likelihood_resolution);
    for (const auto& [id, object] : manager.m_objects) {
        const auto* const storage = dynamic_cast<const zeStat_storage*>(object);
        if (storage != nullptr) {
            require_usual_resolution(path, storage->m_likelihood_resolution);
        }
    }
}

// RAISES: what read_kc raises.
qtPtrLight<zeManager> read_plain(const std::string& name, const std::string& path,
                                 bool for_classifying, CTProgress* progress) {
    zandrel::detail::Progress(progress).set_status("Reading the container");
    qtPtrLight<zeManager> manager(new zeManager);
    KcIoMode mode;
    mode.io_mode = KcIoMode::DIRECT_IO;
    // If its id is not that of a container, Read refuses the file in the same words for each use,
    // unless the seal is verified first. A file that cannot be read here is verified.
    const bool has_other_id = std::ifstream(path).good() && !begins_as_kc(path);
    mode.for_classifying = for_classifying && !has_other_id;
    errno = 0;
    try {
        if (!for_classifying && !has_other_id) {  // otherwise Read verifies the seal
            zandrel::Kc_seal::Verify(path);       // accepts a file without a seal
        }
        manager->Read(path, &mode, progress);
    } catch (const qtxAll&) {
        raise_as_read_error(name);
    }
    return manager;
}

// `name`: the file as the user named it, for messages.
// RAISES: what read_kc raises.
qtPtrLight<zeManager> read(const std::string& name, const std::string& path, bool for_classifying,
                           const Cache_bound& bound, CTProgress* progress) {
    const Kc_form form = form_of(path);
    refuse_other_kind(name, path, File_kind::kContainer);
    check_bound(name, form, bound);
    qtPtrLight<zeManager> manager = form == Kc_form::kCached
                                        ? open_cached(name, path, bound, for_classifying, progress)
                                        : read_plain(name, path, for_classifying, progress);
    require_usual_settings(name, *manager);
    return manager;
}

// Writes the container to the temporary file and seals it. `path` is for messages.
// RAISES: Output_error with the reason of the system, or, without one, with the text of the
// library.
void write_and_seal(const std::string& path, const std::string& temporary, zeManager& manager,
                    KcIoMode& mode, CTProgress* progress) {
    errno = 0;
    try {
        manager.Write(temporary, &mode, progress);
        zandrel::Kc_seal::Write(temporary);
    } catch (const qtX<HioErr>& error) {
        throw Output_error(path, errno == 0 ? error.what() : reason_of_failure());
    } catch (const qtX<Hpack>& error) {
        throw Output_error(path, error.what());  // sealing cannot read what was written
    }
}

// RAISES: what write_kc raises.
void write(const std::string& name, Replacement_file& file, zeManager& manager, bool compact,
           CTProgress* progress) {
    zandrel::detail::Progress(progress).set_status("Writing the container");
    KcIoMode mode;
    mode.compact = compact || manager.m_compact;
    write_and_seal(name, file.path(), manager, mode, progress);
    file.prepare();
}

}  // namespace

bool begins_as_kc(const std::string& path) {
    return read_kc_header(path).has_value();
}

void check_overwriting(const Target_file& target, bool replaces, const std::string& command) {
    target.check_replaceable();
    if (!target.status()) {
        return;
    }
    if (!begins_as_kc(target.path())) {
        throw Other_file(target.name(), "this is no knowledge container, and " + command +
                                            " replaces no other file");
    }
    if (!replaces) {
        throw Usage_error(shown_file(target.name()) +
                          " is a knowledge container already; --replace replaces it");
    }
}

qtPtrLight<zeManager> read_kc(const std::string& path, CTProgress* progress,
                              const Cache_bound& bound) {
    return read(path, path, false, bound, progress);
}

qtPtrLight<zeManager> read_kc_to_classify(const std::string& path, CTProgress* progress,
                                          const Cache_bound& bound) {
    return read(path, path, true, bound, progress);
}

qtPtrLight<zeManager> read_kc(const Kc_lock& lock, CTProgress* progress, const Cache_bound& bound) {
    const std::string& path = lock.target().path();
    if (form_of(path) == Kc_form::kPlain) {
        return read(lock.target().name(), path, false, bound, progress);
    }
    qtPtrLight<zeManager> manager = open_cached_to_change(lock, bound, progress);
    require_usual_settings(lock.target().name(), *manager);
    return manager;
}

void verify_seal(const std::string& path) {
    errno = 0;
    try {
        zandrel::Kc_seal::Verify(path);
    } catch (const qtxAll&) {
        raise_as_read_error(path);
    }
}

void write_kc(const std::string& path, zeManager& manager, bool compact, CTProgress* progress) {
    Replacement_file file(path);
    write(path, file, manager, compact, progress);
    file.take_place();
}

void write_kc(const Kc_lock& lock, zeManager& manager, bool compact, CTProgress* progress) {
    if (is_cached(manager)) {
        zandrel::detail::Progress(progress).set_status("Writing the container");
        close_cached(lock, manager);
        return;
    }
    Replacement_file file(lock);
    write(lock.target().name(), file, manager, compact, progress);
    file.take_place();
}

void write_replacement(const Kc_lock& lock, Replacement_file& file, zeManager& manager,
                       CTProgress* progress) {
    write(lock.target().name(), file, manager, false, progress);
}

}  // namespace zandrel
