// Progress_log: a progress object that writes down what it is told.
#ifndef ZANDREL_TESTS_SUPPORT_PROGRESS_LOG_H_
#define ZANDREL_TESTS_SUPPORT_PROGRESS_LOG_H_

#include <string>
#include <vector>

#include "tests/support/small_model.h"

// It may interrupt as well, at one poll; polls are counted and not written down.
class Progress_log : public Interrupt_at {
public:
    explicit Progress_log(int poll = 0) : Interrupt_at(poll) {}

    void SetStatus(const char* status) override { lines.push_back(status); }

    void SetTotal(int total) override { lines.push_back("total " + std::to_string(total)); }

    void Increment(unsigned int steps) override { lines.push_back("+" + std::to_string(steps)); }

    void NextPhase(bool completed) override {
        lines.push_back(completed ? "next phase, completed" : "next phase, broken off");
    }

    std::vector<std::string> lines;
};

#endif  // ZANDREL_TESTS_SUPPORT_PROGRESS_LOG_H_
