// Engine_work: calls the engine without Python's lock, and reports progress to Python.
#ifndef ZANDREL_PYTHON_BINDING_ENGINE_WORK_H_
#define ZANDREL_PYTHON_BINDING_ENGINE_WORK_H_

#include <chrono>
#include <optional>
#include <pybind11/pybind11.h>
#include <type_traits>
#include <utility>

#include "zandrel/text/Classifier.h"

namespace zandrel::python {

// A call of the engine. Other threads of Python run meanwhile. The engine may wait for a thread
// that needs Python's lock, so each call that can wait for anything must be made through this
// class.
//
// The engine reports progress from inside of its own locks. A callback that called the engine would
// wait for itself, so such a call raises RuntimeError.
class Engine_work {
public:
    // `callback` is called with the part of the work that is done; None: nobody is called, but
    // Ctrl-C still ends the work. REQUIRES: Python's lock.
    explicit Engine_work(pybind11::object callback = pybind11::none());

    Engine_work(const Engine_work&) = delete;
    Engine_work& operator=(const Engine_work&) = delete;

    // For the options of the engine.
    // BORROWS: this object.
    Progress_function progress() {
        return [this](double done) { return report(done); };
    }

    // Returns what `work` returns. An exception of the callback, and KeyboardInterrupt, take the
    // place of the engine's error, which they cause.
    template <typename Work>
    std::invoke_result_t<Work> run(Work work) {
        try {
            return finish(std::move(work));
        } catch (const Error&) {
            raise_kept();
            throw;
        }
    }

private:
    using Clock = std::chrono::steady_clock;

    template <typename Work>
    std::invoke_result_t<Work> finish(Work work) {
        if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
            without_lock(std::move(work));
            raise_kept();
        } else {
            auto result = without_lock(std::move(work));
            raise_kept();
            return result;
        }
    }

    template <typename Work>
    static std::invoke_result_t<Work> without_lock(Work work) {
        const pybind11::gil_scoped_release release;
        return work();
    }

    bool report(double done);
    bool call_back(double done);
    void raise_kept();

    pybind11::object m_callback;
    Clock::time_point m_next_look;  // for Ctrl-C
    std::optional<pybind11::error_already_set> m_kept;
};

}  // namespace zandrel::python

#endif  // ZANDREL_PYTHON_BINDING_ENGINE_WORK_H_
