// The scan goes from block to block while it finds tags, and byte by byte elsewhere. A tag in the
// middle of data looks like a block too, so a block counts only under these conditions:
//
// - Its size gives an end at which another tag is, or the end of the file. The bytes of a tag that
//   the end of the file cuts count as a tag, and so does a place where the old index has a block:
//   blocks are never joined or divided, so also an old index names only places where blocks begin.
// - The last block of a whole and current index may also end before bytes that were appended to the
//   file. For an index, an item or a hole that the index has there, its size must end in the file.
//   If a larger block would end with the file, an item does not count: without appended bytes the
//   last block ends there, so the item's length may have become smaller.
// - The last block may be cut inside its padding, if the rest of the file consists of zeros or the
//   index names the item.
// - No block of the old index that is still there begins inside it. Otherwise its length is wrong.
// - Unless the index names the item: no row of blocks begins inside the block and reaches its end,
//   for the same reason.
//
// Example: a file of 32-bit offsets. A byte of the key length of "b" was changed:
//
//   16         48         64        80
//   | item "a" | item "b" | hole 16 | index ...
//
// At 16 is an item tag, and key and data need 20 bytes, so the block has 32 and ends at 48, where
// an item tag is: "a" counts. At 48 the wrong key length gives an end without a tag. So we search
// for the next tag byte by byte, and find the hole at 64. The bytes from 48 to 64 are a gap.
//
// A process may end between any two bytes that it writes, so a tag may be half written. A hole's
// tag over an item's one (DE AD 6C 73) is an item whose other bytes are still there. An item's tag
// over a hole's one (4A 5B DE AD) is still a hole, since its size is still there.
//
// If an item becomes a hole, only the first eight bytes of its block are overwritten. If the index
// is current, no change was finished after it was written. So an item that it names still counts,
// although its block begins with the tag of a hole.
#include "cli/records/Record_scan.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "zandrel/persistence/Hpack.h"
#include "zandrel/storage/Hreclaim_format.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::kHoleMarkSize;
using zandrel::detail::kHoleTag;
using zandrel::detail::kIndexTag;
using zandrel::detail::kItemOverhead;
using zandrel::detail::kItemTag;

constexpr std::uint64_t kWordSize = 4;
constexpr std::uint64_t kLeastBlock = 16;
constexpr std::uint64_t kLargestBlock = std::uint64_t{1} << 31U;
// Tags begin with one of these two bytes.
constexpr char kItemStart = '\x4A';
constexpr char kHoleStart = '\xDE';
// The key of an item that does not count is only for messages.
constexpr std::uint64_t kLongestSuspect = 4096;
// Of the blocks that the index has inside an item, we look only at so many.
constexpr int kMostInside = 16;
// Longer rows of blocks inside a block are not followed.
constexpr int kLongestRow = 64;

enum class Tag { kNone, kItem, kHole, kIndex };

// Returns a word whose first `written` bytes are those of `now`, and the others those of `before`.
constexpr std::uint32_t half_written(std::uint32_t now, std::uint32_t before,
                                     unsigned int written) {
    const std::uint32_t rest = 0xFFFFFFFFU >> (8 * written);
    return (now & ~rest) | (before & rest);
}

Tag half_written_tag(std::uint32_t word) {
    for (const unsigned int written : {1U, 2U, 3U}) {
        if (word == half_written(kHoleTag, kItemTag, written)) {
            return Tag::kItem;
        }
        if (word == half_written(kHoleTag, kIndexTag, written)) {
            return Tag::kIndex;
        }
        // The index tag has the same first three bytes as the item tag.
        if (word == half_written(kItemTag, kHoleTag, written)) {
            return Tag::kHole;
        }
    }
    return Tag::kNone;
}

Tag tag_of(std::uint32_t word, Record_form form) {
    if (word == kItemTag || word == kIndexTag) {
        return word == kItemTag ? Tag::kItem : Tag::kIndex;
    }
    if (form == Record_form::kPackage) {
        return Tag::kNone;
    }
    return word == kHoleTag ? Tag::kHole : half_written_tag(word);
}

std::uint64_t total_of(std::uint64_t key_length, std::uint64_t data_length) {
    return key_length + data_length + kItemOverhead;
}

// Reads an index from its start. Without `keeps`, only determines its size.
class Index_reader {
public:
    Index_reader(File_window& file, Record_form form, Old_index& index, bool keeps)
        : m_file(file), m_form(form), m_index(index), m_keeps(keeps), m_place(index.offset) {}

