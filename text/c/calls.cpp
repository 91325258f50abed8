// The last failure of each thread, and the translation of exceptions to codes.
//
// C programs often clean up in handlers of atexit and in destructors of the keys of threads. The C
// library runs both after the destructors of thread_local objects. So the strings of a failure are
// such an object, but all other parts have no destructor, and can be used until the thread is gone:
//
//   open fails         s_last_error points into s_texts
//   the thread ends    ~Texts copies its strings to s_late_texts, and s_last_error points to these
//   a handler: save    a further failure is written to s_late_texts, without any allocation
//
// The late texts have a fixed size, since a string that is allocated so late is never freed. (A
// thread whose first failure is that late keeps the strings of that one failure.)
#include "text/c/calls.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

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

// Each thread has its own, so no lock is needed.
constinit thread_local zandrel_error s_last_error = {ZANDREL_OK, "", "", 0};

// The texts of the last failure after the destructor of s_texts.
class Late_texts {
public:
    bool are_used() const noexcept { return m_are_used; }

    // A message that is too long is cut at the border of a character. A part of the name of a file
    // would be another file, so such a name is left out.
    void note(zandrel_code code, std::string_view message, std::string_view file,
              std::size_t line) noexcept {
        m_are_used = true;
        std::size_t size = std::min(message.size(), m_message.size() - 1);
        while (size > 0 && size < message.size() && is_inside_character(message[size])) {
            --size;
        }
        write(message.substr(0, size), m_message.data());
        write(file.size() < m_file.size() ? file : std::string_view(), m_file.data());
        s_last_error = {code, m_message.data(), m_file.data(), line};
    }

private:
    static bool is_inside_character(char byte) noexcept {
        return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
    }

    static void write(std::string_view text, char* to) noexcept {
        *std::copy(text.begin(), text.end(), to) = '\0';
    }

    bool m_are_used = false;
    std::array<char, 1024> m_message = {};
    std::array<char, 512> m_file = {};
};

static_assert(std::is_trivially_destructible_v<Late_texts>);
constinit thread_local Late_texts s_late_texts;

zandrel_code note_lack_of_memory() noexcept {
    s_last_error = {ZANDREL_OUT_OF_MEMORY, "out of memory", "", 0};
    return s_last_error.code;
}

class Texts {
public:
    Texts() = default;
    Texts(const Texts&) = delete;
    Texts& operator=(const Texts&) = delete;

    ~Texts() {
        s_late_texts.note(s_last_error.code, s_last_error.message, s_last_error.file,
                          s_last_error.line);
    }

    // Without memory for the message, the failure is the lack of memory.
    void note(zandrel_code code, const char* message, const std::string& file,
              std::size_t line) noexcept {
        try {
            std::string new_message = message;
            std::string new_file = file;
            m_message.swap(new_message);
            m_file.swap(new_file);
        } catch (...) {
            note_lack_of_memory();
            return;
        }
        s_last_error = {code, m_message.c_str(), m_file.c_str(), line};
    }

private:
    std::string m_message;
    std::string m_file;
};

// A shared library that is unloaded stays until the destructors of all threads have run.
thread_local Texts s_texts;

zandrel_code note(Error_code code, const char* message, const std::string& file = {},
                  std::size_t line = 0) noexcept {
    const auto number = static_cast<zandrel_code>(code);
    if (s_late_texts.are_used()) {
        s_late_texts.note(number, message, file, line);
    } else {
        s_texts.note(number, message, file, line);
    }
    return s_last_error.code;
}

thread_local bool s_is_in_progress = false;

class In_progress {
public:
    In_progress() noexcept { s_is_in_progress = true; }

    In_progress(const In_progress&) = delete;
    In_progress& operator=(const In_progress&) = delete;

    ~In_progress() { s_is_in_progress = false; }
};

}  // namespace

zandrel_code note_failure() noexcept {
    try {
        throw;
    } catch (const Error& error) {
        return note(error.code(), error.what(), error.file(), error.line());
    } catch (const std::bad_alloc&) {
        return note_lack_of_memory();
    } catch (const std::exception& error) {
        return note(Error_code::failed, error.what());
    } catch (...) {
        return note(Error_code::failed, "unknown exception");
    }
}

void refuse_in_progress() {
    if (s_is_in_progress) {
        throw Error(Error_code::invalid_argument,
                    "a progress callback must not call this function");
    }
}

Progress_function progress_of(zandrel_progress callback, void* user_data) {
    if (callback == nullptr) {
        return {};
    }
    return [callback, user_data](double done) {
        const In_progress here;
        return callback(done, user_data);
    };
}

}  // namespace zandrel::c

const zandrel_error* zandrel_last_error() {
    return &zandrel::c::s_last_error;
}

const char* zandrel_code_name(zandrel_code code) {
    return code == ZANDREL_OK ? "ok" : zandrel::name_of(static_cast<zandrel::Error_code>(code));
}
