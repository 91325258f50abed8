#include "text/kc/Replacement_file.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/process/ending_signals.h"
#include "tests/cli/file_facts.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"

namespace zandrel::cli {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;

namespace fs = std::filesystem;

void write(const Replacement_file& file, const std::string& content) {
    std::ofstream(file.path(), std::ios::binary) << content;
}

void replace(const std::string& path, const std::string& content) {
    Replacement_file file(path);
    write(file, content);
    file.take_place();
}

// The message of the Output_error when a replacement is made; empty if there is none.
std::string write_error_of(const std::string& path) {
    try {
        const Replacement_file file(path);
    } catch (const Output_error& error) {
        return error.what();
    }
    return "";
}

// The message of the Input_error when another file is copied; empty if there is none.
std::string copy_error_of(const Replacement_file& file, const std::string& path) {
    try {
        file.copy_from("other", path);
    } catch (const Input_error& error) {
        return error.what();
    }
    return "";
}

// Makes a replacement in a process that is killed at once.
void leave_file_behind(const std::string& path) {
    const pid_t process = ::fork();
    if (process == 0) {
        const Replacement_file file(path);
        ::kill(::getpid(), SIGKILL);
    }
    ::waitpid(process, nullptr, 0);
}

TEST(ReplacementFileTest, OldFileIsReplaced) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");

    replace(path, "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, NoOldFileIsNeeded) {
    const Scratch_folder folder;

    replace(folder.file("a.kc"), "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, OldFileRemainsUntilItIsReplaced) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    {
        const Replacement_file file(path);
        write(file, "new");

        EXPECT_THAT(folder.names(),
                    ElementsAre(MatchesRegex("\\.a\\.kc\\.tmp-[a-zA-Z0-9]*"), "a.kc"));
        EXPECT_EQ(file.path().size(), path.size() + std::string("..tmp-XXXXXX").size());
        EXPECT_EQ(folder.content("a.kc"), "old");
    }
    EXPECT_EQ(folder.content("a.kc"), "old");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, CopyHasAllBytesOfTheOtherFile) {
    const Scratch_folder folder;
    std::string content;
    for (int i = 0; i < 200000; ++i) {
        content += static_cast<char>(i % 251);
    }
    const std::string other = folder.write("other", content);
    const Replacement_file file(folder.file("file"));
    file.copy_from("other", other);
    EXPECT_EQ(folder.content(fs::path(file.path()).filename().string()), content);
}

// Address 0 of a process cannot be read, so the system reports an error.
TEST(ReplacementFileTest, FailedReadOfTheOtherFileIsAnInputError) {
    const Scratch_folder folder;
    const Replacement_file file(folder.file("file"));
    EXPECT_EQ(copy_error_of(file, "/proc/self/mem"), "cannot read other: Input/output error");
    EXPECT_EQ(copy_error_of(file, folder.file("missing")),
              "cannot read other: No such file or directory");
}

TEST(ReplacementFileTest, PermissionsOfTheOldFileAreKept) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    for (const mode_t mode : {0600U, 0644U, 0666U, 0700U}) {
        SCOPED_TRACE(mode);
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        replace(path, "new");
        EXPECT_EQ(permissions_of(path), mode);
    }
}

TEST(ReplacementFileTest, OnlyTheOwnerCanOpenTheUnfinishedFile) {
    const Scratch_folder folder;
    const mode_t before = ::umask(0);
    for (const std::string& path : {folder.write("old.kc", "old"), folder.file("new.kc")}) {
        Replacement_file file(path);
        EXPECT_EQ(permissions_of(file.path()), 0600U) << path;
        file.take_place();
        EXPECT_EQ(permissions_of(path), 0666U) << path;
    }
    ::umask(before);
}

