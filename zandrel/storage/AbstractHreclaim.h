// AbstractHreclaim: the keyed record file, whatever its width of offsets.
#ifndef ZANDREL_STORAGE_ABSTRACTHRECLAIM_H_
#define ZANDREL_STORAGE_ABSTRACTHRECLAIM_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/SegBuf.h"

// A persistent map from keys to blobs in one file. Keys are strings of any bytes, ordered bytewise;
// blobs are of any size. What a key and a blob hold is their owner's business.
//
// The index is in memory while the file is open and reaches it by `WriteIndex` or `Close` alone.
// Bit 0 of the header's state tells whether the index in the file may be stale: the first change
// after a WriteIndex sets it in the file before the change returns, and WriteIndex clears it. No
// operation reads the bit; owners look at it when they have opened the file. The destructor writes
// no index, so a file that is dropped after a change keeps the bit.
//
// When an operation that changes the file returns, its bytes have left the process.
//
// Errors: raises qtX<AbstractHreclaim>, with the file's name as its first argument and the key, if
// there is one, as its second; errors of the device (qtX<HioErr>) and std::bad_alloc pass through.
// What breaks off a change leaves the file as far as it got, and the object must be dropped: after
// a failed write all later writes are silent, so it would seem to work and lose everything.
// Threads: one at a time in the whole process. The file is not locked; two processes that write to
// it damage it.
// Format: docs/formats/record_file.md
class ZANDREL_EXPORT AbstractHreclaim {
public:
    // The numbers that a qtX<AbstractHreclaim> carries.
    static constexpr int kWrongFormat = 0;
    static constexpr int kUnreadableIndex = 1;
    static constexpr int kWrongKey = 2;
    static constexpr int kRecordTooLarge = 3;
    static constexpr int kMissingFile = 5;

    static constexpr unsigned char kStaleIndex = 0x01;      // of the state
    static constexpr unsigned char kUnicodeContent = 0x80;  // of the flags

    AbstractHreclaim() = default;
    AbstractHreclaim(const AbstractHreclaim&) = delete;
    AbstractHreclaim& operator=(const AbstractHreclaim&) = delete;
    virtual ~AbstractHreclaim();

    // Opens the file of this name; with `create`, makes an empty one if there is none. Returns
    // whether it made one. After an error no file is open; one that could not be finished stays as
    // it is.
    // REQUIRES: no file is open. What was open is dropped without its index.
    // RAISES: kMissingFile "File does not exist: "; kWrongFormat "Input file is not in expected
    // format: "; kUnreadableIndex "Cannot read index".
    virtual bool Open(const qtString& name, bool create, bool read_only) = 0;
    // Writes the index if it has changed, and closes the file. Harmless without an open file.
    virtual void Close() = 0;

    // Reads the blob of a key.
    // REQUIRES: `data` is fresh. It is ready to be read afterwards: its `offset` stays at 0.
    // RAISES: kWrongKey "Missing key in index: "; with a damaged file "Key points to invalid item:
    // " and "Key points to wrong item: ".
    virtual void GetItem(const qtString& key, SegBuf& data) = 0;
    // Stores the bytes from 0 to `size` of `data` under the key, in place of what it had.
    // RAISES: kRecordTooLarge "Record size size limit exceeded" if key, blob and 12 bytes make 2
    // GiB or more, and then nothing is changed; kWrongKey "Key points to invalid item: ".
    virtual void AddItem(const qtString& key, const SegBuf& data) = 0;
    // Moves a blob to another key, in place of what that had. The blob is copied.
    virtual void RenameItem(const qtString& from, const qtString& to) = 0;
    // RAISES: kWrongKey "Key does not exist: ", and then nothing is changed; "Key points to invalid
    // item: ".
    virtual void DeleteItem(const qtString& key) = 0;

    // These reach the file at once.
    virtual void SetFileID(unsigned int id, unsigned short version, unsigned char flags) = 0;
    virtual void GetFileID(unsigned int& id, unsigned short& version,
                           unsigned char& flags) const = 0;
    virtual void SetState(unsigned char state) = 0;
    virtual void GetState(unsigned char& state) const = 0;

    virtual bool Exists(const qtString& key) const = 0;
    // Makes the file current: writes the index, if it has changed, and clears bit 0 of the state.
    // COST: the whole index in one block.
    virtual void WriteIndex() = 0;
    virtual const qtString& FileName() const = 0;
    // The key of a number: its four packed bytes, so that such keys sort as their numbers.
    virtual qtString MakeStringKey(unsigned int number) = 0;
    // Whether the owner's flags tell unicode content.
    virtual bool IsUnicode() const = 0;
    // The number of keys.
    virtual unsigned int GetIndexSize() const = 0;
    // Appends all keys in their order.
    virtual void GetIndex(std::vector<qtString>& keys) const = 0;
    // Marks what the index does not reach as holes, for owners that upgrade a file of version 1.
    // Only the file is marked: the space is not used again, and neither index nor state change.
    // Items with keys of more than 128 bytes are not recognised.
    // COST: reads the whole file.
    virtual void MarkDeleted602Records() = 0;
};

#endif  // ZANDREL_STORAGE_ABSTRACTHRECLAIM_H_
