// The last failure of each thread, and the translation of exceptions to codes.
#include "text/c/calls.h"

#include <cstddef>
#include <exception>
#include <new>
#include <string>

#include "zandrel/text/Error.h"

namespace zandrel::c {

namespace {

constexpr bool is_same(Error_code code, zandrel_code number) {
    return static_cast<int>(code) == number;
}

static_assert(is_same(Error_code::invalid_argument, ZANDREL_INVALID_ARGUMENT));
static_assert(is_same(Error_code::not_found, ZANDREL_NOT_FOUND));
static_assert(is_same(Error_code::cannot_read, ZANDREL_CANNOT_READ));
static_assert(is_same(Error_code::cannot_write, ZANDREL_CANNOT_WRITE));
static_assert(is_same(Error_code::not_a_container, ZANDREL_NOT_A_CONTAINER));
static_assert(is_same(Error_code::damaged, ZANDREL_DAMAGED));
static_assert(is_same(Error_code::other_analysis, ZANDREL_OTHER_ANALYSIS));
static_assert(is_same(Error_code::unknown_label, ZANDREL_UNKNOWN_LABEL));
static_assert(is_same(Error_code::wrong_data, ZANDREL_WRONG_DATA));
static_assert(is_same(Error_code::busy, ZANDREL_BUSY));
static_assert(is_same(Error_code::interrupted, ZANDREL_INTERRUPTED));
static_assert(is_same(Error_code::unsupported, ZANDREL_UNSUPPORTED));
static_assert(is_same(Error_code::out_of_memory, ZANDREL_OUT_OF_MEMORY));
static_assert(is_same(Error_code::closed, ZANDREL_CLOSED));
static_assert(is_same(Error_code::failed, ZANDREL_FAILED));

class Last_failure {
public:
    // Without memory for the message, the failure is the lack of memory.
    zandrel_code note(Error_code code, const char* message, const std::string& file = {},
                      std::size_t line = 0) noexcept {
        try {
            // Copies first: `message` may be the text of the failure before.
            std::string new_message = message;
            std::string new_file = file;
            m_message.swap(new_message);
            m_file.swap(new_file);
        } catch (...) {
            return note_lack_of_memory();
        }
        m_view = {static_cast<zandrel_code>(code), m_message.c_str(), m_file.c_str(), line};
        return m_view.code;
    }

    // Allocates nothing.
    zandrel_code note_lack_of_memory() noexcept {
        m_view = {ZANDREL_OUT_OF_MEMORY, "out of memory", "", 0};
        return m_view.code;
    }

    const zandrel_error* view() const noexcept { return &m_view; }

private:
    std::string m_message;
    std::string m_file;
    zandrel_error m_view = {ZANDREL_OK, "", "", 0};
};

// Each thread has its own, so no lock is needed. A shared library that is unloaded stays until the
// destructors of all threads have run.
thread_local Last_failure s_last_failure;

}  // namespace

zandrel_code note_failure() noexcept {
    try {
        throw;
    } catch (const Error& error) {
        return s_last_failure.note(error.code(), error.what(), error.file(), error.line());
    } catch (const std::bad_alloc&) {
        return s_last_failure.note_lack_of_memory();
    } catch (const std::exception& error) {
        return s_last_failure.note(Error_code::failed, error.what());
    } catch (...) {
        return s_last_failure.note(Error_code::failed, "unknown exception");
    }
}

Progress_function progress_of(zandrel_progress callback, void* user_data) {
    if (callback == nullptr) {
        return {};
    }
    return [callback, user_data](double done) { return callback(done, user_data); };
}

}  // namespace zandrel::c

const zandrel_error* zandrel_last_error() {
    return zandrel::c::s_last_failure.view();
}

const char* zandrel_code_name(zandrel_code code) {
    return code == ZANDREL_OK ? "ok" : zandrel::name_of(static_cast<zandrel::Error_code>(code));
}
