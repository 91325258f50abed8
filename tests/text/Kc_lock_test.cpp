#include "text/kc/Kc_lock.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"
#include "zandrel/foundation/CTProgress.h"

#include "tests/cli/file_facts.h"
#include "tests/cli/scratch_folder.h"
#include "tests/support/expect_qtx.h"
#include "text/errors.h"

namespace {

using testing::ElementsAre;

constexpr double kShortWait = 0.2;

std::string error_of_locking(const std::string& name, const zandrel::Lock_wait& wait = {}) {
    try {
        const zandrel::Kc_lock lock(name, wait);
    } catch (const zandrel::Output_error& error) {
        return error.what();
    }
    return "";
}

// A second lock in the same process is refused like one in another process, since the lock belongs
// to the open file.
class KcLockTest : public testing::Test {
protected:
    static void expect_refused(const std::string& name) {
        EXPECT_EQ(error_of_locking(name), "cannot write " + name +
                                              ": another process is changing it; --wait SECONDS "
                                              "waits for it");
    }

    zandrel::cli::Scratch_folder folder;
    std::string path = folder.write("kept.kc", "content");
    std::string lock_file = folder.file(".kept.kc.lock");
};

TEST_F(KcLockTest, SecondLockIsRefused) {
    const zandrel::Kc_lock lock(path);
    expect_refused(path);
}

TEST_F(KcLockTest, SecondLockByAnotherNameOfTheFileIsRefused) {
    const std::string link = folder.file("link.kc");
    std::filesystem::create_symlink(path, link);
    const zandrel::Kc_lock lock(path);
    expect_refused(link);
}

TEST_F(KcLockTest, LockIsFreeAfterTheFirstEnds) {
    std::optional<zandrel::Kc_lock> first(path);
    first.reset();
    EXPECT_NO_THROW(zandrel::Kc_lock second(path));
}

TEST_F(KcLockTest, LockRemainsWhenTheContainerIsReplaced) {
    const zandrel::Kc_lock lock(path);
    std::filesystem::rename(folder.write("new.kc", "new content"), path);
    expect_refused(path);
}

TEST_F(KcLockTest, NameWithoutAFileCanBeLocked) {
    const std::string missing = folder.file("missing.kc");
    const zandrel::Kc_lock lock(missing);
    expect_refused(missing);
    EXPECT_FALSE(std::filesystem::exists(missing));
}

TEST_F(KcLockTest, LockFileExistsAsLongAsTheLock) {
    {
        const zandrel::Kc_lock lock(path);
        EXPECT_THAT(folder.names(), ElementsAre(".kept.kc.lock", "kept.kc"));
    }
    EXPECT_THAT(folder.names(), ElementsAre("kept.kc"));
}

TEST_F(KcLockTest, LockFileOfADeadProcessIsReused) {
    folder.write(".kept.kc.lock", "");
    {
        const zandrel::Kc_lock lock(path);
        expect_refused(path);
    }
    EXPECT_THAT(folder.names(), ElementsAre("kept.kc"));
}

TEST_F(KcLockTest, ReaderOfTheContainerDoesNotPreventALock) {
    const int reader = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(reader, LOCK_SH), 0);
    EXPECT_EQ(error_of_locking(path), "");
    ::close(reader);
}

// Only users who may write the container can open its lock file.
TEST_F(KcLockTest, LockFileHasTheWritersOfTheContainer) {
    const struct {
        mode_t container;
        mode_t lock;
    } rows[] = {{0600, 0600}, {0644, 0600}, {0664, 0660}, {0666, 0666}, {0640, 0600},
                {0660, 0660}, {0755, 0600}, {0620, 0660}, {0642, 0606}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.container);
        ASSERT_EQ(::chmod(path.c_str(), row.container), 0);
        const zandrel::Kc_lock lock(path);
        EXPECT_EQ(zandrel::cli::permissions_of(lock_file), row.lock);
    }
}

TEST_F(KcLockTest, LockFileHasTheWritersOfAFutureContainer) {
    const struct {
        mode_t mask;
        mode_t lock;
    } rows[] = {{0022, 0600}, {0002, 0660}, {0000, 0666}, {0077, 0600}};

    for (const auto& row : rows) {
        SCOPED_TRACE(row.mask);
        const mode_t before = ::umask(row.mask);
        const zandrel::Kc_lock lock(folder.file("new.kc"));
        ::umask(before);
        EXPECT_EQ(zandrel::cli::permissions_of(folder.file(".new.kc.lock")), row.lock);
    }
}

