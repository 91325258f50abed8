#include "zandrel/foundation/qtFile.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/scratch_file.h"

namespace {

TEST(qtFileTest, ExistingFileIsFound) {
    const Scratch_file file("");

    EXPECT_TRUE(qtFile::exists(file.path()));
}

TEST(qtFileTest, MissingFileIsNotFound) {
    const Scratch_file file;

    EXPECT_FALSE(qtFile::exists(file.path()));
}

TEST(qtFileTest, FoldersAndDevicesAreFound) {
    EXPECT_TRUE(qtFile::exists(testing::TempDir()));
    EXPECT_TRUE(qtFile::exists("/dev/null"));
}

TEST(qtFileTest, NothingIsFoundBelowAFile) {
    const Scratch_file file("");

    EXPECT_FALSE(qtFile::exists(file.path() + "/below"));
}

TEST(qtFileTest, NothingIsFoundUnderTheEmptyName) {
    EXPECT_FALSE(qtFile::exists(""));
}

TEST(qtFileTest, NameIsNotCutAtAZeroByte) {
    const Scratch_file file("");

    EXPECT_FALSE(qtFile::exists(file.path() + qtString("\0x", 2)));
}

}  // namespace