    // Returns whether the whole index was read. Reads at most `budget` bytes.
    bool read(std::uint64_t& budget) {
        m_limit = budget < m_file.size() - m_place ? m_place + budget : m_file.size();
        m_place += kWordSize;
        const bool is_read = read_keys() && (m_form == Record_form::kPackage || read_holes());
        budget -= std::min(budget, m_place - m_index.offset);
        m_index.space = is_read ? m_place - m_index.offset : 0;
        sort_blocks();
        return is_read;
    }

private:
    bool has(std::uint64_t count) const { return count <= m_limit - m_place; }

    bool take_number(std::uint64_t width, std::uint64_t& number) {
        if (!has(width)) {
            return false;
        }
        m_file.approach(m_place);
        number = m_file.number(m_place, width);
        m_place += width;
        return true;
    }

    bool read_keys() {
        std::uint64_t left = 0;
        const std::uint64_t width = offset_width(m_form);
        bool is_read = take_number(kWordSize, left) && left <= (m_limit - m_place) / (4 + width);
        for (; is_read && left > 0; --left) {
            is_read = read_key(width);
        }
        return is_read;
    }

    bool read_key(std::uint64_t width) {
        std::uint64_t length = 0;
        std::uint64_t offset = 0;
        if (!take_number(kWordSize, length) || length > kLongestKey || !has(length)) {
            return false;
        }
        std::string key;
        if (m_keeps) {
            key = m_file.bytes(m_place, length);
        }
        m_place += length;
        if (!take_number(width, offset)) {
            return false;
        }
        if (m_keeps) {
            m_index.is_ordered = m_index.is_ordered && (m_index.items.empty() || m_before < key);
            m_index.items.insert_or_assign(key, offset);
            m_before = std::move(key);
        }
        return true;
    }

    bool read_holes() {
        const std::uint64_t width = offset_width(m_form);
        for (unsigned int slot = 0; slot < zandrel::detail::kSlotCount; ++slot) {
            std::uint64_t left = 0;
            if (!take_number(kWordSize, left) || left > (m_limit - m_place) / width) {
                return false;
            }
            for (; left > 0; --left) {
                std::uint64_t offset = 0;
                if (!take_number(width, offset)) {
                    return false;
                }
                if (m_keeps) {
                    m_index.blocks.push_back({offset, nullptr, slot});
                }
            }
        }
        return true;
    }

    void sort_blocks() {
        for (const auto& [key, offset] : m_index.items) {
            m_index.blocks.push_back({offset, &key, 0});
        }
        std::stable_sort(m_index.blocks.begin(), m_index.blocks.end(),
                         [](const Named_block& left, const Named_block& right) {
                             return left.offset < right.offset;
                         });
    }

    File_window& m_file;
    Record_form m_form;
    Old_index& m_index;
    bool m_keeps;
    std::uint64_t m_place;
    std::uint64_t m_limit = 0;
    std::string m_before;
};

class Scanner {
public:
    Scanner(File_window& file, const Scan_request& request)
        : m_file(file),
          m_form(request.form),
          m_is_stale(request.is_stale),
          m_index(request.index),
          m_budget(4 * file.size()) {}

    Record_scan scan() {
        std::uint64_t position = header_size(m_form);
        while (position < m_file.size()) {
            m_file.approach(position);
            const std::uint64_t size = take_block(position);
            if (size != 0) {
                position += size;
                m_scan.ends_with_block = position <= m_file.size();
                continue;
            }
            extend_gap(position);
            position = m_file.find(position + 1, kItemStart, kHoleStart);
            m_gap_end = position;
        }
        close_gap();
        return std::move(m_scan);
    }

private:
    // Returns the size of the block at a position, and keeps what is in it; 0: no block counts.
    std::uint64_t take_block(std::uint64_t position) {
        if (!m_file.has(position, kWordSize)) {
            return 0;
        }
        switch (tag_of(m_file.word(position), m_form)) {
            case Tag::kItem:
                return take_item(position);
            case Tag::kHole:
                return take_hole(position);
            case Tag::kIndex:
                return take_index(position);
            case Tag::kNone:
                break;
        }
        return 0;
    }

