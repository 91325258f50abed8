#include "cli/kc/Kc_lock.h"

#include <filesystem>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "cli/errors.h"
#include "tests/cli/scratch_folder.h"

namespace {

// A second lock of one process is refused like that of another: it is on the open file.
class KcLockTest : public testing::Test {
protected:
    static void expect_refused(const std::string& name) {
        try {
            const cli::Kc_lock lock(name);
            ADD_FAILURE() << "locked twice";
        } catch (const cli::Output_error& error) {
            EXPECT_EQ(error.what(), "cannot write " + name + ": another process is changing it");
        }
    }

    cli::Scratch_folder folder;
    std::string path = folder.write("kept.kc", "content");
};

TEST_F(KcLockTest, RefusesASecondOne) {
    const cli::Kc_lock lock(path);
    expect_refused(path);
}

TEST_F(KcLockTest, RefusesASecondOneByAnotherName) {
    const std::string link = folder.file("link.kc");
    std::filesystem::create_symlink(path, link);
    const cli::Kc_lock lock(path);
    expect_refused(link);
}

TEST_F(KcLockTest, IsFreeWhenTheFirstGoes) {
    std::optional<cli::Kc_lock> first(path);
    first.reset();
    EXPECT_NO_THROW(cli::Kc_lock second(path));
}

TEST_F(KcLockTest, GuardsTheNameAlone) {
    const cli::Kc_lock lock(path);
    std::filesystem::rename(folder.write("new.kc", "new content"), path);
    EXPECT_NO_THROW(cli::Kc_lock second(path)) << "the file that was locked has no name any more";
}

TEST_F(KcLockTest, TellsOfAMissingFile) {
    EXPECT_THROW(cli::Kc_lock(folder.file("missing.kc")), cli::Input_error);
}

}  // namespace
