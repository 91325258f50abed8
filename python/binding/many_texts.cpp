// Gives many texts to the library, block by block, in one thread or several.
#include "python/binding/many_texts.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>

#include "python/binding/python_errors.h"

namespace zandrel::python {

namespace py = pybind11;

namespace {

// The work that the threads of one call of `run_in_threads` have in common.
class Shared_work {
public:
    Shared_work(std::size_t count, const std::function<void(std::size_t)>& work)
        : m_count(count), m_work(work) {}

    // Works until no number is left.
    void take_part() {
        while (!m_has_failed) {
            const std::size_t i = m_next++;
            if (i >= m_count) {
                return;
            }
            try {
                m_work(i);
            } catch (...) {
                keep_error(i);
            }
        }
    }

    void raise_error() const {
        if (m_error) {
            std::rethrow_exception(m_error);
        }
    }

private:
    void keep_error(std::size_t i) {
        const std::lock_guard lock(m_mutex);
        if (!m_error || i < m_error_place) {
            m_error = std::current_exception();
            m_error_place = i;
        }
        m_has_failed = true;
    }

    std::size_t m_count;
    const std::function<void(std::size_t)>& m_work;
    std::atomic<std::size_t> m_next = 0;
    std::atomic<bool> m_has_failed = false;
    std::mutex m_mutex;
    std::exception_ptr m_error;
    std::size_t m_error_place = 0;
};

}  // namespace

void run_in_threads(std::size_t count, int jobs, const std::function<void(std::size_t)>& work) {
    Shared_work shared(count, work);
    std::vector<std::thread> helpers;
    try {
        const std::size_t wanted = std::min(count, static_cast<std::size_t>(std::max(jobs, 1)));
        helpers.reserve(wanted);
        while (helpers.size() + 1 < wanted) {
            helpers.emplace_back([&shared] { shared.take_part(); });
        }
    } catch (const std::exception&) {
        // The system has no room for more threads: those that we have do the work.
    }
    shared.take_part();
    for (std::thread& helper : helpers) {
        helper.join();
    }
    shared.raise_error();
}

bool Text_blocks::next() {
    if (PyErr_CheckSignals() != 0) {
        throw py::error_already_set();
    }
    m_texts.clear();
    std::size_t bytes = 0;
    for (; m_iterator != py::iterator::sentinel() && m_texts.size() < kTexts && bytes < kBytes;
         ++m_iterator) {
        const py::handle value = *m_iterator;
        with_place("text", m_number++, [&] { m_texts.emplace_back(value); });
        bytes += m_texts.back().text().characters.size();
    }
    return !m_texts.empty();
}

}  // namespace zandrel::python
