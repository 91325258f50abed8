// A progress object that interrupts at once.
#ifndef ZANDREL_TESTS_CLI_INTERRUPTED_PROGRESS_H_
#define ZANDREL_TESTS_CLI_INTERRUPTED_PROGRESS_H_

#include "zandrel/foundation/CTProgress.h"

namespace cli {

class Interrupted_progress : public CTProgress {
public:
    bool IsInterrupted() const override { return true; }
};

}  // namespace cli

#endif  // ZANDREL_TESTS_CLI_INTERRUPTED_PROGRESS_H_
