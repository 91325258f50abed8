// Unlocked_call: calls the library without Python's lock, and reports progress to Python.
#ifndef ZANDREL_PYTHON_BINDING_UNLOCKED_CALL_H_
#define ZANDREL_PYTHON_BINDING_UNLOCKED_CALL_H_

#include <chrono>
#include <memory>
#include <optional>
#include <pybind11/pybind11.h>
#include <type_traits>
#include <utility>

#include "zandrel/text/Classifier.h"

namespace zandrel::python {

// A part of a thread's run without Python's lock. The end of the process waits for these parts:
// Python ends a thread that asks for its lock afterwards, which C++ cannot survive. So a thread
// other than the ending one sleeps for ever when its part is over and the process is ending.
class Unlocked_part {
public:
    // REQUIRES: Python's lock.
    Unlocked_part();

    Unlocked_part(const Unlocked_part&) = delete;
    Unlocked_part& operator=(const Unlocked_part&) = delete;

    ~Unlocked_part();

private:
    PyThreadState* m_state;
};

// Interrupts the calls of other threads, and returns when they are over. Registered with Python's
// atexit.
// RAISES: KeyboardInterrupt.
void end_calls();

// After a fork, the child has only the calling thread.
void count_calls_after_fork();

// An object that waits for the library's locks when it is destroyed.
class Waiting_object {
public:
    Waiting_object() = default;
    Waiting_object(const Waiting_object&) = delete;
    Waiting_object& operator=(const Waiting_object&) = delete;
    virtual ~Waiting_object() = default;

private:
    friend class Later_destruction;

    std::unique_ptr<Waiting_object> m_next;
};

// Destroys the object without Python's lock: a thread that has the library's locks may wait for
// Python's. While a callback runs, this thread itself has the library's locks, and Python can free
// any object. Then the object is destroyed after the work.
// REQUIRES: Python's lock.
void destroy_unlocked(std::unique_ptr<Waiting_object> object);

// Owns an object of the library for an object of Python.
template <typename Object>
class Library_object {
public:
    explicit Library_object(Object object) : m_kept(std::make_unique<Kept>(std::move(object))) {}

    Library_object(const Library_object&) = delete;
    Library_object& operator=(const Library_object&) = delete;

    ~Library_object() { destroy_unlocked(std::move(m_kept)); }

    Object& operator*() const { return m_kept->object; }

    Object* operator->() const { return &m_kept->object; }

private:
    struct Kept : Waiting_object {
        explicit Kept(Object given) : object(std::move(given)) {}

        Object object;
    };

    std::unique_ptr<Kept> m_kept;
};

// Destroys at its end the objects that Python freed in callbacks of this thread.
class Later_destruction {
public:
    Later_destruction() = default;
    Later_destruction(const Later_destruction&) = delete;
    Later_destruction& operator=(const Later_destruction&) = delete;

    ~Later_destruction();

    static void add(std::unique_ptr<Waiting_object> object);
};

// A call of the library. Other threads of Python run meanwhile. The library may wait for a thread
// that needs Python's lock, so each call that can wait for anything must be made through this
// class, and objects of the library must be in a Library_object.
//
// The library reports progress from inside of its own locks. A callback that called the library
// would wait for itself, so such a call raises RuntimeError. Python runs signal handlers at the
// same moments, so they are callbacks in this sense.
class Unlocked_call {
public:
    // `callback` is called with the part of the work that is done; None: nobody is called, but
    // Ctrl-C still ends the work. REQUIRES: Python's lock.
    explicit Unlocked_call(pybind11::object callback = pybind11::none());

    Unlocked_call(const Unlocked_call&) = delete;
    Unlocked_call& operator=(const Unlocked_call&) = delete;

    // For the options of the library.
    // BORROWS: this object.
    Progress_function progress() {
        return [this](double done) { return report(done); };
    }

    // Returns what `work` returns. An exception of the callback, and KeyboardInterrupt, take the
    // place of the library's error, which they cause.
    template <typename Work>
    std::invoke_result_t<Work> run(Work work) {
        try {
            return without_lock(std::move(work));
        } catch (const Error&) {
            raise_kept();
            throw;
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    // The callback can raise at its last call, when the work is complete. Its result may be a
    // classifier, so the exception must destroy it before Python's lock is taken again.
    template <typename Work>
    std::invoke_result_t<Work> without_lock(Work work) {
        const Unlocked_part part;
        const Later_destruction later;
        if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
            work();
            check_not_ended();
        } else {
            auto result = work();
            check_not_ended();
            return result;
        }
    }

    // RAISES: Error interrupted, if there is an exception of the callback.
    void check_not_ended() const;

    bool report(double done);
    bool call_back(double done);
    void raise_kept();

    pybind11::object m_callback;
    Clock::time_point m_next_look;  // for Ctrl-C
    std::optional<pybind11::error_already_set> m_kept;
};

}  // namespace zandrel::python

#endif  // ZANDREL_PYTHON_BINDING_UNLOCKED_CALL_H_
