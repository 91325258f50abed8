#include "cli/model/leave_to_exit.h"

#include <vector>

namespace cli {

void leave_to_exit(const qtPtrLight<zeManager>& manager) {
    // Never destroyed, but reachable to the end, so that leak checkers see no leak.
    static auto* const left = new std::vector<qtPtrLight<zeManager>>;
    left->push_back(manager);
}

}  // namespace cli
