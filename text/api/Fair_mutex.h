// Fair_mutex: a mutex that threads get in the order in which they asked for it.
#ifndef ZANDREL_TEXT_API_FAIR_MUTEX_H_
#define ZANDREL_TEXT_API_FAIR_MUTEX_H_

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace zandrel {

// With std::mutex, a thread that unlocks and locks again at once usually wins against a thread that
// waits, since that one must wake up first. So one thread that learns in a loop could delay others
// for hundreds of its turns.
//
// The idea: each thread draws a number, and waits until its number is called, as in an office.
//
// Example: A has number 0 and works. B draws 1 and waits. A unlocks, which calls 1, and locks again
// at once: it draws 2, and waits for B.
class Fair_mutex {
public:
    void lock() {
        std::unique_lock guard(m_guard);
        const std::uint64_t own = m_next++;
        m_call.wait(guard, [&] { return m_called == own; });
    }

    void unlock() {
        const std::scoped_lock guard(m_guard);
        ++m_called;
        m_call.notify_all();
    }

private:
    std::mutex m_guard;  // of the numbers, for a moment only
    std::condition_variable m_call;
    std::uint64_t m_next = 0;
    std::uint64_t m_called = 0;
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_FAIR_MUTEX_H_