    std::uint64_t take_item(std::uint64_t position) {
        if (!m_file.has(position, kItemOverhead)) {
            return 0;
        }
        const std::uint64_t key_length = m_file.word(position + kWordSize);
        if (key_length > kLongestKey || !m_file.has(position, kItemOverhead + key_length)) {
            return 0;
        }
        const std::uint32_t length = m_file.word(position + 2 * kWordSize + key_length);
        const std::uint64_t total = total_of(key_length, length);
        if (total >= kLargestBlock || !m_file.has(position, total)) {
            return 0;
        }
        const std::uint64_t size = block_size(m_form, total);
        const std::uint64_t end = position + size;
        Scanned_item item = {m_file.bytes(position + 2 * kWordSize, key_length), position, length};
        const bool is_named = m_index != nullptr && m_index->names(item.key, position);
        const bool is_last = is_named && is_last_of_index(position, end) &&
                             !std::has_single_bit(m_file.size() - position);
        if (!ends_well(end) && !is_cut_block(position, total, end) && !is_last) {
            return 0;
        }
        if (has_block_inside(position, end)) {
            return 0;
        }
        if (!is_named && hides_blocks(position, size)) {
            return 0;
        }
        keep(std::move(item));
        note_tail(position, end);
        return size;
    }

    void keep(Scanned_item item) {
        close_gap();
        m_scan.items.push_back(std::move(item));
    }

    std::uint64_t take_hole(std::uint64_t position) {
        if (!m_file.has(position, kHoleMarkSize)) {
            return 0;
        }
        if (const std::uint64_t size = take_freed_item(position); size != 0) {
            return size;
        }
        const std::uint64_t size = m_file.word(position + kWordSize);
        const bool is_size =
            std::has_single_bit(size) && size >= kLeastBlock && size <= kLargestBlock;
        const std::uint64_t end = position + size;
        if (!is_size || has_block_inside(position, end) ||
            !(ends_well(end) || (is_named_hole(position, size) &&
                                 (end > m_file.size() || is_last_of_index(position, end))))) {
            return 0;
        }
        close_gap();
        m_scan.holes.push_back({position, size});
        note_tail(position, end);
        return size;
    }

    // If the index names an item here, its length says the size of the block, also if the size of
    // the hole is half written.
    std::uint64_t take_freed_item(std::uint64_t position) {
        const std::string* const key = key_at(position);
        if (key == nullptr) {
            return 0;
        }
        std::optional<Scanned_item> item = item_in_hole(m_file, *key, position);
        if (!item) {
            return 0;
        }
        const std::uint64_t size = block_size(m_form, item->total());
        const std::uint64_t end = position + size;
        if (!(ends_well(end) || end > m_file.size()) || has_block_inside(position, end)) {
            return 0;
        }
        if (m_is_stale || is_named_hole(position, size)) {
            close_gap();
            m_scan.holes.push_back({position, size});
        } else {
            m_scan.revived.push_back(position);
            keep(std::move(*item));
        }
        return size;
    }

    std::uint64_t take_index(std::uint64_t position) {
        Old_index found;
        found.offset = position;
        const bool is_old = m_index != nullptr && m_index->offset == position;
        const bool keeps = m_index == nullptr || !m_index->is_complete();
        if (is_old) {
            found.space = m_index->space;
        } else if (m_file.has(position, 2 * kWordSize)) {
            Index_reader(m_file, m_form, found, keeps).read(m_budget);
            m_file.approach(position);
        }
        if (found.space == 0 || found.space >= kLargestBlock) {
            return 0;
        }
        const std::uint64_t size = block_size(m_form, found.space);
        const std::uint64_t end = position + size;
        const bool is_cut =
            end > m_file.size() && position + found.space >= m_file.start_of_last_zeros();
        const bool is_last = is_old && is_last_of_index(position, end);
        if (!(ends_well(end) || is_cut || is_last) || has_block_inside(position, end) ||
            (!(is_old && m_index->is_complete()) && hides_blocks(position, size))) {
            return 0;
        }
        close_gap();
        if (keeps && !is_old && found.is_complete()) {
            m_scan.scanned_index = std::move(found);
        }
        note_tail(position, end);
        return size;
    }

    // Returns whether a block is the last one of an index that is whole and current, and ends in
    // the file. Then the bytes behind it were appended by somebody else, and need not begin with a
    // tag.
    bool is_last_of_index(std::uint64_t position, std::uint64_t end) const {
        return m_index != nullptr && !m_is_stale && m_index->is_complete() &&
               m_form != Record_form::kPackage && end < m_file.size() &&
               m_index->offset <= position && m_index->from(position + 1) == m_index->blocks.end();
    }

    void note_tail(std::uint64_t position, std::uint64_t end) {
        if (is_last_of_index(position, end)) {
            m_scan.tail = end;
        }
    }

    bool ends_well(std::uint64_t end) {
        if (end >= m_file.size()) {
            return end == m_file.size();
        }
        if (m_index != nullptr &&
            (m_index->has_block_at(end) || (end == m_index->offset && m_index->space != 0))) {
            return true;
        }
        return m_file.has(end, kWordSize) ? tag_of(m_file.word(end), m_form) != Tag::kNone
                                          : is_cut_tag(end);
    }

