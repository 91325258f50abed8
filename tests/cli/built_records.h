// Built_records: record files and packages of any shape, built block by block.
#ifndef ZANDREL_TESTS_CLI_BUILT_RECORDS_H_
#define ZANDREL_TESTS_CLI_BUILT_RECORDS_H_

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace zandrel::cli {

enum class Built_form { kWide, kNarrow, kPackage };

// Blocks are appended one after the other. `index` and `holes` become the index of the file, so a
// test can change them to make an index that does not fit.
class Built_records {
public:
    explicit Built_records(Built_form form) : m_form(form), bytes(header_size(), '\0') {}

    static std::string number(std::uint64_t value, unsigned int width) {
        std::string digits;
        for (unsigned int shift = 8 * width; shift > 0; shift -= 8) {
            digits += static_cast<char>(value >> (shift - 8));
        }
        return digits;
    }

    static std::string item(const std::string& key, const std::string& data) {
        return number(0x4A5B6C73, 4) + number(key.size(), 4) + key + number(data.size(), 4) + data;
    }

    std::size_t header_size() const { return m_form == Built_form::kWide ? 20 : 16; }

    // Appends an item. Returns its offset.
    std::uint64_t add(const std::string& key, const std::string& data) {
        const std::uint64_t offset = bytes.size();
        bytes += item(key, data);
        pad(offset);
        index[key] = offset;
        return offset;
    }

    // Appends an item that the index does not name.
    std::uint64_t add_unnamed(const std::string& key, const std::string& data) {
        const std::map<std::string, std::uint64_t> before = index;
        const std::uint64_t offset = add(key, data);
        index = before;
        return offset;
    }

    // Makes an item a hole. The rest of its bytes remains.
    void free(const std::string& key, unsigned int slot) {
        const std::uint64_t offset = index.at(key);
        bytes.replace(offset, 8, number(0xDEADDEAD, 4) + number(std::uint64_t{1} << slot, 4));
        index.erase(key);
        holes.at(slot).push_back(offset);
    }

    std::string index_bytes() const {
        const unsigned int width = m_form == Built_form::kWide ? 8 : 4;
        std::string block = number(0x4A5B6C82, 4) + number(index.size(), 4);
        for (const auto& [key, offset] : index) {
            block += number(key.size(), 4) + key + number(offset, width);
        }
        if (m_form != Built_form::kPackage) {
            for (const std::vector<std::uint64_t>& offsets : holes) {
                block += number(offsets.size(), 4);
                for (const std::uint64_t offset : offsets) {
                    block += number(offset, width);
                }
            }
        }
        return block;
    }

    // Appends the index, and writes the header.
    std::string file() {
        index_offset = bytes.size();
        bytes += index_bytes();
        pad(index_offset);
        write_header();
        return bytes;
    }

    // Writes only the header, so it leads to no index.
    std::string file_without_index() {
        write_header();
        return bytes;
    }

    Built_form m_form;
    std::string bytes;
    std::map<std::string, std::uint64_t> index;
    std::array<std::vector<std::uint64_t>, 32> holes;
    std::uint64_t index_offset = 0;
    std::uint32_t id = 7;
    std::uint16_t version = 2;
    std::uint8_t flags = 0x80;
    std::uint8_t state = 0;

private:
    void write_header() {
        const std::uint32_t magic = m_form == Built_form::kWide     ? 0x4A5B6C81
                                    : m_form == Built_form::kNarrow ? 0x4A5B6C80
                                                                    : 0x4A5B6C84;
        bytes.replace(0, header_size(),
                      number(magic, 4) + number(id, 4) + static_cast<char>(flags) +
                          static_cast<char>(state) + number(version, 2) +
                          number(index_offset, m_form == Built_form::kWide ? 8 : 4));
    }

    void pad(std::uint64_t offset) {
        if (m_form == Built_form::kPackage) {
            return;
        }
        std::uint64_t block = 1;
        while (block <= bytes.size() - offset) {
            block *= 2;
        }
        bytes.resize(offset + block, '\0');
    }
};

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_BUILT_RECORDS_H_
