// Record_file_test: the shared part of the record file tests. They run for offsets of 32 and of 64
// bits.
#ifndef ZANDREL_TESTS_SUPPORT_RECORD_FILE_H_
#define ZANDREL_TESTS_SUPPORT_RECORD_FILE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "zandrel/storage/Hreclaim.h"

#include "tests/support/record_bytes.h"
#include "tests/support/scratch_file.h"

using File_devices = testing::Types<Hfile64, Hfile32>;

inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// A packed number of 4 bytes.
inline std::string packed(std::uint32_t number) {
    std::string bytes;
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(number >> shift);
    }
    return bytes;
}

// A new file with offsets of the device's width, and the positions that the tests need.
template <class F>
class Record_file_test : public testing::Test {
protected:
    using Offset = typename F::Offset;

    static constexpr bool is_wide = sizeof(Offset) == 8;
    static constexpr Offset first = is_wide ? 20 : 16;  // where the first block is
    static constexpr unsigned int width = is_wide ? 8 : 4;
    static constexpr Offset new_size = first + 256;  // of a file without items

    static std::string packed_offset(std::uint32_t offset) {
        return zeros(width - 4) + packed(offset);
    }

    static std::string item(std::string_view key, std::string_view data) {
        return from_hex("4a5b6c73") + packed(static_cast<std::uint32_t>(key.size())) +
               std::string(key) + packed(static_cast<std::uint32_t>(data.size())) +
               std::string(data);
    }

    void create() { ASSERT_TRUE(file.Open(disk.path(), true, false)); }

    void reopen() {
        file.Close();
        ASSERT_FALSE(file.Open(disk.path(), false, false));
    }

    void add(const qtString& key, std::string_view data) {
        file.AddItem(key, record_of(std::string(data)));
    }

    std::string get(const qtString& key) {
        SegBuf data;
        file.GetItem(key, data);
        EXPECT_EQ(data.offset, 0U);
        return bytes_of(data);
    }

    // `byte_count` bytes of the file from `position`.
    std::string on_disk(Offset position, std::size_t byte_count) const {
        return disk.content().substr(static_cast<std::size_t>(position), byte_count);
    }

    int state_on_disk() const { return on_disk(9, 1).at(0); }

    Scratch_file disk;
    Hreclaim<F> file;
};

#endif  // ZANDREL_TESTS_SUPPORT_RECORD_FILE_H_