    // Returns whether the file ends inside a tag at this position.
    bool is_cut_tag(std::uint64_t position) {
        const std::uint64_t count = m_file.size() - position;
        const std::uint64_t bytes = m_file.number(position, count);
        const std::uint64_t shift = 8 * (kWordSize - count);
        // The index tag has the same first three bytes as the item tag.
        return bytes == kItemTag >> shift ||
               (m_form != Record_form::kPackage && bytes == kHoleTag >> shift);
    }

    bool is_cut_block(std::uint64_t position, std::uint64_t total, std::uint64_t end) {
        if (end <= m_file.size()) {
            return false;
        }
        return key_at(position) != nullptr || position + total >= m_file.start_of_last_zeros();
    }

    const std::string* key_at(std::uint64_t position) const {
        return m_index == nullptr ? nullptr : m_index->key_at(position);
    }

    bool is_named_hole(std::uint64_t position, std::uint64_t size) const {
        return m_index != nullptr && m_index->has_hole(position, size);
    }

    // Returns whether a block of the index, which is still there, begins between two positions.
    bool has_block_inside(std::uint64_t position, std::uint64_t end) {
        if (m_index == nullptr) {
            return false;
        }
        int looked_at = 0;
        for (auto block = m_index->from(position + 1);
             block != m_index->blocks.end() && block->offset < end && looked_at < kMostInside;
             ++block, ++looked_at) {
            if (is_there(*block)) {
                return true;
            }
        }
        return false;
    }

    // Returns whether a row of blocks begins inside a block, where a smaller block would end, and
    // reaches its end or an index. Then the block's length is wrong: it was half written over a
    // hole, and the rest of the length is from an older block.
    bool hides_blocks(std::uint64_t position, std::uint64_t size) {
        if (m_form == Record_form::kPackage) {
            return false;
        }
        for (std::uint64_t smaller = kLeastBlock; smaller < size; smaller *= 2) {
            if (has_row(position + smaller, position + size)) {
                return true;
            }
        }
        return false;
    }

    bool has_row(std::uint64_t start, std::uint64_t end) {
        end = std::min(end, m_file.size());
        if (start >= end) {
            return false;
        }
        for (int count = 0; start < end && count < kLongestRow; ++count) {
            if (count > 0 && m_file.has(start, kWordSize) && m_file.word(start) == kIndexTag) {
                return true;  // its size is known only after reading it
            }
            const std::uint64_t size = plain_size(start);
            if (size == 0) {
                return false;
            }
            start += size;
        }
        return start >= end;
    }

    // Returns the size of the item or hole at a position, as its first bytes give it; 0 if there is
    // neither.
    std::uint64_t plain_size(std::uint64_t position) {
        if (!m_file.has(position, kHoleMarkSize)) {
            return 0;
        }
        const std::uint32_t tag = m_file.word(position);
        const std::uint32_t length = m_file.word(position + kWordSize);
        if (tag == kHoleTag) {
            return std::has_single_bit(length) && length >= kLeastBlock ? length : 0;
        }
        if (tag != kItemTag || length > kLongestKey ||
            !m_file.has(position, kItemOverhead + length)) {
            return 0;
        }
        const std::uint64_t total =
            total_of(length, m_file.word(position + kHoleMarkSize + length));
        return total < kLargestBlock ? block_size(m_form, total) : 0;
    }

    bool is_there(const Named_block& block) {
        if (!m_file.has(block.offset, kHoleMarkSize)) {
            return false;
        }
        const std::uint32_t tag = m_file.word(block.offset);
        const std::uint32_t length = m_file.word(block.offset + kWordSize);
        if (block.key == nullptr) {
            return tag == kHoleTag && length == std::uint64_t{1} << block.slot;
        }
        return tag == kItemTag && length == block.key->size() &&
               m_file.has(block.offset, kHoleMarkSize + length) &&
               m_file.bytes(block.offset + kHoleMarkSize, length) == *block.key;
    }

    // Begins a gap, or continues it. Notes the first item in it whose key can be read.
    void extend_gap(std::uint64_t position) {
        if (!m_gap) {
            m_gap.emplace();
            m_gap->offset = position;
            m_gap->is_index = (m_index != nullptr && m_index->offset == position) ||
                              (m_file.has(position, kWordSize) &&
                               tag_of(m_file.word(position), m_form) == Tag::kIndex);
        }
        if (m_gap->key || !m_file.has(position, kHoleMarkSize) ||
            tag_of(m_file.word(position), m_form) != Tag::kItem) {
            return;
        }
        const std::uint64_t length = m_file.word(position + kWordSize);
        if (length <= kLongestSuspect && m_file.has(position, kHoleMarkSize + length)) {
            m_gap->key = m_file.bytes(position + kHoleMarkSize, length);
            m_gap->key_offset = position;
        }
    }

