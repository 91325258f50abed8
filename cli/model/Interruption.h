// Interruption: turns Ctrl-C and its kin into a request that long work polls.
#ifndef ZANDREL_CLI_MODEL_INTERRUPTION_H_
#define ZANDREL_CLI_MODEL_INTERRUPTION_H_

#include <array>
#include <csignal>

#include "cli/model/ending_signals.h"

namespace cli {

// While one lives, the first ending signal is only noted. A second one ends the process, in case
// the work does not poll. Signals within a tenth of a second of the first count as one: `timeout`,
// a terminal that closes and service managers send two in a row. A signal that the process was
// started to ignore stays ignored.
//
// If no work has seen the request when the object is destroyed, the process ends then, unless there
// is an error or a change to report. One at a time.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    // Returns whether there was an ending signal since the last Interruption was made.
    static bool is_requested() { return signal() != 0; }

    // Returns the first such signal; 0: there was none.
    static int signal();

private:
    std::array<struct sigaction, kEndingSignals.size()> m_before = {};
};

// While one lives, the first ending signal ends the process: nothing polls a request while the
// process waits for its input, for example from a pipe. Unfinished files are removed. A signal from
// before is still a request, which the caller polls once one of these lives. One at a time.
class Waiting_for_input {
public:
    Waiting_for_input();
    Waiting_for_input(const Waiting_for_input&) = delete;
    Waiting_for_input& operator=(const Waiting_for_input&) = delete;
    ~Waiting_for_input();
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_INTERRUPTION_H_
