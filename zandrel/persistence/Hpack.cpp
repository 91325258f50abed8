// A package is written from front to back: header, items, index. A new one begins with state 1 and
// no index; Close appends the index and then writes the header again, with the index offset and
// state 0. So a package that was not closed cannot be opened. zeIO.cpp shows the order for a
// container.
//
// Three flags control the index. `m_is_dirty`: there is something to write. `m_is_bad`: no package
// is open. `m_is_broken`: a change has begun and not ended. A change sets it first and restores it
// last, so if the change raises, the flag remains set and Close writes no index.
#include "zandrel/persistence/Hpack.h"

#include <cstddef>
#include <utility>

#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/Hbuffer.h"
#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim_format.h"
#include "zandrel/storage/packing.h"
#include "zandrel/storage/record_io.h"

namespace {

// Header, items and index entries have the sizes that they have in a record file of 32-bit offsets.
using Format = zandrel::detail::Hreclaim_format<unsigned int>;

// The values of the state in the header.
constexpr unsigned char kComplete = 0;
constexpr unsigned char kBeingWritten = 1;

}  // namespace

Hpack::Hpack() : m_closed(new Generic32) {
    io.device = m_closed;
}

Hpack::~Hpack() {
    Abandon();
}

void Hpack::Open(const qtString& file, char mode) {
    Abandon();
    const qtPtrLight<Hfile32> device(new Hfile32);
    device->Open(file, mode);
    Start(device, mode);
}

void Hpack::Open(qtPtr<qtBuffer>& buffer, char mode) {
    Abandon();
    const qtPtrLight<zandrel::detail::Hbuffer> device(new zandrel::detail::Hbuffer);
    device->Open(buffer, mode);
    Start(device, mode);
}

void Hpack::Close() {
    try {
        if (m_is_dirty && !m_is_broken) {
            WriteIndex();
        }
        io.device->Close();
    } catch (...) {
        Abandon();
        throw;
    }
    Abandon();
}

void Hpack::GetFileID(unsigned int& id, unsigned short& version, unsigned char& flags,
                      bool& bad) const {
    id = m_file_id;
    version = m_version;
    flags = m_flags;
    bad = m_is_bad;
}

void Hpack::SetFileID(unsigned int id, unsigned short version, unsigned char flags) {
    RequirePackage();
    m_file_id = id;
    m_version = version;
    m_flags = flags;
    const bool was_broken = std::exchange(m_is_broken, true);
    WriteHeader();
    io.device->Seek(0);  // makes the device pass the header to the system
    m_is_broken = was_broken;
}

void Hpack::GetItem(const qtString& key, SegBuf& data) {
    SeekData(key);
    zandrel::detail::ReadBlob(io, data);
}

unsigned int Hpack::SeekItem(const qtString& key) {
    SeekData(key);
    return io.ReadCount(1);
}

// Moves to the length of an item's data, after the item's tag and key are checked.
void Hpack::SeekData(const qtString& key) {
    const auto found = index.find(key);
    if (found == index.end()) {
        RefuseKey("Missing key in index: ", key);
    }
    SeekTo(found->second);
    if (!zandrel::detail::ReadsItemTag(io)) {
        RefuseKey("Key points to invalid item: ", key);
    }
    if (!zandrel::detail::ReadsKey(io, key)) {
        RefuseKey("Key points to wrong item: ", key);
    }
}

void Hpack::AddAtOffset(const qtString& key, const SegBuf& data, unsigned int offset) {
    RequirePackage();
    const bool was_broken = std::exchange(m_is_broken, true);
    WriteItem(key, data, offset);
    m_is_dirty = true;
    m_is_broken = was_broken;
}

qtString Hpack::MakeStringKey(unsigned int number) {
    char bytes[sizeof number];
    const int length = qtPackUssDiet(number, bytes);
    return {bytes, static_cast<std::size_t>(length)};
}

unsigned int Hpack::GetIndexSize() const {
    return static_cast<unsigned int>(index.size());
}

unsigned int Hpack::GetIndexOffset() const {
    return m_index_offset;
}

void Hpack::Start(qtPtrLight<Generic32> opened, char mode) {
    io.device = std::move(opened);
    try {
        if (mode == 'w') {
            m_is_bad = false;
            m_is_dirty = true;
            m_state = kBeingWritten;
            WriteHeader();
        } else {
            ReadHeader();
            if (!m_is_bad) {
                ReadIndex();
            }
        }
    } catch (...) {
        Abandon();
        throw;
    }
}

