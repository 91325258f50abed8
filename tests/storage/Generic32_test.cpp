#include "zandrel/storage/Generic32.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(Generic32Test, NewDeviceHasNoNameAndIsReadOnly) {
    const Generic32 device;

    EXPECT_TRUE(device.name.empty());
    EXPECT_TRUE(device.read_only);
}

TEST(Generic32Test, AllValuesAreZero) {
    Generic32 device;
    device.Seek(5);

    EXPECT_EQ(device.Tell(), 0);
    EXPECT_EQ(device.SeekEnd(), 0);
    EXPECT_EQ(device.GetFileSize(), 0);
}

TEST(Generic32Test, ReadsAndWritesDoNothing) {
    Generic32 device;
    device.read_only = false;
    std::string bytes = "abcd";

    device.Write(bytes.data(), 4);
    bytes = "wxyz";
    device.Read(bytes.data(), 4);
    device.Close();

    EXPECT_EQ(bytes, "wxyz");
    EXPECT_EQ(device.GetFileSize(), 0);
}

TEST(Generic32Test, RequireBytesNeverRaises) {
    Generic32 device;

    EXPECT_NO_THROW(device.RequireBytes(std::numeric_limits<std::uint64_t>::max()));
}

}  // namespace
