// Progress: reports steps to the caller's CTProgress, if there is one.
// Not installed: the library's own.
#ifndef ZANDREL_KNOWLEDGE_PROGRESS_H_
#define ZANDREL_KNOWLEDGE_PROGRESS_H_

#include <cstddef>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/knowledge/zeManager.h"

namespace zandrel::detail {

// Every operation takes a null pointer in place of a progress object. This class is the one place
// that checks for it: with a null pointer, its functions do nothing.
class Progress {
public:
    // BORROWS: `progress`, which may be null.
    explicit Progress(CTProgress* progress) noexcept : m_progress(progress) {}

    void set_status(const char* status) const {
        if (m_progress != nullptr) {
            m_progress->SetStatus(status);
        }
    }

    void set_total(std::size_t steps) const {
        if (m_progress != nullptr) {
            m_progress->SetTotal(static_cast<int>(steps));
        }
    }

    void count(std::size_t steps = 1) const {
        if (m_progress != nullptr) {
            m_progress->Increment(static_cast<unsigned int>(steps));
        }
    }

    // RAISES: qtX<zeWorkflow> 2 "Process interrupted".
    void check_interrupt() const {
        if (m_progress != nullptr) {
            zeInterrupts(m_progress);
        }
    }

    // Counts the steps, and then checks for an interruption.   RAISES: what check_interrupt raises.
    void step(std::size_t steps = 1) const {
        count(steps);
        check_interrupt();
    }

    void end() const {
        if (m_progress != nullptr) {
            m_progress->NextPhase(true);
        }
    }

private:
    CTProgress* m_progress;
};

}  // namespace zandrel::detail

#endif  // ZANDREL_KNOWLEDGE_PROGRESS_H_