void Hpack::ReadHeader() {
    if (io.device->GetFileSize() < static_cast<int>(Format::kHeaderSize)) {
        return;
    }
    io.device->Seek(0);
    unsigned int magic = 0;
    io >> magic;
    if (magic != kMagic) {
        return;
    }
    io >> m_file_id;
    m_flags = static_cast<unsigned char>(io.ReadByte());
    m_state = static_cast<unsigned char>(io.ReadByte());
    io >> m_version >> m_index_offset;
    m_is_bad = false;
}

// All failures to read an index raise the same error, except std::bad_alloc.
void Hpack::ReadIndex() {
    bool is_read = false;
    try {
        is_read = ReadsIndex();
    } catch (const qtxAll&) {
        is_read = false;
    }
    if (!is_read) {
        throw qtX<Hpack>(kUnreadableIndex, "Cannot read index", {io.device->name});
    }
}

// Returns false, or raises, if there is no valid index.
bool Hpack::ReadsIndex() {
    if (m_state != kComplete || m_index_offset < Format::kHeaderSize) {
        return false;
    }
    SeekTo(m_index_offset);
    unsigned int tag = 0;
    io >> tag;
    if (tag != zandrel::detail::kIndexTag) {
        return false;
    }
    for (unsigned int left = io.ReadCount(Format::kIndexEntryOverhead); left > 0; --left) {
        if (!ReadsEntry()) {
            return false;
        }
    }
    return true;
}

// Reads an entry of the index. Returns false if its key is not above the one before, or if its item
// is not between header and index.
bool Hpack::ReadsEntry() {
    qtString key;
    unsigned int offset = 0;
    io >> key >> offset;
    if (offset < Format::kHeaderSize || offset >= m_index_offset ||
        (!index.empty() && key <= index.rbegin()->first)) {
        return false;
    }
    index.emplace_hint(index.end(), std::move(key), offset);
    return true;
}

// Always writes the whole header, so that one write of the device changes state and index offset
// together.
void Hpack::WriteHeader() {
    io.device->Seek(0);
    io << kMagic << m_file_id;
    io.WriteByte(static_cast<char>(m_flags));
    io.WriteByte(static_cast<char>(m_state));
    io << m_version << m_index_offset;
}

void Hpack::WriteItem(const qtString& key, const SegBuf& data, unsigned int offset) {
    if (offset == 0) {
        offset = static_cast<unsigned int>(io.device->SeekEnd());
    } else if (offset >= Format::kHeaderSize) {
        SeekTo(offset);
    } else {
        HioErr::Raise(HioErr::kBadOffset, "Invalid file offset in file " + io.device->name,
                      io.device->name);
    }
    zandrel::detail::WriteItem(io, key, data);
    // Keys mostly come in ascending order, and the end is then the right hint: no search is needed.
    index.insert_or_assign(index.end(), key, offset);
}

// Appends the index and then names it in the header. The seek to the header passes the index to the
// system first, so the header never names an index that is not written.
void Hpack::WriteIndex() {
    const auto offset = static_cast<unsigned int>(io.device->SeekEnd());
    io << zandrel::detail::kIndexTag;
    io.WriteCount(index.size());
    for (const auto& [key, place] : index) {
        io << key << place;
    }
    m_index_offset = offset;
    m_state = kComplete;
    WriteHeader();
}

void Hpack::SeekTo(unsigned int offset) {
    io.device->Seek(static_cast<int>(offset));
}

void Hpack::RequirePackage() const {
    if (m_is_bad) {
        HioErr::Raise(HioErr::kWriteFailed, "File is not open for writing", io.device->name);
    }
}

// Closes the device and resets the object to its state before the first `Open`.
void Hpack::Abandon() noexcept {
    try {
        io.device->Close();
    } catch (...) {  // The caller reports an earlier error, or does not need the package any more.
    }
    io.device = m_closed;
    index.clear();
    m_index_offset = 0;
    m_file_id = 0;
    m_version = 0;
    m_flags = 0;
    m_state = 0;
    m_is_bad = true;
    m_is_dirty = false;
    m_is_broken = false;
}

void Hpack::RefuseKey(const char* what, const qtString& key) const {
    throw qtX<Hpack>(kWrongKey, qtString(what).append(key.view()), {io.device->name, key});
}
