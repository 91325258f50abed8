#include "cli/records/Record_file.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "cli/errors.h"

namespace cli {

namespace {

constexpr std::uint32_t kWideMagic = 0x4A5B6C81;
constexpr std::uint32_t kNarrowMagic = 0x4A5B6C80;
constexpr std::uint32_t kItemTag = 0x4A5B6C73;
constexpr std::uint32_t kHoleTag = 0xDEADDEAD;
constexpr std::uint32_t kIndexTag = 0x4A5B6C82;

// The file ends before what is to be read.
struct Past_end {};

// Reads numbers in big-endian form from anywhere in a file.
class Reader {
public:
    explicit Reader(const std::string& path) : m_path(path) {
        // Opening a pipe would wait for a writer, and it has no end to read the index from.
        std::error_code unknown;
        if (std::filesystem::is_fifo(path, unknown)) {
            throw Input_error(path, "not a regular file");
        }
        errno = 0;
        m_file.open(path, std::ios::binary);
        if (!m_file || std::filesystem::is_directory(path)) {
            throw Input_error(path, m_file ? "it is a directory" : reason_of_failure());
        }
        m_file.seekg(0, std::ios::end);
        m_size = static_cast<std::uint64_t>(std::streamoff(m_file.tellg()));
        seek(0);
    }

    std::uint64_t size() const { return m_size; }

    std::uint64_t left() const { return m_position < m_size ? m_size - m_position : 0; }

    void seek(std::uint64_t position) {
        m_position = position;
        if (position <= m_size) {
            m_file.seekg(static_cast<std::streamoff>(position));
        }
    }

    std::string bytes(std::uint64_t count) {
        if (count > left()) {
            throw Past_end();
        }
        std::string read(count, '\0');
        if (!m_file.read(read.data(), static_cast<std::streamsize>(count))) {
            throw Input_error(m_path, reason_of_failure());
        }
        m_position += count;
        return read;
    }

    std::uint64_t number(std::uint64_t width) {
        std::uint64_t value = 0;
        for (const char byte : bytes(width)) {
            value = value << 8U | static_cast<unsigned char>(byte);
        }
        return value;
    }

    std::uint32_t word() { return static_cast<std::uint32_t>(number(4)); }

private:
    std::string m_path;
    std::ifstream m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};

Record_header read_header(Reader& reader, const std::string& path) {
    Record_header header;
    try {
        const std::uint32_t magic = reader.word();
        if (magic != kWideMagic && magic != kNarrowMagic) {
            throw Data_error(path, "no record file: wrong magic number");
        }
        header.is_wide = magic == kWideMagic;
        header.file_id = reader.word();
        header.flags = static_cast<std::uint8_t>(reader.number(1));
        header.state = static_cast<std::uint8_t>(reader.number(1));
        header.version = static_cast<std::uint16_t>(reader.number(2));
        header.index_offset = reader.number(header.offset_width());
    } catch (const Past_end&) {
        throw Data_error(path, "no record file: too short for a header");
    }
    return header;
}

void read_keys(Reader& reader, std::uint64_t width, Record_index& index) {
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

void read_holes(Reader& reader, std::uint64_t width, Record_index& index) {
    for (unsigned int slot = 0; slot < kSlotCount; ++slot) {
        const std::uint32_t hole_count = reader.word();
        if (hole_count > reader.left() / width) {
            throw Past_end();
        }
        for (std::uint32_t i = 0; i < hole_count; ++i) {
            index.holes.push_back({slot, reader.number(width), ""});
        }
    }
}

Record_index read_index(Reader& reader, const Record_header& header) {
    Record_index index;
    try {
        reader.seek(header.index_offset);
        if (header.index_offset < header.size()) {
            index.problem = "the header points to no index";
        } else if (reader.word() != kIndexTag) {
            index.problem = "no index stands where the header points";
        } else {
            read_keys(reader, header.offset_width(), index);
            read_holes(reader, header.offset_width(), index);
            index.space = reader.size() - reader.left() - header.index_offset;
        }
    } catch (const Past_end&) {
        index.problem = "the index goes past the end of the file";
    }
    return index;
}

void look_at(Record_item& item, Reader& reader) {
    try {
        reader.seek(item.offset);
        if (reader.word() != kItemTag) {
            item.problem = "no item stands there";
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
    }
}

void look_at(Record_hole& hole, Reader& reader) {
    try {
        reader.seek(hole.offset);
        if (reader.word() != kHoleTag) {
            hole.problem = "no hole stands there";
        } else if (reader.word() != std::uint64_t(1) << hole.slot) {
            hole.problem = "the hole there has another size";
        }
    } catch (const Past_end&) {
        hole.problem = "the hole goes past the end of the file";
    }
}

}  // namespace

unsigned int slot_of(std::uint64_t size) {
    return static_cast<unsigned int>(std::bit_width(size));
}

std::uint64_t block_of(std::uint64_t size) {
    return std::uint64_t(1) << slot_of(size);
}

Record_file read_record_file(const std::string& path) {
    Reader reader(path);
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
    return file;
}

}  // namespace cli
