// The bodies of Hreclaim. Included where a record file over a further type of device is made: by
// Hreclaim.cpp, and by tests with devices of their own.
#ifndef ZANDREL_STORAGE_HRECLAIM_INL_H_
#define ZANDREL_STORAGE_HRECLAIM_INL_H_

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <utility>

#include "zandrel/foundation/qtFile.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/storage/Hio-inl.h"
#include "zandrel/storage/HioErr.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/packing.h"
#include "zandrel/storage/record_io.h"

namespace zandrel::detail {

// Sums of lengths that a file tells do not fit 32 bits.
inline std::uint64_t ItemSize(std::size_t key_length, unsigned int data_length) {
    return std::uint64_t{key_length} + data_length + kItemOverhead;
}

// REQUIRES: `slot` is below kSlotCount.
inline unsigned int BlockSize(unsigned int slot) {
    return 1U << slot;
}

}  // namespace zandrel::detail

template <class F>
struct Hreclaim<F>::Index_place {
    Offset offset;
    unsigned int size;     // of the index block without its padding
    unsigned int padding;  // zeros behind it
};

template <class F>
Hreclaim<F>::~Hreclaim() {
    try {
        io.device->Close();
    } catch (...) {  // The index is lost as well, as the state in the file tells.
    }
}

template <class F>
bool Hreclaim<F>::Open(const qtString& name, bool create, bool read_only) {
    Abandon();
    const bool is_new = !qtFile::exists(name);
    if (is_new && !create) {
        throw qtX<AbstractHreclaim>(kMissingFile, "File does not exist: " + name, {name});
    }
    try {
        if (is_new) {
            Create(name);
        }
        io.device->Open(name, read_only ? 'r' : 'u');
        ReadMagic();
        ReadIndex();
    } catch (...) {
        Abandon();
        throw;
    }
    return is_new;
}

template <class F>
void Hreclaim<F>::Close() {
    WriteIndex();
    index.clear();
    for (std::vector<Offset>& blocks : holes) {
        blocks.clear();
    }
    io.device->Close();
}

template <class F>
void Hreclaim<F>::GetItem(const qtString& key, SegBuf& data) {
    const auto found = index.find(key);
    if (found == index.end()) {
        RaiseKeyError("Missing key in index: ", key);
    }
    SeekTo(found->second);
    if (!zandrel::detail::ReadsItemTag(io)) {
        RaiseKeyError("Key points to invalid item: ", key);
    }
    if (!zandrel::detail::ReadsKey(io, key)) {
        RaiseKeyError("Key points to wrong item: ", key);
    }
    zandrel::detail::ReadBlob(io, data);
}

template <class F>
void Hreclaim<F>::AddItem(const qtString& key, const SegBuf& data) {
    const std::uint64_t total = zandrel::detail::ItemSize(key.size(), data.size);
    const unsigned int slot = GetSlot(total);
    // One search serves the look at the old item and the entry of the new one.
    const auto entry = index.lower_bound(key);
    const bool is_old = entry != index.end() && entry->first == key;
    const unsigned int old_slot = is_old ? GetSlotOfItem(key, entry->second) : 0;
    if (is_old && old_slot == slot) {
        EnterItem(entry, key, data, entry->second);
    } else {
        if (holes[slot].empty()) {
            io.device->RequireRoom(zandrel::detail::BlockSize(slot));
        }
        if (is_old) {
            FreeBlock(old_slot, entry->second);
        }
        PlaceItem(entry, key, data, slot, total);
    }
    MarkChanged();
}

template <class F>
void Hreclaim<F>::RenameItem(const qtString& from, const qtString& to) {
    SegBuf blob;
    GetItem(from, blob);
    RequirePlace(to, blob.size, GetSlot(zandrel::detail::ItemSize(from.size(), blob.size)));
    DeleteItem(from);
    AddItem(to, blob);
    dirty = true;
}

template <class F>
void Hreclaim<F>::DeleteItem(const qtString& key) {
    const auto entry = index.find(key);
    if (entry == index.end()) {
        RaiseKeyError("Key does not exist: ", key);
    }
    FreeBlock(GetSlotOfItem(key, entry->second), entry->second);
    index.erase(entry);
    MarkChanged();
}

