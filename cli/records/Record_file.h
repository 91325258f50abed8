// Record_file: a record file as its bytes tell of it, whatever their condition.
#ifndef ZANDREL_CLI_RECORDS_RECORD_FILE_H_
#define ZANDREL_CLI_RECORDS_RECORD_FILE_H_

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace cli {

constexpr std::uint64_t kSlotCount = 32;

struct Record_header {
    bool is_wide = false;  // offsets of 64 bits, otherwise of 32
    std::uint32_t file_id = 0;
    std::uint8_t flags = 0;
    std::uint8_t state = 0;
    std::uint16_t version = 0;
    std::uint64_t index_offset = 0;

    bool is_unicode() const { return (flags & 0x80U) != 0; }

    // Changes were made that the index in the file may not tell of.
    bool is_stale() const { return (state & 1U) != 0; }

    std::uint64_t size() const { return is_wide ? 20 : 16; }

    std::uint64_t offset_width() const { return is_wide ? 8 : 4; }
};

// A key of the index, and what stands where it points.
struct Record_item {
    std::string key;
    std::uint64_t offset = 0;
    std::uint64_t data_length = 0;
    std::string problem;  // empty: the item is whole

    // With tag, key and lengths.
    std::uint64_t total() const { return key.size() + data_length + 12; }
};

struct Record_hole {
    unsigned int slot = 0;
    std::uint64_t offset = 0;
    std::string problem;  // empty: a hole of that size stands there
};

struct Record_index {
    std::vector<Record_item> items;  // by key
    std::vector<Record_hole> holes;  // by slot, in each the last freed last
    std::uint64_t space = 0;         // size of the block's content
    std::string problem;             // empty: it was read to its end
};

struct Record_file {
    std::string path;
    std::uint64_t size = 0;
    Record_header header;
    Record_index index;
};

// The block of a content of that size has 2 to the power of this many bytes.
unsigned int slot_of(std::uint64_t size);
std::uint64_t block_of(std::uint64_t size);

// Reads header and index, and looks at each item and hole that the index names. Nothing is read
// that the file's size does not cover, and data is not read at all. RAISES: Input_error; Data_error
// for a file that is no record file.
Record_file read_record_file(const std::string& path);

}  // namespace cli

#endif  // ZANDREL_CLI_RECORDS_RECORD_FILE_H_
