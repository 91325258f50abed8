#include "zandrel/foundation/qtFile.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/scratch_file.h"

namespace {

TEST(qtFileTest, FindsAFileThatIsThere) {
    const Scratch_file file("");

    EXPECT_TRUE(qtFile::exists(file.path()));
}

TEST(qtFileTest, FindsNoFileThatIsNotThere) {
    const Scratch_file file;

    EXPECT_FALSE(qtFile::exists(file.path()));
}

TEST(qtFileTest, FindsFoldersAndDevices) {
    EXPECT_TRUE(qtFile::exists(testing::TempDir()));
    EXPECT_TRUE(qtFile::exists("/dev/null"));
}

TEST(qtFileTest, FindsNothingBelowAFile) {
    const Scratch_file file("");

    EXPECT_FALSE(qtFile::exists(file.path() + "/below"));
}

TEST(qtFileTest, FindsNothingUnderTheEmptyName) {
    EXPECT_FALSE(qtFile::exists(""));
}

TEST(qtFileTest, DoesNotCutANameAtAZeroByte) {
    const Scratch_file file("");

    EXPECT_FALSE(qtFile::exists(file.path() + qtString("\0x", 2)));
}

}  // namespace
