// Interruption: Ctrl-C as a wish that long work asks for.
#ifndef ZANDREL_CLI_MODEL_INTERRUPTION_H_
#define ZANDREL_CLI_MODEL_INTERRUPTION_H_

#include <csignal>

namespace cli {

// As long as one lives, the first SIGINT is noted and no more; the second ends the process, in case
// the work does not come to ask. A SIGINT that the process was started to ignore stays ignored.
// One at a time.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    // Whether there was a SIGINT since the last one was made.
    static bool is_requested();

private:
    struct sigaction m_before = {};
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_INTERRUPTION_H_
