// Reading, writing and copying a container: the reports to a progress object, and the state after
// an interruption.
#include "zandrel/persistence/zeIO.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/expect_qtx.h"
#include "tests/support/kc_file.h"
#include "tests/support/logical_tree.h"
#include "tests/support/news_desk.h"
#include "tests/support/progress_log.h"
#include "tests/support/scratch_file.h"

namespace {

using testing::ElementsAre;

// Four classifiers, three of them with a storage. With the manager that makes eight items.
class zeIOInterruptionTest : public testing::Test {
protected:
    // The number of polls in a complete operation.
    template <class Operation>
    static int polls_of(Operation&& operation) {
        Interrupt_at progress(0);
        operation(&progress);
        return progress.polls;
    }

    Trained_desk kc;
    std::string file = saved(kc.manager);
    Scratch_file disk;
};

TEST_F(zeIOInterruptionTest, LoadReportsItsSteps) {
    Progress_log progress;
    zeManager loaded;

    read_kc(loaded, file, nullptr, &progress);

    EXPECT_THAT(progress.lines, ElementsAre("total 8", "total 5", "+1", "+1", "+1", "+1", "+1",
                                            "next phase, completed"));
    EXPECT_EQ(progress.polls, 5);
}

TEST_F(zeIOInterruptionTest, LoadOfAnEmptyContainerReportsItsSteps) {
    zeManager empty;
    const std::string nothing = saved(empty);
    Progress_log progress;

    read_kc(empty, nothing, nullptr, &progress);

    EXPECT_THAT(progress.lines, ElementsAre("total 1", "total 1", "+1", "next phase, completed"));
}

TEST_F(zeIOInterruptionTest, WriteReportsItsSteps) {
    Progress_log to_file;
    Progress_log to_buffer;
    qtPtr<qtBuffer> buffer;

    kc.manager.Write(disk.path(), nullptr, &to_file);
    kc.manager.Write(buffer, nullptr, &to_buffer);

    EXPECT_THAT(to_file.lines,
                ElementsAre("total 5", "+1", "+1", "+1", "+1", "next phase, completed"));
    EXPECT_EQ(to_file.polls, 5);
    EXPECT_EQ(to_buffer.lines, to_file.lines);
    EXPECT_EQ(to_buffer.polls, 5);
}

TEST_F(zeIOInterruptionTest, WriteOfASubtreeReportsItsSteps) {
    Progress_log progress;
    KcIoMode mode;
    mode.root = &kc.desk.Node(News_desk::kPress);

    kc.manager.Write(disk.path(), &mode, &progress);

    EXPECT_THAT(progress.lines, ElementsAre("total 4", "+1", "+1", "+1", "next phase, completed"));
}

TEST_F(zeIOInterruptionTest, CopyReportsItsSteps) {
    Progress_log progress;
    KcIoMode mode;

    kc.manager.m_io->CopyKC(disk.path(), &mode, nullptr, &progress);

    EXPECT_THAT(progress.lines,
                ElementsAre("total 5", "+1", "+1", "+1", "+1", "+1", "next phase, completed"));
    EXPECT_EQ(progress.polls, 4);
}

TEST_F(zeIOInterruptionTest, InterruptedLoadLeavesAnEmptyManager) {
    const Scratch_file& source = disk;
    source.write(file);
    for (int poll = 1; poll <= 5; ++poll) {
        for (const bool from_file : {false, true}) {
            SCOPED_TRACE(testing::Message() << poll << ' ' << from_file);
            Interrupt_at progress(poll);
            zeManager manager;
            read_kc(manager, file);
            manager.m_compact = true;
            const auto load = [&] {
                if (from_file) {
                    manager.Read(source.path(), nullptr, &progress);
                } else {
                    read_kc(manager, file, nullptr, &progress);
                }
            };

            EXPECT_QTX(load(), zeWorkflow, 2, "Process interrupted");

            EXPECT_EQ(progress.polls, poll);
            EXPECT_TRUE(is_empty(manager));
            EXPECT_TRUE(manager.m_io.IsNull());
            News_desk(manager).Build();
            News_desk(manager).Train();
            EXPECT_EQ(News_desk(manager).Answers(), kc.desk.Answers());
            read_kc(manager, file);
            EXPECT_EQ(content_of(manager), content_of(kc.manager));
        }
    }
}

TEST_F(zeIOInterruptionTest, InterruptedWriteLeavesNoFileAndAnUnchangedManager) {
    const Unchanged unchanged(kc.manager);
    for (int poll = 1; poll <= 5; ++poll) {
        SCOPED_TRACE(poll);
        Interrupt_at to_file(poll);
        Interrupt_at to_buffer(poll);
        qtPtr<qtBuffer> buffer;

        EXPECT_QTX(kc.manager.Write(disk.path(), nullptr, &to_file), zeWorkflow, 2,
                   "Process interrupted");
        EXPECT_QTX(kc.manager.Write(buffer, nullptr, &to_buffer), zeWorkflow, 2,
                   "Process interrupted");

        EXPECT_EQ(to_file.polls, poll);
        EXPECT_QTX(zeManager().Read(disk.path(), nullptr, nullptr), Hpack, 1, "Cannot read index");
        EXPECT_QTX(zeManager().Read(buffer, nullptr, nullptr), Hpack, 1, "Cannot read index");
        EXPECT_TRUE(same_bytes(saved(kc.manager), file));
    }
}

TEST_F(zeIOInterruptionTest, InterruptedCopyLeavesTheManagerWithItsOwnFile) {
    const Unchanged unchanged(kc.manager);
    const zeIO* const source = kc.manager.m_io.get();
    for (int poll = 1; poll <= 4; ++poll) {
        SCOPED_TRACE(poll);
        Interrupt_at progress(poll);
        KcIoMode mode;

        EXPECT_QTX(kc.manager.m_io->CopyKC(disk.path(), &mode, nullptr, &progress), zeWorkflow, 2,
                   "Process interrupted");

        EXPECT_EQ(kc.manager.m_io.get(), source);
        EXPECT_EQ(kc.manager.m_io.use_count(), 1U);
        EXPECT_QTX(zeManager().Read(disk.path(), nullptr, nullptr), Hpack, 1, "Cannot read index");
    }
    EXPECT_TRUE(same_bytes(saved(kc.manager), file));
}

// A progress object may raise any error.
class Raises_at : public Interrupt_at {
public:
    explicit Raises_at(int step) : Interrupt_at(0), m_step(step) {}

