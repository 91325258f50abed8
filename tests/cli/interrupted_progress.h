// A progress object that interrupts at once.
#ifndef ZANDREL_TESTS_CLI_INTERRUPTED_PROGRESS_H_
#define ZANDREL_TESTS_CLI_INTERRUPTED_PROGRESS_H_

#include "zandrel/foundation/CTProgress.h"

namespace zandrel::cli {

class Interrupted_progress : public CTProgress {
public:
    bool IsInterrupted() const override { return true; }
};

}  // namespace zandrel::cli

#endif  // ZANDREL_TESTS_CLI_INTERRUPTED_PROGRESS_H_
