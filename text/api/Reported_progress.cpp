// The engine asks for an interruption far more often than it counts a step, and each question is an
// occasion to report. So the function of the caller is called while long steps run, too.
#include "text/api/Reported_progress.h"

#include <algorithm>

namespace zandrel {

namespace {

thread_local bool t_is_reporting = false;

class Reporting {
public:
    Reporting() noexcept { t_is_reporting = true; }

    Reporting(const Reporting&) = delete;
    Reporting& operator=(const Reporting&) = delete;

    ~Reporting() { t_is_reporting = false; }
};

}  // namespace

void refuse_in_progress() {
    if (t_is_reporting) {
        refuse_argument("a progress callback must not call this function");
    }
}

void Reported_progress::SetTotal(int total) {
    if (m_begun > 0 && m_begun <= m_shares.size()) {
        m_before += m_shares[m_begun - 1];
    }
    ++m_begun;
    m_total = total;
    m_done = 0.0;
}

void Reported_progress::Increment(unsigned int steps) {
    m_done += steps;
}

bool Reported_progress::IsInterrupted() const {
    if (!m_is_interrupted && Clock::now() >= m_next) {
        constexpr std::chrono::milliseconds kPause(50);
        const double share =
            m_begun == 0 || m_begun > m_shares.size() ? 0.0 : m_shares[m_begun - 1];
        const double done = m_total > 0.0 ? std::min(m_done / m_total, 1.0) : 0.0;
        report(std::min(m_before + share * done, 1.0));
        m_next = Clock::now() + kPause;
    }
    return m_is_interrupted;
}

void Reported_progress::complete() const {
    if (m_report) {
        report(1.0);
        m_raised = nullptr;
    }
}

void Reported_progress::check() const {
    if (m_is_interrupted) {
        throw Error(Error_code::interrupted, "the work was interrupted", {}, 0, m_raised);
    }
}

void Reported_progress::look() const {
    if (m_report && IsInterrupted()) {
        check();
    }
}

void Reported_progress::report(double done) const {
    const Reporting here;
    try {
        m_is_interrupted = !m_report(done);
    } catch (...) {
        m_is_interrupted = true;
        m_raised = std::current_exception();
    }
}

}  // namespace zandrel
