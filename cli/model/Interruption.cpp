#include "cli/model/Interruption.h"

namespace cli {

namespace {

volatile std::sig_atomic_t s_is_requested = 0;

extern "C" void note_interruption(int /*signal*/) {
    s_is_requested = 1;
}

}  // namespace

Interruption::Interruption() {
    s_is_requested = 0;
    sigaction(SIGINT, nullptr, &m_before);
    if (m_before.sa_handler != SIG_IGN) {
        struct sigaction noted = {};
        noted.sa_handler = note_interruption;
        noted.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
        sigaction(SIGINT, &noted, nullptr);
    }
}

Interruption::~Interruption() {
    sigaction(SIGINT, &m_before, nullptr);
}

bool Interruption::is_requested() {
    return s_is_requested != 0;
}

}  // namespace cli
