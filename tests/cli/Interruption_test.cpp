#include "cli/process/Interruption.h"

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "cli/process/Exit_status.h"
#include "cli/process/ending_signals.h"
#include "text/data/Waiting_for_input.h"
#include "text/errors.h"
#include "text/kc/unfinished_files.h"

namespace zandrel::cli {

namespace {

// Signals within 100 ms count as one. This is longer.
void pause() {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
}

bool is_default(int signal) {
    struct sigaction now = {};
    sigaction(signal, nullptr, &now);
    return now.sa_handler == SIG_DFL;
}

// A statement that ends a process runs in a new process, so it does not see changes of earlier
// tests.
class InterruptionTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    // The destructor of `forgets` removes the request, so that tests of other classes find none.
    void TearDown() override { const Interruption forgets; }
};

TEST_F(InterruptionTest, FirstSignalOfEachKindIsARequest) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        const Interruption interruption;
        EXPECT_FALSE(Interruption::is_requested());
        std::raise(signal);
        EXPECT_TRUE(Interruption::is_requested());
        EXPECT_EQ(Interruption::signal(), signal);
    }
}

TEST_F(InterruptionTest, SecondSignalEndsTheProcess) {
    const auto interrupt_twice = [] {
        const Interruption interruption;
        std::raise(SIGINT);
        pause();
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(interrupt_twice(), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(InterruptionTest, FirstSignalWhileInputIsAwaitedEndsTheProcess) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        const auto wait_for_input = [signal] {
            const Interruption interruption;
            const Waiting_for_input waiting;
            std::raise(signal);
        };
        EXPECT_EXIT(wait_for_input(), testing::KilledBySignal(signal), "");
    }
}

TEST_F(InterruptionTest, FirstSignalAfterTheInputIsARequest) {
    const Interruption interruption;
    { const Waiting_for_input waiting; }
    std::raise(SIGTERM);
    EXPECT_EQ(Interruption::signal(), SIGTERM);
}

TEST_F(InterruptionTest, FurtherSignalsAtOnceCountAsOne) {
    const Interruption interruption;
    std::raise(SIGTERM);
    std::raise(SIGTERM);
    std::raise(SIGHUP);
    EXPECT_EQ(Interruption::signal(), SIGTERM);
}

TEST_F(InterruptionTest, HandlersAreRestoredAndANewObjectHasNoRequest) {
    {
        const Interruption interruption;
        EXPECT_FALSE(is_default(SIGHUP) || is_default(SIGINT) || is_default(SIGTERM));
        std::raise(SIGINT);
        EXPECT_TRUE(Interruption::is_requested());
    }
    EXPECT_TRUE(is_default(SIGHUP) && is_default(SIGINT) && is_default(SIGTERM));
    EXPECT_TRUE(Interruption::is_requested());

    const Interruption another;
    EXPECT_FALSE(Interruption::is_requested());
}

TEST_F(InterruptionTest, IgnoredSignalStaysIgnored) {
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        struct sigaction before = {};
        struct sigaction ignored = {};
        ignored.sa_handler = SIG_IGN;
        sigaction(signal, &ignored, &before);
        {
            const Interruption interruption;
            std::raise(signal);
            EXPECT_FALSE(Interruption::is_requested());
        }
        sigaction(signal, &before, nullptr);
    }
}

// The work ended without reading the request, so the program has to end itself.
TEST_F(InterruptionTest, UnreadRequestEndsTheProcessAfterTheWork) {
    const auto work_without_asking = [] {
        const Interruption interruption;
        std::raise(SIGTERM);
    };
    EXPECT_EXIT(work_without_asking(), testing::KilledBySignal(SIGTERM), "");
}

TEST_F(InterruptionTest, ErrorIsPreferredToAnUnreadRequest) {
    EXPECT_THROW(
        {
            const Interruption interruption;
            std::raise(SIGTERM);
            throw std::runtime_error("to be reported");
        },
        std::runtime_error);
}

TEST_F(InterruptionTest, ReportOfAChangeIsPreferredToAnUnreadRequest) {
    const auto work = [] {
        {
            const Interruption interruption;
            observe_changes();
            note_change("a.kc");
            std::raise(SIGTERM);
        }
        std::_Exit(kSuccess);
    };
    EXPECT_EXIT(work(), testing::ExitedWithCode(kSuccess), "");
}

}  // namespace

}  // namespace zandrel::cli
