// How a file that is changed in place stays usable.
//
// The library writes a changed classifier when another one needs its place in memory, and
// everything else at a flush. From the first write to the end of the flush the file is marked: if
// the process dies, the next one refuses the file and names `zandrel rebuild-index`.
//
// Example: learning 100 texts into a container with the classifiers A, B and C, with a bound of 2.
//
//   open_cached_to_change   locks the file; nothing is written
//   A learns, B learns      both are changed, in memory only
//   C is read               A is written: the file is marked from here on
//   C learns                Ctrl-C comes here
//   end_cached_change       C is dropped, since it has learned only a part of the texts; B is
//                           written, then the records of the tree and the index; the mark is
//                           removed
//
// So each classifier has learned all texts or none of them. If Ctrl-C comes while A learns, nothing
// has been written, and the file stays as it was.
#include "text/kc/Cached_kc.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "zandrel/classification/zeSwitcher.h"
#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/Progress.h"
#include "zandrel/knowledge/zeBase.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/knowledge/zeNode.h"
#include "zandrel/knowledge/zePhysicalTree.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/zeCache.h"
#include "zandrel/persistence/zeIO.h"
#include "zandrel/statistics/zeStat_matcher.h"
#include "zandrel/statistics/zeStat_storage.h"
#include "zandrel/storage/HioErr.h"

#include "text/errors.h"
#include "text/kc/Descriptor.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_use.h"
#include "text/kc/Target_file.h"
#include "text/kc/unfinished_files.h"
#include "text/wording/Shell_text.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

constexpr const char* kPartIsInFile =
    "; the file has a part of the change, and zandrel rebuild-index recovers what is whole";

// A manager with the lock of its file. Unless the file was closed, nothing more is written when the
// manager is destroyed.
class Locked_manager : public zeManager {
public:
    explicit Locked_manager(std::unique_ptr<Kc_use> use) : m_use(std::move(use)) {}

    Locked_manager(const Locked_manager&) = delete;
    Locked_manager& operator=(const Locked_manager&) = delete;

    ~Locked_manager() {
        if (!m_io.IsNull()) {
            m_io->m_read_only = true;
        }
        Release();  // closes the file before the lock is released
    }

private:
    std::unique_ptr<Kc_use> m_use;
};

qtPtrLight<zeManager> open_locked(const std::string& name, const std::string& path,
                                  std::unique_ptr<Kc_use> use, KcIoMode mode,
                                  CTProgress* progress) {
    zandrel::detail::Progress(progress).set_status("Reading the container");
    check_cached_version(name, path);
    qtPtrLight<zeManager> manager(new Locked_manager(std::move(use)));
    mode.io_mode = KcIoMode::CACHED_IO;
    errno = 0;
    try {
        manager->Read(path, &mode, progress);
    } catch (const qtxAll&) {
        raise_as_read_error(name);
    }
    return manager;
}

int descriptor_of(const CachePack& pack) {
    return ::fileno(pack.io.device->file);
}

