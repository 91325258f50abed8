// Hpack: the package, a file of keyed items that is written once from front to back.
// Format: docs/formats/kc.md
#ifndef ZANDREL_PERSISTENCE_HPACK_H_
#define ZANDREL_PERSISTENCE_HPACK_H_

#include <map>

#include "zandrel/export.h"
#include "zandrel/foundation/qtBuffer.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/Generic32.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/SegBuf.h"

// A keyed store of blobs in a file or in memory. It is like a record file of 32-bit offsets, but
// without holes and padding: items are appended, and the index follows the last item. A package
// that is written once has no unused bytes. Use it for content that is always read and written as a
// whole.
//
// `Close` writes the index. A new package that is destroyed without `Close` has no index, and
// opening it raises.
//
// Errors: errors of file devices pass through; a buffer raises the same errors. qtX<Hpack> as
// described below. After an operation other than `GetItem` and `SeekItem` fails, destroy the
// package or open it again.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Hpack {
public:
    // The first four bytes of each package, and of no other file of ours.
    static constexpr unsigned int kMagic = 0x4A5B6C84;

    // The numbers of a qtX<Hpack>.
    static constexpr int kUnreadableIndex = 1;
    static constexpr int kWrongKey = 2;

    Hpack();
    Hpack(const Hpack&) = delete;
    Hpack& operator=(const Hpack&) = delete;
    // Closes the device without writing the index. Errors are not reported.
    ~Hpack();

    // `mode` 'r' opens a package for reading, 'u' for changes, and 'w' begins a new one in place of
    // an existing file. A package that was open is closed as by the destructor. A file or buffer
    // that does not begin like a package is opened too, but has no items, and `GetFileID` reports
    // it as bad.
    // RAISES: kUnreadableIndex "Cannot read index" (argument: the file's name); qtX<HioErr>.
    void Open(const qtString& file, char mode);
    // Opens a memory buffer in the same way. Its name in errors is "qtBuffer". A null pointer means
    // an empty buffer; all modes except 'r' make it and store it in `buffer`.
    // SHARES: the buffer, until the package is closed.
    void Open(qtPtr<qtBuffer>& buffer, char mode);
    // Writes the index if the package is new or items were added, unless a change has failed.
    // Closes the device, also if writing raises. Does nothing if no package is open.
    void Close();
    // Closes the device without writing the index, as the destructor does.
    void Abandon() noexcept;

    // Returns the identity that the owner has written to the header. Without an open package, and
    // for a bad file, `bad` is true and the others are 0.
    void GetFileID(unsigned int& id, unsigned short& version, unsigned char& flags,
                   bool& bad) const;
    // Writes the identity to the header at once.
    // RAISES: HioErr::kWriteFailed "File is not open for writing", also for a bad file, which is
    // not changed.
    void SetFileID(unsigned int id, unsigned short version, unsigned char flags);

    // Reads an item into an empty buffer. The buffer's position remains 0.
    // RAISES: kWrongKey "Missing key in index: ", "Key points to invalid item: " or "Key points to
    // wrong item: ", followed by the key (arguments: the file's name, the key).
    void GetItem(const qtString& key, SegBuf& data);
    // Moves to the data of an item and returns their length, for a caller that then reads them from
    // `io` in pieces.
    // RAISES: as GetItem.
    unsigned int SeekItem(const qtString& key);
    // Writes an item at an offset, or at the end if `offset` is 0, and enters it into the index. An
    // older item of the same key is no longer in the index, but remains in the file. The bytes at
    // `offset` are overwritten without a check. In a package that is open for changes, the old
    // index is valid until it is overwritten or the new one is written.
    // RAISES: as SetFileID; HioErr::kBadOffset "Invalid file offset in file " for an offset in the
    // header.
    void AddAtOffset(const qtString& key, const SegBuf& data, unsigned int offset);
    // Returns the key of a number: its four bytes, the highest first, as in a record file.
    static qtString MakeStringKey(unsigned int number);
    // Returns the number of items in the index.
    unsigned int GetIndexSize() const;
    // Returns the offset of the index in the file; 0 if there is none yet. An item that is written
    // at this offset replaces the index, so no unused bytes remain between the items. If this write
    // fails, the file cannot be opened any more.
    unsigned int GetIndexOffset() const;

    Hio<Generic32> io;                       // its device is a plain Generic32 until Open
    std::map<qtString, unsigned int> index;  // each key, and the offset of its item

private:
    void Start(qtPtrLight<Generic32> opened, char mode);
    void ReadHeader();
    void ReadIndex();
    bool ReadsIndex();
    bool ReadsEntry();
    void WriteHeader();
    void WriteItem(const qtString& key, const SegBuf& data, unsigned int offset);
    void WriteIndex();
    void SeekTo(unsigned int offset);
    void SeekData(const qtString& key);
    void RequirePackage() const;
    [[noreturn]] void RefuseKey(const char* what, const qtString& key) const;

    qtPtrLight<Generic32> m_closed;   // the device of `io` when no package is open; does nothing
    unsigned int m_index_offset = 0;  // of the index in the file; 0: none yet
    unsigned int m_file_id = 0;
    unsigned short m_version = 0;
    unsigned char m_flags = 0;
    unsigned char m_state = 0;  // as in the header
    bool m_is_bad = true;       // no package is open
    bool m_is_dirty = false;    // `index` differs from the index in the file
    bool m_is_broken = false;   // a change has failed, so Close must not write the index
};

#endif  // ZANDREL_PERSISTENCE_HPACK_H_
