// Hreclaim: the keyed record file over a file device. The bodies are in Hreclaim-inl.h.
// Format: docs/formats/record_file.md
#ifndef ZANDREL_STORAGE_HRECLAIM_H_
#define ZANDREL_STORAGE_HRECLAIM_H_

#include <array>
#include <cstdint>
#include <map>
#include <type_traits>
#include <vector>

#include "zandrel/export.h"
#include "zandrel/foundation/qtPtr.h"
#include "zandrel/foundation/qtString.h"
#include "zandrel/storage/AbstractHreclaim.h"
#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"
#include "zandrel/storage/Hio.h"
#include "zandrel/storage/Hreclaim_format.h"
#include "zandrel/storage/SegBuf.h"

// A record file whose device is of type `F`: Hfile64 for corpora and the classifier cache, Hfile32
// for archives. Both behave alike.
//
// Blocks have sizes of powers of two. A freed block is used again only for an item or an index that
// needs a block of the same size; the last freed block is used first. Blocks are never split or
// joined. So finding a block is fast, but up to half of the file is padding. An item that is
// written into a used block is not padded: the old bytes behind it remain. Hreclaim-inl.h explains
// blocks, holes and index with an example.
//
// A device of your own needs the operations and fields of Hfile64, except `file`. Its type
// `Offset`, `long long` or `unsigned int`, selects the format, and its positions have the signed
// type of the same size. The operations need not be virtual. For a test it is enough to derive from
// Hfile64 and to hide the operations that the test watches.
//
// The fields are public for tools and tests; owners only read them.
template <class F>
class ZANDREL_EXPORT Hreclaim : public AbstractHreclaim {
public:
    using Offset = typename F::Offset;
    using Format = zandrel::detail::Hreclaim_format<Offset>;

    Hreclaim() : Hreclaim(new F) {}

    // OWNS: `device`, which has no file open.
    explicit Hreclaim(F* device) : io(device) {}

    // Closes the device without writing the index. Errors are not reported.
    ~Hreclaim() override;

    bool Open(const qtString& name, bool create, bool read_only) override;
    void Close() override;
    void GetItem(const qtString& key, SegBuf& data) override;
    void AddItem(const qtString& key, const SegBuf& data) override;
    void RenameItem(const qtString& from, const qtString& to) override;
    void DeleteItem(const qtString& key) override;
    void SetFileID(unsigned int id, unsigned short version, unsigned char flags) override;
    void GetFileID(unsigned int& id, unsigned short& version, unsigned char& flags) const override;
    void SetState(unsigned char new_state) override;
    void GetState(unsigned char& current_state) const override;
    bool Exists(const qtString& key) const override;
    void WriteIndex() override;
    const qtString& FileName() const override;
    qtString MakeStringKey(unsigned int number) override;
    bool IsUnicode() const override;
    unsigned int GetIndexSize() const override;
    void GetIndex(std::vector<qtString>& keys) const override;
    void MarkDeleted602Records() override;

    // The steps of the operations above. Only ReadMagic changes `state`, and only ReadIndex changes
    // `dirty`.

    // Writes an item at `offset`, or at the end of the file if `offset` is 0, and enters the item
    // into the index.
    void AddAtOffset(const qtString& key, const SegBuf& data, Offset offset);
    // Finds the offset of a key's item and its data length. Both are 0 for an unknown key. Only the
    // length of the key in the file is compared.
    // RAISES: kWrongKey "Key points to invalid item: " on a wrong tag or key length.
    void GetKeyInfo(const qtString& key, Offset& offset, unsigned int& data_length);
    // Raises what AddItem would raise before it changes anything. An owner that marks the file
    // before a change calls this first, so that a refused change leaves no mark.
    // RAISES: kRecordTooLarge; kWrongKey "Key points to invalid item: "; the errors of reading.
    void RequireAddable(const qtString& key, unsigned int data_length);
    // Returns the slot of a block for `size` bytes: the bit length of `size`, for example 4 for 15,
    // 5 for 16 and 0 for 0.
    // RAISES: kRecordTooLarge from 2^31 on.
    unsigned int GetSlot(std::uint64_t size) const;
    // Removes the last freed block of this slot from its list and returns its offset.
    // REQUIRES: the list is not empty.
    Offset GetHole(unsigned int slot);
    // Writes the tag and the size of a hole of this slot.
    void MarkDeleted(unsigned int slot, Offset offset);
    // Writes zeros at the current position, by one call of the device.
    void WritePadding(unsigned int byte_count);
    // Reads the header.
    void ReadMagic();
    // Reads the index block.
    // REQUIRES: `index` and `holes` are empty.
    void ReadIndex();
    // Returns the exact size of an index block with the present keys and holes, without padding.
    // COST: linear in the number of keys.
    // RAISES: kRecordTooLarge if it is 2^31 or more.
    unsigned int GetIndexSpace() const;

    Hio<F> io;                         // over the file; its `scratch` serves all operations
    unsigned int index_space = 0;      // size of the index as last read or written; 0: no block yet
    Offset index_offset = 0;           // of the index block
    std::map<qtString, Offset> index;  // each key, and the offset of its item
    unsigned int file_id = 0;          // the owner sets this and the next two
    unsigned short file_version = 0;
    unsigned char file_flags = 0;
    unsigned char state = 0;
    bool dirty = false;  // `index` or `holes` differ from what is in the file
    // The free blocks of 2^slot bytes, in the order in which they were freed.
    std::array<std::vector<Offset>, zandrel::detail::kSlotCount> holes;

private:
    using Position = std::make_signed_t<Offset>;

    using Index_entry = typename std::map<qtString, Offset>::iterator;

    struct Index_place;  // where the next index block is written

    struct Hole_range {
        std::uint64_t start;
        std::uint64_t end;  // behind the last byte
    };

    void SeekTo(Offset offset) { io.device->Seek(static_cast<Position>(offset)); }

    void Create(const qtString& name);
    void Abandon() noexcept;
    void WriteIdentity();
    unsigned int ReadIndexHead();
    void ReadKeys(unsigned int key_count);
    void ReadHoles();
    void CheckHoles();
    void SortHoles(std::vector<Hole_range>& ranges) const;
    void CheckOutsideOfHoles(const std::vector<Hole_range>& ranges) const;
    [[noreturn]] void RaiseReadError() const;
    [[noreturn]] void RaiseKeyError(const char* what, const qtString& key) const;
    void RequirePlace(const qtString& key, unsigned int data_length, unsigned int freed);
    unsigned int ReadDataLength(const qtString& key, Offset offset);
    unsigned int GetSlotOfItem(const qtString& key, Offset offset);
    void EnterItem(Index_entry entry, const qtString& key, const SegBuf& data, Offset offset);
    void PlaceItem(Index_entry entry, const qtString& key, const SegBuf& data, unsigned int slot,
                   std::uint64_t total);
    void FreeBlock(unsigned int slot, Offset offset);
    void MarkChanged();
    Index_place PlaceIndex();
    void WriteIndexBlock(const Index_place& place);
    std::uint64_t FileSize();
    std::uint64_t ScanBlock(std::uint64_t position, std::uint64_t end);
    std::uint64_t ScanItem(std::uint64_t position, unsigned int key_length, std::uint64_t end);
};

// Instantiated only in Hreclaim.cpp.
extern template class Hreclaim<Hfile64>;
extern template class Hreclaim<Hfile32>;

#endif  // ZANDREL_STORAGE_HRECLAIM_H_
