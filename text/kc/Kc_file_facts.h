// Kc_file_facts: properties of the file of a knowledge container: size, seal and flags.
#ifndef ZANDREL_TEXT_KC_KC_FILE_FACTS_H_
#define ZANDREL_TEXT_KC_KC_FILE_FACTS_H_

#include <cstdint>
#include <string>

#include "text/kc/Kc_header.h"

namespace zandrel {

struct Kc_file_facts {
    std::string path;
    std::uintmax_t size = 0;  // in bytes
    bool is_unicode = false;  // the flag that says that its texts are Unicode
    bool is_sealed = false;   // has a seal; read_kc has verified that of a plain container
    Kc_form form = Kc_form::kPlain;
    bool is_compact = false;  // the flag that says that it can only classify
};

// REQUIRES: a file that read_kc has read.
// RAISES: Input_error or Data_error if the file has been removed or changed since.
Kc_file_facts read_kc_file_facts(const std::string& path);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_KC_FILE_FACTS_H_
