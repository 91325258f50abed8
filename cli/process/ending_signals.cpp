// A signal handler may call only a few functions of the system, such as unlink, write and _exit,
// and must not allocate. So all that it needs is prepared before: note_in_message writes the
// whole message into a fixed array.
//
// Example: `learn a.kc` receives SIGTERM after the rename. s_message is "zandrel: a.kc has been
// changed all the same, so do not repeat the command", so the handler prints it and ends with
// status 3. Before the rename s_message is empty: the handler unlinks ".a.kc.tmp-Zk09fe" and
// ".a.kc.lock" and ends the process by SIGTERM.
#include "cli/process/ending_signals.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <unistd.h>

#include "cli/process/Exit_status.h"
#include "text/kc/unfinished_files.h"

namespace zandrel::cli {

namespace {

// Handlers read these, so they are lock-free and need neither allocation nor destruction.
constexpr std::string_view kBeforeName = "zandrel: ";
constexpr std::string_view kBehindName =
    " has been changed all the same, so do not repeat the command\n";
constexpr std::string_view kNoMemory = "zandrel: not enough memory\n";
// Longer than the longest path that Linux allows, 4096 bytes, with the text around it.
std::array<char, 5000> s_message = {};
std::atomic<std::size_t> s_message_size = 0;

// The handler of the C++ library, which prints the exception and aborts.
std::terminate_handler s_abort = std::abort;

static_assert(std::atomic<std::size_t>::is_always_lock_free);

extern "C" void end_at_once(int signal) {
    end_by_signal(signal);
}

sigset_t ending_signals() {
    sigset_t signals = {};
    sigemptyset(&signals);
    for (const int signal : kEndingSignals) {
        sigaddset(&signals, signal);
    }
    return signals;
}

void append(std::string_view text, std::size_t room, std::size_t& size) {
    text = text.substr(0, room);
    std::copy(text.begin(), text.end(), s_message.begin() + static_cast<std::ptrdiff_t>(size));
    size += text.size();
}

// If the message cannot be printed, the exit status still reports the failure.
void print(std::string_view message) {
    [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, message.data(), message.size());
}

void exit_if_changed() {
    const std::string_view message = change_message();
    if (!message.empty()) {
        print(message);
        ::_exit(kChangedThenFailed);
    }
}

// If there is no memory for the exception object, std::terminate runs without a current exception.
// In a program without threads there is no other reason for that.
bool lacks_memory() {
    if (std::current_exception() == nullptr) {
        return true;
    }
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return true;
    } catch (...) {
        return false;
    }
}

void end_by_exception() {
    if (!lacks_memory()) {
        s_abort();
    }
    remove_unfinished_files();
    print(kNoMemory);
    exit_if_changed();
    ::_exit(kInternalError);
}

void note_in_message(const std::string& file) noexcept {
    const Held_back_signals held_back;
    std::signal(SIGPIPE, SIG_IGN);
    std::size_t size = 0;
    append(kBeforeName, kBeforeName.size(), size);
    append(file, s_message.size() - kBeforeName.size() - kBehindName.size(), size);
    append(kBehindName, kBehindName.size(), size);
    s_message_size = size;
}

}  // namespace

void prepare_for_lack_of_memory() noexcept {
    observe_changes();
    s_abort = std::set_terminate(end_by_exception);
}

void observe_changes() noexcept {
    set_change_observer(note_in_message);
}

void prepare_for_signals() {
    observe_changes();
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int signal : kEndingSignals) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            action = {};
            action.sa_handler = end_at_once;
            action.sa_mask = ending_signals();
            sigaction(signal, &action, nullptr);
        }
    }
}

void end_by_signal(int signal) {
    remove_unfinished_files();
    exit_if_changed();
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t own = {};
    sigemptyset(&own);
    sigaddset(&own, signal);
    sigprocmask(SIG_UNBLOCK, &own, nullptr);
    ::raise(signal);
    ::_exit(kSignalStatus + signal);
}

std::string_view change_message() {
    return {s_message.data(), s_message_size};
}

}  // namespace zandrel::cli