TEST_F(KcLockTest, LockWaitsUntilTheOtherOneEnds) {
    std::optional<zandrel::Kc_lock> first(path);
    std::thread other([&first] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        first.reset();
    });
    EXPECT_EQ(error_of_locking(path, {60.0, nullptr}), "");
    other.join();
}

TEST_F(KcLockTest, LockWaitsNoLongerThanTheGivenTime) {
    const zandrel::Kc_lock first(path);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(error_of_locking(path, {kShortWait, nullptr}),
              "cannot write " + path + ": another process is still changing it after 0.2 seconds");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::duration<double>(kShortWait));
}

class Interrupting : public CTProgress {
public:
    void SetStatus(const char* status) override { m_status = status; }

    bool IsInterrupted() const override { return true; }

    std::string m_status;
};

TEST_F(KcLockTest, InterruptionEndsTheWait) {
    const zandrel::Kc_lock first(path);
    Interrupting progress;
    EXPECT_QTX(zandrel::Kc_lock(path, {60.0, &progress}), zeWorkflow, 2, "Process interrupted");
    EXPECT_EQ(progress.m_status, "Waiting for another process");
}

TEST_F(KcLockTest, LockFileThatIsNoRegularFileIsRefused) {
    const std::string begin = "cannot write " + path + ": its lock file " + lock_file + ": ";
    std::filesystem::create_symlink("kept.kc", lock_file);
    EXPECT_EQ(error_of_locking(path), begin + "Too many levels of symbolic links");
    std::filesystem::remove(lock_file);
    ASSERT_EQ(::mkfifo(lock_file.c_str(), 0600), 0);
    EXPECT_EQ(error_of_locking(path), begin + "not a regular file");
    std::filesystem::remove(lock_file);
    std::filesystem::create_directory(lock_file);
    EXPECT_EQ(error_of_locking(path), begin + "Is a directory");
}

TEST_F(KcLockTest, LockFileWithContentsIsRefusedAndKept) {
    folder.write(".kept.kc.lock", "mine");
    EXPECT_EQ(error_of_locking(path), "cannot write " + path + ": its lock file " + lock_file +
                                          ": not empty, so not a lock file");
    EXPECT_EQ(folder.content(".kept.kc.lock"), "mine");
}

TEST_F(KcLockTest, RemainingLockFileGetsTheCurrentWriters) {
    folder.write(".kept.kc.lock", "");
    ASSERT_EQ(::chmod(lock_file.c_str(), 0660), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    const zandrel::Kc_lock lock(path);
    EXPECT_EQ(zandrel::cli::permissions_of(lock_file), 0600U);
    expect_refused(path);
}

// Root may create files in any folder, so root gets no error.
TEST_F(KcLockTest, FolderThatTakesNoLockFileIsAnError) {
    ASSERT_EQ(::chmod(folder.path().c_str(), 0500), 0);
    const std::string error = error_of_locking(path);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0700), 0);
    EXPECT_EQ(error, ::geteuid() == 0 ? ""
                                      : "cannot write " + path + ": its lock file " + lock_file +
                                            ": Permission denied");
}

TEST_F(KcLockTest, FileThatMayNotBeOpenedIsAnError) {
    folder.write(".kept.kc.lock", "");
    ASSERT_EQ(::chmod(lock_file.c_str(), 0), 0);
    const std::string expected = "cannot write " + path + ": its lock file " + lock_file +
                                 ": Permission denied; remove it if no zandrel runs";
    EXPECT_EQ(error_of_locking(path), ::geteuid() == 0 ? "" : expected);
}

TEST_F(KcLockTest, PathThatIsNoFileGetsNoLock) {
    EXPECT_EQ(error_of_locking(folder.path()),
              "cannot write " + folder.path() + ": Is a directory");
    EXPECT_EQ(error_of_locking(folder.file("none/a.kc")),
              "cannot write " + folder.file("none/a.kc") + ": No such file or directory");
    EXPECT_THAT(folder.names(), ElementsAre("kept.kc"));
}

}  // namespace
