// A small record file, byte by byte.
#ifndef ZANDREL_TESTS_CLI_RECORD_FILE_BYTES_H_
#define ZANDREL_TESTS_CLI_RECORD_FILE_BYTES_H_

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

inline std::string big_endian(std::uint64_t number, unsigned int width) {
    std::string bytes;
    for (unsigned int shift = 8 * width; shift > 0; shift -= 8) {
        bytes += static_cast<char>(number >> (shift - 8) & 0xFFU);
    }
    return bytes;
}

// One item and one hole, with offsets of 64 bits:
//
//        0  header                          20 bytes
//       20  index: "a" at 276, a hole of slot 4 at 308
//           8 + (4 + 1 + 8) + 32 * 4 + 8 = 157 bytes in a block of 256
//      276  item "a" with data "xyz": 1 + 3 + 12 = 16 bytes, which have slot 5: a block of 32
//      308  hole of 16 bytes
//      324  end
struct Record_file_bytes {
    static std::string header(char state = 0, std::uint64_t index_offset = 20) {
        return big_endian(0x4A5B6C81, 4) + big_endian(0x01020304, 4) + '\x80' + state +
               big_endian(2, 2) + big_endian(index_offset, 8);
    }

    static std::string index(std::uint64_t item = 276, std::uint64_t hole = 308) {
        std::string bytes = big_endian(0x4A5B6C82, 4) + big_endian(1, 4);
        bytes += big_endian(1, 4) + "a" + big_endian(item, 8);
        bytes += std::string(4 * 4, '\0') + big_endian(1, 4) + big_endian(hole, 8);
        return bytes + std::string(27 * 4, '\0') + std::string(256 - 157, '\0');
    }

    static std::string item() {
        return big_endian(0x4A5B6C73, 4) + big_endian(1, 4) + "a" + big_endian(3, 4) + "xyz" +
               std::string(16, '\0');
    }

    static std::string hole() {
        return big_endian(0xDEADDEAD, 4) + big_endian(16, 4) + std::string(8, '\0');
    }

    static std::string whole() { return header() + index() + item() + hole(); }
};

// The file of a sealed container, with one item of a key that no container has:
//
//        0  header                          16 bytes
//       16  item "x" with data "123456789"  12 + 1 + 9 = 22 bytes
//       38  seal                            12 + 8 + 21 = 41 bytes
//       79  index of two keys               8 + (4 + 8 + 4) + (4 + 1 + 4) = 33 bytes
//      112  end
//
// 0xE3069283 is the checksum of "123456789" in the description of CRC-32C. Another program computed
// the checksum of the header bit by bit, from 27 8F 9D 40 00 02 00.
struct Package_bytes {
    static std::string header(char state = 0, std::uint64_t index_offset = 79) {
        return big_endian(0x4A5B6C84, 4) + big_endian(0x278F9D40, 4) + '\x80' + state +
               big_endian(2, 2) + big_endian(index_offset, 4);
    }

    static std::string item(const std::string& key, const std::string& data) {
        return big_endian(0x4A5B6C73, 4) + big_endian(key.size(), 4) + key +
               big_endian(data.size(), 4) + data;
    }

    static std::string entry(const std::string& key, std::uint64_t number) {
        return big_endian(key.size(), 4) + key + big_endian(number, 4);
    }

    static std::string seal(std::uint64_t form = 1, std::uint64_t checksum = 0xE3069283) {
        return item("__Seal__", big_endian(form, 4) + big_endian(1, 4) + entry("x", checksum) +
                                    big_endian(kHeaderChecksum, 4));
    }

    static std::string index(std::uint64_t seal = 38, std::uint64_t x = 16) {
        return big_endian(0x4A5B6C82, 4) + big_endian(2, 4) + entry("__Seal__", seal) +
               entry("x", x);
    }

    static std::string whole() { return header() + item("x", "123456789") + seal() + index(); }

    static constexpr std::uint64_t kHeaderChecksum = 0x11970B36;
};

// A file that is removed when the object is destroyed.
class Temporary_file {
public:
    explicit Temporary_file(const std::string& bytes)
        : path(testing::TempDir() + "zandrel_record_" + std::to_string(::getpid())) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    Temporary_file(const Temporary_file&) = delete;
    Temporary_file& operator=(const Temporary_file&) = delete;

    ~Temporary_file() { std::remove(path.c_str()); }

    std::string path;
};

#endif  // ZANDREL_TESTS_CLI_RECORD_FILE_BYTES_H_
