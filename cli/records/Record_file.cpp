// Reads the structure of a record file with its own code, not with that of the library: the library
// refuses a damaged file at the first problem, and we note each problem and continue.
#include "cli/records/Record_file.h"

#include <bit>

#include "zandrel/persistence/Hpack.h"
#include "zandrel/storage/Hreclaim_format.h"

#include "cli/records/Package_contents.h"
#include "cli/records/Record_reader.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using zandrel::detail::kHoleTag;
using zandrel::detail::kIndexTag;
using zandrel::detail::kItemTag;

constexpr std::uint32_t kWideMagic = zandrel::detail::Hreclaim_format<long long>::kMagic;
constexpr std::uint32_t kNarrowMagic = zandrel::detail::Hreclaim_format<unsigned int>::kMagic;

Record_header read_header(Record_reader& reader, const std::string& path) {
    Record_header header;
    try {
        const std::uint32_t magic = reader.word();
        if (magic != kWideMagic && magic != kNarrowMagic && magic != Hpack::kMagic) {
            throw Data_error(path, "no record file or container: wrong magic number");
        }
        header.is_wide = magic == kWideMagic;
        header.is_package = magic == Hpack::kMagic;
        header.file_id = reader.word();
        header.flags = static_cast<std::uint8_t>(reader.number(1));
        header.state = static_cast<std::uint8_t>(reader.number(1));
        header.version = static_cast<std::uint16_t>(reader.number(2));
        header.index_offset = reader.number(header.offset_width());
    } catch (const Past_end&) {
        throw Data_error(path, "no record file or container: too short for a header");
    }
    return header;
}

void read_keys(Record_reader& reader, std::uint64_t width, Record_index& index) {
    const std::uint32_t key_count = reader.word();
    if (key_count > reader.left() / (4 + width)) {
        throw Past_end();
    }
    for (std::uint32_t i = 0; i < key_count; ++i) {
        Record_item item;
        item.key = reader.bytes(reader.word());
        item.offset = reader.number(width);
        index.items.push_back(item);
    }
}

void read_holes(Record_reader& reader, std::uint64_t width, Record_index& index) {
    for (unsigned int slot = 0; slot < kSlotCount; ++slot) {
        const std::uint32_t hole_count = reader.word();
        if (hole_count > reader.left() / width) {
            throw Past_end();
        }
        for (std::uint32_t i = 0; i < hole_count; ++i) {
            index.holes.push_back({slot, reader.number(width), "", false});
        }
    }
}

Record_index read_index(Record_reader& reader, const Record_header& header) {
    Record_index index;
    try {
        reader.seek(header.index_offset);
        if (header.is_unfinished()) {
            index.problem = "there is no index: the file was not written to its end";
        } else if (header.index_offset < header.size()) {
            index.problem = "the header points to no index";
        } else if (reader.word() != kIndexTag) {
            index.problem = "no index is where the header points";
        } else {
            read_keys(reader, header.offset_width(), index);
            if (!header.is_package) {
                read_holes(reader, header.offset_width(), index);
            }
            index.space = reader.size() - reader.left() - header.index_offset;
        }
    } catch (const Past_end&) {
        index.problem = "the index goes past the end of the file";
        index.is_past_end = true;
    }
    return index;
}

void look_at(Record_item& item, Record_reader& reader) {
    try {
        reader.seek(item.offset);
        if (reader.word() != kItemTag) {
            item.problem = "no item is there";
        } else if (const std::uint32_t length = reader.word(); length != item.key.size()) {
            item.problem = "the item there has a key of another length";
        } else if (reader.bytes(length) != item.key) {
            item.problem = "the item there has another key";
        } else {
            item.data_length = reader.word();
            if (item.data_length > reader.left()) {
                throw Past_end();
            }
        }
    } catch (const Past_end&) {
        item.problem = "the item goes past the end of the file";
        item.is_past_end = true;
    }
}

void look_at(Record_hole& hole, Record_reader& reader) {
    try {
        reader.seek(hole.offset);
        if (reader.word() != kHoleTag) {
            hole.problem = "no hole is there";
        } else if (reader.word() != std::uint64_t(1) << hole.slot) {
            hole.problem = "the hole there has another size";
        }
    } catch (const Past_end&) {
        hole.problem = "the hole goes past the end of the file";
        hole.is_past_end = true;
    }
}

}  // namespace

unsigned int slot_of(std::uint64_t size) {
    return static_cast<unsigned int>(std::bit_width(size));
}

std::uint64_t block_of(std::uint64_t size) {
    return std::uint64_t(1) << slot_of(size);
}

std::uint64_t Record_file::block_of_content(std::uint64_t content) const {
    return header.is_package ? content : block_of(content);
}

Record_file read_record_file(const std::string& path) {
    Record_reader reader(path);
    Record_file file;
    file.path = path;
    file.size = reader.size();
    file.header = read_header(reader, path);
    file.index = read_index(reader, file.header);
    for (Record_item& item : file.index.items) {
        look_at(item, reader);
    }
    for (Record_hole& hole : file.index.holes) {
        look_at(hole, reader);
    }
    if (file.header.is_package || (file.header.is_wide && is_container(file))) {
        file.package = read_package_contents(file, reader);
    }
    return file;
}

}  // namespace zandrel::cli
