// The paths are in a fixed array of atomic pointers, since a signal handler must neither allocate
// nor wait for a lock.
#include "text/kc/unfinished_files.h"

#include <atomic>
#include <unistd.h>

namespace zandrel {

namespace {

constexpr std::size_t kMostUnfinished = 8;
std::array<std::atomic<const char*>, kMostUnfinished> s_unfinished = {};
std::atomic<Change_observer> s_observer = nullptr;

static_assert(std::atomic<const char*>::is_always_lock_free);

}  // namespace

void remove_unfinished_files() noexcept {
    for (const std::atomic<const char*>& path : s_unfinished) {
        if (path.load() != nullptr) {
            ::unlink(path.load());
        }
    }
}

Unfinished_file::Unfinished_file(const char* path) {
    while (m_place < kMostUnfinished) {
        const char* expected = nullptr;
        if (s_unfinished.at(m_place).compare_exchange_strong(expected, path)) {
            return;
        }
        ++m_place;
    }
}

Unfinished_file::~Unfinished_file() {
    if (m_place < kMostUnfinished) {
        s_unfinished.at(m_place).store(nullptr);
    }
}

Held_back_signals::Held_back_signals() {
    sigset_t signals = {};
    sigemptyset(&signals);
    for (const int signal : kEndingSignals) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

Held_back_signals::~Held_back_signals() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

void set_change_observer(Change_observer observer) noexcept {
    s_observer = observer;
}

void note_change(const std::string& file) noexcept {
    const Change_observer observer = s_observer;
    if (observer != nullptr) {
        observer(file);
    }
}

}  // namespace zandrel
