// The handler of the ending signals while long work runs.
//
//   first signal                              noted; the work polls it and raises an error
//   second signal within 0.1 s                ignored: it belongs to the first
//   second signal later                       ends the process
//   first signal while waiting for input      ends the process
#include "cli/process/Interruption.h"

#include <cstddef>
#include <ctime>
#include <exception>

#include "cli/process/ending_signals.h"
#include "text/data/Waiting_for_input.h"

namespace zandrel::cli {

namespace {

constexpr long kNanosecondsOfOneRequest = 100'000'000;

volatile std::sig_atomic_t s_signal = 0;
volatile std::sig_atomic_t s_is_seen = 0;
// The first signal writes it, and later ones read it. They are blocked while the handler runs.
struct timespec s_first = {};

struct timespec now() {
    struct timespec moment = {};
    clock_gettime(CLOCK_MONOTONIC, &moment);
    return moment;
}

bool is_soon_after(const struct timespec& first, const struct timespec& second) {
    constexpr long kNanosecondsOfSecond = 1'000'000'000;
    return (second.tv_sec - first.tv_sec) * kNanosecondsOfSecond + second.tv_nsec - first.tv_nsec <
           kNanosecondsOfOneRequest;
}

extern "C" void note_interruption(int signal) {
    if (s_signal == 0 && Waiting_for_input::is_active()) {
        end_by_signal(signal);
    }
    if (s_signal == 0) {
        s_first = now();
        s_signal = signal;
    } else if (!is_soon_after(s_first, now())) {
        end_by_signal(signal);
    }
}

}  // namespace

Interruption::Interruption() {
    s_signal = 0;
    s_is_seen = 0;
    struct sigaction noted = {};
    noted.sa_handler = note_interruption;
    noted.sa_flags = SA_RESTART;
    sigemptyset(&noted.sa_mask);
    for (const int signal : kEndingSignals) {
        sigaddset(&noted.sa_mask, signal);
    }
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
        sigaction(kEndingSignals.at(i), nullptr, &m_before.at(i));
        if (m_before.at(i).sa_handler != SIG_IGN) {
            sigaction(kEndingSignals.at(i), &noted, nullptr);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < kEndingSignals.size(); ++i) {
        sigaction(kEndingSignals.at(i), &m_before.at(i), nullptr);
    }
    if (s_signal != 0 && s_is_seen == 0 && std::uncaught_exceptions() == 0 &&
        change_message().empty()) {
        end_by_signal(s_signal);
    }
}

int Interruption::signal() {
    if (s_signal != 0) {
        s_is_seen = 1;
    }
    return s_signal;
}

}  // namespace zandrel::cli
