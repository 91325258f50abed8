#include "zandrel/knowledge/Progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zandrel/classification/zeWorkflow.h"

#include "tests/support/expect_qtx.h"
#include "tests/support/progress_log.h"

namespace {

void report_all(const zandrel::detail::Progress& progress) {
    progress.set_status("Reading");
    progress.set_total(3);
    progress.count();
    progress.check_interrupt();
    progress.step(2);
    progress.end();
}

TEST(ProgressTest, EachReportReachesTheCallersObject) {
    Progress_log log;

    report_all(zandrel::detail::Progress(&log));

    EXPECT_THAT(log.lines,
                testing::ElementsAre("Reading", "total 3", "+1", "+2", "next phase, completed"));
}

TEST(ProgressTest, NullPointerIsAccepted) {
    EXPECT_NO_THROW(report_all(zandrel::detail::Progress(nullptr)));
}

TEST(ProgressTest, StepIsCountedBeforeItIsInterrupted) {
    Progress_log log(2);  // at the second poll
    const zandrel::detail::Progress progress(&log);

    progress.step();
    EXPECT_QTX(progress.step(), zeWorkflow, 2, "Process interrupted");

    EXPECT_THAT(log.lines, testing::ElementsAre("+1", "+1"));
}

TEST(ProgressTest, CheckCountsNoStep) {
    Progress_log log(1);

    EXPECT_QTX(zandrel::detail::Progress(&log).check_interrupt(), zeWorkflow, 2,
               "Process interrupted");

    EXPECT_THAT(log.lines, testing::IsEmpty());
}

}  // namespace