TEST(ReplacementFileTest, AttributesOfTheOldFileAreKept) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
    set_attribute(path, "user.note", "from the sales team");
    set_attribute(path, kAccessListAttribute, access_list_with_user_7());
    const std::string note = attribute_of(path, "user.note");
    const std::string access_list = attribute_of(path, kAccessListAttribute);

    replace(path, "new");

    EXPECT_EQ(attribute_of(path, "user.note"), note);
    EXPECT_EQ(attribute_of(path, kAccessListAttribute), access_list);
}

TEST(ReplacementFileTest, NewFileHasTheAccessListOfItsFolder) {
    const Scratch_folder folder;
    set_attribute(folder.path(), "system.posix_acl_default", access_list_with_user_7());
    folder.write("plain", "");

    replace(folder.file("a.kc"), "new");

    EXPECT_EQ(attribute_of(folder.file("a.kc"), kAccessListAttribute),
              attribute_of(folder.file("plain"), kAccessListAttribute));
    EXPECT_EQ(permissions_of(folder.file("a.kc")), permissions_of(folder.file("plain")));
}

TEST(ReplacementFileTest, HardLinksAreSeparated) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    fs::create_hard_link(path, folder.file("b.kc"));

    replace(path, "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_EQ(folder.content("b.kc"), "old");
}

TEST(ReplacementFileTest, FileOfADeadProcessIsRemoved) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    leave_file_behind(path);
    leave_file_behind(folder.file("b.kc"));
    ASSERT_EQ(folder.names().size(), 3U);

    replace(path, "new");

    EXPECT_THAT(folder.names(), ElementsAre(MatchesRegex("\\.b\\.kc\\.tmp-[a-zA-Z0-9]*"), "a.kc"));
}

TEST(ReplacementFileTest, FileOfALivingProcessIsKept) {
    const Scratch_folder folder;
    Replacement_file first(folder.file("a.kc"));
    write(first, "first");
    Replacement_file second(folder.file("a.kc"));
    write(second, "second");

    EXPECT_TRUE(fs::exists(first.path()));
    first.take_place();
    EXPECT_EQ(folder.content("a.kc"), "first");
    second.take_place();
    EXPECT_EQ(folder.content("a.kc"), "second");
}

// Root can open every file, so for root the file is removed in another way.
TEST(ReplacementFileTest, UnreadableFileIsRemovedUnderALock) {
    const Scratch_folder folder;
    const Kc_lock lock(folder.file("a.kc"));
    ASSERT_EQ(::chmod(folder.write(".a.kc.tmp-abcdef", "").c_str(), 0), 0);

    const Replacement_file file(lock);

    EXPECT_FALSE(fs::exists(folder.file(".a.kc.tmp-abcdef")));
}

TEST(ReplacementFileTest, FilesWithOnlyASimilarNameAreKept) {
    const Scratch_folder folder;
    fs::create_directory(folder.file(".a.kc.tmp-folder"));
    fs::create_symlink("missing", folder.file(".a.kc.tmp-linked"));
    ASSERT_EQ(::mkfifo(folder.file(".a.kc.tmp-ofpipe").c_str(), 0600), 0);
    for (const char* const name : {".a.kc.tmp-short", ".a.kc.tmp-toolong", ".a.kc.tmp-dots..",
                                   ".a.kc.backup", "a.kc.tmp-abcdef"}) {
        folder.write(name, "");
    }
    const std::vector<std::string> before = folder.names();
    replace(folder.file("a.kc"), "new");

    EXPECT_EQ(folder.names().size(), before.size() + 1);
    EXPECT_THAT(folder.names(), IsSupersetOf(before));
}

