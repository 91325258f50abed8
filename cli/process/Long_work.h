// Long_work: progress, interruption and warnings of a command that can take long.
#ifndef ZANDREL_CLI_PROCESS_LONG_WORK_H_
#define ZANDREL_CLI_PROCESS_LONG_WORK_H_

#include <iostream>
#include <string>
#include <unistd.h>

#include "cli/process/Interruption.h"
#include "cli/process/Progress_bar.h"
#include "cli/process/print_warning.h"

namespace zandrel::cli {

// Shows a progress bar if standard error is a terminal, and turns Ctrl-C into a request that long
// work polls.
class Long_work {
public:
    CTProgress& progress() { return m_bar; }

    // Prints a warning on standard error, unless it is empty. Removes the progress bar before.
    void warn(const std::string& text) {
        if (text.empty()) {
            return;
        }
        m_bar.blank();
        print_warning(text);
    }

private:
    Interruption m_interruption;
    Progress_bar m_bar{::isatty(STDERR_FILENO) == 1 ? &std::cerr : nullptr};
};

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_PROCESS_LONG_WORK_H_
