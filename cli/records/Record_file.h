// Record_file: what the bytes of a record file or of a container's package say, also if the file is
// damaged.
#ifndef ZANDREL_CLI_RECORDS_RECORD_FILE_H_
#define ZANDREL_CLI_RECORDS_RECORD_FILE_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cli {

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

    // Changes were made that the index in the file may not tell of.
    bool is_stale() const { return !is_package && (state & 1U) != 0; }

    // Writing a package ended before its index was written.
    bool is_unfinished() const { return is_package && state != 0; }

    std::uint64_t size() const { return is_wide ? 20 : 16; }

    std::uint64_t offset_width() const { return is_wide ? 8 : 4; }
};

// A key of the index, and what stands where it points.
struct Record_item {
    std::string key;
    std::uint64_t offset = 0;
    std::uint64_t data_length = 0;
    std::string problem;       // empty: the item is whole
    bool is_past_end = false;  // the problem is that the file ends before the item

    // With tag, key and lengths.
    std::uint64_t total() const { return key.size() + data_length + 12; }
};

struct Record_hole {
    unsigned int slot = 0;
    std::uint64_t offset = 0;
    std::string problem;       // empty: a hole of that size is there
    bool is_past_end = false;  // likewise
};

struct Record_index {
    std::vector<Record_item> items;  // by key
    std::vector<Record_hole> holes;  // by slot, in each the last freed last
    std::uint64_t space = 0;         // size of the block's content
    std::string problem;             // empty: it was read to its end
    bool is_past_end = false;        // likewise
};

// The parts that only the package of a container has.
struct Package_contents {
    bool is_container = false;          // the id in the header is that of containers
    std::vector<std::string> contents;  // of each item, in words
    bool has_seal = false;              // sound or not
    std::uint64_t seal_offset = 0;      // of its item
    std::optional<std::uint32_t> form;  // of the seal; missing if the seal is too short for one
    std::map<std::string, std::uint32_t> checksums;  // that the seal has, by key
    std::optional<std::uint32_t> header_checksum;    // likewise
};

struct Record_file {
    std::string path;
    std::uint64_t size = 0;
    Record_header header;
    Record_index index;
    std::optional<Package_contents> package = {};  // missing for a record file

    // How many bytes the file has for an item or index of that size.
    std::uint64_t block_of_content(std::uint64_t content) const;
};

// The block of a content of that size has 2 to the power of this many bytes.
unsigned int slot_of(std::uint64_t size);
std::uint64_t block_of(std::uint64_t size);

// Reads header and index, and looks at each item and hole that the index names. Nothing is read
// that the file's size does not cover. Of the data only the seal and the types of a container's
// objects are read. RAISES: Input_error; Data_error for a file that is neither form.
Record_file read_record_file(const std::string& path);

}  // namespace cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_FILE_H_
