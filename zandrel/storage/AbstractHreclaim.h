// AbstractHreclaim: the interface of the keyed record file, for offsets of 4 and of 8 bytes.
#ifndef ZANDREL_STORAGE_ABSTRACTHRECLAIM_H_
#define ZANDREL_STORAGE_ABSTRACTHRECLAIM_H_

#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/SegBuf.h"

// A persistent map from keys to blobs in one file. Keys are strings of any bytes, ordered bytewise.
// A key, its blob and 12 bytes are together less than 2 GiB. Only the owner knows the meaning of
// keys and blobs.
//
// The index is in memory while the file is open. Only `WriteIndex`, `Close`, and `Open` for a new
// file write it to the file. If bit 0 of the header's state is set, the index in the file may be
// stale (out of date). The first change after a WriteIndex sets the bit in the file before it
// returns, and WriteIndex clears it. No operation fails because of the bit; owners check it after
// they have opened the file. The destructor does not write the index, so the bit remains set if the
// object is destroyed after a change.
//
// When an operation that changes the file returns, its bytes have been passed to the system.
//
// Errors: raises qtX<AbstractHreclaim>. The first argument is the file's name, the second the key,
// if there is one. Errors of the device (qtX<HioErr>) and std::bad_alloc pass through. If a change
// fails, nothing is changed where this is written below. Otherwise the file may contain a part of
// the change, and the object must be destroyed without `Close`: after a failed write the device
// ignores all later writes silently.
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

    // Opens the file of this name. With `create`, makes an empty one if there is none. Returns
    // true if it made one. After an error no file is open; a new file that is only partly written
    // remains.
    // REQUIRES: no file is open. Otherwise the open file is closed without writing its index.
    // RAISES: kMissingFile "File does not exist: "; kWrongFormat "Input file is not in expected
    // format: "; kUnreadableIndex "Cannot read index".
    virtual bool Open(const qtString& name, bool create, bool read_only) = 0;
    // Writes the index if it has changed, and closes the file. Does nothing without an open file.
    virtual void Close() = 0;

    // Reads the blob of a key.
    // REQUIRES: `data` is empty. Its `offset` remains 0, so it can be read at once.
    // RAISES: kWrongKey "Missing key in index: "; with a damaged file "Key points to invalid item:
    // " and "Key points to wrong item: ".
    virtual void GetItem(const qtString& key, SegBuf& data) = 0;
    // Stores the first `size` bytes of `data` under the key, and replaces its old blob, if any.
    // RAISES: kRecordTooLarge "Record size size limit exceeded" if key, blob and 12 bytes are 2 GiB
    // or more, and then nothing is changed; kWrongKey "Key points to invalid item: ".
    virtual void AddItem(const qtString& key, const SegBuf& data) = 0;
    // Moves a blob to another key, and replaces the old blob of that key, if any. The blob is read
    // and written again.
    // RAISES: as GetItem, DeleteItem and AddItem.
    virtual void RenameItem(const qtString& from, const qtString& to) = 0;
    // RAISES: kWrongKey "Key does not exist: ", and then nothing is changed; "Key points to invalid
    // item: ".
    virtual void DeleteItem(const qtString& key) = 0;

    // The identity and the state in the header. The setters write to the file at once.
    virtual void SetFileID(unsigned int id, unsigned short version, unsigned char flags) = 0;
    virtual void GetFileID(unsigned int& id, unsigned short& version,
                           unsigned char& flags) const = 0;
    virtual void SetState(unsigned char state) = 0;
    virtual void GetState(unsigned char& state) const = 0;
    // Returns true if bit 0 of the state is set.
    bool IsStale() const;
    // Sets bit 0 of the state in the file, if it is not set. The operations above set it only after
    // their first change, so a process that ends in between leaves a changed file that looks clean.
    // An owner that must not lose such a change calls this before it.
    void MarkStale();

    virtual bool Exists(const qtString& key) const = 0;
    // Writes the index if it has changed, and clears bit 0 of the state.
    // COST: writes the whole index.
    virtual void WriteIndex() = 0;
    virtual const qtString& FileName() const = 0;
    // Returns the key of a number: its four packed bytes. Such keys have the order of the numbers.
    virtual qtString MakeStringKey(unsigned int number) = 0;
    // Returns true if kUnicodeContent is set in the flags.
    virtual bool IsUnicode() const = 0;
    // The number of keys.
    virtual unsigned int GetIndexSize() const = 0;
    // Appends all keys in their order.
    virtual void GetIndex(std::vector<qtString>& keys) const = 0;
    // Marks the items that the index does not name as holes in the file, for owners that upgrade a
    // file of version 1. The lists of holes, the index and the state do not change, so the space is
    // not used again. Items with keys of more than 128 bytes, and items that are not completely in
    // the file, are not marked.
    // COST: reads the whole file.
    virtual void MarkDeleted602Records() = 0;
};

#endif  // ZANDREL_STORAGE_ABSTRACTHRECLAIM_H_
