// Kc_edit: looks into a knowledge container in its file, or changes it there.
#ifndef ZANDREL_CLI_KC_KC_EDIT_H_
#define ZANDREL_CLI_KC_KC_EDIT_H_

#include <functional>
#include <string>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/qtPtr.h"

#include "cli/kc/Kc_lock.h"

class zeManager;

namespace cli {

using Kc_view = std::function<void(qtPtrLight<zeManager>& manager)>;

// Reads the container of a file and shows it to `view`, which changes nothing that is kept.
// RAISES: Data_error "FILE: message" where the library finds the tree unsound on the way; what
// read_kc and otherwise the view raise.
void view_kc(const std::string& path, CTProgress* progress, const Kc_view& view);

// Changes a container; returns whether it has to be written.
using Kc_change = std::function<bool(qtPtrLight<zeManager>& manager)>;

// Reads the container of a file, changes it, and writes it in place of the file, which stays as it
// is if the change is refused or changes nothing. A compact container stays compact. No other
// process of the program changes the file meanwhile.
// RAISES: Data_error "FILE: message" for what the library or the program refuses; what Kc_lock,
// read_kc, write_kc and otherwise the change raise.
void edit_kc(const std::string& path, const Lock_wait& wait, const Kc_change& change);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_EDIT_H_
