// Progress_log: a progress object that records its calls, except polls. Watching_progress: a
// progress object that lets a test look at the container at each poll or at each step.
#ifndef ZANDREL_TESTS_SUPPORT_PROGRESS_LOG_H_
#define ZANDREL_TESTS_SUPPORT_PROGRESS_LOG_H_

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/small_model.h"

// Can also interrupt at one poll. Polls are counted, but not recorded.
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

// Calls `look` at each poll or each step, and never interrupts.
class Watching_progress : public CTProgress {
public:
    enum class Moment { kPoll, kStep };

    Watching_progress(Moment moment, std::function<void()> look)
        : m_moment(moment), m_look(std::move(look)) {}

    bool IsInterrupted() const override {
        look_at(Moment::kPoll);
        return false;
    }

    void Increment(unsigned int /*steps*/) override { look_at(Moment::kStep); }

private:
    void look_at(Moment moment) const {
        if (moment == m_moment) {
            m_look();
        }
    }

    Moment m_moment;
    std::function<void()> m_look;
};

#endif  // ZANDREL_TESTS_SUPPORT_PROGRESS_LOG_H_
