// Hpack: the package, a file of records that is written once from front to back.
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

// A keyed store of blobs in a file or in memory, in the manner of a record file of 32-bit offsets,
// but without holes and padding: items are appended, and the index follows the last of them. It
// takes no more bytes than its content, and serves what is read whole and written whole.
//
// The index reaches the file in `Close`. A package that was never closed, or only destroyed, is no
// package: opening it raises.
//
// Errors: those of file devices pass through, also from buffers; qtX<Hpack> as told below, with the
// texts of docs/errors.md. After a failed operation, but for `GetItem`, the package is to be
// dropped or opened anew.
// Threads: one at a time in the whole process.
class ZANDREL_EXPORT Hpack {
public:
    // With which every package begins; no other of our files does.
    static constexpr unsigned int kMagic = 0x4A5B6C84;

    // The numbers that a qtX<Hpack> carries.
    static constexpr int kUnreadableIndex = 1;
    static constexpr int kWrongKey = 2;

    Hpack();
    Hpack(const Hpack&) = delete;
    Hpack& operator=(const Hpack&) = delete;
    // Closes the device without writing the index; what fails then goes unreported.
    ~Hpack();

    // `mode` 'r' reads, 'w' begins a new package in place of what is there, 'u' opens one for
    // changes. What was open before is dropped as by the destructor. A file or buffer that begins
    // otherwise than a package does is opened all the same and is reported by `GetFileID` as bad;
    // it has no items.
    // RAISES: kUnreadableIndex "Cannot read index" (argument: the file's name); qtX<HioErr>.
    void Open(const qtString& file, char mode);
    // The same on a memory buffer, whose name is "qtBuffer". A null pointer is an empty buffer,
    // which all modes but 'r' make. SHARES: the buffer, until the package is closed.
    void Open(qtPtr<qtBuffer>& buffer, char mode);
    // Writes the index if the package is new or items were added, unless a change has failed, and
    // closes the device, also if that raises. A closed package stays so.
    void Close();
    // Closes the device without writing the index, as the destructor does.
    void Abandon() noexcept;

    // The owner's identity, as it stands in the header. With `bad` set, as without an open package,
    // the rest is 0.
    void GetFileID(unsigned int& id, unsigned short& version, unsigned char& flags,
                   bool& bad) const;
    // Writes it to the header at once.
    // RAISES: HioErr::kWriteFailed "File is not open for writing", also for a bad file, which stays
    // as it is.
    void SetFileID(unsigned int id, unsigned short version, unsigned char flags);

    // Reads an item into an empty buffer, which is ready to be read from the start afterwards.
    // RAISES: kWrongKey "Missing key in index: ", "Key points to invalid item: " or "Key points to
    // wrong item: ", with the key behind (arguments: the file's name, the key).
    void GetItem(const qtString& key, SegBuf& data);
    // Goes to the data of an item and returns how many bytes they are, for a caller who takes them
    // from `io` a piece at a time.
    // RAISES: as GetItem.
    unsigned int SeekItem(const qtString& key);
    // Writes an item at an offset, or at the end if that is 0, and enters it into the index, where
    // an item of the same key is forgotten. An offset of an item writes over it, whatever it is; in
    // a package that is open for changes the old index stays in force until the new one is written.
    // RAISES: as SetFileID; HioErr::kBadOffset "Invalid file offset in file " for an offset in the
    // header.
    void AddAtOffset(const qtString& key, const SegBuf& data, unsigned int offset);
    // The four bytes of a number, the highest first, as those of a record file.
    static qtString MakeStringKey(unsigned int number);
    // How many items there are.
    unsigned int GetIndexSize() const;
    // Where the index is in the file; 0 while there is none. An item that is written at this offset
    // replaces the index, so no unused bytes remain between the items. If this write fails, the
    // file is no package any more.
    unsigned int GetIndexOffset() const;

    Hio<Generic32> io;                       // over a plain Generic32 until it is opened
    std::map<qtString, unsigned int> index;  // every key, and where its item is

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

    qtPtrLight<Generic32> m_closed;   // the device that does nothing
    unsigned int m_index_offset = 0;  // of the index in the file; 0: none yet
    unsigned int m_file_id = 0;
    unsigned short m_version = 0;
    unsigned char m_flags = 0;
    unsigned char m_state = 0;  // as in the header
    bool m_is_bad = true;       // no package is open
    bool m_is_dirty = false;    // `index` differs from what is in the file
    bool m_is_broken = false;   // a change has failed: the file must get no index
};

#endif  // ZANDREL_PERSISTENCE_HPACK_H_