template <class F>
void Hreclaim<F>::SetFileID(unsigned int id, unsigned short version, unsigned char flags) {
    file_id = id;
    file_version = version;
    file_flags = flags;
    io.device->Seek(zandrel::detail::kFileIdPosition);
    WriteIdentity();
    io.device->Flush();
}

template <class F>
void Hreclaim<F>::GetFileID(unsigned int& id, unsigned short& version, unsigned char& flags) const {
    id = file_id;
    version = file_version;
    flags = file_flags;
}

template <class F>
void Hreclaim<F>::SetState(unsigned char new_state) {
    state = new_state;
    io.device->Seek(zandrel::detail::kStatePosition);
    io.WriteByte(static_cast<char>(state));
    io.device->Flush();
}

template <class F>
void Hreclaim<F>::GetState(unsigned char& current_state) const {
    current_state = state;
}

template <class F>
bool Hreclaim<F>::Exists(const qtString& key) const {
    return index.find(key) != index.end();
}

template <class F>
void Hreclaim<F>::WriteIndex() {
    if (!dirty) {
        return;
    }
    const Index_place place = PlaceIndex();
    WriteIndexBlock(place);
    // The header names the block when it is complete, and the state is cleared last.
    io.device->Seek(zandrel::detail::kIndexOffsetPosition);
    io << place.offset;
    io.device->Flush();
    index_offset = place.offset;
    index_space = place.size;
    dirty = false;
    if ((state & kStaleIndex) != 0) {
        SetState(static_cast<unsigned char>(state & ~kStaleIndex));
    }
}

template <class F>
const qtString& Hreclaim<F>::FileName() const {
    return io.device->name;
}

template <class F>
qtString Hreclaim<F>::MakeStringKey(unsigned int number) {
    const int length = qtPackUssDiet(number, io.scratch);
    return {io.scratch, static_cast<std::size_t>(length)};
}

template <class F>
bool Hreclaim<F>::IsUnicode() const {
    return (file_flags & kUnicodeContent) != 0;
}

template <class F>
unsigned int Hreclaim<F>::GetIndexSize() const {
    return static_cast<unsigned int>(index.size());
}

template <class F>
void Hreclaim<F>::GetIndex(std::vector<qtString>& keys) const {
    for (const auto& entry : index) {
        keys.push_back(entry.first);
    }
}

// What is not recognised, the index block among it, is crossed byte by byte.
template <class F>
void Hreclaim<F>::MarkDeleted602Records() {
    const std::uint64_t end = FileSize();
    for (std::uint64_t position = Format::kHeaderSize;
         position + zandrel::detail::kItemOverhead <= end;) {
        position += ScanBlock(position, end);
    }
    io.device->Flush();
}

template <class F>
void Hreclaim<F>::AddAtOffset(const qtString& key, const SegBuf& data, Offset offset) {
    EnterItem(index.lower_bound(key), key, data, offset);
}

template <class F>
void Hreclaim<F>::GetKeyInfo(const qtString& key, Offset& offset, unsigned int& data_length) {
    offset = 0;
    data_length = 0;
    const auto found = index.find(key);
    if (found == index.end()) {
        return;
    }
    data_length = ReadDataLength(key, found->second);
    offset = found->second;
}

template <class F>
unsigned int Hreclaim<F>::GetSlot(std::uint64_t size) const {
    if (size > std::numeric_limits<int>::max()) {
        throw qtX<AbstractHreclaim>(kRecordTooLarge, "Record size size limit exceeded",
                                    {FileName()});
    }
    return static_cast<unsigned int>(std::bit_width(size));
}

template <class F>
typename Hreclaim<F>::Offset Hreclaim<F>::GetHole(unsigned int slot) {
    const Offset offset = holes[slot].back();
    holes[slot].pop_back();
    return offset;
}

template <class F>
void Hreclaim<F>::MarkDeleted(unsigned int slot, Offset offset) {
    SeekTo(offset);
    io << zandrel::detail::kHoleTag << zandrel::detail::BlockSize(slot);
}

template <class F>
void Hreclaim<F>::WritePadding(unsigned int byte_count) {
    if (byte_count <= zandrel::detail::kZeros.size()) {
        io.WriteBytes(zandrel::detail::kZeros.data(), byte_count);
        return;
    }
    // At most what the block holds, which is in memory as well.
    const std::vector<char> zeros(byte_count);
    io.WriteBytes(zeros.data(), byte_count);
}

