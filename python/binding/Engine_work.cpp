// Engine_work: calls the engine without Python's lock, and reports progress to Python.
#include "python/binding/Engine_work.h"

namespace zandrel::python {

namespace py = pybind11;

namespace {

// Without a callback, a report of the engine needs Python's lock only to look for Ctrl-C. Nobody
// notices a delay of this length.
constexpr std::chrono::milliseconds kBetweenLooks{50};

// A callback of this thread is running.
thread_local bool t_in_callback = false;

struct Callback_mark {
    Callback_mark() { t_in_callback = true; }

    ~Callback_mark() { t_in_callback = false; }

    Callback_mark(const Callback_mark&) = delete;
    Callback_mark& operator=(const Callback_mark&) = delete;
};

}  // namespace

Engine_work::Engine_work(py::object callback)
    : m_callback(std::move(callback)), m_next_look(Clock::now() + kBetweenLooks) {
    if (t_in_callback) {
        PyErr_SetString(PyExc_RuntimeError,
                        "a progress callback cannot use a classifier: it would wait for itself");
        throw py::error_already_set();
    }
}

// Called without Python's lock, perhaps very often.
bool Engine_work::report(double done) {
    if (m_kept) {
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
bool Engine_work::call_back(double done) {
    const Callback_mark mark;
    return m_callback(done).ptr() != Py_False;
}

void Engine_work::raise_kept() {
    if (m_kept) {
        py::error_already_set kept = std::move(*m_kept);
        m_kept.reset();
        throw kept;
    }
}

}  // namespace zandrel::python
