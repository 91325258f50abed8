// leave_to_exit: keeps a container that the program has finished with.
#ifndef ZANDREL_CLI_MODEL_LEAVE_TO_EXIT_H_
#define ZANDREL_CLI_MODEL_LEAVE_TO_EXIT_H_

#include "zandrel/foundation/qtPtr.h"

class zeManager;

namespace cli {

// Keeps the container as long as the process lives. A command calls this last: freeing a large
// model object by object took a quarter of the time of a short command, and the system frees all of
// its memory at once when the process ends.
void leave_to_exit(const qtPtrLight<zeManager>& manager);

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_LEAVE_TO_EXIT_H_
