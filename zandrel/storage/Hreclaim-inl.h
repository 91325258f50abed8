// The bodies of Hreclaim. Hreclaim.cpp includes them, and so do tests that put a record file over a
// device of their own.
//
// A record file must replace and delete items without moving the others. So we cut the file into
// blocks of 2^slot bytes. A freed block is a hole, and the next item of the same slot uses it
// again. A slot has a list of holes, so finding a place takes one look at the end of a list. The
// slot is the bit length of the content's size (GetSlot), and a block is always larger than its
// content:
//
//   content 8 to 15 bytes:    slot 4, block of 16 bytes
//   content 16 to 31 bytes:   slot 5, block of 32 bytes
//   content 128 to 255 bytes: slot 8, block of 256 bytes
//
// An example with offsets of 4 bytes. Open makes an empty file: a header of 16 bytes and an index
// block. An index without keys and holes has 136 bytes, so its block has 256.
//
//   0        16                    272
//   | header | index: no keys      |
//
// An item has 12 bytes besides its key and data. AddItem("a", "one") needs 16 bytes, and
// AddItem("b", "ox") 15. There are no holes, so both are appended and padded with zeros:
//
//   0        16                    272           304          320
//   | header | index: no keys      | "a" "one"   | "b" "ox"   |
//
// The index block in the file has not changed: only `index` in memory has the two keys. So the
// first of the two changes sets bit 0 of the header's state, the byte at 9 (MarkChanged).
//
// AddItem("b", "oxen") needs 17 bytes, which is another slot. The block at 304 becomes a hole: its
// first 8 bytes become the hole tag and its size, 16, and 304 is added to holes[4]. There is no
// hole of slot 5, so the new item is appended:
//
//   0        16                    272           304          320           352
//   | header | index: no keys      | "a" "one"   | hole of 16 | "b" "oxen"  |
//
// AddItem("b", "oxe") needs 16 bytes, which is the same slot: the item is written over the old one
// at 320. The last byte of "oxen" remains behind it. AddItem("c", "x") needs 14 bytes, and takes
// the last hole of slot 4, at 304. DeleteItem("a") makes the block at 272 a hole of slot 5:
//
//   0        16                    272           304          320           352
//   | header | index: no keys      | hole of 32  | "c" "x"    | "b" "oxe"   |
//
// WriteIndex writes the keys and the lists of holes: 136 bytes, 9 for each of the two keys of one
// byte, 4 for one hole, which is 158. The slot is 8 as before, so the block at 16 is overwritten.
// Then bit 0 is cleared.
//
//   0        16                    272           304          320           352
//   | header | b: 320, c: 304,     | hole of 32  | "c" "x"    | "b" "oxe"   |
//   |        | holes[5]: 272       |
//
// An index block that needs another slot moves as an item does. For example, 14 keys of one byte
// and no hole need 262 bytes. The old block becomes a hole of slot 8, which itself needs 4 bytes in
// the list, so the new block contains 266 bytes and 246 of padding.
//
// If the process ends before WriteIndex, the index in the file is stale: in the last but one
// drawing it has no keys, and any index from an earlier WriteIndex may name blocks that are holes
// now or contain another item. Bit 0 is still set, so the owner can see it after Open and refuse
// the file. GetItem finds some of these cases itself, by the item's tag and key. One case is not
// detected: the process ends during the first change, when some or all of its bytes are written but
// bit 0 is not set. An item overwritten in place may then be half old and half new.
#ifndef ZANDREL_STORAGE_HRECLAIM_INL_H_
#define ZANDREL_STORAGE_HRECLAIM_INL_H_

#include <algorithm>
#include <bit>
#include <cstddef>
#include <iterator>
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

// The result has 64 bits, since the sum of two lengths from a damaged file may exceed 32 bits.
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
    unsigned int size;     // of the index without its padding
    unsigned int padding;  // zeros to write behind it
};

