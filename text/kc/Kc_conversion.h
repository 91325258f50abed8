// Kc_conversion: writes a container to another file, in either form.
#ifndef ZANDREL_TEXT_KC_KC_CONVERSION_H_
#define ZANDREL_TEXT_KC_KC_CONVERSION_H_

#include <cstdint>
#include <ostream>
#include <string>

#include "zandrel/foundation/CTProgress.h"

#include "text/kc/Cached_kc.h"
#include "text/kc/Kc_header.h"

namespace zandrel {

struct Conversion_options {
    std::string kc_file;   // stays as it is
    std::string new_file;  // gets the same contents
    Kc_form form = Kc_form::kPlain;
    bool compact = false;            // leave out what only learning needs
    bool replaces = false;           // allows to replace a container that exists
    Cache_bound bound = {};          // of kc_file
    double seconds_to_wait = 0.0;    // while another process changes new_file
    CTProgress* progress = nullptr;  // BORROWS: null: no reports, no interruption
};

// The new file keeps the flag that says that the texts are Unicode, and gets a seal. A compact
// container stays compact. A container in cached form of version 1 is copied first, since opening
// it would upgrade it in place. The seal of the old file is verified in both forms.
// RAISES: Usage_error if both names lead to one file, or for a container that exists, without
// `replaces`; Data_error if new_file is another file; what read_kc, Kc_lock and write_kc raise.
void convert_kc(const Conversion_options& options);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_CONVERSION_H_