template <class F>
void Hreclaim<F>::ReadMagic() {
    io.device->Seek(0);
    unsigned int magic = 0;
    io >> magic;
    if (magic != Format::kMagic) {
        throw qtX<AbstractHreclaim>(
            kWrongFormat, "Input file is not in expected format: " + FileName(), {FileName()});
    }
    io >> file_id;
    file_flags = static_cast<unsigned char>(io.ReadByte());
    state = static_cast<unsigned char>(io.ReadByte());
    io >> file_version >> index_offset;
}

template <class F>
void Hreclaim<F>::ReadIndex() {
    const unsigned int key_count = ReadIndexHead();
    ReadKeys(key_count);
    ReadHoles();
    CheckHoles();
    index_space = GetIndexSpace();
    dirty = false;
}

template <class F>
unsigned int Hreclaim<F>::GetIndexSpace() const {
    std::uint64_t size = Format::kEmptyIndexSize;
    for (const auto& entry : index) {
        size += entry.first.size() + Format::kIndexEntryOverhead;
    }
    for (const std::vector<Offset>& blocks : holes) {
        size += std::uint64_t{blocks.size()} * Format::kOffsetSize;
    }
    static_cast<void>(GetSlot(size));
    return static_cast<unsigned int>(size);
}

// Makes the file and closes it again, so that it is opened as every other one is.
template <class F>
void Hreclaim<F>::Create(const qtString& name) {
    io.device->Open(name, 'w');
    dirty = true;
    io << Format::kMagic;
    WriteIdentity();
    io << index_offset;
    WriteIndex();
    io.device->Close();
}

// Makes the object as it was before the first `Open`, but for the device's name. What was to be
// written is lost, so that a close that follows changes no file.
template <class F>
void Hreclaim<F>::Abandon() noexcept {
    index.clear();
    for (std::vector<Offset>& blocks : holes) {
        blocks.clear();
    }
    index_space = 0;
    index_offset = 0;
    file_id = 0;
    file_version = 0;
    file_flags = 0;
    state = 0;
    dirty = false;
    try {
        io.device->Close();
    } catch (...) {  // The caller is told of the first error, or opens another file.
    }
}

// The header's bytes from the owner's number to the version.
template <class F>
void Hreclaim<F>::WriteIdentity() {
    io << file_id;
    io.WriteByte(static_cast<char>(file_flags));
    io.WriteByte(static_cast<char>(state));
    io << file_version;
}

// Finds the index block and returns its number of keys.
template <class F>
unsigned int Hreclaim<F>::ReadIndexHead() {
    unsigned int tag = 0;
    unsigned int key_count = 0;
    try {
        io.device->Seek(zandrel::detail::kIndexOffsetPosition);
        io >> index_offset;
        // No block is inside the header; 0 stands for none.
        if (index_offset >= static_cast<Offset>(Format::kHeaderSize)) {
            SeekTo(index_offset);
            io >> tag >> key_count;
        }
    } catch (const qtxAll&) {
        tag = 0;
    }
    if (tag != zandrel::detail::kIndexTag) {
        throw qtX<AbstractHreclaim>(kUnreadableIndex, "Cannot read index", {FileName()});
    }
    return key_count;
}

template <class F>
void Hreclaim<F>::ReadKeys(unsigned int key_count) {
    io.device->RequireBytes(std::uint64_t{key_count} * Format::kIndexEntryOverhead);
    for (; key_count > 0; --key_count) {
        qtString key;
        Offset offset = 0;
        io >> key >> offset;
        // Keys are stored in order, so that the next one belongs at the end.
        index.insert_or_assign(index.end(), std::move(key), offset);
    }
}

template <class F>
void Hreclaim<F>::ReadHoles() {
    for (std::vector<Offset>& blocks : holes) {
        const unsigned int count = io.ReadCount(Format::kOffsetSize);
        blocks.reserve(std::size_t{count} * 2);
        for (unsigned int read = 0; read < count; ++read) {
            Offset offset = 0;
            io >> offset;
            blocks.push_back(offset);
        }
    }
}

