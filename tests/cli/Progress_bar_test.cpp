#include "cli/process/Progress_bar.h"

#include <csignal>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "cli/process/Interruption.h"

namespace zandrel::cli {

namespace {

// A progress bar with a time that the test sets.
class ProgressBarTest : public testing::Test {
protected:
    // The text drawn since the last call. A bar marks the first drawing of each line.
    std::string Drawn() {
        std::string text = m_out.str();
        m_out.str("");
        const std::string start = "\r\x1b[K";
        for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start)) {
            text.replace(at, start.size(), "|");
        }
        return text;
    }

    double m_now = 100.0;
    std::ostringstream m_out;
    Progress_bar m_bar{&m_out, [this] { return m_now; }};
};

TEST_F(ProgressBarTest, NothingIsShownBeforeTheFirstReport) {
    m_bar.SetTotal(10);
    m_bar.Increment(1);

    EXPECT_EQ(Drawn(), "");
}

TEST_F(ProgressBarTest, ShareAndTimeLeftAreShown) {
    m_bar.SetStatus("Training");
    m_bar.SetTotal(4);
    EXPECT_EQ(Drawn(), "|Training  0 %  0:00|Training  0 %  0:00");

    m_now += 30;
    m_bar.Increment(1);
    EXPECT_EQ(Drawn(), "|Training  25 %  1:30 left");
    m_now += 35;
    m_bar.Increment(2);
    EXPECT_EQ(Drawn(), "|Training  75 %  0:22 left");
}

TEST_F(ProgressBarTest, TimeTakenIsShownWhileNothingIsDone) {
    m_bar.SetStatus("Training");
    Drawn();

    m_now += 65;
    EXPECT_FALSE(m_bar.IsInterrupted());
    EXPECT_EQ(Drawn(), "|Training  0 %  1:05");
}

TEST_F(ProgressBarTest, BarIsDrawnAtMostTenTimesASecond) {
    m_bar.SetStatus("Training");
    m_bar.SetTotal(100);
    Drawn();

    for (int i = 0; i < 10; ++i) {
        m_now += 0.03125;
        m_bar.Increment(1);
    }
    EXPECT_EQ(Drawn(), "|Training  4 %  0:03 left|Training  8 %  0:03 left");
}

TEST_F(ProgressBarTest, BarRestartsWithEachPhase) {
    m_bar.SetStatus("One");
    m_bar.SetTotal(2);
    m_now += 50;
    m_bar.Increment(2);
    Drawn();

    m_bar.NextPhase(true);
    m_bar.SetStatus("Two");
    m_bar.SetTotal(2);
    m_now += 7;
    m_bar.Increment(1);
    EXPECT_EQ(Drawn(), "|One  0 %  0:00|Two  0 %  0:00|Two  0 %  0:00|Two  50 %  0:07 left");
}

TEST_F(ProgressBarTest, ShareIsNeverAboveAHundredPercent) {
    m_bar.SetStatus("Training");
    m_bar.SetTotal(2);
    m_now += 1;
    Drawn();

    m_bar.Increment(5);
    EXPECT_EQ(Drawn(), "|Training  100 %  0:00 left");
}

TEST(ProgressBarLifeTest, LineIsBlankedAtTheEnd) {
    std::ostringstream out;
    {
        Progress_bar bar(&out);
        bar.SetStatus("Training");
    }
    EXPECT_EQ(out.str(), "\r\x1b[KTraining  0 %  0:00\r\x1b[K");
}

TEST(ProgressBarLifeTest, WithoutATerminalThereAreOnlyPolls) {
    const Interruption interruption;
    Progress_bar bar(nullptr);
    bar.SetStatus("Training");
    bar.SetTotal(2);
    bar.Increment(1);
    EXPECT_FALSE(bar.IsInterrupted());

    std::raise(SIGINT);
    EXPECT_TRUE(bar.IsInterrupted());
}

}  // namespace

}  // namespace zandrel::cli
