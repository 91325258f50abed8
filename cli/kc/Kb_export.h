// Kb_export: writes a knowledge container as a knowledge base of version 5, an older form.
#ifndef ZANDREL_CLI_KC_KB_EXPORT_H_
#define ZANDREL_CLI_KC_KB_EXPORT_H_

#include <cstddef>
#include <string>

#include "zandrel/foundation/CTProgress.h"

#include "text/kc/Cached_kc.h"

namespace zandrel::cli {

struct Kb_options {
    std::string kc_file;             // stays as it is
    std::string kb_file;             // the new file
    bool zero_parent_score = false;  // 0 in place of parent_score in the rules
    bool replaces = false;           // allows to replace a knowledge base that exists
    Cache_bound bound = {};          // of kc_file
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
};

struct Kb_summary {
    std::size_t profiles = 0;
    std::size_t concepts = 0;  // of all profiles
    std::size_t bytes = 0;
};

// The file is written completely or not at all (Replacement_file). A file that appears or changes
// meanwhile is not replaced.
// RAISES: Usage_error for a knowledge base that exists, without `replaces`; Data_error if kb_file
// is another file, and for a container that has no equal in the older form: a compact one, a rule
// node with a default category, and equal names that would come together below one node;
// Input_error for a kb_file that may not be read; what view_kc, Kc_lock and Replacement_file raise.
Kb_summary export_kb(const Kb_options& options);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_KC_KB_EXPORT_H_
