// The list of kept containers is itself never destroyed, since its destructor would free them.
#include "text/model/leave_to_exit.h"

#include <vector>

#include "zandrel/knowledge/zeManager.h"
#include "zandrel/persistence/KcIoMode.h"
#include "zandrel/persistence/zeIO.h"

namespace zandrel {

namespace {

bool s_is_wanted = false;

}  // namespace

void end_with_containers() noexcept {
    s_is_wanted = true;
}

void leave_to_exit(const qtPtrLight<zeManager>& manager) {
    // Its file must be unlocked, and few of its classifiers are in memory.
    if (!s_is_wanted) {
        return;
    }
    if (!manager->m_io.IsNull() && manager->m_io->m_io_mode == KcIoMode::CACHED_IO) {
        return;
    }
    // The pointer is static, so leak checkers find the containers and report no leak.
    static auto* const left = new std::vector<qtPtrLight<zeManager>>;
    left->push_back(manager);
}

}  // namespace zandrel
