// Progress_bar: shows the progress of long work, and passes a request to interrupt it.
#ifndef ZANDREL_CLI_PROCESS_PROGRESS_BAR_H_
#define ZANDREL_CLI_PROCESS_PROGRESS_BAR_H_

#include <functional>
#include <ostream>
#include <string>

#include "zandrel/foundation/CTProgress.h"

namespace zandrel::cli {

// One line of a terminal with the name of the phase, the share that is done, and the estimated time
// for the rest: "Training 25 % 0:30 left". Before the first step it shows the elapsed time. Steps
// draw it at most ten times a second. The destructor removes it.
class Progress_bar : public CTProgress {
public:
    using Clock = std::function<double()>;  // seconds since some moment

    // `out`: a terminal; null: shows nothing. BORROWS: `out`.
    explicit Progress_bar(std::ostream* out, Clock clock = seconds_now);
    Progress_bar(const Progress_bar&) = delete;
    Progress_bar& operator=(const Progress_bar&) = delete;
    ~Progress_bar() override;

    void SetStatus(const char* status) override;
    void SetTotal(int total) override;
    void Increment(unsigned int steps) override;
    void NextPhase(bool completed) override;
    bool IsInterrupted() const override;

    // Removes the line, so that something else can be written in its place. The next report draws
    // it again.
    void blank();

private:
    static double seconds_now();

    std::string line(double now) const;
    void begin_phase();
    void draw(bool at_once) const;

    std::ostream* m_out;
    Clock m_clock;
    std::string m_status;
    double m_total = 0.0;
    double m_done = 0.0;
    double m_begin;                // of the phase
    mutable double m_drawn = 0.0;  // time; mutable, since IsInterrupted draws too
    mutable bool m_is_shown = false;
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_PROGRESS_BAR_H_
