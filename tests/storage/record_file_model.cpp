#include "tests/storage/record_file_model.h"

#include <algorithm>

#include "tests/storage/naive_packing.h"

namespace {

constexpr unsigned int kItem = 0x4A5B6C73;
constexpr unsigned int kHole = 0xDEADDEAD;
constexpr unsigned int kIndex = 0x4A5B6C82;

std::uint64_t block_size(unsigned int slot) {
    return std::uint64_t{1} << slot;
}

}  // namespace

Record_file_model::Record_file_model(unsigned int offset_size) : m_offset_size(offset_size) {
    const unsigned int magic = offset_size == 8 ? 0x4A5B6C81 : 0x4A5B6C80;
    write(0, pack(magic, 4) + std::string(8 + offset_size, '\0'));
    write_index();
}

unsigned int Record_file_model::slot_of(std::uint64_t size) {
    unsigned int slot = 0;
    while (block_size(slot) <= size) {
        ++slot;
    }
    return slot;
}

unsigned int Record_file_model::slot_of_item(const std::string& key) const {
    return slot_of(12 + key.size() + content.at(key).size());
}

std::uint64_t Record_file_model::item_offset(const std::string& key) const {
    const auto found = offsets.find(key);
    return found == offsets.end() ? 0 : found->second;
}

void Record_file_model::add(const std::string& key, const std::string& data) {
    const std::uint64_t total = 12 + key.size() + data.size();
    const unsigned int slot = slot_of(total);
    const std::uint64_t old = item_offset(key);
    if (old != 0 && slot_of_item(key) == slot) {
        write_item(old, key, data);
        mark_stale();
        return;
    }
    if (old != 0) {
        free_block(slot_of_item(key), old);
    }
    if (holes.at(slot).empty()) {
        write_item(image.size(), key, data);
        append_zeros(block_size(slot) - total);
    } else {
        const std::uint64_t position = holes.at(slot).back();
        holes.at(slot).pop_back();
        write_item(position, key, data);
    }
    mark_stale();
}

void Record_file_model::remove(const std::string& key) {
    free_block(slot_of_item(key), offsets.at(key));
    offsets.erase(key);
    content.erase(key);
    mark_stale();
}

void Record_file_model::rename(const std::string& from, const std::string& to) {
    const std::string data = content.at(from);
    remove(from);
    add(to, data);
}

void Record_file_model::set_file_id(unsigned int new_id, unsigned short new_version,
                                    unsigned char new_flags) {
    id = new_id;
    version = new_version;
    flags = new_flags;
    write(4, pack(id, 4) + pack(flags, 1) + pack(state, 1) + pack(version, 2));
}

void Record_file_model::set_state(unsigned char new_state) {
    state = new_state;
    write(9, pack(state, 1));
}

void Record_file_model::write_index() {
    if (!is_dirty) {
        return;
    }
    std::uint64_t position = index_offset;
    std::uint64_t need = index_need();
    const unsigned int slot = slot_of(need);
    const bool is_first = index_space == 0;
    bool is_appended = is_first;
    if (!is_first && slot_of(index_space) != slot) {
        is_appended = holes.at(slot).empty();
        if (is_appended) {
            need += m_offset_size;
        } else {
            position = holes.at(slot).back();
            holes.at(slot).pop_back();
        }
        free_block(slot_of(index_space), index_offset);
    }
    if (is_appended) {
        position = image.size();
    }
    write(position, index_block());
    if (is_appended) {
        append_zeros(block_size(slot_of(need)) - need);
    }
    write(12, pack_offset(position));
    index_offset = position;
    index_space = need;
    is_dirty = false;
    if (is_stale()) {
        set_state(static_cast<unsigned char>(state & 0xFEU));
    }
}

void Record_file_model::repair() {
    const std::uint64_t first = 12 + m_offset_size;
    for (std::uint64_t position = first; position + 12 <= image.size();) {
        position += repair_at(position);
    }
}

// Marks the item at `position` as a hole if it is not in the index. Returns the distance to the
// position that is examined next.
std::uint64_t Record_file_model::repair_at(std::uint64_t position) {
    const std::uint64_t end = image.size();
    const std::uint64_t tag = unpack(position);
    const std::uint64_t length = unpack(position + 4);
    if (tag == kHole && length != 0 && position + length <= end) {
        return length;
    }
    if (tag != kItem || length > 128 || position + length + 12 > end) {
        return 1;
    }
    const std::uint64_t total = length + 12 + unpack(position + 8 + length);
    if (position + total > end) {
        return 1;
    }
    const unsigned int slot = slot_of(total);
    const bool is_known = item_offset(image.substr(position + 8, length)) == position;
    if (!is_known && position + block_size(slot) <= end) {
        mark(slot, position);
    }
    return block_size(slot);
}

std::string Record_file_model::pack(std::uint64_t value, std::size_t size) const {
    return naive_digits(value, size);
}

std::uint64_t Record_file_model::unpack(std::uint64_t position) const {
    std::uint64_t value = 0;
    for (std::uint64_t i = position; i < position + 4; ++i) {
        value = value * 256 + static_cast<unsigned char>(image.at(i));
    }
    return value;
}

void Record_file_model::write(std::uint64_t position, const std::string& bytes) {
    image.resize(std::max(image.size(), position + bytes.size()));
    std::copy(bytes.begin(), bytes.end(), image.begin() + static_cast<std::ptrdiff_t>(position));
    writes.push_back({position, bytes});
}

void Record_file_model::write_item(std::uint64_t position, const std::string& key,
                                   const std::string& data) {
    write(position, pack(kItem, 4) + pack(key.size(), 4) + key + pack(data.size(), 4) + data);
    offsets[key] = position;
    content[key] = data;
}

void Record_file_model::free_block(unsigned int slot, std::uint64_t position) {
    mark(slot, position);
    holes.at(slot).push_back(position);
}

void Record_file_model::mark(unsigned int slot, std::uint64_t position) {
    write(position, pack(kHole, 4) + pack(block_size(slot), 4));
}

void Record_file_model::mark_stale() {
    is_dirty = true;
    if (!is_stale()) {
        set_state(static_cast<unsigned char>(state | 1U));
    }
}

std::string Record_file_model::index_block() const {
    std::string block = pack(kIndex, 4) + pack(offsets.size(), 4);
    for (const auto& [key, offset] : offsets) {
        block += pack(key.size(), 4) + key + pack_offset(offset);
    }
    for (const std::vector<std::uint64_t>& list : holes) {
        block += pack(list.size(), 4);
        for (const std::uint64_t offset : list) {
            block += pack_offset(offset);
        }
    }
    return block;
}

std::uint64_t Record_file_model::index_need() const {
    return index_block().size();
}
