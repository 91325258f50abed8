#include "cli/kc/Replacement_file.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/errors.h"
#include "tests/cli/scratch_folder.h"

namespace cli {

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

namespace fs = std::filesystem;

void write(const Replacement_file& file, const std::string& content) {
    std::ofstream(file.path(), std::ios::binary) << content;
}

void replace(const std::string& path, const std::string& content) {
    Replacement_file file(path);
    write(file, content);
    file.take_place();
}

// The message of the Output_error that making one raises; empty if it raises none.
std::string error_of(const std::string& path) {
    try {
        const Replacement_file file(path);
    } catch (const Output_error& error) {
        return error.what();
    }
    return "";
}

mode_t permissions_of(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 07777U;
}

TEST(ReplacementFileTest, TakesThePlaceOfTheOldFile) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");

    replace(path, "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, NeedsNoOldFile) {
    const Scratch_folder folder;

    replace(folder.file("a.kc"), "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, StandsBesideTheOldFileUntilThen) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    {
        const Replacement_file file(path);
        write(file, "new");

        EXPECT_THAT(folder.names(), ElementsAre(MatchesRegex("\\.a\\.kc\\......."), "a.kc"));
        EXPECT_EQ(folder.content("a.kc"), "old");
    }
    EXPECT_EQ(folder.content("a.kc"), "old");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, KeepsThePermissionsOfTheOldFile) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    for (const mode_t mode : {0600U, 0644U, 0666U, 0700U}) {
        SCOPED_TRACE(mode);
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        replace(path, "new");
        EXPECT_EQ(permissions_of(path), mode);
    }
}

TEST(ReplacementFileTest, HasThePermissionsOfNewFilesWithoutAnOldOne) {
    const Scratch_folder folder;
    const mode_t before = ::umask(0027);
    replace(folder.file("a.kc"), "new");
    const mode_t after = ::umask(before);

    EXPECT_EQ(permissions_of(folder.file("a.kc")), 0640U);
    EXPECT_EQ(after, 0027U);
}

TEST(ReplacementFileTest, FollowsLinks) {
    const Scratch_folder folder;
    fs::create_directory(folder.file("deep"));
    const std::string path = folder.write("deep/a.kc", "old");
    fs::create_symlink("deep/a.kc", folder.file("relative"));
    fs::create_symlink(folder.file("relative"), folder.file("absolute"));

    replace(folder.file("absolute"), "new");

    EXPECT_EQ(folder.content("deep/a.kc"), "new");
    EXPECT_TRUE(fs::is_symlink(folder.file("absolute")));
    EXPECT_TRUE(fs::is_symlink(folder.file("relative")));
}

TEST(ReplacementFileTest, MakesWhatALinkToNothingNames) {
    const Scratch_folder folder;
    fs::create_symlink("a.kc", folder.file("link"));

    replace(folder.file("link"), "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_TRUE(fs::is_symlink(folder.file("link")));
}

TEST(ReplacementFileTest, WorksInTheFolderOfTheProcess) {
    const Scratch_folder folder;
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    replace("a.kc", "new");
    fs::current_path(before);

    EXPECT_EQ(folder.content("a.kc"), "new");
}

TEST(ReplacementFileTest, HasRoomBesideTheLongestName) {
    const Scratch_folder folder;
    const std::string name(255, 'a');

    replace(folder.file(name), "new");

    EXPECT_THAT(folder.names(), ElementsAre(name));
}

TEST(ReplacementFileTest, RefusesWhatIsNoFile) {
    const Scratch_folder folder;
    fs::create_symlink("/dev/full", folder.file("full"));
    fs::create_symlink("circle", folder.file("circle"));
    const std::string begin = "cannot write " + folder.path();

    EXPECT_EQ(error_of(folder.path()), begin + ": Is a directory");
    EXPECT_EQ(error_of(folder.file("full")), begin + "/full: not a regular file");
    EXPECT_EQ(error_of(folder.file("none/a.kc")), begin + "/none/a.kc: No such file or directory");
    EXPECT_EQ(error_of(folder.file("circle")),
              begin + "/circle: Too many levels of symbolic links");
    EXPECT_EQ(error_of(""), "cannot write : No such file or directory");
    EXPECT_THAT(folder.names(), ElementsAre("circle", "full"));
}

// The user root may write everything.
TEST(ReplacementFileTest, RefusesAFileThatMayNotBeWritten) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);

    const std::string expected =
        ::geteuid() == 0 ? "" : "cannot write " + path + ": Permission denied";
    EXPECT_EQ(error_of(path), expected);
    EXPECT_EQ(folder.content("a.kc"), "old");
}

TEST(ReplacementFileTest, TellsIfThePlaceIsTakenMeanwhile) {
    const Scratch_folder folder;
    Replacement_file file(folder.file("a.kc"));
    fs::create_directory(folder.file("a.kc"));
    folder.write("a.kc/b", "");

    EXPECT_THROW(file.take_place(), Output_error);
}

}  // namespace

}  // namespace cli
