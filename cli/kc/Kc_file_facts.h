// Kc_file_facts: what the file of a knowledge container tells beside the container.
#ifndef ZANDREL_CLI_KC_KC_FILE_FACTS_H_
#define ZANDREL_CLI_KC_KC_FILE_FACTS_H_

#include <cstdint>
#include <string>

namespace cli {

struct Kc_file_facts {
    std::string path;
    std::uintmax_t size = 0;  // in bytes
    bool is_unicode = false;  // says that its texts are Unicode
    bool is_sealed = false;   // has a seal, which read_kc has verified
};

// REQUIRES: a file that read_kc has read.
// RAISES: Input_error, Data_error if the file has gone or changed since.
Kc_file_facts read_kc_file_facts(const std::string& path);

}  // namespace cli

#endif  // ZANDREL_CLI_KC_KC_FILE_FACTS_H_