bool is_same_file(int left, int right) {
    struct stat first = {};
    struct stat second = {};
    return ::fstat(left, &first) == 0 && ::fstat(right, &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// RAISES: Output_error if the name leads to another file than the open one.
void check_name_leads_to_file(const Kc_lock& lock, const zeManager& manager) {
    lock.target().check_link();
    if (!is_file_at(lock.target().path(), descriptor_of(*manager.m_io->m_cache_pack))) {
        lock.target().fail("the file has been changed by something else meanwhile");
    }
}

// Writes the changes. No signal may end the process meanwhile, since the file would be marked.
void flush(const Kc_lock& lock, zeManager& manager, bool closes) {
    const Held_back_signals held_back;
    errno = 0;
    with_write_errors(lock.target().name(), manager,
                      [&] { manager.m_io->FlushCache(closes, nullptr); });
}

bool is_marked(const zeManager& manager) {
    return manager.m_io->m_cache_pack->IsStale();
}

bool has_changed_objects(const zeManager& manager) {
    for (const auto& [id, object] : manager.m_objects) {
        if (object->m_dirty) {
            return true;
        }
    }
    return false;
}

// The classifier that was used last may have been changed in part. Its item in the file is whole.
void drop_last_used(zeManager& manager) {
    const qtPtrLight<zeCache> cache = manager.m_io->m_cache;
    if (!cache->lru.empty()) {
        zeNode* const node = cache->lru.front();
        manager.m_io->RemoveFromCache(node);
        manager.m_physical_tree->release_classifier(node, nullptr);
    }
}

bool is_interruption(const qtX<zeWorkflow>& error) {
    constexpr int kInterruption = 2;
    return error.number() == kInterruption;
}

}  // namespace

bool is_cached(const zeManager& manager) {
    return manager.ReadOnDemand() != 0;
}

void check_bound(const std::string& name, Kc_form form, const Cache_bound& bound,
                 const std::string& option) {
    if (form != Kc_form::kCached && bound.given) {
        throw Usage_error(option + " is for containers in cached form, and " + shown_file(name) +
                          " is a plain one");
    }
}

void check_cached_version(const std::string& name, const std::string& path) {
    const std::optional<Kc_header> header = read_kc_header(path);
    if (header && is_old_cached(*header)) {
        throw Data_error(name, "this cached container is of version " +
                                   std::to_string(header->version) + "; zandrel convert " +
                                   shell_text(name) +
                                   " NEW, with --cached or --plain, writes it in version 2");
    }
}

qtPtrLight<zeManager> open_cached(const std::string& name, const std::string& path,
                                  const Cache_bound& bound, bool for_classifying,
                                  CTProgress* progress) {
    KcIoMode mode;
    mode.cache_size = bound.value();
    mode.for_classifying = for_classifying;
    return open_locked(name, path, std::make_unique<Kc_use>(name, path), mode, progress);
}

qtPtrLight<zeManager> open_cached_to_change(const Kc_lock& lock, const Cache_bound& bound,
                                            CTProgress* progress) {
    KcIoMode mode;
    mode.cache_size = bound.value();
    mode.read_only = false;
    return open_locked(lock.target().name(), lock.target().path(), std::make_unique<Kc_use>(lock),
                       mode, progress);
}

void move_to_cached_file(const std::string& name, Replacement_file& file, zeManager& manager,
                         const Cache_bound& bound) {
    KcIoMode written;
    written.io_mode = KcIoMode::CACHED_IO;
    KcIoMode opened;
    opened.io_mode = KcIoMode::CACHED_IO;
    opened.cache_size = bound.value();
    opened.read_only = false;
    with_errors_of_new_file(name, [&] {
        file.remake([&] { manager.Write(file.path(), &written, nullptr); });
        manager.Read(file.path(), &opened, nullptr);
    });
}

void take_place_cached(const std::string& name, Replacement_file& file, zeManager& manager) {
    manager.m_modified = true;  // the analysis and the choices are kept in the manager's record
    with_errors_of_new_file(name, [&] {
        manager.m_io->FlushCache(true, nullptr);
        zandrel::Kc_seal::Write(file.path());
    });
    file.take_place();
}

void reopen_cached(zeManager& manager) {
    if (!is_cached(manager)) {
        return;
    }
    zeIO& io = *manager.m_io;
    const qtString name = io.CacheFile();
    qtPtrLight<CachePack> own(new CachePack);
    own->Open(name, false, true);
    if (!is_same_file(descriptor_of(*own), descriptor_of(*io.m_cache_pack))) {
        throw Input_error(name.str(), "the file has been replaced by something else meanwhile");
    }
    // Closing the old one would move the position of the parent's file.
    static auto* const left_open = new std::vector<qtPtrLight<CachePack>>;
    left_open->push_back(io.m_cache_pack);
    io.m_cache_pack = own;
}

void flush_cached(const Kc_lock& lock, zeManager& manager) {
    if (is_cached(manager)) {
        check_name_leads_to_file(lock, manager);
        flush(lock, manager, false);
    }
}

void close_cached(const Kc_lock& lock, zeManager& manager) {
    check_name_leads_to_file(lock, manager);
    const Held_back_signals held_back;
    flush(lock, manager, true);
    note_change(shown_file(lock.target().name()));
    bring_changes_to_disk(lock);
}

void bring_changes_to_disk(const Kc_lock& lock) {
    const Descriptor file(::open(lock.target().path().c_str(), O_RDONLY | O_CLOEXEC));
    // Some file systems cannot do this.
    if (!file.is_open() || (::fsync(file.number()) != 0 && errno != EINVAL && errno != ENOTSUP)) {
        lock.target().fail();
    }
}

void raise_as_write_error(const std::string& name, const zeManager& manager) {
    const int reason = errno;
    try {
        throw;
    } catch (const qtX<HioErr>& error) {
        if (!is_cached(manager) || error.number() != HioErr::kWriteFailed) {
            throw;
        }
        const std::string text =
            reason == 0 ? std::string(error.what()) : std::generic_category().message(reason);
        throw Output_error(name, text + (is_marked(manager) ? kPartIsInFile : ""));
    }
}

void end_cached_change(const Kc_lock& lock, zeManager& manager, const std::string& advice) {
    try {
        throw;
    } catch (const Output_error&) {
        throw;  // the next write would fail too
    } catch (const qtX<zeWorkflow>& error) {
        if (!is_interruption(error) || manager.m_io->m_read_only) {
            throw;  // Deferred_writes has written nothing
        }
        drop_last_used(manager);
        if (!is_marked(manager) && !has_changed_objects(manager) && !lock.has_changed()) {
            throw;
        }
        check_name_leads_to_file(lock, manager);
        flush(lock, manager, true);
        bring_changes_to_disk(lock);
        throw Partial_change(std::string(error.what()) + "; " + shown_file(lock.target().name()) +
                             " contains the part of the change that was done" + advice);
    } catch (...) {
        if (is_marked(manager)) {
            drop_last_used(manager);
            close_cached(lock, manager);
        }
        throw;
    }
}

}  // namespace zandrel
