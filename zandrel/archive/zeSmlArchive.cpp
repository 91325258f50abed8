// The file of an archive: opening, creating, flushing, closing, and the upgrade of version 1.
//
// The order of writes lets a later open see that a process ended in between. For example, AddSml of
// one message followed by FlushArchive(true) writes:
//
//   1. bit 0 of the header's state: the file is marked     (FileToChange)
//   2. the message's record
//   3. the record of the summary
//   4. the index of the file, and its place in the header  (AbstractHreclaim::WriteIndex)
//   5. bit 0 of the state: the mark is removed
//
// A file without the mark therefore has the summary and all messages that the summary names.
#include "zandrel/archive/zeSmlArchive.h"

#include <exception>
#include <string>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/HreclaimCache.h"
#include "zandrel/storage/SegBuf.h"

namespace {

using zandrel::detail::kArchiveFileId;
using zandrel::detail::kArchiveSummaryKey;

constexpr unsigned short kFirstVersion = 1;

std::unique_ptr<AbstractHreclaim> NewFile(bool use_32_bit) {
    if (use_32_bit) {
        return std::make_unique<Hreclaim<Hfile32>>();
    }
    return std::make_unique<Hreclaim<Hfile64>>();
}

// Without anything that belongs to a file. The settings remain, since a new archive gets those that
// the caller has set.
SmlArchiveManager EmptySummary(const SmlArchiveManager& summary) {
    SmlArchiveManager empty;
    empty.cat_reserved_size = summary.cat_reserved_size;
    empty.cat_minimal_size = summary.cat_minimal_size;
    empty.age_ratio = summary.age_ratio;
    return empty;
}

[[noreturn]] void RaiseNotSynchronized() {
    throw qtX<zeSmlArchive>(10, "Archive index is not synchronized (Run RebuildIndex Utility)");
}

}  // namespace

zeSmlArchive::~zeSmlArchive() {
    try {
        CloseArchive();
    } catch (const std::exception& raised) {
        zandrel::detail::TraceLostChanges(archive_file->FileName(), raised.what());
    } catch (...) {  // A handler of assertions may raise anything.
        zandrel::detail::TraceLostChanges(archive_file->FileName(), "unknown exception");
    }
}

void zeSmlArchive::OpenArchive(const qtString& path, bool create, bool use_32_bit) {
    if (archive_file != nullptr) {
        throw qtX<zeSmlArchive>(0, "Archive is already open", {""});
    }
    archive_file = NewFile(use_32_bit);
    m_has_failed = false;
    const SmlArchiveManager empty = EmptySummary(m_manager);
    m_manager = empty;
    try {
        OpenFile(path, create);
    } catch (...) {
        m_has_failed = true;
        m_manager = empty;
        throw;
    }
}

void zeSmlArchive::OpenFile(const qtString& path, bool create) {
    if (archive_file->Open(path, create, false)) {
        WriteNewArchive();
    } else {
        ReadArchive(path);
    }
    is_unicode = archive_file->IsUnicode();
}

void zeSmlArchive::WriteNewArchive() {
    archive_file->SetFileID(kArchiveFileId, SmlArchiveManager::kVersion, 0);
    m_manager.version = SmlArchiveManager::kVersion;
    m_manager.modified = true;
    FlushArchive(true);
}

void zeSmlArchive::ReadArchive(const qtString& path) {
    unsigned int id = 0;
    unsigned char flags = 0;
    archive_file->GetFileID(id, m_manager.version, flags);
    if (id != kArchiveFileId) {
        throw qtX<zeSmlArchive>(0, "File is not an Sml Archive: " + path, {path});
    }
    if (m_manager.version != kFirstVersion && m_manager.version != SmlArchiveManager::kVersion) {
        throw qtX<zeSmlArchive>(9, "Invalid version in archive file",
                                {qtString(std::to_string(m_manager.version))});
    }
    ReadSummary();
    if (m_manager.version < SmlArchiveManager::kVersion) {
        UpgradeVersion();
    } else if (IsMarked()) {
        RaiseNotSynchronized();
    }
}

// The old index of a marked file may name a place where the summary is no longer. Then the mark is
// the cause, and its message says what to do.
void zeSmlArchive::ReadSummary() {
    try {
        LoadSummary();
    } catch (const qtxAll&) {
        if (m_manager.version >= SmlArchiveManager::kVersion && IsMarked()) {
            RaiseNotSynchronized();
        }
        throw;
    }
}

void zeSmlArchive::LoadSummary() {
    SegBuf record;
    archive_file->GetItem(kArchiveSummaryKey, record);
    Hio<HSegment> io(new HSegment(record, 'r'));
    m_manager.Load(io);
    if (io.device->Tell() != io.device->GetFileSize()) {
        throw qtX<zeSmlArchive>(11, "Damaged archive summary: length", {"length"});
    }
}

void zeSmlArchive::WriteSummary() {
    SegBuf record;
    Hio<HSegment> io(new HSegment(record, 'w'));
    m_manager.Dump(io);
    io.device->Close();
    FileToChange().AddItem(kArchiveSummaryKey, record);
}

void zeSmlArchive::FlushArchive(bool write_index) {
    if (!IsUsable() || !m_manager.modified) {
        return;
    }
    WriteSummary();
    m_manager.modified = false;
    if (write_index) {
        archive_file->WriteIndex();
    }
}

// After a failed open the file may be a foreign one, or half upgraded. Destroying the record file
// closes it without a write.
void zeSmlArchive::CloseArchive() {
    FlushArchive(true);
    if (IsUsable()) {
        archive_file->Close();
    }
    archive_file.reset();
    m_has_failed = false;
}

void zeSmlArchive::UpgradeVersion() {
    if (m_manager.version >= SmlArchiveManager::kVersion) {
        return;
    }
    AbstractHreclaim& file = FileToChange();
    file.MarkDeleted602Records();
    for (const auto& entry : m_manager.sml_dates) {
        zeMsg msg;
        ReadSml(entry.first, msg, false);
        WriteSml(entry.first, msg, true);
    }
    file.SetFileID(kArchiveFileId, SmlArchiveManager::kVersion,
                   is_unicode ? AbstractHreclaim::kUnicodeContent : 0);
    m_manager.version = SmlArchiveManager::kVersion;
    m_manager.modified = true;  // the stored summary still has the form of version 1
}

bool zeSmlArchive::IsMarked() const {
    return archive_file->IsStale();
}

AbstractHreclaim& zeSmlArchive::File() const {
    if (!IsUsable()) {
        throw qtX<zeSmlArchive>(12, "Archive is not open");
    }
    return *archive_file;
}

// Marks the file before its first change.
AbstractHreclaim& zeSmlArchive::FileToChange() {
    AbstractHreclaim& file = File();
    file.MarkStale();
    return file;
}

void zeSmlArchive::SetCatMinimalSize(unsigned int size) {
    m_manager.cat_minimal_size = size;
    m_manager.modified = true;
}

void zeSmlArchive::SetAgeRatio(double ratio) {
    if (!zandrel::detail::IsAgeRatio(ratio)) {
        throw qtX<zeSmlArchive>(13, "Invalid age ratio");
    }
    m_manager.age_ratio = ratio;
    m_manager.modified = true;
}