TEST(ReplacementFileTest, SignalRemovesTheUnfinishedFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string path = testing::TempDir() + "zandrel_signal_removes_it";
    fs::create_directory(path);
    const auto end_while_writing = [&path] {
        prepare_for_signals();
        Replacement_file file(path + "/a.kc");
        write(file, "new");
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(end_while_writing(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_TRUE(fs::is_empty(path));
    fs::remove_all(path);
}

TEST(ReplacementFileTest, ReplacementIsNotedAsAChange) {
    const Scratch_folder folder;
    const std::string path = folder.file("a.kc");
    Replacement_file file(path);
    observe_changes();
    EXPECT_THAT(std::string(change_message()), Not(HasSubstr(path)));
    file.take_place();
    EXPECT_THAT(std::string(change_message()), HasSubstr(path));
}

TEST(ReplacementFileTest, TrialLeavesNoFile) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");

    Replacement_file::try_out(Kc_lock(path));
    Replacement_file::try_out(Kc_lock(folder.file("b.kc")));

    EXPECT_EQ(folder.content("a.kc"), "old");
    EXPECT_THAT(folder.names(), ElementsAre("a.kc"));
}

TEST(ReplacementFileTest, FileWithoutReadableStatusIsRefused) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "") + "/b.kc";
    EXPECT_EQ(write_error_of(path), "cannot write " + path + ": Not a directory");
}

TEST(ReplacementFileTest, WithoutAnOldFilePermissionsAreThoseOfNewFiles) {
    const Scratch_folder folder;
    const mode_t before = ::umask(0027);
    replace(folder.file("a.kc"), "new");
    const mode_t after = ::umask(before);

    EXPECT_EQ(permissions_of(folder.file("a.kc")), 0640U);
    EXPECT_EQ(after, 0027U);
}

TEST(ReplacementFileTest, LinksAreFollowed) {
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

TEST(ReplacementFileTest, TargetOfADanglingLinkIsMade) {
    const Scratch_folder folder;
    fs::create_symlink("a.kc", folder.file("link"));

    replace(folder.file("link"), "new");

    EXPECT_EQ(folder.content("a.kc"), "new");
    EXPECT_TRUE(fs::is_symlink(folder.file("link")));
}

TEST(ReplacementFileTest, RelativePathInTheWorkingFolderWorks) {
    const Scratch_folder folder;
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());
    replace("a.kc", "new");
    fs::current_path(before);

    EXPECT_EQ(folder.content("a.kc"), "new");
}

TEST(ReplacementFileTest, LongestNameHasAReplacementToo) {
    const Scratch_folder folder;
    const std::string name(255, 'a');

    replace(folder.file(name), "new");

    EXPECT_THAT(folder.names(), ElementsAre(name));
}

TEST(ReplacementFileTest, PathThatIsNoFileIsRefused) {
    const Scratch_folder folder;
    fs::create_symlink("/dev/full", folder.file("full"));
    fs::create_symlink("circle", folder.file("circle"));
    const std::string begin = "cannot write " + folder.path();

    EXPECT_EQ(write_error_of(folder.path()), begin + ": Is a directory");
    EXPECT_EQ(write_error_of(folder.file("full")), begin + "/full: not a regular file");
    EXPECT_EQ(write_error_of(folder.file("none/a.kc")),
              begin + "/none/a.kc: No such file or directory");
    EXPECT_EQ(write_error_of(folder.file("circle")),
              begin + "/circle: Too many levels of symbolic links");
    EXPECT_EQ(write_error_of(""), "cannot write : No such file or directory");
    EXPECT_THAT(folder.names(), ElementsAre("circle", "full"));
}

// Root may write every file, so root gets no error.
TEST(ReplacementFileTest, FileThatMayNotBeWrittenIsRefused) {
    const Scratch_folder folder;
    const std::string path = folder.write("a.kc", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);

    const std::string expected =
        ::geteuid() == 0 ? "" : "cannot write " + path + ": Permission denied";
    EXPECT_EQ(write_error_of(path), expected);
    EXPECT_EQ(folder.content("a.kc"), "old");
}

TEST(ReplacementFileTest, ReplacingAFolderThatAppearedIsAnError) {
    const Scratch_folder folder;
    Replacement_file file(folder.file("a.kc"));
    fs::create_directory(folder.file("a.kc"));
    folder.write("a.kc/b", "");

    EXPECT_THROW(file.take_place(), Output_error);
}

}  // namespace

}  // namespace zandrel::cli
