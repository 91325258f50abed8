// Interruption: turns Ctrl-C and other ending signals into a request that long work polls.
#ifndef ZANDREL_CLI_PROCESS_INTERRUPTION_H_
#define ZANDREL_CLI_PROCESS_INTERRUPTION_H_

#include <array>
#include <csignal>

#include "text/kc/unfinished_files.h"

namespace zandrel::cli {

// While an object lives, the first ending signal is only noted. A second one ends the process, in
// case the work does not poll. Signals within a tenth of a second of the first count as one:
// `timeout`, a terminal that closes and service managers send two in a row. A signal that the
// process was started to ignore stays ignored.
//
// If nothing has polled the request when the object is destroyed, the destructor ends the process,
// unless there is an error or a change to report. Only one object may live at a time.
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

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_INTERRUPTION_H_