    void close_gap() {
        if (!m_gap) {
            return;
        }
        m_gap->size = m_gap_end - m_gap->offset;
        if (m_gap->key) {
            const std::uint64_t size = plain_size(m_gap->key_offset);
            m_gap->is_longer_than_item =
                size != 0 && m_gap->key_offset == m_gap->offset && size < m_gap->size;
        }
        if (m_scan.gaps.size() < kMostGaps) {
            m_scan.gaps.push_back(std::move(*m_gap));
        } else {
            ++m_scan.further_gaps;
        }
        m_gap.reset();
    }

    File_window& m_file;
    Record_form m_form;
    bool m_is_stale;
    const Old_index* m_index;
    std::uint64_t m_budget;
    Record_scan m_scan;
    std::optional<Scanned_gap> m_gap;
    std::uint64_t m_gap_end = 0;
};

}  // namespace

std::uint64_t header_size(Record_form form) {
    return form == Record_form::kWide ? 20 : 16;
}

std::uint64_t offset_width(Record_form form) {
    return form == Record_form::kWide ? 8 : 4;
}

std::uint32_t magic_of(Record_form form) {
    switch (form) {
        case Record_form::kWide:
            return zandrel::detail::Hreclaim_format<long long>::kMagic;
        case Record_form::kNarrow:
            return zandrel::detail::Hreclaim_format<unsigned int>::kMagic;
        case Record_form::kPackage:
            break;
    }
    return Hpack::kMagic;
}

const char* name_of(Record_form form) {
    switch (form) {
        case Record_form::kWide:
            return "record file of 64-bit offsets";
        case Record_form::kNarrow:
            return "record file of 32-bit offsets";
        case Record_form::kPackage:
            break;
    }
    return "package";
}

std::uint64_t block_size(Record_form form, std::uint64_t content) {
    return form == Record_form::kPackage ? content : std::uint64_t{1} << std::bit_width(content);
}

std::vector<Named_block>::const_iterator Old_index::from(std::uint64_t place) const {
    return std::lower_bound(
        blocks.begin(), blocks.end(), place,
        [](const Named_block& block, std::uint64_t wanted) { return block.offset < wanted; });
}

const std::string* Old_index::key_at(std::uint64_t place) const {
    for (auto block = from(place); block != blocks.end() && block->offset == place; ++block) {
        if (block->key != nullptr) {
            return block->key;
        }
    }
    return nullptr;
}

bool Old_index::has_hole(std::uint64_t place, std::uint64_t size) const {
    for (auto block = from(place); block != blocks.end() && block->offset == place; ++block) {
        if (block->key == nullptr && std::uint64_t{1} << block->slot == size) {
            return true;
        }
    }
    return false;
}

std::optional<Old_index> read_old_index(File_window& file, Record_form form, std::uint64_t offset,
                                        std::uint64_t& budget) {
    if (offset < header_size(form) || !file.has(offset, 2 * kWordSize) ||
        tag_of(file.word(offset), form) != Tag::kIndex) {
        return std::nullopt;
    }
    std::optional<Old_index> index(std::in_place);
    index->offset = offset;
    Index_reader(file, form, *index, true).read(budget);
    return index;
}

Record_scan scan_records(File_window& file, const Scan_request& request) {
    return Scanner(file, request).scan();
}

std::optional<Scanned_item> item_in_hole(File_window& file, const std::string& key,
                                         std::uint64_t offset) {
    if (!file.has(offset, kItemOverhead + key.size()) || file.word(offset) != kHoleTag ||
        file.bytes(offset + kHoleMarkSize, key.size()) != key) {
        return std::nullopt;
    }
    const std::uint32_t length = file.word(offset + kHoleMarkSize + key.size());
    const std::uint64_t total = total_of(key.size(), length);
    if (total >= kLargestBlock || !file.has(offset, total)) {
        return std::nullopt;
    }
    // The size is written over the length of the key.
    const auto key_length = static_cast<std::uint32_t>(key.size());
    const auto size = static_cast<std::uint32_t>(block_size(Record_form::kWide, total));
    const std::uint32_t found = file.word(offset + kWordSize);
    for (const unsigned int written : {1U, 2U, 3U}) {
        if (found == half_written(size, key_length, written)) {
            return Scanned_item{key, offset, length};
        }
    }
    return found == size || found == key_length ? std::optional(Scanned_item{key, offset, length})
                                                : std::nullopt;
}

}  // namespace zandrel::cli
