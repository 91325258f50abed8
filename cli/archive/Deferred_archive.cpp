// An example of the writes of a command that replaces message 3 by message 8, and of a kill after
// each of them:
//
//   1. mark the file            repaired: nothing else has changed
//   2. add the summary's copy   message 8, which only the copy names, is missing: taken back
//   3. add message 8            all new messages are there: message 3 is deleted, the copy is used
//   4. delete message 3         the same
//   5. write the summary        the old summary may be half overwritten: the copy is used
//   6. delete the copy          the summary is whole
//   7. write the index, unmark  nothing is to be repaired
//
// The copy has the checksum of the summary that it follows. If the summary in the file is another
// one, it is being overwritten or is the new one, so all messages have been added and deleted. Then
// nothing more is deleted. This matters for the bytes of an older copy, which a new item may show
// if only its beginning was written.
#include "cli/archive/Deferred_archive.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "zandrel/archive/SmlArchiveManager.h"
#include "zandrel/foundation/Crc32c.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/HioErr.h"

namespace zandrel::cli {

namespace {

constexpr unsigned int kSizeOfSums = 8;

template <class Take>
void for_each_run(const SegBuf& record, unsigned int end, const Take& take) {
    for (unsigned int position = 0; position < end;) {
        char* run = nullptr;
        unsigned int length = 0;
        record.Locate(position, end, run, length);
        take(run, length);
        position += length;
    }
}

std::uint32_t sum_of(const SegBuf& record, unsigned int end) {
    zandrel::detail::Crc32c sum;
    for_each_run(record, end,
                 [&sum](const char* run, unsigned int length) { sum.Add(run, length); });
    return sum.Value();
}

void write(const SegBuf& from, Hio<HSegment>& io) {
    for_each_run(from, from.size,
                 [&io](const char* run, unsigned int length) { io.WriteBytes(run, length); });
}

void copy(const SegBuf& from, SegBuf& to) {
    Hio<HSegment> io(new HSegment(to, 'w'));
    write(from, io);
    io.device->Close();
    to.offset = 0;
}

// The old bytes of a block may be those of an older summary, so a half written copy may look whole.
void copy_with_sums(const SegBuf& from, std::uint32_t sum_before, SegBuf& to) {
    Hio<HSegment> io(new HSegment(to, 'w'));
    write(from, io);
    io << sum_before << sum_of(from, from.size);
    io.device->Close();
}

[[noreturn]] void raise_missing(const char* what, const qtString& file, const qtString& key) {
    throw qtX<AbstractHreclaim>(AbstractHreclaim::kWrongKey, qtString(what).append(key.view()),
                                {file, key});
}

}  // namespace

std::optional<Summary_copy> load_summary_copy(AbstractHreclaim& file) {
    Summary_copy copy;
    copy.summary.version = SmlArchiveManager::kVersion;
    try {
        SegBuf record;
        file.GetItem(kSummaryCopyKey, record);
        if (record.size < kSizeOfSums) {
            return std::nullopt;
        }
        const unsigned int end = record.size - kSizeOfSums;
        Hio<HSegment> io(new HSegment(record, 'r'));
        copy.summary.Load(io);
        std::uint32_t sum = 0;
        const bool has_end = static_cast<unsigned int>(io.device->Tell()) == end;
        io >> copy.sum_before >> sum;
        if (!has_end || sum != sum_of(record, end)) {
            return std::nullopt;
        }
    } catch (const qtX<HioErr>&) {
        throw;
    } catch (const qtxAll&) {
        return std::nullopt;
    }
    return copy;
}

std::uint32_t sum_of_summary(AbstractHreclaim& file) {
    const qtString key(zandrel::detail::kArchiveSummaryKey);
    if (!file.Exists(key)) {
        return 0;
    }
    SegBuf record;
    file.GetItem(key, record);
    return sum_of(record, record.size);
}

Deferred_archive::Deferred_archive(std::unique_ptr<AbstractHreclaim> file,
                                   bool writes_messages_at_once)
    : m_file(std::move(file)),
      m_summary_key(zandrel::detail::kArchiveSummaryKey),
      m_writes_messages_at_once(writes_messages_at_once) {
    m_file->GetState(m_state);
}

// After a failed write the device ignores later ones, but reads what it has not written.
template <class Work>
void Deferred_archive::change_file(const Work& work) {
    if (m_has_failed) {
        return;
    }
    m_is_index_old = true;
    try {
        work();
    } catch (...) {
        m_has_failed = true;
        throw;
    }
}

void Deferred_archive::write(const std::function<void()>& bring_to_disk) {
    if (!m_summary && m_changed.empty() && !m_is_index_old) {
        return;
    }
    change_file([&] {
        m_file->MarkStale();
        const bool copies_first = !overwrites_messages();
        if (m_summary && copies_first) {
            put_copy(*m_summary);
        }
        write_messages();
        if (m_summary) {
            if (!copies_first) {
                put_copy(*m_summary);
            }
            put_summary(*m_summary);
            m_summary.reset();
        }
        bring_to_disk();
        m_file->WriteIndex();
        m_file->GetState(m_state);
        m_is_index_old = false;
    });
}

void Deferred_archive::write_summary(const SegBuf& summary,
                                     const std::function<void()>& bring_to_disk) {
    change_file([&] {
        m_file->MarkStale();
        put_copy(summary);
        put_summary(summary);
        bring_to_disk();
        m_file->WriteIndex();
        m_is_index_old = false;
    });
}

bool Deferred_archive::overwrites_messages() const {
    return std::any_of(m_changed.begin(), m_changed.end(), [this](const auto& entry) {
        return entry.second.has_value() && m_file->Exists(entry.first);
    });
}

void Deferred_archive::write_messages() {
    for (const auto& [key, data] : m_changed) {
        if (data) {
            m_file->AddItem(key, *data);
        }
    }
    for (const auto& [key, data] : m_changed) {
        if (!data && m_file->Exists(key)) {
            m_file->DeleteItem(key);
        }
    }
    m_changed.clear();
}

void Deferred_archive::put_copy(const SegBuf& summary) {
    SegBuf copy;
    copy_with_sums(summary, sum_of_summary(*m_file), copy);
    m_file->AddItem(kSummaryCopyKey, copy);
}

void Deferred_archive::put_summary(const SegBuf& summary) {
    m_file->AddItem(m_summary_key, summary);
    m_file->DeleteItem(kSummaryCopyKey);
}

void Deferred_archive::drop() {
    m_changed.clear();
    m_summary.reset();
}

bool Deferred_archive::Open(const qtString& name, bool create, bool read_only) {
    return m_file->Open(name, create, read_only);
}

// The destructor of a record file does not write an index, but its Close does.
void Deferred_archive::Close() {
    if (!m_is_index_old && !m_summary && m_changed.empty()) {
        m_file->Close();
    }
}

void Deferred_archive::GetItem(const qtString& key, SegBuf& data) {
    if (key == m_summary_key && m_summary) {
        copy(*m_summary, data);
        return;
    }
    const auto changed = m_changed.find(key);
    if (changed == m_changed.end()) {
        m_file->GetItem(key, data);
    } else if (changed->second) {
        copy(*changed->second, data);
    } else {
        raise_missing("Missing key in index: ", FileName(), key);
    }
}

void Deferred_archive::AddItem(const qtString& key, const SegBuf& data) {
    if (key == m_summary_key) {
        copy(data, m_summary.emplace());
    } else if (m_writes_messages_at_once) {
        change_file([&] { m_file->AddItem(key, data); });
    } else {
        copy(data, m_changed[key].emplace());
    }
}

void Deferred_archive::RenameItem(const qtString& from, const qtString& to) {
    SegBuf data;
    GetItem(from, data);
    DeleteItem(from);
    AddItem(to, data);
}

void Deferred_archive::DeleteItem(const qtString& key) {
    if (m_writes_messages_at_once) {
        change_file([&] { m_file->DeleteItem(key); });
        return;
    }
    if (!Exists(key)) {
        raise_missing("Key does not exist: ", FileName(), key);
    }
    m_changed[key].reset();
}

void Deferred_archive::SetFileID(unsigned int id, unsigned short version, unsigned char flags) {
    change_file([&] { m_file->SetFileID(id, version, flags); });
}

void Deferred_archive::GetFileID(unsigned int& id, unsigned short& version,
                                 unsigned char& flags) const {
    m_file->GetFileID(id, version, flags);
}

void Deferred_archive::SetState(unsigned char state) {
    if (m_writes_messages_at_once) {
        change_file([&] { m_file->SetState(state); });
    }
    m_state = state;
}

void Deferred_archive::GetState(unsigned char& state) const {
    state = m_state;
}

bool Deferred_archive::Exists(const qtString& key) const {
    const auto changed = m_changed.find(key);
    return changed == m_changed.end() ? m_file->Exists(key) : changed->second.has_value();
}

void Deferred_archive::WriteIndex() {}

const qtString& Deferred_archive::FileName() const {
    return m_file->FileName();
}

qtString Deferred_archive::MakeStringKey(unsigned int number) {
    return m_file->MakeStringKey(number);
}

bool Deferred_archive::IsUnicode() const {
    return m_file->IsUnicode();
}

unsigned int Deferred_archive::GetIndexSize() const {
    std::vector<qtString> keys;
    GetIndex(keys);
    return static_cast<unsigned int>(keys.size());
}

void Deferred_archive::GetIndex(std::vector<qtString>& keys) const {
    std::vector<qtString> stored;
    m_file->GetIndex(stored);
    std::erase_if(stored, [this](const qtString& key) { return m_changed.contains(key); });
    for (const auto& [key, data] : m_changed) {
        if (data) {
            stored.push_back(key);
        }
    }
    std::sort(stored.begin(), stored.end());
    keys.insert(keys.end(), stored.begin(), stored.end());
}

void Deferred_archive::MarkDeleted602Records() {
    change_file([this] { m_file->MarkDeleted602Records(); });
}

}  // namespace zandrel::cli
