// Record_file: header, index, items and holes of a record file or of a container's package, also of
// a damaged one.
#ifndef ZANDREL_CLI_RECORDS_RECORD_FILE_H_
#define ZANDREL_CLI_RECORDS_RECORD_FILE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "zandrel/storage/Hreclaim_format.h"

namespace zandrel::cli {

constexpr std::uint64_t kSlotCount = 32;

struct Record_header {
    bool is_wide = false;     // offsets of 64 bits, otherwise of 32
    bool is_package = false;  // the form of containers: offsets of 32 bits, no blocks, no holes
    std::uint32_t file_id = 0;
    std::uint8_t flags = 0;
    std::uint8_t state = 0;
    std::uint16_t version = 0;
    std::uint64_t index_offset = 0;

    bool is_unicode() const { return (flags & 0x80U) != 0; }

    // The file was changed and not closed, so the index in the file may be out of date.
    bool is_stale() const { return !is_package && (state & 1U) != 0; }

    // A package whose writer ended before it wrote the index.
    bool is_unfinished() const { return is_package && state != 0; }

    std::uint64_t size() const { return is_wide ? 20 : 16; }

    std::uint64_t offset_width() const { return is_wide ? 8 : 4; }
};

// A key of the index, and the item at its offset.
struct Record_item {
    std::string key;
    std::uint64_t offset = 0;
    std::uint64_t data_length = 0;
    std::string problem;       // empty: the item is whole
    bool is_past_end = false;  // the problem is that the file ends before the item

    // Size of the item with its tag, its key and both lengths.
    std::uint64_t total() const {
        return key.size() + data_length + zandrel::detail::kItemOverhead;
    }
};

struct Record_hole {
    unsigned int slot = 0;
    std::uint64_t offset = 0;
    std::string problem;       // empty: a hole of that size is there
    bool is_past_end = false;  // the file ends before the hole
};

struct Record_index {
    std::vector<Record_item> items;  // sorted by key
    // Sorted by slot; within a slot, in the order in which they were freed.
    std::vector<Record_hole> holes;
    std::uint64_t space = 0;   // in bytes, without the padding of the index's block
    std::string problem;       // empty: the index was read completely
    bool is_past_end = false;  // the file ends before the end of the index
};

// The parts that a package has, and a container in cached form: a record file of 64-bit offsets
// with the id, the trees or the seal of a container.
struct Package_contents {
    bool is_container = false;          // has the id, the trees or the seal of a container
    std::vector<std::string> contents;  // of each item, in words; same order as the items
    bool has_seal = false;              // intact or not
    std::uint64_t seal_offset = 0;      // of the item with the seal
    std::optional<std::uint32_t> form;  // of the seal; missing if the seal is too short for one
    std::map<std::string, std::uint32_t> checksums;  // in the seal, by key
    std::optional<std::uint32_t> header_checksum;    // missing if the seal is too short
};

struct Record_file {
    std::string path;
    std::uint64_t size = 0;
    Record_header header;
    Record_index index;
    std::optional<Package_contents> package = {};  // missing for a record file of another kind

    // How many bytes an item or index of this size occupies: its block, or in a package its size.
    std::uint64_t block_of_content(std::uint64_t content) const;
};

// A content of this size is in a block of 2^slot bytes, the next power of 2 that is greater. 31
// bytes: slot 5, a block of 32. 32 bytes: slot 6, a block of 64.
unsigned int slot_of(std::uint64_t size);
std::uint64_t block_of(std::uint64_t size);

// Reads header and index, and examines each item and hole in the index. Does not read beyond the
// end of the file. Of the items' data, reads only the seal and the types of a container's objects.
// RAISES: Input_error; Data_error for a file that has neither form.
Record_file read_record_file(const std::string& path);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_FILE_H_
