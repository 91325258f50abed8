#include "cli/process/ending_signals.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "cli/process/Exit_status.h"
#include "tests/cli/scratch_folder.h"
#include "text/errors.h"
#include "text/kc/unfinished_files.h"

namespace zandrel::cli {

namespace {

// Calls `work`. No handler catches an exception of `work`, so it ends the process.
template <class Work>
void without_handler(const Work& work) noexcept {
    work();
}

// A statement that ends a process runs in a new process, so it does not see changes or handlers of
// earlier tests. Only the first process checks which files are left.
class EndingSignalsTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    // The path is the same in both processes.
    static std::string Path() {
        return testing::TempDir() + "zandrel_ending_signals_" +
               testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    void TearDown() override { std::filesystem::remove(Path()); }

    static void MakeFile() { std::ofstream(Path()) << "unfinished"; }
};

TEST_F(EndingSignalsTest, SignalRemovesAnUnfinishedFileAndEndsTheProcess) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        MakeFile();
        const auto end = [signal] {
            prepare_for_signals();
            const std::string path = Path();
            const Unfinished_file unfinished(path.c_str());
            std::raise(signal);
        };
        EXPECT_EXIT(end(), testing::KilledBySignal(signal), "");
        EXPECT_FALSE(std::filesystem::exists(Path()));
    }
}

TEST_F(EndingSignalsTest, SignalKeepsAFinishedFile) {
    MakeFile();
    const auto end = [] {
        prepare_for_signals();
        const std::string path = Path();
        { const Unfinished_file unfinished(path.c_str()); }
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_TRUE(std::filesystem::exists(Path()));
}

TEST_F(EndingSignalsTest, LackOfMemoryRemovesAnUnfinishedFileAndGivesAStatus) {
    MakeFile();
    const auto end = [] {
        prepare_for_lack_of_memory();
        const std::string path = Path();
        const Unfinished_file unfinished(path.c_str());
        without_handler([] { throw std::bad_alloc(); });
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(kInternalError), "^zandrel: not enough memory\n$");
    EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(EndingSignalsTest, LackOfMemoryAfterChangeReportsTheChange) {
    const auto end = [] {
        prepare_for_lack_of_memory();
        note_change("a.kc");
        without_handler([] { throw std::bad_alloc(); });
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(kChangedThenFailed),
                "^zandrel: not enough memory\nzandrel: a.kc has been changed all the same");
}

TEST_F(EndingSignalsTest, OtherExceptionWithoutHandlerAborts) {
    const auto end = [] {
        prepare_for_lack_of_memory();
        without_handler([] { throw std::runtime_error("broken"); });
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGABRT), "broken");
}

TEST_F(EndingSignalsTest, IgnoredSignalStaysIgnored) {
    const auto end = [] {
        std::signal(SIGHUP, SIG_IGN);
        prepare_for_signals();
        std::raise(SIGHUP);
        std::_Exit(kSuccess);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(kSuccess), "");
}

TEST_F(EndingSignalsTest, LimitOfFileSizesDoesNotEndTheProcess) {
    const auto exceed = [] {
        prepare_for_signals();
        std::raise(SIGXFSZ);
        std::_Exit(kSuccess);
    };
    EXPECT_EXIT(exceed(), testing::ExitedWithCode(kSuccess), "");
}

TEST_F(EndingSignalsTest, SignalAfterAChangeReportsTheChange) {
    const auto end = [] {
        prepare_for_signals();
        note_change("shop.kc");
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(kChangedThenFailed),
                "^zandrel: shop.kc has been changed all the same, so do not repeat the command\n$");
}

TEST_F(EndingSignalsTest, BrokenPipeAfterAChangeIsAnError) {
    const auto write_after_change = [] {
        prepare_for_signals();
        note_change("shop.kc");
        int ends[2] = {};
        std::_Exit(::pipe(ends) == 0 && ::close(ends[0]) == 0 && ::write(ends[1], "x", 1) == -1 &&
                           errno == EPIPE
                       ? kSuccess
                       : kInternalError);
    };
    EXPECT_EXIT(write_after_change(), testing::ExitedWithCode(kSuccess), "");
}

TEST_F(EndingSignalsTest, MessageOfAChangeNamesTheLastFile) {
    const auto change = [] {
        observe_changes();
        const bool is_silent_before = change_message().empty();
        note_change("a.kc");
        note_change("b.kc");
        std::_Exit(is_silent_before && change_message() ==
                                           "zandrel: b.kc has been changed all the same, so do not "
                                           "repeat the command\n"
                       ? kSuccess
                       : kInternalError);
    };
    EXPECT_EXIT(change(), testing::ExitedWithCode(kSuccess), "");
}

TEST_F(EndingSignalsTest, NameLongerThanAnyPathIsCut) {
    const auto change = [] {
        observe_changes();
        note_change(std::string(100'000, 'x'));
        const std::string message(change_message());
        std::_Exit(message.size() == 5000 && message.starts_with("zandrel: xxx") &&
                           message.ends_with("xxx has been changed all the same, so do not repeat "
                                             "the command\n")
                       ? kSuccess
                       : kInternalError);
    };
    EXPECT_EXIT(change(), testing::ExitedWithCode(kSuccess), "");
}

TEST_F(EndingSignalsTest, HeldBackSignalTakesEffectAtTheEnd) {
    const auto end = [] {
        prepare_for_signals();
        {
            const Held_back_signals held_back;
            std::raise(SIGTERM);
            note_change("a.kc");
        }
        std::_Exit(kSuccess);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(kChangedThenFailed), "a.kc has been changed");
}

// Only eight files can be registered. These eight are removed, also if there is a ninth one.
TEST_F(EndingSignalsTest, NinthUnfinishedFileIsNotRemoved) {
    MakeFile();
    const auto end = [] {
        prepare_for_signals();
        const std::string path = Path();
        std::vector<std::unique_ptr<Unfinished_file>> others;
        for (int i = 0; i < 8; ++i) {
            others.push_back(std::make_unique<Unfinished_file>("/nonexistent/file"));
        }
        const Unfinished_file ninth(path.c_str());
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(end(), testing::KilledBySignal(SIGTERM), "");
    EXPECT_TRUE(std::filesystem::exists(Path()));
}

}  // namespace

}  // namespace zandrel::cli
