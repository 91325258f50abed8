// Record_file_model: a simple model of a record file, byte by byte.
#ifndef ZANDREL_TESTS_STORAGE_RECORD_FILE_MODEL_H_
#define ZANDREL_TESTS_STORAGE_RECORD_FILE_MODEL_H_

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

// One write to a file: position and bytes.
struct Written {
    std::uint64_t position;
    std::string bytes;
};

// A record file of one width: its bytes, its items, and all writes in their order. It starts as a
// new, opened file.
class Record_file_model {
public:
    explicit Record_file_model(unsigned int offset_size);

    void add(const std::string& key, const std::string& data);
    // The next two require that the key exists; for rename() this is `from`.
    void remove(const std::string& key);
    void rename(const std::string& from, const std::string& to);
    void set_file_id(unsigned int id, unsigned short version, unsigned char flags);
    void set_state(unsigned char new_state);
    void write_index();
    // Marks the items that are not in the index as holes.
    void repair();

    bool is_stale() const { return (state & 1U) != 0; }

    std::uint64_t item_offset(const std::string& key) const;
    // slot_of returns the slot of a block for `size` bytes, and slot_of_item that of a key's item.
    static unsigned int slot_of(std::uint64_t size);
    unsigned int slot_of_item(const std::string& key) const;

    std::string image;
    std::map<std::string, std::string> content;
    std::map<std::string, std::uint64_t> offsets;
    std::array<std::vector<std::uint64_t>, 32> holes;
    std::uint64_t index_offset = 0;
    std::uint64_t index_space = 0;
    unsigned char state = 0;
    bool is_dirty = true;
    unsigned int id = 0;
    unsigned short version = 0;
    unsigned char flags = 0;
    std::vector<Written> writes;  // callers may clear it

private:
    std::string pack(std::uint64_t value, std::size_t size) const;

    std::string pack_offset(std::uint64_t value) const { return pack(value, m_offset_size); }

    std::uint64_t unpack(std::uint64_t position) const;  // of 4 bytes
    void write(std::uint64_t position, const std::string& bytes);
    void write_item(std::uint64_t position, const std::string& key, const std::string& data);

    void append_zeros(std::uint64_t count) { write(image.size(), std::string(count, '\0')); }

    void free_block(unsigned int slot, std::uint64_t position);
    void mark(unsigned int slot, std::uint64_t position);
    void mark_stale();
    std::string index_block() const;
    std::uint64_t index_need() const;
    std::uint64_t repair_at(std::uint64_t position);

    unsigned int m_offset_size;
};

#endif  // ZANDREL_TESTS_STORAGE_RECORD_FILE_MODEL_H_
