// Unlocked_call: calls the library without Python's lock, and reports progress to Python.
#include "python/binding/Unlocked_call.h"

#include <atomic>
#include <thread>

namespace zandrel::python {

namespace py = pybind11;

namespace {

// Without a callback, a report of the library needs Python's lock only to look for Ctrl-C. Nobody
// notices a delay of this length.
constexpr std::chrono::milliseconds kBetweenLooks{50};

// A callback of this thread is running.
thread_local bool t_in_callback = false;

// The objects that Python freed in callbacks of this thread.
thread_local std::unique_ptr<Waiting_object> t_later;

// Parts without Python's lock: of this thread, and of all. Written with Python's lock.
thread_local int t_parts = 0;
std::atomic<int> s_parts = 0;

// The process is ending, and this thread ends it.
std::atomic<bool> s_is_ending = false;
thread_local bool t_is_ending_thread = false;

bool must_stop() {
    return s_is_ending && !t_is_ending_thread;
}

// A thread without Python's lock does not disturb the end of the process, which ends it.
[[noreturn]] void sleep_for_ever() {
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

struct Callback_mark {
    Callback_mark() { t_in_callback = true; }

    ~Callback_mark() { t_in_callback = false; }

    Callback_mark(const Callback_mark&) = delete;
    Callback_mark& operator=(const Callback_mark&) = delete;
};

}  // namespace

Unlocked_part::Unlocked_part() {
    if (must_stop()) {
        PyEval_SaveThread();
        sleep_for_ever();
    }
    ++t_parts;
    ++s_parts;
    m_state = PyEval_SaveThread();
}

// The part is counted until the thread has Python's lock: otherwise Python could end in between.
Unlocked_part::~Unlocked_part() {
    PyEval_RestoreThread(m_state);
    --t_parts;
    --s_parts;
    if (must_stop()) {
        PyEval_SaveThread();
        sleep_for_ever();
    }
}

void end_calls() {
    t_is_ending_thread = true;
    s_is_ending = true;
    while (s_parts > t_parts) {
        {
            const py::gil_scoped_release release;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
    }
}

void count_calls_after_fork() {
    s_parts = t_parts;
}

void destroy_unlocked(std::unique_ptr<Waiting_object> object) {
    if (t_in_callback) {
        Later_destruction::add(std::move(object));
        return;
    }
    const Unlocked_part part;
    object.reset();
}

void Later_destruction::add(std::unique_ptr<Waiting_object> object) {
    object->m_next = std::move(t_later);
    t_later = std::move(object);
}

// One after the other, since a long chain that destroys itself would recurse.
Later_destruction::~Later_destruction() {
    while (t_later) {
        t_later = std::move(t_later->m_next);
    }
}

Unlocked_call::Unlocked_call(py::object callback)
    : m_callback(std::move(callback)), m_next_look(Clock::now() + kBetweenLooks) {
    if (t_in_callback) {
        PyErr_SetString(PyExc_RuntimeError,
                        "a progress callback cannot use a classifier, nor can a signal handler "
                        "during the work: it would wait for itself");
        throw py::error_already_set();
    }
}

void Unlocked_call::check_not_ended() const {
    if (m_kept) {
        throw Error(Error_code::interrupted, "the work was interrupted");
    }
}

// Called without Python's lock, perhaps very often.
bool Unlocked_call::report(double done) {
    if (m_kept || must_stop()) {
        return false;
    }
    if (m_callback.is_none()) {
        const Clock::time_point now = Clock::now();
        if (now < m_next_look) {
            return true;
        }
        m_next_look = now + kBetweenLooks;
    }
    const py::gil_scoped_acquire lock;
    const Callback_mark mark;
    try {
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
        return m_callback.is_none() || call_back(done);
    } catch (py::error_already_set& error) {
        m_kept.emplace(std::move(error));
        return false;
    }
}

// Only False ends the work: a function without a return statement returns None.
bool Unlocked_call::call_back(double done) {
    return m_callback(done).ptr() != Py_False;
}

void Unlocked_call::raise_kept() {
    if (m_kept) {
        py::error_already_set kept = std::move(*m_kept);
        m_kept.reset();
        throw kept;
    }
}

}  // namespace zandrel::python