// Items are written into holes without a look at what is there, so a hole must be a block of its
// own.
template <class F>
void Hreclaim<F>::CheckHoles() {
    const std::uint64_t end = FileSize();
    std::vector<Offset> seen{index_offset};
    for (unsigned int slot = 0; slot < holes.size(); ++slot) {
        for (const Offset offset : holes[slot]) {
            if (offset < static_cast<Offset>(Format::kHeaderSize) ||
                static_cast<std::uint64_t>(offset) + zandrel::detail::BlockSize(slot) > end) {
                RaiseReadError();
            }
            seen.push_back(offset);
        }
    }
    std::sort(seen.begin(), seen.end());
    if (std::adjacent_find(seen.begin(), seen.end()) != seen.end()) {
        RaiseReadError();
    }
}

// What the file claims cannot be there, which is told as the device tells it.
template <class F>
void Hreclaim<F>::RaiseReadError() const {
    HioErr::Raise(HioErr::kReadFailed, "Read error in file " + FileName(), FileName());
}

template <class F>
void Hreclaim<F>::RaiseKeyError(const char* what, const qtString& key) const {
    throw qtX<AbstractHreclaim>(kWrongKey, qtString(what).append(key.view()), {FileName(), key});
}

// The data length of the item at an offset. The text of the key in the file is not compared.
template <class F>
unsigned int Hreclaim<F>::ReadDataLength(const qtString& key, Offset offset) {
    SeekTo(offset);
    // A replacement or a deletion needs only the item's head. To read 1,024 bytes, as for a whole
    // record, would copy about 1,000 of them for nothing.
    io.device->ReadAhead(zandrel::detail::kItemOverhead + static_cast<unsigned int>(key.size()));
    unsigned int tag = 0;
    unsigned int key_length = 0;
    io >> tag >> key_length;
    if (tag != zandrel::detail::kItemTag || key_length != key.size()) {
        RaiseKeyError("Key points to invalid item: ", key);
    }
    io.device->Seek(static_cast<Position>(offset + 8 + static_cast<Offset>(key_length)));
    return io.ReadCount(1);
}

template <class F>
unsigned int Hreclaim<F>::GetSlotOfItem(const qtString& key, Offset offset) {
    return GetSlot(zandrel::detail::ItemSize(key.size(), ReadDataLength(key, offset)));
}

// Does as AddAtOffset. `entry` is the key's entry in the index or, if there is none, the one before
// which it belongs.
template <class F>
void Hreclaim<F>::EnterItem(Index_entry entry, const qtString& key, const SegBuf& data,
                            Offset offset) {
    if (offset == 0) {
        offset = static_cast<Offset>(io.device->SeekEnd());
    } else {
        SeekTo(offset);
    }
    zandrel::detail::WriteItem(io, key, data);
    index.insert_or_assign(entry, key, offset);
}

// Writes a new item into the block of its slot that was freed last, or else to the end. A used
// block keeps the bytes behind the item.  `entry`: as for EnterItem.
template <class F>
void Hreclaim<F>::PlaceItem(Index_entry entry, const qtString& key, const SegBuf& data,
                            unsigned int slot, std::uint64_t total) {
    if (!holes[slot].empty()) {
        EnterItem(entry, key, data, GetHole(slot));
        return;
    }
    EnterItem(entry, key, data, 0);
    WritePadding(zandrel::detail::BlockSize(slot) - static_cast<unsigned int>(total));
}

// Refuses an item that is too large or has no room, as AddItem does, while the item that is to be
// renamed is still there. The block of that one, of slot `freed`, may be used.
template <class F>
void Hreclaim<F>::RequirePlace(const qtString& key, unsigned int data_length, unsigned int freed) {
    const unsigned int slot = GetSlot(zandrel::detail::ItemSize(key.size(), data_length));
    Offset offset = 0;
    unsigned int old_length = 0;
    GetKeyInfo(key, offset, old_length);
    const bool is_in_place =
        offset != 0 && GetSlot(zandrel::detail::ItemSize(key.size(), old_length)) == slot;
    if (!is_in_place && slot != freed && holes[slot].empty()) {
        io.device->RequireRoom(zandrel::detail::BlockSize(slot));
    }
}

