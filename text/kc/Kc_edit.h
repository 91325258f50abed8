// Kc_edit: reads a knowledge container from its file, to look at it or to change it.
#ifndef ZANDREL_TEXT_KC_KC_EDIT_H_
#define ZANDREL_TEXT_KC_KC_EDIT_H_

#include <functional>
#include <string>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"

#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_lock.h"

class zeManager;

namespace zandrel {

using Kc_view = std::function<void(qtPtrLight<zeManager>& manager)>;

// Reads the container of a file and calls `view` with it. The file stays as it is.
// RAISES: Data_error "FILE: message" if the engine finds damage while `view` uses the container;
// what read_kc and the view raise otherwise.
void view_kc(const std::string& path, CTProgress* progress, const Kc_view& view,
             const Cache_bound& bound = {});

// Changes a container. Returns whether the container has to be written.
using Kc_change = std::function<bool(qtPtrLight<zeManager>& manager)>;

// Locks the container of a file, reads it, changes it, and writes it in place of the file, or, in
// cached form, into the file. The file stays as it is if the change is refused or changes nothing.
// In cached form this is true only if the change uses Deferred_writes, or writes nothing before its
// last check. A compact container stays compact. If the change gives the container other answers,
// it loses its confidence map (Changed_answers). Returns a warning about that for the user, or an
// empty text.
// RAISES: Data_error "FILE: message" for a change that is refused; what Kc_lock,
// read_kc and write_kc raise, and what the change raises otherwise.
std::string edit_kc(const std::string& path, const Lock_wait& wait, const Kc_change& change,
                    const Cache_bound& bound = {});

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_EDIT_H_
