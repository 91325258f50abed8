// Reported_progress: passes the engine's reports to a function of the caller.
#ifndef ZANDREL_TEXT_API_REPORTED_PROGRESS_H_
#define ZANDREL_TEXT_API_REPORTED_PROGRESS_H_

#include <chrono>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/text/Classifier.h"

#include "text/api/raised_errors.h"

namespace zandrel {

// Every public function calls this first. The thread has locks while it reports progress, so a call
// of the library would wait for itself.
// RAISES: Error invalid_argument, if this thread is in a function that takes reports.
void refuse_in_progress();

// The work has phases, and each phase counts its own steps. So the caller of the work says which
// share of the whole each phase has.
//
// Example: shares {0.25, 0.75}. The first phase has 8 steps: after 4 of them 0.125 is reported. The
// second phase has 2 steps: after the first one 0.625.
class Reported_progress : public CTProgress {
public:
    // `report`: may be empty.
    Reported_progress(Progress_function report, std::vector<double> shares)
        : m_report(std::move(report)), m_shares(std::move(shares)) {}

    // REQUIRES: no phase has begun.
    void use_shares(std::vector<double> shares) { m_shares = std::move(shares); }

    // Null if nobody wants reports: then the engine counts nothing.
    CTProgress* pointer() { return m_report ? this : nullptr; }

    void SetTotal(int total) override;
    void Increment(unsigned int steps) override;
    bool IsInterrupted() const override;

    // Reports that all is done. The answer does not matter any more.
    void complete() const;

    // RAISES: Error interrupted, if the function has ended the work.
    void check() const;

    // Reports if it is time to, before the first phase. RAISES: as `check`.
    void look() const;

private:
    using Clock = std::chrono::steady_clock;

    void report(double done) const;

    Progress_function m_report;
    std::vector<double> m_shares;  // of the phases; their sum is 1
    std::size_t m_begun = 0;       // phases
    double m_before = 0.0;         // the phases that are over
    double m_total = 0.0;          // steps of the present phase
    double m_done = 0.0;
    mutable Clock::time_point m_next = {};  // no report before
    mutable bool m_is_interrupted = false;
    mutable std::exception_ptr m_raised;  // by the function
};

// Calls `work` with a Reported_progress. All is inside of the handler, since even making the object
// can fail.
// RAISES: Error.
template <class Work>
decltype(auto) with_progress(const Progress_function& report, const std::vector<double>& shares,
                             Error_code of_data, const Work& work) {
    return with_errors(of_data, [&]() -> decltype(auto) {
        refuse_in_progress();
        Reported_progress progress(report, shares);
        try {
            return work(progress);
        } catch (...) {
            progress.check();
            throw;
        }
    });
}

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_REPORTED_PROGRESS_H_
