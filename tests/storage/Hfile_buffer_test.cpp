// Buffering of the file devices: bytes that are collected before a write, and bytes that are read
// ahead. A string is the model of the file: each write also changes the string, and each read is
// compared with it.
#include <algorithm>
#include <array>
#include <cstddef>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "zandrel/storage/Hfile32.h"
#include "zandrel/storage/Hfile64.h"

#include "tests/support/scratch_file.h"

namespace {

// Sizes below, at and above the sizes of the two buffers, and sizes below and above the largest
// transfer of a 32-bit device, which is 100,000 bytes.
constexpr std::array<std::size_t, 14> kSizes = {0,    1,     4,     27,    600,   1023,  1024,
                                                1025, 16383, 16384, 16385, 40000, 99999, 100001};

template <class F>
class HfileBufferTest : public testing::Test {
protected:
    HfileBufferTest() : disk(std::string(200000, 'x')), model(200000, 'x') {
        device.Open(disk.path(), 'u');
    }

    void seek(std::size_t to) {
        position = to;
        device.Seek(static_cast<decltype(device.Tell())>(to));
    }

    void write(std::size_t byte_count) {
        std::string bytes(byte_count, static_cast<char>('a' + write_count++ % 26));
        device.Write(bytes.data(), static_cast<unsigned int>(byte_count));
        model.resize(std::max(model.size(), position + byte_count));
        model.replace(position, byte_count, bytes);
        position += byte_count;
    }

    void read(std::size_t byte_count) {
        std::string bytes(byte_count, '?');
        device.Read(bytes.data(), static_cast<unsigned int>(byte_count));
        EXPECT_TRUE(bytes == model.substr(position, byte_count));
        position += byte_count;
    }

    Scratch_file disk;
    F device;
    std::string model;  // the expected content of the file
    std::size_t position = 0;
    int write_count = 0;
};

using Devices = testing::Types<Hfile64, Hfile32>;
TYPED_TEST_SUITE(HfileBufferTest, Devices);

TYPED_TEST(HfileBufferTest, WriteAfterAReadStartsAtTheReadersPosition) {
    this->seek(10);
    this->read(5);

    this->write(3);
    this->device.Close();

    EXPECT_TRUE(this->disk.content() == this->model);
}

TYPED_TEST(HfileBufferTest, BytesWrittenOverReadAheadBytesAreRead) {
    this->read(5);
    this->seek(100);
    this->write(3);
    this->seek(100);

    this->read(3);

    EXPECT_EQ(this->device.Tell(), 103);
}

// After the first read the test changes the next 12 bytes of the file. The device has already read
// the first 8 of them, so it returns the old bytes. It has not read the last 4 yet, so it returns
// the new ones.
TYPED_TEST(HfileBufferTest, DeviceReadsNoMoreThanTheBytesThatWillBeRead) {
    this->seek(100);
    this->device.ReadAhead(12);
    this->read(4);
    this->disk.patch(104, "12345678abcd");
    this->read(8);  // the old bytes, which were read ahead before the change

    this->model.replace(112, 4, "abcd");
    this->read(4);

    EXPECT_EQ(this->device.Tell(), 116);
}

// After a seek the number given to ReadAhead() no longer counts, and 1,024 bytes are read ahead.
TYPED_TEST(HfileBufferTest, SeekForgetsHowManyBytesWillBeRead) {
    this->seek(100);
    this->device.ReadAhead(4);
    this->seek(200);
    this->read(4);
    this->disk.patch(204, "12345678");

    this->read(8);  // the old bytes

    EXPECT_EQ(this->device.Tell(), 212);
}

TYPED_TEST(HfileBufferTest, RandomCallsBehaveLikeAString) {
    std::mt19937 random(3);
    for (int step = 0; step < 3000; ++step) {
        SCOPED_TRACE(step);
        const std::size_t size = kSizes[random() % kSizes.size()];
        const unsigned int choice = random() % 8;
        if (choice < 2) {
            this->seek(random() % 200000);
            if (choice < 1) {
                this->device.ReadAhead(static_cast<unsigned int>(random() % 100));
            }
        } else if (choice < 3) {  // a short jump, as from the head of a record to its data
            this->seek(std::min(this->position + random() % 64, this->model.size()));
        } else if (choice < 4) {
            this->device.Flush();
        } else if (choice < 6 && this->position + size <= this->model.size()) {
            this->read(size);
        } else if (this->position + size <= 1000000) {
            this->write(size);
        }
        ASSERT_EQ(static_cast<std::size_t>(this->device.Tell()), this->position);
        ASSERT_FALSE(this->HasFailure());
    }

    this->device.Close();

    EXPECT_TRUE(this->disk.content() == this->model);
}

}  // namespace
