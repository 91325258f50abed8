// Hreclaim_format: the numbers of which a record file is made.
// Format: docs/formats/record_file.md
#ifndef ZANDREL_STORAGE_HRECLAIM_FORMAT_H_
#define ZANDREL_STORAGE_HRECLAIM_FORMAT_H_

#include <array>
#include <cstddef>

namespace zandrel::detail {

inline constexpr unsigned int kItemTag = 0x4A5B6C73;
inline constexpr unsigned int kHoleTag = 0xDEADDEAD;
inline constexpr unsigned int kIndexTag = 0x4A5B6C82;

// Places in the header, behind the four bytes of the magic. The first block follows the header.
inline constexpr int kFileIdPosition = 4;
inline constexpr int kStatePosition = 9;
inline constexpr int kIndexOffsetPosition = 12;

// Blocks have 2^slot bytes, and more than what they hold.
inline constexpr std::size_t kSlotCount = 32;

// What an item takes beside its key and data: tag, key length, data length.
inline constexpr unsigned int kItemOverhead = 12;

// Longer keys are not recognised by the scan for items that the index does not reach.
inline constexpr unsigned int kLongestScannedKey = 128;

// What most paddings are written from without an allocation.
inline constexpr std::array<char, 4096> kZeros = {};

// What depends on the width of offsets.
// Offset: `long long` or `unsigned int`, as it is packed in the file; 0 stands for none.
template <class Offset>
struct Hreclaim_format {
    static_assert(sizeof(Offset) == 8 || sizeof(Offset) == 4);

    static constexpr unsigned int kMagic = sizeof(Offset) == 8 ? 0x4A5B6C81 : 0x4A5B6C80;
    static constexpr unsigned int kOffsetSize = sizeof(Offset);
    static constexpr unsigned int kHeaderSize = 12 + kOffsetSize;
    // What a key takes in the index beside its bytes, and what the index takes without keys and
    // holes: tag and count, and the counts of the holes.
    static constexpr unsigned int kIndexEntryOverhead = 4 + kOffsetSize;
    static constexpr unsigned int kEmptyIndexSize = 8 + 4 * kSlotCount;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_STORAGE_HRECLAIM_FORMAT_H_