// Makes a block a hole, in the file and in its list.
template <class F>
void Hreclaim<F>::FreeBlock(unsigned int slot, Offset offset) {
    std::vector<Offset>& blocks = holes[slot];
    // Memory is taken before the file is changed.
    if (blocks.size() == blocks.capacity()) {
        blocks.reserve(2 * blocks.size() + 1);
    }
    MarkDeleted(slot, offset);
    blocks.push_back(offset);
}

// The end of every change: the file tells that its index is stale, but not before the change has
// reached it.
template <class F>
void Hreclaim<F>::MarkChanged() {
    io.device->Flush();
    dirty = true;
    if ((state & kStaleIndex) == 0) {
        SetState(static_cast<unsigned char>(state | kStaleIndex));
    }
}

// Finds the next index block its place. A block that it leaves becomes a hole.
template <class F>
typename Hreclaim<F>::Index_place Hreclaim<F>::PlaceIndex() {
    unsigned int need = GetIndexSpace();
    if (index_space != 0) {
        const unsigned int old_slot = GetSlot(index_space);
        const unsigned int slot = GetSlot(need);
        if (slot == old_slot) {
            return {index_offset, need, 0};
        }
        if (!holes[slot].empty()) {
            const Offset offset = GetHole(slot);
            FreeBlock(old_slot, index_offset);
            return {offset, need, 0};  // One hole less and one more: the size stays.
        }
        need += Format::kOffsetSize;  // for the hole that the old block becomes
        io.device->RequireRoom(zandrel::detail::BlockSize(GetSlot(need)));
        FreeBlock(old_slot, index_offset);
    }
    const auto end = static_cast<Offset>(io.device->SeekEnd());
    return {end, need, zandrel::detail::BlockSize(GetSlot(need)) - need};
}

template <class F>
void Hreclaim<F>::WriteIndexBlock(const Index_place& place) {
    SeekTo(place.offset);
    io << zandrel::detail::kIndexTag;
    io.WriteCount(index.size());
    for (const auto& [key, offset] : index) {
        io << key << offset;
    }
    for (const std::vector<Offset>& blocks : holes) {
        io.WriteCount(blocks.size());
        for (const Offset offset : blocks) {
            io << offset;
        }
    }
    WritePadding(place.padding);
}

template <class F>
std::uint64_t Hreclaim<F>::FileSize() {
    const Position position = io.device->Tell();
    const Position size = io.device->SeekEnd();
    io.device->Seek(position);
    return static_cast<std::uint64_t>(size);
}

// Returns how far the scan for lost items goes on from here.
template <class F>
std::uint64_t Hreclaim<F>::ScanBlock(std::uint64_t position, std::uint64_t end) {
    SeekTo(static_cast<Offset>(position));
    unsigned int tag = 0;
    unsigned int length = 0;
    io >> tag >> length;
    // A hole of no length would hold the scan here for ever.
    if (tag == zandrel::detail::kHoleTag && length != 0 && position + length <= end) {
        return length;
    }
    if (tag == zandrel::detail::kItemTag && length <= zandrel::detail::kLongestScannedKey &&
        position + length + zandrel::detail::kItemOverhead <= end) {
        return ScanItem(position, length, end);
    }
    return 1;
}

// The same for what looks like an item, behind whose key length the stream is. Marks it if the
// index does not reach it and its block is in the file.
template <class F>
std::uint64_t Hreclaim<F>::ScanItem(std::uint64_t position, unsigned int key_length,
                                    std::uint64_t end) {
    qtString key;
    key.resize(key_length);
    io.ReadBytes(key.data(), key_length);
    unsigned int data_length = 0;
    io >> data_length;
    const std::uint64_t total = zandrel::detail::ItemSize(key_length, data_length);
    // No item is as large as the limit of GetSlot, whatever the file's size.
    if (position + total > end || total > std::numeric_limits<int>::max()) {
        return 1;
    }
    const unsigned int slot = GetSlot(total);
    const std::uint64_t block_size = zandrel::detail::BlockSize(slot);
    const auto found = index.find(key);
    const Offset known = found == index.end() ? 0 : found->second;
    if (known != static_cast<Offset>(position) && position + block_size <= end) {
        MarkDeleted(slot, static_cast<Offset>(position));
    }
    return block_size;
}

#endif  // ZANDREL_STORAGE_HRECLAIM_INL_H_
