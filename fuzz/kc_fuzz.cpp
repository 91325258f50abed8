// Files of containers: any bytes either load or are refused by a known error that leaves an empty
// manager, and what loads can be asked and saved.
//
// The input is the file. Scrambling changes each byte by itself, so that a changed byte of a seed
// is a changed byte of a record.
#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz_target.h"
#include "fuzz/kc_checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zeManager manager;
    if (loads(manager, File_bytes(data, data + size))) {
        use(manager);
    }
    return 0;
}
