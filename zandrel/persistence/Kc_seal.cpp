// Makes a seal of an open file, writes it, and compares a stored seal with the one that the file
// should have. The file is a package or a record file; both have an index of keys and offsets. The
// comparison is byte by byte; the position of the first difference says which item, or which other
// part, was changed. For example, the entry of an item with a key of 4 bytes has 12 bytes: the
// key's length, the key and the checksum. The first entry is at 8. A difference at 17 is in its
// checksum (16 to 19), so this item's data were changed. A difference at 13 is in its key (12 to
// 15), so an item has another key.
#include "zandrel/persistence/Kc_seal.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "zandrel/foundation/Crc32c.h"
#include "zandrel/foundation/qtX.h"
#include "zandrel/persistence/Hpack.h"
#include "zandrel/persistence/Kc_steps.h"
#include "zandrel/storage/HSegment.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/Hreclaim.h"
#include "zandrel/storage/SegBuf.h"
#include "zandrel/storage/packing.h"

using zandrel::Kc_seal;

namespace {

constexpr unsigned int kForm = 1;

// A seal begins with the form (4 bytes) and the number of items (4 bytes). The entries follow.
constexpr unsigned int kFormSize = 4;
constexpr unsigned int kEntriesPosition = 8;
// The size of an entry without its key: the key's length and the checksum.
constexpr unsigned int kEntryOverhead = 8;

// Items are read in pieces of this size: large enough for few calls, and small enough for the
// processor's cache.
constexpr unsigned int kPieceSize = 65536;

// The file of a container in cached form.
using Record_file = Hreclaim<Hfile64>;

struct Identity {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
};

Identity IdentityOf(const Hpack& pack) {
    Identity found;
    bool is_bad = false;
    pack.GetFileID(found.id, found.version, found.flags, is_bad);
    return found;
}

Identity IdentityOf(const Record_file& file) {
    Identity found;
    file.GetFileID(found.id, found.version, found.flags);
    return found;
}

// Returns the name of an item in messages. A key that no container has may contain any bytes, so we
// do not put it into messages.
qtString NameOf(const qtString& key) {
    if (key == zandrel::detail::kManagerKey) {
        return key;
    }
    unsigned int id = 0;
    if (key.size() != sizeof id) {
        return "item";
    }
    qtUnpackUssDiet(id, key.data());
    return "object " + qtString(std::to_string(id));
}

template <class File>
[[noreturn]] void RaiseBroken(const File& file, const qtString& part) {
    throw qtX<Kc_seal>(Kc_seal::kBroken, "Seal does not match: " + part,
                       {file.io.device->name, part});
}

// Moves to the data of an item and returns their length.
unsigned int SeekItem(Hpack& pack, const qtString& key) {
    return pack.SeekItem(key);
}

// GetKeyInfo compares only the length of the key, so we compare the key itself.
unsigned int SeekItem(Record_file& file, const qtString& key) {
    constexpr long long kKeyPosition = 8;
    long long offset = 0;
    unsigned int length = 0;
    file.GetKeyInfo(key, offset, length);
    file.io.device->Seek(offset + kKeyPosition);
    std::vector<char> found(key.size());
    file.io.ReadBytes(found.data(), static_cast<unsigned int>(found.size()));
    if (!std::equal(found.begin(), found.end(), key.data())) {
        RaiseBroken(file, NameOf(key));
    }
    file.io >> length;
    return length;
}

template <class File>
std::uint32_t ChecksumOfItem(File& file, const qtString& key) {
    zandrel::detail::Crc32c sum;
    unsigned int left = SeekItem(file, key);
    std::vector<char> piece(std::min(left, kPieceSize));
    while (left > 0) {
        const unsigned int length = std::min(left, kPieceSize);
        file.io.ReadBytes(piece.data(), length);
        sum.Add(piece.data(), length);
        left -= length;
    }
    return sum.Value();
}

// The identity is id, version and flags. We leave out the Unicode flag, so that
// zeIO::SetUnicodeFlag does not break the seal.
std::uint32_t ChecksumOfIdentity(const Identity& identity) {
    char bytes[sizeof identity.id + sizeof identity.version + 1] = {};
    int length = qtPackUssDiet(identity.id, bytes);
    length += qtPackUssDiet(identity.version, bytes + length);
    bytes[length++] = static_cast<char>(identity.flags & ~zandrel::detail::kKcUnicode);
    zandrel::detail::Crc32c sum;
    sum.Add(bytes, static_cast<std::size_t>(length));
    return sum.Value();
}

// Makes the seal that the file should have.
template <class File>
void MakeSeal(File& file, SegBuf& seal) {
    Hio<HSegment> io(new HSegment(seal, 'w'));
    io << kForm;
    io.WriteCount(file.index.size() - file.index.count(Kc_seal::kKey));
    for (const auto& [key, offset] : file.index) {
        if (key != Kc_seal::kKey) {
            io << key << ChecksumOfItem(file, key);
        }
    }
    io << ChecksumOfIdentity(IdentityOf(file));
    io.device->Close();
}

// Returns the position of the first byte in which two records differ, or that only one of them has.
unsigned int FirstDifference(const SegBuf& one, const SegBuf& other) {
    const unsigned int end = std::min(one.size, other.size);
    for (unsigned int position = 0; position < end;) {
        char* run = nullptr;
        char* other_run = nullptr;
        unsigned int length = 0;
        one.Locate(position, end, run, length);
        other.Locate(position, end, other_run, length);
        const char* const different = std::mismatch(run, run + length, other_run).first;
        if (different != run + length) {
            return position + static_cast<unsigned int>(different - run);
        }
        position += length;
    }
    return end;
}

// Returns the name of the item or part to which the byte of a seal at this position belongs.
template <class File>
qtString NameOfPart(const File& file, unsigned int position) {
    constexpr std::size_t kChecksumSize = 4;
    std::size_t end = kEntriesPosition;
    for (const auto& [key, offset] : file.index) {
        if (key != Kc_seal::kKey && position >= end) {
            end += kEntryOverhead + key.size();
            if (position >= end - kChecksumSize && position < end) {
                return NameOf(key);
            }
        }
    }
    if (position < end) {
        return "list of items";  // a key, its length, or the number of items
    }
    return position < end + kChecksumSize ? "header" : "seal";
}

// RAISES: kUnknownForm, also if damage has changed the form: we cannot distinguish it from a later
// form. kBroken for a seal without a form.
template <class File>
void RequireKnownForm(const File& file, SegBuf& seal) {
    if (seal.size < kFormSize) {
        RaiseBroken(file, "seal");
    }
    unsigned int form = 0;
    Hio<HSegment>(new HSegment(seal, 'r')) >> form;
    if (form != kForm) {
        const qtString text(std::to_string(form));
        throw qtX<Kc_seal>(Kc_seal::kUnknownForm, "Unknown form of seal: " + text,
                           {file.io.device->name, text});
    }
}

template <class File>
void RequireMatch(File& file) {
    SegBuf stored;
    file.GetItem(Kc_seal::kKey, stored);
    RequireKnownForm(file, stored);
    SegBuf sound;
    MakeSeal(file, sound);
    const unsigned int difference = FirstDifference(stored, sound);
    if (difference < std::max(stored.size, sound.size)) {
        RaiseBroken(file, NameOfPart(file, difference));
    }
}

bool IsPackage(const Hpack& opened) {
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    bool is_bad = false;
    opened.GetFileID(id, version, flags, is_bad);
    return !is_bad;
}

bool BeginsAsRecordFile(const qtString& name) {
    unsigned int magic = 0;
    Hio<Hfile64> io(new Hfile64);
    io.device->Open(name, 'r');
    if (io.device->SeekEnd() < static_cast<long long>(sizeof magic)) {
        return false;
    }
    io.device->Seek(0);
    io >> magic;
    return magic == Record_file::Format::kMagic;
}

bool BeginsAsRecordFile(const qtPtr<qtBuffer>&) {
    return false;  // a record file is never in memory
}

bool IsSynchronized(const Record_file& file) {
    return !file.IsStale();
}

// We mark the file before the first change. If sealing is interrupted, owners of the file see the
// mark, and a new index can be made from the items.
void WriteToRecordFile(const qtString& name) {
    Record_file file;
    file.Open(name, false, false);
    if (!IsSynchronized(file)) {
        throw qtX<Kc_seal>(Kc_seal::kNotSynchronized, "Index is not synchronized: " + name, {name});
    }
    SegBuf seal;
    MakeSeal(file, seal);
    file.MarkStale();
    file.AddItem(Kc_seal::kKey, seal);
    file.Close();
}

void WriteToRecordFile(const qtPtr<qtBuffer>&) {}

template <class Place>
void WriteTo(Place& place) {
    Hpack pack;
    pack.Open(place, 'u');
    if (!IsPackage(pack) && BeginsAsRecordFile(place)) {
        pack.Close();
        WriteToRecordFile(place);
        return;
    }
    SegBuf seal;
    MakeSeal(pack, seal);
    // The item of the seal has as many bytes for each other item as the old index has, and 32 more.
    // The old index has at most 24 more, for its head and an older seal. So the item covers the
    // whole old index.
    pack.AddAtOffset(Kc_seal::kKey, seal, pack.GetIndexOffset());
    pack.Close();
}

bool VerifyRecordFile(const qtString& name) {
    Record_file file;
    file.Open(name, false, true);
    return Kc_seal::Verify(file);
}

bool VerifyRecordFile(const qtPtr<qtBuffer>&) {
    return false;
}

template <class Place>
bool VerifyIn(Place& place) {
    Hpack pack;
    pack.Open(place, 'r');
    if (!IsPackage(pack) && BeginsAsRecordFile(place)) {
        pack.Close();
        return VerifyRecordFile(place);
    }
    return Kc_seal::Verify(pack);
}

}  // namespace

namespace zandrel {

void Kc_seal::Write(const qtString& file) {
    WriteTo(file);
}

void Kc_seal::Write(qtPtr<qtBuffer>& buffer) {
    WriteTo(buffer);
}

bool Kc_seal::Verify(const qtString& file) {
    return VerifyIn(file);
}

bool Kc_seal::Verify(qtPtr<qtBuffer>& buffer) {
    return VerifyIn(buffer);
}

bool Kc_seal::Verify(Hpack& pack) {
    if (!IsIn(pack)) {
        return false;
    }
    RequireMatch(pack);
    return true;
}

bool Kc_seal::Verify(Hreclaim<Hfile64>& file) {
    if (!IsIn(file) || !IsSynchronized(file)) {
        return false;
    }
    RequireMatch(file);
    return true;
}

bool Kc_seal::IsIn(const Hpack& pack) {
    return pack.index.count(kKey) != 0;
}

bool Kc_seal::IsIn(const Hreclaim<Hfile64>& file) {
    return file.index.count(kKey) != 0;
}

}  // namespace zandrel
