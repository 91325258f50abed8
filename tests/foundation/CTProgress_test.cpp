#include "zandrel/foundation/CTProgress.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

// Overrides all functions of the base and records the calls.
class Noting_progress : public CTProgress {
public:
    void SetStatus(const char* status) override {
        notes.push_back(std::string("status ") + status);
    }

    void SetTotal(int total) override { notes.push_back("total " + std::to_string(total)); }

    void Increment(unsigned int steps) override {
        notes.push_back("increment " + std::to_string(steps));
    }

    void NextPhase(bool completed) override {
        notes.emplace_back(completed ? "done" : "broken off");
    }

    bool IsInterrupted() const override { return true; }

    std::vector<std::string> notes;
};

TEST(CTProgressTest, BaseNeverInterrupts) {
    CTProgress progress;

    EXPECT_FALSE(progress.IsInterrupted());

    progress.SetStatus("Reading");
    progress.SetTotal(1);
    progress.Increment(5);
    progress.NextPhase(false);

    EXPECT_FALSE(progress.IsInterrupted());
}

TEST(CTProgressTest, CallsReachTheDerivedObject) {
    Noting_progress progress;
    CTProgress& base = progress;

    base.SetStatus("Reading");
    base.SetTotal(-1);
    base.Increment(4000000000U);
    base.NextPhase(true);
    base.NextPhase(false);

    EXPECT_THAT(progress.notes, testing::ElementsAre("status Reading", "total -1",
                                                     "increment 4000000000", "done", "broken off"));
    EXPECT_TRUE(base.IsInterrupted());
}

}  // namespace
