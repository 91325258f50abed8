#include "text/kc/Target_file.h"

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/cli/scratch_folder.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

namespace fs = std::filesystem;

std::string name_beside(const std::string& path) {
    return fs::path(Target_file(path).beside(".lock")).filename().string();
}

TEST(TargetFileTest, FilesAreNamedBesideTheTargetOfALink) {
    const Scratch_folder folder;
    fs::create_directory(folder.file("deep"));
    folder.write("deep/a.kc", "");
    fs::create_symlink("deep/a.kc", folder.file("link"));
    const Target_file target(folder.file("link"));

    EXPECT_EQ(target.name(), folder.file("link"));
    EXPECT_EQ(target.path(), folder.file("deep/a.kc"));
    EXPECT_EQ(target.beside(".lock"), folder.file("deep/.a.kc.lock"));
    EXPECT_EQ(Target_file("a.kc").beside(".lock"), "./.a.kc.lock");
}

TEST(TargetFileTest, LongNameIsCutBetweenCharacters) {
    EXPECT_EQ(name_beside("/" + std::string(240, 'n')), "." + std::string(240, 'n') + ".lock");
    EXPECT_EQ(name_beside("/" + std::string(241, 'n')), "." + std::string(240, 'n') + ".lock");
    // The character at 239 has two bytes, and there is space for one.
    EXPECT_EQ(name_beside("/" + std::string(239, 'n') + "\xC3\xBCrest"),
              "." + std::string(239, 'n') + ".lock");
    // Bytes that are not UTF-8 have no character borders.
    EXPECT_EQ(name_beside("/" + std::string(250, '\x80')),
              "." + std::string(240, '\x80') + ".lock");
}

TEST(TargetFileTest, FileThatDoesNotExistHasNoStatus) {
    const Scratch_folder folder;
    EXPECT_FALSE(Target_file(folder.file("a.kc")).status().has_value());
    EXPECT_TRUE(Target_file(folder.write("a.kc", "")).status().has_value());
}

// If it counted as a file that does not exist, it would be overwritten.
TEST(TargetFileTest, FileWithoutReadableStatusIsAnError) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "") + "/b.kc";
    try {
        Target_file(path).status();
        ADD_FAILURE() << "no error";
    } catch (const Output_error& error) {
        EXPECT_EQ(error.what(), "cannot write " + path + ": Not a directory");
    }
}

TEST(TargetFileTest, OpenFileIsAtItsPathUntilAnotherReplacesIt) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "");
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);

    EXPECT_TRUE(is_file_at(path, descriptor));
    fs::rename(folder.write("b.kc", ""), path);
    EXPECT_FALSE(is_file_at(path, descriptor));
    fs::remove(path);
    EXPECT_FALSE(is_file_at(path, descriptor));
    ::close(descriptor);
}

}  // namespace

}  // namespace zandrel::cli
