// Opens the file of a container in either form, and reads or writes its identity (id, version and
// flags). The first four bytes differ between the forms, so AUTO_IO tries both.
#include "zandrel/persistence/zeIO.h"

#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include "zandrel/foundation/qtX.h"
#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/CachePack.h"
#include "zandrel/persistence/Kc_seal.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/Hio-inl.h"
#include "zandrel/storage/HioErr.h"

using zandrel::detail::kKcCompact;
using zandrel::detail::kKcFileId;
using zandrel::detail::kKcUnicode;
using zandrel::detail::kKcVersion;

namespace {

bool begins_as_package(const qtString& file) {
    try {
        Hio<Hfile64> io(new Hfile64);
        io.device->Open(file, 'r');
        unsigned int magic = 0;
        io >> magic;
        return magic == Hpack::kMagic;
    } catch (const qtxAll&) {
        return false;
    }
}

// Removes a file, so that a record file can be created in its place. A symbolic link remains, and
// its target is removed. Anything that is not a regular file is left for the open to refuse.
void remove_old_file(const qtString& file) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::canonical(file.str(), error);
    if (error || !std::filesystem::is_regular_file(target, error)) {
        return;
    }
    if (!std::filesystem::remove(target, error) && error) {
        HioErr::Raise(HioErr::kOpenFailed, "Cannot open file: " + file, file);
    }
}

// An upgrade reads the container into a manager. The manager that is being written has another
// content, so we use one that is only for the upgrade.
void upgrade_file(const qtString& file) {
    KcIoMode mode;
    mode.io_mode = KcIoMode::CACHED_IO;
    zeManager manager;
    manager.Read(file, &mode, nullptr);
}

}  // namespace

void zeIO::OpenRead(const qtString& file, KcIoMode& mode) {
    m_io_mode = KcIoMode::AUTO_IO;
    // An earlier write or load has set them. A flush of the cached form would leave out statistics.
    m_compact = false;
    m_for_classifying = false;
    if (mode.io_mode == KcIoMode::CACHED_IO) {
        OpenCached(file, mode);
    } else if (mode.io_mode == KcIoMode::DIRECT_IO) {
        OpenPlain(file, mode);
    } else if (mode.io_mode == KcIoMode::AUTO_IO) {
        std::exception_ptr plain_failure;
        try {
            OpenPlain(file, mode);
            return;
        } catch (const qtxAll&) {
            plain_failure = std::current_exception();
            m_pack.Abandon();
        }
        if (begins_as_package(file)) {
            std::rethrow_exception(plain_failure);
        }
        OpenCached(file, mode);
    }
}

void zeIO::OpenPlain(const qtString& file, KcIoMode& mode) {
    m_pack.Open(file, 'r');
    IdentifyPlain(mode);
    mode.io_mode = KcIoMode::DIRECT_IO;
    m_io_mode = KcIoMode::DIRECT_IO;
}

// A load for classifying keeps parts of records unread, so damage there would be found late or
// never. Therefore we verify the seal first.
void zeIO::IdentifyPlain(KcIoMode& mode) {
    if (mode.for_classifying) {
        zandrel::Kc_seal::Verify(m_pack);
    }
    ReadIdentity(false, mode.compact_read, mode.unicode, mode.version);
    m_manager->m_version = static_cast<unsigned short>(m_version);
    m_for_classifying = mode.for_classifying;
}

void zeIO::OpenCached(const qtString& file, KcIoMode& mode) {
    try {
        MakeCache(file, mode, false, mode.read_only);
        ReadIdentity(true, mode.compact_read, mode.unicode, mode.version);
        mode.io_mode = KcIoMode::CACHED_IO;
        m_io_mode = KcIoMode::CACHED_IO;
        if (m_version < kKcVersion && !m_keeps_version) {
            mode.read_only = false;
            m_cache_pack->Open(file, false, false);
            UpgradeOpened(mode);
        }
        m_read_only = mode.read_only;
        m_manager->m_version = static_cast<unsigned short>(m_version);
        m_for_classifying = mode.for_classifying;
    } catch (...) {
        AbandonCache();
        throw;
    }
}

// Makes the cache and opens the file.
void zeIO::MakeCache(const qtString& file, const KcIoMode& mode, bool create, bool read_only) {
    if (mode.cache_size == 0) {
        throw qtX<zeIO>(0, "Invalid Cache Size");
    }
    m_cache = qtPtrLight<zeCache>(new zeCache(mode.cache_size));
    m_cache_pack = qtPtrLight<CachePack>(new CachePack);
    m_is_broken = false;
    m_cache_pack->Open(file, create, read_only);
}

void zeIO::OpenWrite(const qtString& file, KcIoMode& mode) {
    mode.read_only = false;
    m_read_only = false;
    m_compact = mode.compact;
    if (mode.io_mode == KcIoMode::AUTO_IO && m_manager->ReadOnDemand() != 0) {
        mode.io_mode = KcIoMode::CACHED_IO;
    }
    if (mode.io_mode == KcIoMode::CACHED_IO) {
        OpenWriteCached(file, mode);
        return;
    }
    mode.io_mode = KcIoMode::DIRECT_IO;
    m_io_mode = KcIoMode::DIRECT_IO;
    m_pack.Open(file, 'w');
    WriteIdentity(false);
}

// A reader of the cached form cannot find out that a container is compact, except by its flag. So a
// compact container gets the flag whenever it is written in this form.
void zeIO::OpenWriteCached(const qtString& file, KcIoMode& mode) {
    m_io_mode = KcIoMode::CACHED_IO;
    m_compact = mode.compact || m_manager->m_compact;
    try {
        if (mode.create && mode.cache_size != 0) {
            remove_old_file(file);
        }
        MakeCache(file, mode, mode.create, mode.read_only);
        if (mode.create) {
            WriteIdentity(true);
            return;
        }
        ReadIdentity(true, mode.compact_read, mode.unicode, mode.version);
        if (m_version < kKcVersion) {
            AbandonCache();
            upgrade_file(file);
            MakeCache(file, mode, false, false);
            KcIoMode upgraded;  // `mode` keeps what was found before the upgrade
            ReadIdentity(true, upgraded.compact_read, upgraded.unicode, upgraded.version);
        }
    } catch (...) {
        AbandonCache();
        throw;
    }
}

// A new file has no Unicode flag.
void zeIO::WriteIdentity(bool cached) {
    const unsigned char flags = m_compact ? kKcCompact : 0;
    if (cached) {
        m_cache_pack->SetFileID(kKcFileId, kKcVersion, flags);
    } else {
        m_pack.SetFileID(kKcFileId, kKcVersion, flags);
    }
    m_version = kKcVersion;
}

void zeIO::ReadIdentity(bool cached, bool& compact, bool& unicode, unsigned short& version) {
    unsigned char flags = 0;
    unsigned int id = 0;
    bool is_bad = false;
    if (cached) {
        m_cache_pack->GetFileID(id, version, flags);
    } else {
        m_pack.GetFileID(id, version, flags, is_bad);
    }
    if (is_bad || id != kKcFileId) {
        throw qtX<zeIO>(1, "Not a kc file");
    }
    if (version != 1 && version != kKcVersion) {
        throw qtX<zeIO>(2, "Invalid version in kc file", {qtString(std::to_string(version))});
    }
    if (version == kKcVersion && cached && m_cache_pack->IsStale()) {
        throw qtX<zeIO>(8, "KB index is not synchronized (Run RebuildIndex Utility)");
    }
    m_version = version;
    compact = (flags & kKcCompact) != 0;
    m_compact_read = compact;
    unicode = (flags & kKcUnicode) != 0;
}