    void SetTotal(int /*total*/) override { Step(); }

    void Increment(unsigned int /*steps*/) override { Step(); }

    void NextPhase(bool /*completed*/) override { Step(); }

    int steps = 0;

private:
    void Step() {
        if (++steps == m_step) {
            throw qtXbase("enough");
        }
    }

    int m_step;
};

TEST_F(zeIOInterruptionTest, ErrorOfAProgressObjectHasTheSameResultAsAnInterruption) {
    for (int step = 1; step <= 8; ++step) {
        SCOPED_TRACE(step);
        Raises_at load(step);
        zeManager manager;
        EXPECT_QTXBASE(read_kc(manager, file, nullptr, &load), "enough");
        EXPECT_TRUE(is_empty(manager));
        read_kc(manager, file);
        EXPECT_EQ(content_of(manager), content_of(kc.manager));
    }
    for (int step = 1; step <= 7; ++step) {
        SCOPED_TRACE(step);
        const zeIO* const source = kc.manager.m_io.get();
        Raises_at copy(step);
        KcIoMode mode;
        EXPECT_QTXBASE(kc.manager.m_io->CopyKC(disk.path(), &mode, nullptr, &copy), "enough");
        EXPECT_EQ(kc.manager.m_io.get(), source);
    }
    for (int step = 1; step <= 6; ++step) {
        SCOPED_TRACE(step);
        Raises_at write(step);
        EXPECT_QTXBASE(kc.manager.Write(disk.path(), nullptr, &write), "enough");
        EXPECT_TRUE(same_bytes(saved(kc.manager), file));
    }
}

}  // namespace
