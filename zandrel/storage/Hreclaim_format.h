// Hreclaim_format: tags, positions and sizes in a record file.
// Format: docs/formats/record_file.md
#ifndef ZANDREL_STORAGE_HRECLAIM_FORMAT_H_
#define ZANDREL_STORAGE_HRECLAIM_FORMAT_H_

#include <array>
#include <cstddef>

namespace zandrel::detail {

inline constexpr unsigned int kItemTag = 0x4A5B6C73;
inline constexpr unsigned int kHoleTag = 0xDEADDEAD;
inline constexpr unsigned int kIndexTag = 0x4A5B6C82;

// Positions in the header, behind the four bytes of the magic. The first block follows the header.
inline constexpr int kFileIdPosition = 4;
inline constexpr int kStatePosition = 9;
inline constexpr int kIndexOffsetPosition = 12;

// Slots are 0 to 31. A block has 2^slot bytes, which is more than its content.
inline constexpr std::size_t kSlotCount = 32;

// The size of an item without its key and data: tag, key length and data length.
inline constexpr unsigned int kItemOverhead = 12;

// The size of a hole's tag and size.
inline constexpr unsigned int kHoleMarkSize = 8;

// The scan for items that the index does not name ignores longer keys.
inline constexpr unsigned int kLongestScannedKey = 128;

// Paddings up to this size are written without an allocation.
inline constexpr std::array<char, 4096> kZeros = {};

// The numbers that depend on the size of an offset.
// Offset: `long long` or `unsigned int`, as it is packed in the file. The offset 0 means "none".
template <class Offset>
struct Hreclaim_format {
    static_assert(sizeof(Offset) == 8 || sizeof(Offset) == 4);

    static constexpr unsigned int kMagic = sizeof(Offset) == 8 ? 0x4A5B6C81 : 0x4A5B6C80;
    static constexpr unsigned int kOffsetSize = sizeof(Offset);
    static constexpr unsigned int kHeaderSize = 12 + kOffsetSize;
    // The size of a key's entry in the index without the key's bytes: its length and the offset.
    static constexpr unsigned int kIndexEntryOverhead = 4 + kOffsetSize;
    // The size of an index without keys and holes: tag, number of keys, 32 numbers of holes.
    static constexpr unsigned int kEmptyIndexSize = 8 + 4 * kSlotCount;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_HRECLAIM_FORMAT_H_
