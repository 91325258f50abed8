// The order of reading, changing and writing a container, and the errors of each step.
#include "text/kc/Kc_edit.h"

#include <cerrno>

#include "zandrel/knowledge/zeManager.h"

#include "text/errors.h"
#include "text/kc/Changed_answers.h"
#include "text/kc/Kc_damage.h"
#include "text/kc/Kc_file.h"
#include "text/kc/Kc_tree.h"
#include "text/model/leave_to_exit.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

// A change cannot be interrupted, so each error of the engine means a refused change or a damaged
// file.
bool is_changed(const std::string& path, const Kc_change& change, qtPtrLight<zeManager>& manager) {
    errno = 0;
    try {
        return work_on_container(path, [&] {
            return with_write_errors(path, *manager, [&] { return change(manager); });
        });
    } catch (const Edit_refused& error) {
        throw Data_error(path, shown_complaint(error.what()));
    }
}

}  // namespace

void view_kc(const std::string& path, CTProgress* progress, const Kc_view& view,
             const Cache_bound& bound) {
    qtPtrLight<zeManager> manager = read_kc(path, progress, bound);
    work_on_container(path, [&] { view(manager); });
    leave_to_exit(manager);
}

std::string edit_kc(const std::string& path, const Lock_wait& wait, const Kc_change& change,
                    const Cache_bound& bound) {
    check_readable(path);
    const Kc_lock lock(path, wait);
    qtPtrLight<zeManager> manager = read_kc(lock, wait.progress, bound);
    const Changed_answers before =
        work_on_container(path, [&manager] { return Changed_answers(manager); });
    bool has_changed = false;
    change_in_place(lock, *manager, [&] { has_changed = is_changed(path, change, manager); });
    std::string warning;
    if (has_changed) {
        warning = work_on_container(path, [&] { return before.settle_confidence(path, manager); });
        work_on_container(path,
                          [&] { write_kc(lock, *manager, manager->m_compact, wait.progress); });
    }
    leave_to_exit(manager);
    return warning;
}

}  // namespace zandrel
