// leave_to_exit: keeps a container in memory that the program does not need any more.
#ifndef ZANDREL_TEXT_MODEL_LEAVE_TO_EXIT_H_
#define ZANDREL_TEXT_MODEL_LEAVE_TO_EXIT_H_

#include "zandrel/foundation/qtPtr.h"

class zeManager;

namespace zandrel {

// Without this call, leave_to_exit does nothing: in a process that goes on, the memory would be
// lost. The program calls it at its start.
void end_with_containers() noexcept;

// Keeps the container until the process ends. A command calls this last: freeing a large model
// object by object took a quarter of the time of a short command, and the system frees all memory
// at once when the process ends. A container in cached form is not kept: its file is closed and
// unlocked when its last pointer is destroyed.
void leave_to_exit(const qtPtrLight<zeManager>& manager);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_LEAVE_TO_EXIT_H_