template <class F>
Hreclaim<F>::~Hreclaim() {
    try {
        io.device->Close();
    } catch (...) {  // A changed index is not written either; the state in the file shows this.
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
    io.device->Close();
    index.clear();
    for (std::vector<Offset>& blocks : holes) {
        blocks.clear();
    }
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
    // One search finds both the old item and the place of the new entry.
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
    io.device->Seek(zandrel::detail::kStatePosition);
    io.WriteByte(static_cast<char>(new_state));
    io.device->Flush();
    state = new_state;
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
    // The header names the new block only when the block is complete. Bit 0 is cleared last: if the
    // process ends before that, owners treat the index as stale.
    io.device->Seek(zandrel::detail::kIndexOffsetPosition);
    io << place.offset;
    io.device->Flush();
    index_offset = place.offset;
    index_space = place.size;
    if (IsStale()) {
        SetState(static_cast<unsigned char>(state & ~kStaleIndex));
    }
    dirty = false;
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

// We skip whole items and holes. Everything else, also the index block, we cross byte by byte.
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
void Hreclaim<F>::RequireAddable(const qtString& key, unsigned int data_length) {
    static_cast<void>(GetSlot(zandrel::detail::ItemSize(key.size(), data_length)));
    Offset offset = 0;
    unsigned int old_length = 0;
    GetKeyInfo(key, offset, old_length);
    static_cast<void>(GetSlot(zandrel::detail::ItemSize(key.size(), old_length)));
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
    // The padding is at most as long as the content, which is in memory too.
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

// Makes an empty file and closes it, so that Open treats new and old files alike.
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

// Resets the object to its state before the first `Open`, except for the device's name. Unwritten
// changes of the index are lost, so a later Close changes no file.
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
    } catch (...) {  // The caller reports an earlier error, or opens another file.
    }
}

// Writes the header's bytes from `file_id` to `file_version`.
template <class F>
void Hreclaim<F>::WriteIdentity() {
    io << file_id;
    io.WriteByte(static_cast<char>(file_flags));
    io.WriteByte(static_cast<char>(state));
    io << file_version;
}

// Moves behind the tag and the number of keys in the index block, and returns this number.
template <class F>
unsigned int Hreclaim<F>::ReadIndexHead() {
    unsigned int tag = 0;
    unsigned int key_count = 0;
    try {
        io.device->Seek(zandrel::detail::kIndexOffsetPosition);
        io >> index_offset;
        // 0 means no index, and other offsets inside the header are damage.
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
    for (unsigned int read = 0; read < key_count; ++read) {
        qtString key;
        Offset offset = 0;
        io >> key >> offset;
        // Keys are stored in ascending order, so the end is the right hint for the next one.
        index.try_emplace(index.end(), std::move(key), offset);
    }
    // A repeated key is damage: one of its two items would be lost without an error.
    if (index.size() != key_count) {
        RaiseReadError();
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

// Items are written into holes without reading them first, so a wrong hole would destroy data. We
// refuse a hole outside the file, two holes that begin at the same place, and a hole in which the
// index or an item begins. Only the tag and the size of a hole must be in the file: the padding of
// the last block may have been cut off, and such a block becomes a hole when its item is deleted.
template <class F>
void Hreclaim<F>::CheckHoles() {
    const std::uint64_t end = FileSize();
    std::vector<Hole_range> ranges;
    for (unsigned int slot = 0; slot < holes.size(); ++slot) {
        for (const Offset offset : holes[slot]) {
            if (offset < static_cast<Offset>(Format::kHeaderSize) ||
                static_cast<std::uint64_t>(offset) + zandrel::detail::kHoleMarkSize > end) {
                RaiseReadError();
            }
            const auto start = static_cast<std::uint64_t>(offset);
            ranges.push_back({start, start + zandrel::detail::BlockSize(slot)});
        }
    }
    if (!ranges.empty()) {
        SortHoles(ranges);
        CheckOutsideOfHoles(ranges);
    }
}

// Sorts the holes by their starts, and makes `end` of each the greatest end up to there: damaged
// holes may overlap, and a place inside a large hole may be behind the end of a smaller one.
template <class F>
void Hreclaim<F>::SortHoles(std::vector<Hole_range>& ranges) const {
    std::sort(ranges.begin(), ranges.end(), [](const Hole_range& left, const Hole_range& right) {
        return left.start < right.start;
    });
    for (std::size_t i = 1; i < ranges.size(); ++i) {
        if (ranges[i].start == ranges[i - 1].start) {
            RaiseReadError();
        }
        ranges[i].end = std::max(ranges[i].end, ranges[i - 1].end);
    }
}

// Raises if the index or an item begins in a hole. Items of successive keys are often between the
// same two holes, so we search only for the first of them.
template <class F>
void Hreclaim<F>::CheckOutsideOfHoles(const std::vector<Hole_range>& ranges) const {
    Hole_range free = {0, ranges.front().start};  // from the end of a hole to the next start
    const auto check = [this, &ranges, &free](Offset offset) {
        const auto place = static_cast<std::uint64_t>(offset);
        if (place >= free.start && place < free.end) {
            return;
        }
        const auto next = std::upper_bound(
            ranges.begin(), ranges.end(), place,
            [](std::uint64_t wanted, const Hole_range& range) { return wanted < range.start; });
        free.start = next == ranges.begin() ? 0 : std::prev(next)->end;
        free.end = next == ranges.end() ? std::numeric_limits<std::uint64_t>::max() : next->start;
        if (place < free.start) {
            RaiseReadError();
        }
    };
    check(index_offset);
    for (const auto& entry : index) {
        check(entry.second);
    }
}

// Raises the device's error of a short read, since the file claims more than it has.
template <class F>
void Hreclaim<F>::RaiseReadError() const {
    HioErr::Raise(HioErr::kReadFailed, "Read error in file " + FileName(), FileName());
}

template <class F>
void Hreclaim<F>::RaiseKeyError(const char* what, const qtString& key) const {
    throw qtX<AbstractHreclaim>(kWrongKey, qtString(what).append(key.view()), {FileName(), key});
}

// Returns the data length of the item at an offset. Of the item's key, only the length is compared.
template <class F>
unsigned int Hreclaim<F>::ReadDataLength(const qtString& key, Offset offset) {
    SeekTo(offset);
    // A replacement or a deletion needs only tag, lengths and key. Without this call the device
    // would read 1,024 bytes, and copy about 1,000 of them needlessly.
    // Another device may lack ReadAhead, so we call it only if it exists.
    if constexpr (requires { io.device->ReadAhead(0U); }) {
        io.device->ReadAhead(zandrel::detail::kItemOverhead +
                             static_cast<unsigned int>(key.size()));
    }
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

// Writes an item and enters it into the index, as AddAtOffset does. `entry` is the result of
// index.lower_bound(key).
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

// Writes a new item into the last freed block of its slot, or at the end of the file. Only an
// appended block gets padding. `total`: the size of the item. `entry`: as for EnterItem.
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

// Raises what AddItem would raise for an item that is too large or has no room. RenameItem calls it
// before it deletes the old item. The deletion will free a block of slot `freed`, which the new
// item may use.
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

// Makes a block a hole, in the file and in the list of its slot.
template <class F>
void Hreclaim<F>::FreeBlock(unsigned int slot, Offset offset) {
    std::vector<Offset>& blocks = holes[slot];
    // We allocate before we change the file, so that push_back below cannot fail.
    if (blocks.size() == blocks.capacity()) {
        blocks.reserve(2 * blocks.size() + 1);
    }
    MarkDeleted(slot, offset);
    blocks.push_back(offset);
}

// Every change of an item ends with this function: it flushes the change, and then sets bit 0 of
// the state in the file, unless an earlier change has set it. If the bit cannot be written, `dirty`
// and `state` do not change.
template <class F>
void Hreclaim<F>::MarkChanged() {
    io.device->Flush();
    MarkStale();
    dirty = true;
}

// Chooses the block of the next index. If the index moves, its old block becomes a hole.
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
            return {offset, need, 0};  // One hole is used, one is new: the size is the same.
        }
        need += Format::kOffsetSize;  // the old block is one more hole in the list
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

// Looks for a hole or an item at a position, and returns by how many bytes the scan for lost items
// moves on.
template <class F>
std::uint64_t Hreclaim<F>::ScanBlock(std::uint64_t position, std::uint64_t end) {
    SeekTo(static_cast<Offset>(position));
    unsigned int tag = 0;
    unsigned int length = 0;
    io >> tag >> length;
    // With a damaged length of 0 the scan would never end.
    if (tag == zandrel::detail::kHoleTag && length != 0 && position + length <= end) {
        return length;
    }
    if (tag == zandrel::detail::kItemTag && length <= zandrel::detail::kLongestScannedKey &&
        position + length + zandrel::detail::kItemOverhead <= end) {
        return ScanItem(position, length, end);
    }
    return 1;
}

// Reads a possible item; the stream is behind the key length. Writes a hole's tag over the item if
// the index does not name it. Returns the same as ScanBlock.
template <class F>
std::uint64_t Hreclaim<F>::ScanItem(std::uint64_t position, unsigned int key_length,
                                    std::uint64_t end) {
    qtString key;
    key.resize(key_length);
    io.ReadBytes(key.data(), key_length);
    unsigned int data_length = 0;
    io >> data_length;
    const std::uint64_t total = zandrel::detail::ItemSize(key_length, data_length);
    // A larger item cannot exist, and GetSlot would raise. In a file of more than 2 GiB the first
    // condition does not exclude such a length.
    if (position + total > end || total > std::numeric_limits<int>::max()) {
        return 1;
    }
    const unsigned int slot = GetSlot(total);
    const auto found = index.find(key);
    const Offset known = found == index.end() ? 0 : found->second;
    if (known != static_cast<Offset>(position)) {
        MarkDeleted(slot, static_cast<Offset>(position));
    }
    return zandrel::detail::BlockSize(slot);
}

#endif  // ZANDREL_STORAGE_HRECLAIM_INL_H_
