// The list of kept containers is itself never destroyed, since its destructor would free them.
#include "cli/model/leave_to_exit.h"

#include <vector>

#include "zandrel/knowledge/zeManager.h"

namespace cli {

void leave_to_exit(const qtPtrLight<zeManager>& manager) {
    if (manager->ReadOnDemand() != 0) {
        return;  // its file must be closed, and few classifiers are in memory
    }
    // The pointer is static, so leak checkers find the containers and report no leak.
    static auto* const left = new std::vector<qtPtrLight<zeManager>>;
    left->push_back(manager);
}

}  // namespace cli
