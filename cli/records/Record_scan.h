// Record_scan: finds the items, holes and the index of a damaged record file or package by their
// tags.
#ifndef ZANDREL_CLI_RECORDS_RECORD_SCAN_H_
#define ZANDREL_CLI_RECORDS_RECORD_SCAN_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/storage/Hreclaim_format.h"

#include "cli/records/File_window.h"

namespace zandrel::cli {

enum class Record_form { kWide, kNarrow, kPackage };

std::uint64_t header_size(Record_form form);
std::uint64_t offset_width(Record_form form);
std::uint32_t magic_of(Record_form form);
// "record file of 64-bit offsets", "record file of 32-bit offsets" or "package"
const char* name_of(Record_form form);
// The number of bytes that an item or index of this size occupies.
std::uint64_t block_size(Record_form form, std::uint64_t content);

// Longer keys are taken for damage.
inline constexpr std::uint64_t kLongestKey = 1U << 20U;

// No more gaps are kept, so that a hostile file does not fill the memory.
inline constexpr std::size_t kMostGaps = 10000;

// A place where the index says that a block begins.
struct Named_block {
    std::uint64_t offset = 0;
    const std::string* key = nullptr;  // BORROWS: of the index; null: a hole
    unsigned int slot = 0;             // of a hole
};

// The index block as it is in the file. A part of it may be damaged, so an entry is only a hint: it
// counts if the item or hole is there.
struct Old_index {
    Old_index() = default;
    Old_index(Old_index&&) = default;  // `blocks` has pointers into `items`
    Old_index& operator=(Old_index&&) = default;

    std::uint64_t offset = 0;
    std::uint64_t space = 0;  // its bytes without padding; 0: it could not be read to its end
    bool is_ordered = true;   // each key is greater than the one before
    std::map<std::string, std::uint64_t> items;  // the offset of each key
    std::vector<Named_block> blocks;             // of the items and holes, sorted by offset

    bool is_complete() const { return space != 0 && is_ordered; }

    bool names(const std::string& key, std::uint64_t place) const {
        const auto found = items.find(key);
        return found != items.end() && found->second == place;
    }

    // Returns the first block at `place` or behind it.
    std::vector<Named_block>::const_iterator from(std::uint64_t place) const;

    bool has_block_at(std::uint64_t place) const {
        const auto found = from(place);
        return found != blocks.end() && found->offset == place;
    }

    // Returns the key of the item that begins at `place`; null: none.
    const std::string* key_at(std::uint64_t place) const;
    // Returns whether a hole of this size begins at `place`.
    bool has_hole(std::uint64_t place, std::uint64_t size) const;
};

struct Scanned_item {
    std::string key;
    std::uint64_t offset = 0;
    std::uint32_t data_length = 0;

    std::uint64_t total() const {
        return key.size() + data_length + zandrel::detail::kItemOverhead;
    }

    std::uint64_t data_offset() const { return offset + total() - data_length; }
};

struct Scanned_hole {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

// A part of the file in which no block was recognised.
struct Scanned_gap {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    bool is_index = false;           // an index that cannot be read
    std::optional<std::string> key;  // of an item that begins here, if its key can be read
    std::uint64_t key_offset = 0;    // of this item
    // The gap begins with this item, and its length says that it ends before the gap.
    bool is_longer_than_item = false;
};

struct Record_scan {
    std::vector<Scanned_item> items;  // sorted by offset
    std::vector<Scanned_hole> holes;  // sorted by offset
    // Items whose block has become a hole although the index, which is current, names them: the
    // change that freed the block was interrupted. They are in `items` too.
    std::vector<std::uint64_t> revived;
    std::vector<Scanned_gap> gaps;           // sorted by offset; the first kMostGaps
    std::uint64_t further_gaps = 0;          // the number of the others
    std::optional<Old_index> scanned_index;  // the last whole index block that was found
    bool ends_with_block = true;             // the last block is completely in the file
    // Where bytes begin that are behind the last block of a whole and current index.
    std::optional<std::uint64_t> tail;
};

struct Scan_request {
    Record_form form = Record_form::kWide;
    bool is_stale = false;             // the index may be out of date
    const Old_index* index = nullptr;  // BORROWS: null: there is none
};

// Reads the index at an offset, as far as possible. Returns nothing if no index begins there.
// `budget`: bytes of indexes that may be read, so that many damaged ones take no quadratic time.
std::optional<Old_index> read_old_index(File_window& file, Record_form form, std::uint64_t offset,
                                        std::uint64_t& budget);

// Record_scan.cpp describes the rules.
// COST: one pass over the file; items and holes are not read, but skipped.
Record_scan scan_records(File_window& file, const Scan_request& request);

// Returns the item of this key if the hole at `offset` was its block, and its key and length are
// still there: only the first eight bytes of a block are overwritten when it becomes a hole.
std::optional<Scanned_item> item_in_hole(File_window& file, const std::string& key,
                                         std::uint64_t offset);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_SCAN_H_
